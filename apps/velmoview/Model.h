#pragma once

#include <velmoview/Measure.h>
#include <velmoview/Options.h>

#include <velmo/extraction/interfaces/MeshType.h>
#include <velmo/extraction/interfaces/MiMesh.h>
#include <velmo/mesh/MbDataSet.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace velmoview {

/// The finite values of one component of an array, or of the length of its vectors.
struct ValueRange
{
  double min = 1, max = 0; ///< min > max: no finite value
  std::size_t nanCount = 0, infiniteCount = 0;
  bool isEmpty() const { return min > max; }
  /// @param value  finite
  void include(double value)
  {
    const bool first = isEmpty();
    min = first || value < min ? value : min;
    max = first || value > max ? value : max;
  }
};

/// An array of the mesh to draw.
struct ModelArray
{
  std::string name;
  MiDataBinding binding = MiDataBinding::PerNode;
  std::size_t components = 1;
  /// One item of `components` numbers a node or cell, I fastest.
  MiArrayView values;
  bool isPartial = false; ///< NaN stands for no value, where the file has none
  /// One a component; vectors have a fourth one, of their length.
  std::vector<ValueRange> ranges;
  /// Of double or MbVec3d, numbered as the mesh kind asks; null for other component counts.
  const MiDataSet* set = nullptr;
  /// The lengths of vectors, made by the first who needs them.
  mutable std::shared_ptr<const MiDataSet> lengths;
};

/// The mesh to draw, from a file or built in, and what a report says of it.
struct Model
{
  std::string source;
  std::string format, title;      ///< of a file; a title is rare
  std::vector<std::string> files; ///< all that were read, or belong to those that were
  const MiMesh* mesh = nullptr;
  MeshType kind = UNDEFINED_MESH;
  std::vector<std::size_t> dims; ///< cells along each axis; empty when unstructured
  std::size_t nodes = 0, cells = 0, deadCells = 0;
  std::vector<std::pair<std::string, std::size_t>> shapes;
  Bounds bounds{};
  std::optional<double> time;
  std::vector<ModelArray> arrays;
  std::vector<std::string> notes;    ///< what reading left out
  std::vector<std::string> remarks;  ///< what the file tells besides
  std::shared_ptr<const void> owner; ///< keeps the mesh and the arrays

  /// The array of this name, the one per node where both exist; null when there is none.
  const ModelArray* find(const ArrayName& name) const;
};

/// An array of a built-in mesh, `components` numbers a node or cell.
struct DemoArray
{
  std::string name;
  MiDataBinding binding;
  std::size_t components;
  std::vector<float> values;
};

struct DemoMesh
{
  std::shared_ptr<const MiMesh> mesh;
  std::vector<DemoArray> arrays;
};

/// @param progress  told how much is read, 0 to 1; may be empty
/// @throw MbMeshFileError, UsageError when the mesh is not of the kind asked for
Model readModel(const Options& options, const std::function<void(double)>& progress = {});

/// Values as a data set of double or MbVec3d, numbered as the model's mesh kind asks.
template <class T>
std::shared_ptr<const MiDataSet> makeDataSet(const Model& model, const std::string& name,
                                             MiDataBinding binding,
                                             typename MbValues<T>::Array values);

/// Describes a built-in mesh as a file's reader would.
Model modelOf(std::string source, DemoMesh demo);

} // namespace velmoview
