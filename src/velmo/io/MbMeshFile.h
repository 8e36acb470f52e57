#pragma once

#include <velmo/extraction/interfaces/MeshType.h>
#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/extraction/interfaces/MiMesh.h>

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// A file that could not be read. The text is "PATH: PLACE: PROBLEM".
class MbMeshFileError : public std::runtime_error
{
public:
  /// `place` is "line 12" in text, "byte 345" in binary data, an element in XML, or empty.
  MbMeshFileError(std::string path, std::string place, std::string problem);

  const std::string& getPath() const { return m_path; }
  const std::string& getPlace() const { return m_place; }
  const std::string& getProblem() const { return m_problem; }

private:
  std::string m_path, m_place, m_problem;
};

/// The file itself is sound, but its mesh is of another kind than was asked for: it cannot be read
/// as a grid, or has no place in a file of that name.
class MbMeshKindError : public MbMeshFileError
{
public:
  using MbMeshFileError::MbMeshFileError;
};

struct MbMeshFileOptions
{
  /// False reads with one thread; the result is the same.
  bool parallel = true;
  /// Cells along I, J and K: reads an unstructured file of hexahedra as a hexahedron IJK mesh.
  std::optional<MbIndex3> ijk;
  /// With `ijk`: gives every cell eight vertices of its own (vertex hexahedron IJK mesh).
  bool vertex = false;
  /// The array, one number a cell, whose zeros mark dead cells; any mesh kind. Empty for the cells
  /// that the file itself marks, if it does: also those that an array "vtkGhostType" hides.
  std::string active;
  /// Corner-point grids: welds the corners of a pillar that coincide exactly, which makes a
  /// hexahedron IJK mesh in place of one with eight vertices a cell.
  bool sharedNodes = false;
  /// The time wanted of a series: its nearest step is read. None reads the first step.
  std::optional<double> time = {};
  /// Told how much is done, 0 to 1 and never less than before, by the thread that reads; may be
  /// empty.
  std::function<void(double)> progress = {};
};

/// The range of one component of an array, or of the magnitude of its vectors.
struct MbValueRange
{
  /// Of the finite values; min > max when there is none.
  double min = 0, max = 0;
  std::size_t nanCount = 0;
  std::size_t infiniteCount = 0;

  bool isEmpty() const { return min > max; }
};

/// An array of values that a file holds per node or per cell.
struct MbMeshFileArray
{
  std::string name;
  MiDataBinding binding = MiDataBinding::PerNode;
  std::size_t components = 1;
  /// As stored; the numbers are never converted.
  MiScalarType type = MiScalarType::Float64;
  /// One item of `components` numbers a node or cell, I fastest where the mesh is structured.
  MiArrayView values;
  /// One range per component; vectors have a fourth one, of their magnitude.
  std::vector<MbValueRange> ranges;
  /// The file gives no value for some nodes or cells, which have NaN.
  bool isPartial = false;
  /// The values as a data set that fits the mesh kind: of double for one component, of MbVec3d for
  /// three, numbered I, IJ or IJK as the kind asks for the binding. Null for any other count.
  std::unique_ptr<MiDataSet> set;

  /// The data set as MiScalardSetI, MiVec3dSetIjk and so on; null when it is not one.
  template <class Set>
  const Set* as() const
  {
    return dynamic_cast<const Set*>(set.get());
  }
};

/// A mesh and its data, read from a file.
///
/// *Formats*: legacy .vtk (all data set types, text and binary); .vtu, .vtp, .vti, .vtr, .vts,
/// their parallel forms and .pvd series. What a file is, its content tells, not its name.
/// *Ownership*: the object owns the mesh, the data sets and the arrays behind them; they live as
/// long as it does, also when it is moved. *Threads*: one thread at a time reads a given object's
/// lists; mesh and data sets keep the promises of their interfaces.
///
/// Cells that name nodes that do not exist, or have too few nodes for their shape, stay in the
/// mesh: whoever extracts treats them as dead.
class MbMeshFile
{
public:
  /// @throw MbMeshFileError when the file cannot be opened, is damaged, or is of no known format
  /// @throw MbMeshKindError when its cells cannot be those of the grid asked for
  /// @throw std::bad_alloc
  static MbMeshFile read(const std::string& path, const MbMeshFileOptions& options = {});

  MbMeshFile(MbMeshFile&&) noexcept;
  MbMeshFile& operator=(MbMeshFile&&) noexcept;
  ~MbMeshFile();

  /// Never null; its interface is the one of getMeshType().
  const MiMesh* getMesh() const;
  MeshType getMeshType() const;

  const std::string& getPath() const;
  /// The paths of all files that were read: the file itself, pieces, files that are included; of a
  /// series also the steps that were not. Who writes files should spare them.
  std::span<const std::string> getFiles() const;
  /// "legacy vtk", "vtu", "pvti", "pvd" and so on.
  const std::string& getFormat() const;
  /// The title line of a legacy file; empty for others.
  const std::string& getTitle() const;
  /// The time of the step of a series, or the file's field value "TIME" or "TimeValue".
  std::optional<double> getTime() const;

  std::size_t getNodeCount() const;
  std::size_t getCellCount() const;
  /// Cells that the active array marks as dead.
  std::size_t getDeadCellCount() const;
  /// Cells along each axis: three for volumes, two for surfaces, one for lines, none when
  /// unstructured.
  std::vector<std::size_t> getCellDimensions() const;
  /// Cells per shape, named as MiCellShapeFacts does, ordered by shape; shapes of no cell are left
  /// out, shapes that are not known are "unknown".
  std::vector<std::pair<std::string, std::size_t>> getShapeCounts() const;
  /// xmin, xmax, ymin, ymax, zmin, zmax of all finite nodes; min > max without such a node.
  std::array<double, 6> getBounds() const;

  std::span<const MbMeshFileArray> getArrays() const;
  /// NAME, NAME@node or NAME@cell; NAME alone means the array per node where both exist. Null when
  /// there is none.
  const MbMeshFileArray* findArray(const std::string& name) const;

  /// What was left out or changed while reading, one sentence each.
  const std::vector<std::string>& getNotes() const;
  /// What the file tells besides, one sentence each: names of numbered sets, keywords that place a
  /// grid on a map. None of it is amiss.
  const std::vector<std::string>& getRemarks() const;

  /// Reads an unstructured mesh of hexahedra, cells in the order i + ni * (j + nj * k), as a
  /// hexahedron IJK mesh (nodes stay shared, data per node stays flat) or, with `vertex`, as a
  /// vertex hexahedron IJK mesh (each cell its own eight corners; a node value goes to the logical
  /// corner, at a fault the one of the first live cell). Empty `active` means those cells that the
  /// file itself marks, if it does.
  /// @throw MbMeshKindError when the mesh has other cells, MbMeshFileError when counts do not fit
  static MbMeshFile asHexahedronIjk(MbMeshFile file, const MbIndex3& cells, bool vertex,
                                    const std::string& active = {});

private:
  struct Impl;
  explicit MbMeshFile(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> m_impl;
};
