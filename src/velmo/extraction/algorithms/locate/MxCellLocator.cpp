#include <velmo/extraction/algorithms/locate/MxCellLocator.h>

#include <velmo/extraction/algorithms/access/MxIjkGrid.h>
#include <velmo/extraction/algorithms/access/MxShared.h>
#include <velmo/extraction/algorithms/check/MxMeshCheck.h>
#include <velmo/mesh/MxShapeFunctions.h>
#include <velmo/mesh/views/MxCells.h>

#include <cmath>

// --- The locator -----------------------------------------------------------------------------

namespace {

MxShared<MxMeshKey, MxCellLocator>& locators()
{
  static MxShared<MxMeshKey, MxCellLocator> memory;
  return memory;
}

/// The arrays of topology and geometry that cells are read from, as far as they tell meshes apart.
const void* dataOf(const MiGeometryI& geometry)
{
  return geometry.getView().data;
}
const void* dataOf(const MiGeometryIjk& geometry)
{
  return geometry.getView().data;
}
const void* dataOf(const MiGeometryIj& geometry)
{
  return geometry.getView().data;
}
const void* dataOf(const MiGeometryVertexIjk& geometry)
{
  return geometry.getView().corners.data;
}

/// Grids of boxes; none where the nodes of an axis turn back.
template <class Mesh>
std::vector<MxGridAxis> makeGridAxes(const Mesh& mesh)
{
  const MbIndex3 cells = mesh.getTopology().getCellCounts();
  std::vector<MxGridAxis> axes;
  if (cells.x == 0 || cells.y == 0 || cells.z == 0) return axes;
  countOrRefuse(nodeCountsOf(cells), "nodes");
  if (mesh.getGeometry().getNodeCounts() != nodeCountsOf(cells)) return axes;
  const MxAxes nodes = makeAxes(mesh);
  for (std::size_t a = 0; a < 3; ++a) {
    if (!MxGridAxis::isOrdered(nodes.values[a])) return {};
    double step = 0;
    if constexpr (std::is_same_v<Mesh, MiVolumeMeshRegular>)
      step = mesh.getGeometry().getSpacing()[a];
    axes.emplace_back(nodes.values[a], step);
  }
  return axes;
}

} // namespace

template <MeshType Kind>
std::shared_ptr<const MxCellLocator>
MxCellLocator::make(const typename MxMeshKind<Kind>::Interface& mesh, bool parallel)
{
  auto locator = std::make_shared<MxCellLocator>();
  locator->m_reader = makeCellReader<Kind>(mesh);
  const MxCellReader& reader = *locator->m_reader;
  countOrRefuse(reader.cellCounts, "cells");
  if constexpr (Kind == VOLUME_MESH_REGULAR || Kind == VOLUME_MESH_RECTILINEAR) {
    locator->m_axes = makeGridAxes(mesh);
    if (!locator->m_axes.empty()) {
      const MxCells<MiTopologyIjk> cells(mesh.getTopology(), mesh.getGeometry().getNodeCounts());
      if (cells.hasDead())
        locator->m_isDead = [cells](std::size_t cell) { return cells.isDead(cell); };
      return locator;
    }
  }
  if constexpr (Kind == VOLUME_MESH_UNSTRUCTURED || Kind == SURFACE_MESH_UNSTRUCTURED)
    locator->m_tree.build(parallel, reader.cellCount(),
                          [&](std::size_t cell) { return reader.box(cell); });
  else
    locator->m_tree.buildGrid(parallel,
                              {reader.cellCounts.x, reader.cellCounts.y, reader.cellCounts.z},
                              [&](std::size_t cell, std::size_t count, MxBox3d* boxes) {
                                reader.boxes(cell, count, boxes);
                              });
  return locator;
}

template <MeshType Kind>
std::shared_ptr<const MxCellLocator>
MxCellLocator::get(const typename MxMeshKind<Kind>::Interface& mesh, bool parallel)
{
  const auto& topology = mesh.getTopology();
  const auto& geometry = mesh.getGeometry();
  const MxMeshKey key{
      &topology, topology.getTimeStamp(),        &geometry,       geometry.getTimeStamp(),
      0,         static_cast<std::size_t>(Kind), dataOf(geometry)};
  return locators().remember(key, [&] { return make<Kind>(mesh, parallel); });
}

// --- The cursor ------------------------------------------------------------------------------

MxCellCursor::MxCellCursor(const MxCellLocator& locator, const MxCellsLeft& left)
    : m_locator(&locator), m_left(&left)
{
  if (!locator.isGrid()) return;
  m_weights.resizeUninitialized(8);
  const MxIjkNumbering nodes{locator.nodeCounts()};
  for (std::size_t n = 0; n < 8; ++n)
    m_corners[n] = static_cast<std::uint32_t>(
        nodes.flat(kCornerSteps[n][0], kCornerSteps[n][1], kCornerSteps[n][2]));
}

bool MxCellCursor::findElsewhere(const MbVec3d& point)
{
  m_isFound = false;
  if (!isFinite(point)) return false;
  if (m_locator->isGrid())
    m_isFound = findInGrid(point, m_at);
  else
    m_isFound = findInTree(point, [&](const auto& visit) {
      m_locator->tree().findAt({point.x, point.y, point.z}, visit);
    });
  return m_isFound;
}

bool MxCellCursor::findAmong(std::span<const std::uint32_t> cells, const MbVec3d& point)
{
  m_isFound = isFinite(point) && findInTree(point, [&](const auto& visit) {
                for (const std::uint32_t cell : cells)
                  if (visit(cell)) return;
              });
  return m_isFound;
}

bool MxCellCursor::findElsewhereFrom(std::size_t hint, const MbVec3d& point)
{
  if (hint != m_cell && hint < m_locator->reader().cellCount()) {
    if (m_locator->isGrid()) {
      m_isFound = isFinite(point) && findInGrid(point, splitIndex(hint, m_locator->cellCounts()));
      return m_isFound;
    }
    if (isLeft(hint)) {
      MxCellMap& map = m_maps[m_current];
      m_cell = m_locator->reader().read(hint, map) ? hint : kNoCell;
      m_place = map.middle();
      m_extent = map.extent();
    }
  }
  return findElsewhere(point);
}

void MxCellCursor::standIn(MxCellMap& map, const MxPlace& place)
{
  m_place = place;
  m_cell = map.cell();
  m_size = map.size();
  m_extent = map.extent();
  m_nodes = map.nodes();
  m_weights.resizeUninitialized(m_size);
  map.weights(place, m_weights.data());
}

void MxCellCursor::pullIn(MbVec3d& point)
{
  if (m_locator->isGrid()) {
    double place[3];
    for (std::size_t a = 0; a < 3; ++a) {
      const auto [low, high] = m_locator->axes()[a].ends(m_at[a]);
      point[a] = std::clamp(point[a], std::min(low, high), std::max(low, high));
      place[a] = (point[a] - low) * m_box[a].inverse;
    }
    weighCorners(place);
    return;
  }
  MxCellMap& map = m_maps[m_current];
  map.pullIn(m_place);
  standIn(map, m_place);
  point = {};
  for (std::size_t n = 0; n < m_size; ++n)
    point += map.points()[n] * m_weights[n];
}

/// @param visitCandidates  calls visit(cell) for all cells that may hold the point, until one call
///                         answers true
template <class VisitCandidates>
bool MxCellCursor::findInTree(const MbVec3d& point, const VisitCandidates& visitCandidates)
{
  MxCellMap* current = &m_maps[m_current];
  const std::size_t here = current->cell();
  double outsideHere = kNowhere;
  MxPlace placeHere = m_place;
  if (here != kNoCell) {
    outsideHere = current->findPlace(point, placeHere);
    if (outsideHere < -kInsideTolerance) {
      standIn(*current, placeHere);
      return true;
    }
  }
  // On the rim of a cell or elsewhere.
  std::size_t best = kNoCell;
  MxPlace bestPlace;
  MxCellMap& trial = m_maps[1 - m_current];
  const MxCellReader& reader = m_locator->reader();
  visitCandidates([&](std::size_t cell) {
    MxPlace place = placeHere;
    double outside = outsideHere;
    if (cell != here) {
      if (!isLeft(cell) || (trial.cell() != cell && !reader.read(cell, trial))) return false;
      place = trial.middle();
      outside = trial.findPlace(point, place);
    }
    if (outside < -kInsideTolerance) {
      best = cell;
      bestPlace = place;
      return true;
    }
    if (outside <= kInsideTolerance && cell < best) {
      best = cell;
      bestPlace = place;
    }
    return false;
  });
  if (best == kNoCell)
    visitCandidates([&](std::size_t cell) {
      if (!isLeft(cell) || (trial.cell() != cell && !reader.read(cell, trial))) return false;
      if (trial.findFoldedPlace(point, bestPlace) > kInsideTolerance) return false;
      best = cell;
      return true;
    });
  if (best == kNoCell) return false;
  if (best != here) {
    if (trial.cell() != best && !reader.read(best, trial)) return false;
    m_current = 1 - m_current;
    current = &trial;
  }
  standIn(*current, bestPlace);
  return true;
}

/// @param from  a box to look at first
bool MxCellCursor::findInGrid(const MbVec3d& point, const MbIndex3& from)
{
  MbIndex3 at;
  double place[3];
  const std::vector<MxGridAxis>& axes = m_locator->axes();
  const bool inX = axes[0].findInside(point.x, from.x, at.x, place[0]),
             inY = axes[1].findInside(point.y, from.y, at.y, place[1]),
             inZ = axes[2].findInside(point.z, from.z, at.z, place[2]);
  if (inX && inY && inZ) return standInBox(at, place);
  // On the rim of boxes, or outside.
  const MxGridAxis::Answer x = axes[0].find(point.x, from.x), y = axes[1].find(point.y, from.y),
                           z = axes[2].find(point.z, from.z);
  for (std::uint32_t c = 0; c < z.count; ++c)
    for (std::uint32_t b = 0; b < y.count; ++b)
      for (std::uint32_t a = 0; a < x.count; ++a)
        if (standInBox({x.interval[a], y.interval[b], z.interval[c]},
                       {x.place[a], y.place[b], z.place[c]}))
          return true;
  return false;
}

/// False for a cell that is dead or not left.
bool MxCellCursor::standInBox(const MbIndex3& at, const double (&place)[3])
{
  const std::size_t cell = MxIjkNumbering{m_locator->cellCounts()}.flat(at.x, at.y, at.z);
  if (cell != m_cell) {
    if (m_locator->isDead(cell) || !isLeft(cell)) return false;
    m_cell = cell;
    m_at = at;
    m_size = 8;
    m_nodes = m_gridNodes.data();
    const auto first =
        static_cast<std::uint32_t>(MxIjkNumbering{m_locator->nodeCounts()}.flat(at.x, at.y, at.z));
    for (std::size_t n = 0; n < 8; ++n)
      m_gridNodes[n] = first + m_corners[n];
    const std::vector<MxGridAxis>& axes = m_locator->axes();
    for (std::size_t a = 0; a < 3; ++a)
      m_box[a] = axes[a].step(at[a]);
    m_extent = {axes[0].width(at.x), axes[1].width(at.y), axes[2].width(at.z)};
  }
  weighCorners(place);
  return true;
}

void MxCellCursor::weighCorners(const double (&place)[3])
{
  shapeWeights<MiCellShape::Hexahedron>(place, m_weights.data());
}

double MxCellCursor::sizeAlong(const MbVec3d& direction) const
{
  // The way through the box: the side that is passed first ends it.
  double inverse = 0;
  for (std::size_t a = 0; a < 3; ++a)
    if (direction[a] != 0) inverse = std::max(inverse, std::abs(direction[a]) / m_extent[a]);
  return inverse > 0 ? length(direction) / inverse : 0;
}

#define VELMO_INSTANTIATE(Kind)                                                                    \
  template std::shared_ptr<const MxCellLocator> MxCellLocator::get<Kind>(                          \
      const MxMeshKind<Kind>::Interface&, bool);

VELMO_FOR_CELL_MESHES(VELMO_INSTANTIATE)
