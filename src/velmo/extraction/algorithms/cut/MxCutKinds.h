#pragma once

#include <velmo/extraction/algorithms/access/MxArrayAccess.h>
#include <velmo/extraction/algorithms/access/MxIjkGrid.h>
#include <velmo/extraction/algorithms/access/MxNodeNumbering.h>
#include <velmo/extraction/algorithms/cut/MxCutLevels.h>
#include <velmo/extraction/algorithms/cut/MxCutPasses.h>

/// What the cuts of all mesh kinds share.

/// Points without gaps.
template <class T>
struct MxTightPoints
{
  const T* data;

  MbVec3d operator[](std::size_t i) const
  {
    const T* p = data + 3 * i;
    return {static_cast<double>(p[0]), static_cast<double>(p[1]), static_cast<double>(p[2])};
  }
  [[gnu::always_inline]] void prefetch(std::size_t i) const { __builtin_prefetch(data + 3 * i); }
};

/// Points in any other form.
struct MxAnyPoints
{
  const MiGeometryI* geometry;
  MiArrayView view{};

  MbVec3d operator[](std::size_t i) const
  {
    if (!view) return geometry->getNode(i);
    const char* place = static_cast<const char*>(view.data) + i * view.stride;
    return view.type == MiScalarType::Float32
               ? MxTightPoints<float>{reinterpret_cast<const float*>(place)}[0]
               : MxTightPoints<double>{reinterpret_cast<const double*>(place)}[0];
  }
};

/// Calls visit(points) with the nodes of a geometry.
template <class Visitor>
void visitCutPoints(const MiGeometryI& geometry, const Visitor& visit)
{
  const MiArrayView view = geometry.getView();
  const bool isWhole = view && view.count >= geometry.getNodeCount();
  if (isWhole && view.isContiguous<double>(3))
    visit(MxTightPoints<double>{view.as<double>()});
  else if (isWhole && view.isContiguous<float>(3))
    visit(MxTightPoints<float>{view.as<float>()});
  else if (isWhole && (view.type == MiScalarType::Float32 || view.type == MiScalarType::Float64))
    visit(MxAnyPoints{&geometry, view});
  else
    visit(MxAnyPoints{&geometry});
}

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

/// Calls visit(source) with the levels of a cut; false when there are none.
/// @param points     positions by flat node
/// @param isGrid     the data sets per node are numbered (i, j, k)
/// @param dataNode   makes of the values by data node those by node
template <class Points, class DataNode, class Visitor>
bool visitCutSource(const MxCutShape& shape, const Points& points, const MbIndex3& dataNodes,
                    bool isGrid, const DataNode& dataNode, const Visitor& visit)
{
  if (const auto* iso = std::get_if<MxIsovalue>(&shape))
    return visitNodeValues(*iso->set, dataNodes, isGrid, [&](const auto& values) {
      const auto byNode = dataNode(values);
      visit(MxCutSourceOf(MxFieldLevels<std::decay_t<decltype(byNode)>>{byNode, iso->value}));
    });
  const auto visitShape = [&]<class Shape>(const Shape& level) {
    visit(MxCutSourceOf(MxShapeLevels<Shape, Points>{level, points}));
  };
  if (const auto* plane = std::get_if<MxCutPlane>(&shape))
    visitShape(MxPlaneLevel(*plane));
  else if (const auto* sphere = std::get_if<MxCutSphere>(&shape))
    visitShape(MxSphereLevel(*sphere));
  else
    visitShape(MxCylinderLevel(std::get<MxCutCylinder>(shape)));
  return true;
}

/// An empty surface.
inline void clearCut(MeXSurfaceMeshUnstructured& surface)
{
  surface.topology.setUniform(0, 3);
  surface.provenance.form = MeXProvenance::NodeForm::Edge;
  surface.provenance.cells.clear();
  surface.provenance.nodes.clear();
  surface.provenance.weights.clear();
  surface.provenance.offsets.clear();
  surface.provenance.nodeCells.clear();
  surface.geometry.origin = {};
  surface.geometry.points().clear();
  surface.geometry.touch(false);
}

/// Places the vertices on their edges.
template <class Points>
void placeCut(const Points& points, bool parallel, MeXSurfaceMeshUnstructured& surface)
{
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

/// Cells that are dead or not accepted are left out.
class MxIjkCutKeep final : public MxCutKeep
{
public:
  MxIjkCutKeep(const MiTopologyIjk& topology, const MiCellFilterIjk* filter)
      : m_topology(&topology), m_filter(filter), m_cells{topology.getCellCounts()},
        m_active(topology.getActiveView()), m_hasDead(topology.hasDeadCells())
  {}
  bool isNeeded() const { return m_filter || m_hasDead; }
  bool keep(std::size_t cell) const override
  {
    const MbIndex3 at = m_cells.split(cell);
    if (m_hasDead && (m_active ? cell >= m_active.size() || m_active[cell] == 0
                               : m_topology->isDead(at.x, at.y, at.z)))
      return false;
    return !m_filter || m_filter->acceptCell(at.x, at.y, at.z);
  }

private:
  const MiTopologyIjk* m_topology;
  const MiCellFilterIjk* m_filter;
  MxIjkNumbering m_cells;
  MxIndexArray m_active;
  bool m_hasDead;
};

/// Hexahedra whose nodes a function gives: cornersOf(cell, nodes) fills eight numbers.
template <class CornersOf>
class MxHexahedronCells
{
public:
  MxHexahedronCells(std::size_t cellCount, const CornersOf& cornersOf)
      : m_cellCount(cellCount), m_cornersOf(cornersOf)
  {}

  std::size_t cellCount() const { return m_cellCount; }
  bool isCleanBlock(std::size_t, std::size_t, std::size_t) const { return false; }
  struct Run
  {
    std::size_t count = 0;
    MiCellShape shape = MiCellShape::Empty;
    const std::uint32_t* nodes = nullptr;
  };
  Run findRun(std::size_t, std::size_t) const { return {}; }

  class Cursor
  {
  public:
    explicit Cursor(const MxHexahedronCells& cells) : m_cells(&cells) {}
    void load(std::size_t cell) { m_cells->m_cornersOf(cell, m_nodes); }
    MiCellShape shape() const { return MiCellShape::Hexahedron; }
    std::size_t size() const { return 8; }
    const std::uint32_t* nodes() const { return m_nodes; }
    const std::uint32_t* stream() const { return nullptr; }
    std::size_t streamSize() const { return 0; }

  private:
    const MxHexahedronCells* m_cells;
    std::uint32_t m_nodes[8] = {};
  };

private:
  std::size_t m_cellCount;
  CornersOf m_cornersOf;
};

/// True when most of a grid's cells are left-handed: a sample of them, the same for the same mesh.
/// @param cornersOf  cornersOf(cell, nodes) fills the eight nodes of a usable cell
template <class CornersOf, class Points>
bool isLeftHanded(std::size_t cellCount, const MxBits& unusable, const CornersOf& cornersOf,
                  const Points& points)
{
  constexpr std::size_t kSample = 64;
  const std::size_t step = std::max<std::size_t>(1, cellCount / kSample);
  int sum = 0;
  for (std::size_t cell = 0; cell < cellCount; cell += step) {
    if (!unusable.empty() && unusable.test(cell)) continue;
    std::uint32_t nodes[8];
    cornersOf(cell, nodes);
    const MbVec3d origin = points[nodes[0]];
    const double volume =
        dot(cross(points[nodes[1]] - origin, points[nodes[3]] - origin), points[nodes[4]] - origin);
    sum += (volume > 0) - (volume < 0);
  }
  return sum < 0;
}
