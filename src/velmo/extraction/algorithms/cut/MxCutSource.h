#pragma once

#include <velmo/extraction/algorithms/cut/MxCutShapes.h>
#include <velmo/extraction/interfaces/MiGeometry.h>
#include <velmo/mesh/MeXMesh.h>

#include <memory>

/// What the passes of a cut ask of nodes. Values and places come in batches, so that ways to read
/// them are not multiplied with ways to read cells.

/// Reads values of nodes, one or three each.
class MxCutReader
{
public:
  virtual ~MxCutReader() = default;
  virtual std::size_t componentCount() const = 0;
  /// Component c of node n goes to values[c * count + n].
  virtual void read(const std::uint32_t* nodes, std::size_t count, double* values) const = 0;
};

/// The levels of all nodes of a mesh; read, they are the values or places that they are made of.
class MxCutSource : public MxCutReader
{
public:
  /// The classes of the nodes [first, last).
  /// @return all their bits
  virtual std::uint8_t classifyRange(std::size_t first, std::size_t last,
                                     std::uint8_t* classes) const = 0;
  /// The classes of `count` nodes.
  virtual void classify(const std::uint32_t* nodes, std::size_t count,
                        std::uint8_t* classes) const = 0;
  /// The classes of some nodes will be asked for soon.
  virtual void announce(const std::uint32_t* nodes, std::size_t count) const = 0;
  /// The second nodes' weights of `count` cut edges, two nodes each; zero where both are the same.
  virtual void weigh(const std::uint32_t* edges, std::size_t count, double* weights) const = 0;
};

/// The places of all nodes of a mesh.
class MxCutPlaces : public MxCutReader
{
public:
  std::size_t componentCount() const final { return 3; }
  virtual MbVec3d operator[](std::size_t node) const = 0;
  /// The levels of a shape in space, which borrow the nodes; null for a field.
  virtual std::unique_ptr<MxCutSource> makeSource(const MxCutShape& shape) const = 0;
  /// Places the vertices of a surface on their edges.
  virtual void place(bool parallel, MeXSurfaceMeshUnstructured& surface) const = 0;
};

/// @param geometry  borrowed
std::unique_ptr<MxCutPlaces> makeCutPlaces(const MiGeometryI& geometry);

/// The levels of a cut of nodes of one index; null for a field that does not fit these.
std::unique_ptr<MxCutSource> makeCutSource(const MxCutShape& shape, const MxCutPlaces& places,
                                           std::size_t nodeCount);
