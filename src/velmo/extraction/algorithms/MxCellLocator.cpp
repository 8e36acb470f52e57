#include <velmo/extraction/algorithms/MxCellLocator.h>

#include <velmo/extraction/algorithms/MxIjkGrid.h>
#include <velmo/extraction/algorithms/MxMeshCheck.h>
#include <velmo/extraction/algorithms/MxShared.h>
#include <velmo/mesh/views/MxCells.h>

#include <algorithm>
#include <cmath>

// --- A grid's axis ---------------------------------------------------------------------------

bool MxGridAxis::isOrdered(const std::vector<double>& nodes)
{
  if (nodes.size() < 2) return false;
  bool rising = true, falling = true;
  for (std::size_t i = 0; i + 1 < nodes.size(); ++i) {
    rising = rising && nodes[i] <= nodes[i + 1];
    falling = falling && nodes[i] >= nodes[i + 1];
  }
  return (rising || falling) && std::isfinite(nodes.front()) && std::isfinite(nodes.back());
}

MxGridAxis::MxGridAxis(std::vector<double> nodes, double step)
    : m_nodes(std::move(nodes)), m_inverseStep(step != 0 ? 1 / step : 0),
      m_sign(m_nodes.back() < m_nodes.front() ? -1 : 1)
{
  if (!std::isfinite(m_inverseStep)) m_inverseStep = 0;
}

std::size_t MxGridAxis::intervalOf(double x, std::size_t hint) const
{
  const std::size_t last = m_nodes.size() - 2;
  if (m_inverseStep != 0) {
    const double at = (x - m_nodes.front()) * m_inverseStep;
    return at > 0 ? std::min(static_cast<std::size_t>(std::min(at, 1e15)), last) : 0;
  }
  const double u = m_sign * x;
  if (hint <= last && m_sign * m_nodes[hint] <= u && u < m_sign * m_nodes[hint + 1]) return hint;
  const auto above =
      std::upper_bound(m_nodes.begin(), m_nodes.end(), u,
                       [this](double value, double node) { return value < m_sign * node; });
  const std::size_t interval = static_cast<std::size_t>(above - m_nodes.begin());
  return std::min(interval > 0 ? interval - 1 : 0, last);
}

MxGridAxis::Answer MxGridAxis::find(double x, std::size_t hint) const
{
  Answer answer;
  std::size_t interval = intervalOf(x, hint);
  // Intervals without width hold nothing: the next one with a width counts.
  const std::size_t last = m_nodes.size() - 2;
  while (width(interval) == 0 && interval > 0)
    --interval;
  while (width(interval) == 0 && interval < last)
    ++interval;
  const auto consider = [&](std::size_t candidate) {
    const double low = m_nodes[candidate], size = m_nodes[candidate + 1] - low;
    const double place = (x - low) / size;
    if (!(place >= -kInsideTolerance && place <= 1 + kInsideTolerance)) return;
    answer.interval[answer.count] = candidate;
    answer.place[answer.count++] = place;
  };
  const double place = (x - m_nodes[interval]) / (m_nodes[interval + 1] - m_nodes[interval]);
  if (!std::isfinite(place)) return answer;
  if (place > kInsideTolerance && place < 1 - kInsideTolerance) {
    answer = {1, {interval, 0}, {place, 0}};
    return answer;
  }
  // On a node: the interval before it and the one behind.
  std::size_t before = interval, behind = interval;
  if (place <= kInsideTolerance) {
    while (before > 0 && width(--before) == 0) {
    }
    if (width(before) == 0) before = interval;
  } else {
    while (behind < last && width(++behind) == 0) {
    }
    if (width(behind) == 0) behind = interval;
  }
  consider(before);
  if (behind != before) consider(behind);
  return answer;
}

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
  MxAxes nodes = makeAxes(mesh);
  for (std::size_t a = 0; a < 3; ++a) {
    if (!MxGridAxis::isOrdered(nodes.values[a])) return {};
    double step = 0;
    if constexpr (std::is_same_v<Mesh, MiVolumeMeshRegular>)
      step = mesh.getGeometry().getSpacing()[a];
    axes.emplace_back(std::move(nodes.values[a]), step);
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
  locator->m_tree.build(parallel, reader.cellCount(),
                        [&](std::size_t cell) { return reader.box(cell); });
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
{}

bool MxCellCursor::find(const MbVec3d& point)
{
  m_isFound = false;
  if (!isFinite(point)) return false;
  m_isFound = m_locator->axes().empty() ? findInTree(point) : findInGrid(point);
  return m_isFound;
}

bool MxCellCursor::findFrom(std::size_t hint, const MbVec3d& point)
{
  if (hint != m_cell && hint < m_locator->reader().cellCount()) {
    if (!m_locator->axes().empty()) {
      m_at = MxIjkNumbering{m_locator->cellCounts()}.split(hint);
    } else if (isLeft(hint)) {
      MxCellMap& map = m_maps[m_current];
      m_cell = m_locator->reader().read(hint, map) ? hint : kNoCell;
      m_place = map.middle();
      const MxBox3d box = map.box();
      m_extent = {box.max[0] - box.min[0], box.max[1] - box.min[1], box.max[2] - box.min[2]};
    }
  }
  return find(point);
}

void MxCellCursor::standIn(MxCellMap& map, const MxPlace& place)
{
  m_place = place;
  if (m_cell != map.cell() || m_size != map.size()) {
    m_cell = map.cell();
    m_size = map.size();
    m_weights.resizeUninitialized(m_size);
    MbVec3d low = map.points()[0], high = low;
    for (std::size_t n = 1; n < m_size; ++n) {
      const MbVec3d& p = map.points()[n];
      low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
      high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
    }
    m_extent = high - low;
  }
  m_nodes = map.nodes();
  map.weights(place, m_weights.data());
}

bool MxCellCursor::findInTree(const MbVec3d& point)
{
  MxCellMap* current = &m_maps[m_current];
  const std::size_t here = current->cell();
  double outsideHere = MxCellMap::kNowhere;
  MxPlace placeHere = m_place;
  if (here != kNoCell) {
    outsideHere = current->findPlace(point, placeHere);
    if (outsideHere < -kInsideTolerance) {
      standIn(*current, placeHere);
      return true;
    }
  }
  // On the rim of a cell or elsewhere: the cells whose boxes hold the point.
  std::size_t best = kNoCell;
  MxPlace bestPlace;
  MxCellMap& trial = m_maps[1 - m_current];
  const MxCellReader& reader = m_locator->reader();
  const bool inside = m_locator->tree().findAt({point.x, point.y, point.z}, [&](std::size_t cell) {
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
  (void)inside;
  if (best == kNoCell) return false;
  if (best != here) {
    if (trial.cell() != best && !reader.read(best, trial)) return false;
    m_current = 1 - m_current;
    current = &trial;
  }
  standIn(*current, bestPlace);
  return true;
}

bool MxCellCursor::findInGrid(const MbVec3d& point)
{
  const std::vector<MxGridAxis>& axes = m_locator->axes();
  const MxGridAxis::Answer x = axes[0].find(point.x, m_at.x), y = axes[1].find(point.y, m_at.y),
                           z = axes[2].find(point.z, m_at.z);
  const MbIndex3& counts = m_locator->cellCounts();
  for (std::uint32_t c = 0; c < z.count; ++c)
    for (std::uint32_t b = 0; b < y.count; ++b)
      for (std::uint32_t a = 0; a < x.count; ++a) {
        const MbIndex3 at{x.interval[a], y.interval[b], z.interval[c]};
        const std::size_t cell = at.x + counts.x * (at.y + counts.y * at.z);
        if (cell != m_cell || m_size != 8) {
          if (m_locator->isDead(cell) || !isLeft(cell)) continue;
          m_cell = cell;
          m_size = 8;
          m_at = at;
          m_weights.resizeUninitialized(8);
          m_nodes = m_gridNodes.data();
          m_extent = {axes[0].width(at.x), axes[1].width(at.y), axes[2].width(at.z)};
          const MbIndex3& nodes = m_locator->nodeCounts();
          for (std::size_t n = 0; n < 8; ++n)
            m_gridNodes[n] = static_cast<std::uint32_t>(
                at.x + kCornerSteps[n][0] +
                nodes.x * (at.y + kCornerSteps[n][1] + nodes.y * (at.z + kCornerSteps[n][2])));
        }
        const double r = x.place[a], s = y.place[b], t = z.place[c];
        double* w = m_weights.data();
        const double w00 = (1 - r) * (1 - s), w10 = r * (1 - s), w11 = r * s, w01 = (1 - r) * s;
        w[0] = w00 * (1 - t), w[1] = w10 * (1 - t), w[2] = w11 * (1 - t), w[3] = w01 * (1 - t);
        w[4] = w00 * t, w[5] = w10 * t, w[6] = w11 * t, w[7] = w01 * t;
        return true;
      }
  return false;
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

VELMO_INSTANTIATE(VOLUME_MESH_UNSTRUCTURED)
VELMO_INSTANTIATE(VOLUME_MESH_HEXAHEDRON_IJK)
VELMO_INSTANTIATE(VOLUME_MESH_VERTEX_HEXAHEDRON_IJK)
VELMO_INSTANTIATE(VOLUME_MESH_REGULAR)
VELMO_INSTANTIATE(VOLUME_MESH_RECTILINEAR)
VELMO_INSTANTIATE(VOLUME_MESH_CURVILINEAR)
VELMO_INSTANTIATE(SURFACE_MESH_UNSTRUCTURED)
VELMO_INSTANTIATE(SURFACE_MESH_REGULAR)
VELMO_INSTANTIATE(SURFACE_MESH_RECTILINEAR)
VELMO_INSTANTIATE(SURFACE_MESH_CURVILINEAR)
