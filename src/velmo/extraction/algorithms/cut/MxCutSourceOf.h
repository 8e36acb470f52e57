#pragma once

#include <velmo/extraction/algorithms/access/MxArrayAccess.h>
#include <velmo/extraction/algorithms/access/MxIjkGrid.h>
#include <velmo/extraction/algorithms/access/MxNodeNumbering.h>
#include <velmo/extraction/algorithms/cut/MxCutSource.h>

/// What MxCutSource and MxCutPlaces are made of: a way to read values or points, compiled into the
/// loops over a batch.

/// The levels of a field: `values`[node] less the isovalue.
template <class Values>
struct MxFieldLevels
{
  Values values;
  double isovalue;

  double level(std::size_t node) const { return values[node] - isovalue; }
  /// The node's level will be asked for soon.
  [[gnu::always_inline]] void announce(std::size_t node) const
  {
    if constexpr (std::is_pointer_v<Values>) __builtin_prefetch(values + node);
  }
  double weight(std::size_t a, std::size_t b) const { return linearCutWeight(level(a), level(b)); }

  static constexpr std::size_t kComponentCount = 1;
  void read(const std::uint32_t* nodes, std::size_t count, double* read) const
  {
    for (std::size_t n = 0; n < count; ++n)
      read[n] = values[nodes[n]];
  }
};

template <class Points>
void readPlaces(const Points& points, const std::uint32_t* nodes, std::size_t count, double* values)
{
  for (std::size_t n = 0; n < count; ++n) {
    const MbVec3d p = points[nodes[n]];
    values[n] = p.x;
    values[count + n] = p.y;
    values[2 * count + n] = p.z;
  }
}

/// The levels of a shape in space at `points`[node].
template <class Shape, class Points>
struct MxShapeLevels
{
  Shape shape;
  Points points;

  double level(std::size_t node) const { return shape.level(points[node]); }
  [[gnu::always_inline]] void announce(std::size_t node) const { prefetchPoint(points, node); }
  double weight(std::size_t a, std::size_t b) const { return shape.weight(points[a], points[b]); }

  static constexpr std::size_t kComponentCount = 3;
  void read(const std::uint32_t* nodes, std::size_t count, double* read) const
  {
    readPlaces(points, nodes, count, read);
  }
};

template <class Levels>
class MxCutSourceOf final : public MxCutSource
{
public:
  explicit MxCutSourceOf(const Levels& levels) : m_levels(levels) {}

  std::uint8_t classifyRange(std::size_t first, std::size_t last,
                             std::uint8_t* classes) const override
  {
    // A copy, which the bytes that are written cannot be part of; levels first, as they may need
    // more than the loop that makes bytes of them can be vectorised with.
    const Levels levels = m_levels;
    constexpr std::size_t kChunk = 512;
    double chunk[kChunk];
    std::uint8_t bytes[kChunk];
    std::uint8_t all = 0;
    for (; first < last; first += kChunk, classes += kChunk) {
      const std::size_t count = std::min(kChunk, last - first);
      for (std::size_t n = 0; n < count; ++n)
        chunk[n] = levels.level(first + n);
      for (std::size_t n = 0; n < count; ++n)
        bytes[n] = classifyLevel(chunk[n]);
      for (std::size_t n = 0; n < count; ++n)
        all |= bytes[n];
      std::copy(bytes, bytes + count, classes);
    }
    return all;
  }
  void classify(const std::uint32_t* nodes, std::size_t count, std::uint8_t* classes) const override
  {
    const Levels levels = m_levels;
    constexpr std::size_t kChunk = 512;
    double chunk[kChunk];
    std::uint8_t bytes[kChunk];
    for (; count > 0;) {
      const std::size_t now = std::min(kChunk, count);
      for (std::size_t n = 0; n < now; ++n)
        chunk[n] = levels.level(nodes[n]);
      for (std::size_t n = 0; n < now; ++n)
        bytes[n] = classifyLevel(chunk[n]);
      std::copy(bytes, bytes + now, classes);
      count -= now;
      nodes += now;
      classes += now;
    }
  }
  void announce(const std::uint32_t* nodes, std::size_t count) const override
  {
    for (std::size_t n = 0; n < count; ++n)
      m_levels.announce(nodes[n]);
  }
  void weigh(const std::uint32_t* edges, std::size_t count, double* weights) const override
  {
    for (std::size_t n = 0; n < count; ++n)
      weights[n] =
          edges[2 * n] == edges[2 * n + 1] ? 0 : m_levels.weight(edges[2 * n], edges[2 * n + 1]);
  }

  std::size_t componentCount() const override { return Levels::kComponentCount; }
  void read(const std::uint32_t* nodes, std::size_t count, double* values) const override
  {
    m_levels.read(nodes, count, values);
  }

private:
  Levels m_levels;
};

/// Points by node.
template <class Points>
class MxCutPlacesOf final : public MxCutPlaces
{
public:
  explicit MxCutPlacesOf(const Points& points) : m_points(points) {}

  MbVec3d operator[](std::size_t node) const override { return m_points[node]; }
  void read(const std::uint32_t* nodes, std::size_t count, double* values) const override
  {
    readPlaces(m_points, nodes, count, values);
  }
  std::unique_ptr<MxCutSource> makeSource(const MxCutShape& shape) const override
  {
    std::unique_ptr<MxCutSource> source;
    visitShapeLevel(shape, [&]<class Level>(const Level& level) {
      using Levels = MxShapeLevels<Level, Points>;
      source = std::make_unique<MxCutSourceOf<Levels>>(Levels{level, m_points});
    });
    return source;
  }
  void place(bool parallel, MeXSurfaceMeshUnstructured& surface) const override
  {
    const Points points = m_points;
    const MeXProvenance& provenance = surface.provenance;
    placePoints(
        provenance.weights.size(),
        [&](std::size_t n) {
          const double weight = provenance.weights[n];
          const MbVec3d first = points[provenance.nodes[2 * n]];
          if (weight == 0) return first;
          return first * (1 - weight) + points[provenance.nodes[2 * n + 1]] * weight;
        },
        [&](std::size_t n) {
          prefetchPoint(points, provenance.nodes[2 * n]);
          prefetchPoint(points, provenance.nodes[2 * n + 1]);
        },
        parallel, surface.geometry);
  }

private:
  Points m_points;
};

/// Values of a set that has no array of floats or doubles without gaps.
struct MxAnyValues
{
  const MiDataSetI<double>* flat = nullptr;
  const MiDataSetIjk<double>* grid = nullptr;
  MxIjkNumbering numbering{};
  MiArrayView view{};

  double operator[](std::size_t node) const
  {
    if (view)
      return visitScalarType(view.type, [&](auto scalar) {
        return static_cast<double>(*reinterpret_cast<const decltype(scalar)*>(
            static_cast<const char*>(view.data) + node * view.stride));
      });
    if (flat) return flat->getValue(node);
    const MbIndex3 at = numbering.split(node);
    return grid->getValue(at.x, at.y, at.z);
  }
};

/// Calls visit(values) with the set's values by flat node; false when the set does not fit the
/// nodes: a flat set fits any, an IJK one nodes numbered so.
template <class Visitor>
bool visitNodeValues(const MiTypedDataSet<double>& set, const MbIndex3& nodeCounts, bool isGrid,
                     const Visitor& visit)
{
  MxAnyValues any;
  any.numbering = {nodeCounts};
  any.flat = dynamic_cast<const MiDataSetI<double>*>(&set);
  any.grid = isGrid ? dynamic_cast<const MiDataSetIjk<double>*>(&set) : nullptr;
  const std::size_t nodeCount = any.numbering.total();
  if (any.grid && any.grid->getSizes() != nodeCounts) any.grid = nullptr;
  if (any.flat && any.flat->getSize() != nodeCount) any.flat = nullptr;
  if (set.getBinding() != MiDataBinding::PerNode || (!any.grid && !any.flat)) return false;
  const MiArrayView view = any.grid ? any.grid->getView() : any.flat->getView();
  if (view && view.count >= nodeCount) any.view = view;
  if (any.grid) any.flat = nullptr;
  if (any.view.isContiguous<double>())
    visit(view.as<double>());
  else if (any.view.isContiguous<float>())
    visit(view.as<float>());
  else
    visit(any);
  return true;
}

/// The levels of a field; null for a set that does not fit the nodes.
/// @param byNode  makes of the values by data node those by node
template <class ByNode>
std::unique_ptr<MxCutSource> makeFieldSource(const MxIsovalue& field, const MbIndex3& nodeCounts,
                                             bool isGrid, const ByNode& byNode)
{
  std::unique_ptr<MxCutSource> source;
  visitNodeValues(*field.set, nodeCounts, isGrid, [&](const auto& values) {
    using Levels = MxFieldLevels<decltype(byNode(values))>;
    source = std::make_unique<MxCutSourceOf<Levels>>(Levels{byNode(values), field.value});
  });
  return source;
}
