#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/io/MxMeshMaker.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbMesh.h>

#include <atomic>

namespace {

MbNumbers numbers(const MxFileArray& array)
{
  return MbNumbers(array.view(), array.data);
}

MbPoints points(const MxFileArray& array)
{
  return MbPoints(array.view(3), array.data);
}

MbTopologyI cellTopology(const MxFileCells& cells, const MxFileArray& active)
{
  if (cells.count == 0) return {};
  return MbTopologyI(MbCellArrays{.connectivity = numbers(cells.connectivity),
                                  .offsets = numbers(cells.offsets),
                                  .shapes = numbers(cells.types),
                                  .uniformShape = cells.uniform,
                                  .faces = numbers(cells.faces),
                                  .faceOffsets = numbers(cells.faceOffsets),
                                  .active = numbers(active)});
}

/// A unit vector along a file axis.
MbVec3d along(std::size_t axis, double length = 1)
{
  MbVec3d vector;
  vector[axis] = length;
  return vector;
}

double coordinate(const MxFileMesh& mesh, std::size_t axis, std::size_t index)
{
  return mbNumber(mesh.axes[axis].view(), index);
}

/// Lines have no rectilinear kind: the row becomes a list of points.
MbPoints rowPoints(const MxFileMesh& mesh, std::size_t axis)
{
  std::vector<MbVec3d> row(mesh.nodes[axis]);
  for (std::size_t i = 0; i < row.size(); ++i)
    for (std::size_t a = 0; a < 3; ++a)
      row[i][a] = coordinate(mesh, a, a == axis ? i : 0);
  return MbPoints(std::move(row));
}

/// The origin with the coordinates of the axes that a surface lacks.
MbVec3d rectilinearOrigin(const MxFileMesh& mesh, const MxMeshPlan& plan)
{
  MbVec3d origin;
  for (std::size_t axis = 0; axis < 3; ++axis)
    if (axis != plan.axes[0] && axis != plan.axes[1]) origin[axis] = coordinate(mesh, axis, 0);
  return origin;
}

template <class T>
std::unique_ptr<MiDataSet> dataSet(const MxFileSet& set, const MxMeshPlan& plan,
                                   typename MbValues<T>::Array values)
{
  std::unique_ptr<MiDataSet> result;
  const bool perNode = set.binding == MiDataBinding::PerNode;
  visitMeshKind(MxAllKinds{}, plan.kind, [&]<MeshType K>() {
    using Row = MxMeshKind<K>;
    constexpr bool kFlatNodes = K == VOLUME_MESH_HEXAHEDRON_IJK;
    const std::size_t more = perNode ? 1 : 0;
    const MbIndex3 sizes = {plan.cells.x + more, plan.cells.y + more, plan.cells.z + more};
    if constexpr (Row::kIndexing == MxIndexing::I) {
      result = std::make_unique<MbDataSetI<T>>(set.name, set.binding, std::move(values));
    } else if constexpr (Row::kIndexing == MxIndexing::Ij) {
      result = std::make_unique<MbDataSetIj<T>>(set.name, set.binding, sizes.x, sizes.y,
                                                std::move(values));
    } else {
      if (kFlatNodes && perNode)
        result = std::make_unique<MbDataSetI<T>>(set.name, set.binding, std::move(values));
      else
        result = std::make_unique<MbDataSetIjk<T>>(set.name, set.binding, sizes, std::move(values));
    }
  });
  return result;
}

constexpr std::size_t kCorners = 8;
/// Logical corner of each node of a hexahedron.
constexpr std::size_t kCornerI[kCorners] = {0, 1, 1, 0, 0, 1, 1, 0};
constexpr std::size_t kCornerJ[kCorners] = {0, 0, 1, 1, 0, 0, 1, 1};

} // namespace

MxMeshPlan mxPlanMesh(const MxFileMesh& mesh, MeshType unstructuredKind)
{
  MxMeshPlan plan;
  plan.kind = unstructuredKind;
  if (mesh.layout == MxFileLayout::Cells) return plan;

  std::size_t dimension = 0;
  for (std::size_t axis = 0; axis < 3; ++axis)
    if (mesh.nodes[axis] > 1) plan.axes[dimension++] = axis;
  if (dimension == 0) plan.axes = {0, 1, 2};
  plan.cells = {0, 1, 1};
  for (std::size_t axis = 0; axis < dimension; ++axis)
    plan.cells[axis] = mesh.nodes[plan.axes[axis]] - 1;

  constexpr MeshType kKinds[3][3] = {
      {LINE_MESH_REGULAR, SURFACE_MESH_REGULAR, VOLUME_MESH_REGULAR},
      {LINE_MESH_CURVILINEAR, SURFACE_MESH_RECTILINEAR, VOLUME_MESH_RECTILINEAR},
      {LINE_MESH_CURVILINEAR, SURFACE_MESH_CURVILINEAR, VOLUME_MESH_CURVILINEAR}};
  const auto row = static_cast<std::size_t>(mesh.layout) - 1;
  plan.kind = kKinds[row][dimension == 0 ? 0 : dimension - 1];
  return plan;
}

std::unique_ptr<MiMesh> mxMakeMesh(const MxFileMesh& mesh, const MxMeshPlan& plan, bool parallel)
{
  const MbNumbers active = numbers(plan.active);
  const std::size_t a = plan.axes[0], b = plan.axes[1];
  const MbTopologyIjk volume(plan.cells, active);
  const auto surface = [&] { return MbTopologyIj(plan.cells.x, plan.cells.y, active); };
  const auto row = [&] { return MbTopologyRow(plan.cells.x, active); };
  switch (plan.kind) {
  case VOLUME_MESH_UNSTRUCTURED:
    return std::make_unique<MbVolumeMeshUnstructured>(cellTopology(mesh.cells, plan.active),
                                                      points(mesh.points));
  case SURFACE_MESH_UNSTRUCTURED:
    return std::make_unique<MbSurfaceMeshUnstructured>(cellTopology(mesh.cells, plan.active),
                                                       points(mesh.points));
  case LINE_MESH_UNSTRUCTURED:
    return std::make_unique<MbLineMeshUnstructured>(cellTopology(mesh.cells, plan.active),
                                                    points(mesh.points));
  case VOLUME_MESH_HEXAHEDRON_IJK:
    return std::make_unique<MbVolumeMeshHexahedronIjk>(
        MbTopologyHexahedronIjk(plan.cells, numbers(mesh.cells.connectivity), active),
        points(mesh.points));
  case VOLUME_MESH_VERTEX_HEXAHEDRON_IJK:
    if (mesh.pillars)
      return std::make_unique<MbVolumeMeshVertexHexahedronIjk>(volume, numbers(mesh.pillars),
                                                               numbers(mesh.depths));
    return std::make_unique<MbVolumeMeshVertexHexahedronIjk>(volume,
                                                             points(mxCellCorners(mesh, parallel)));
  case VOLUME_MESH_REGULAR:
    return std::make_unique<MbVolumeMeshRegular>(volume, mesh.origin, mesh.spacing);
  case VOLUME_MESH_RECTILINEAR:
    return std::make_unique<MbVolumeMeshRectilinear>(volume, numbers(mesh.axes[0]),
                                                     numbers(mesh.axes[1]), numbers(mesh.axes[2]));
  case VOLUME_MESH_CURVILINEAR:
    return std::make_unique<MbVolumeMeshCurvilinear>(volume, points(mesh.points));
  case SURFACE_MESH_REGULAR:
    return std::make_unique<MbSurfaceMeshRegular>(surface(), mesh.origin, along(a, mesh.spacing[a]),
                                                  along(b, mesh.spacing[b]));
  case SURFACE_MESH_RECTILINEAR:
    return std::make_unique<MbSurfaceMeshRectilinear>(
        surface(), numbers(mesh.axes[a]), numbers(mesh.axes[b]), rectilinearOrigin(mesh, plan),
        along(a), along(b));
  case SURFACE_MESH_CURVILINEAR:
    return std::make_unique<MbSurfaceMeshCurvilinear>(surface(), points(mesh.points));
  case LINE_MESH_REGULAR:
    return std::make_unique<MbLineMeshRegular>(row(), mesh.origin, along(a, mesh.spacing[a]));
  case LINE_MESH_CURVILINEAR:
    return std::make_unique<MbLineMeshCurvilinear>(
        row(), mesh.layout == MxFileLayout::Rectilinear ? rowPoints(mesh, a) : points(mesh.points));
  case UNDEFINED_MESH:
    break;
  }
  return nullptr;
}

std::unique_ptr<MiDataSet> mxMakeDataSet(const MxFileSet& set, const MxMeshPlan& plan)
{
  if (set.components == 1) return dataSet<double>(set, plan, numbers(set.values));
  if (set.components == 3) return dataSet<MbVec3d>(set, plan, points(set.values));
  return nullptr;
}

MxFileArray mxCellCorners(const MxFileMesh& mesh, bool parallel)
{
  if (mesh.vertex) return mesh.points;
  const std::size_t count = mesh.cells.connectivity.size;
  MxFileArray corners(mesh.points.type, 3 * count);
  visitNumbers(corners, [&](auto to) {
    using T = typename decltype(to)::value_type;
    const T* from = mesh.points.as<T>();
    visitIndices(mesh.cells.connectivity, [&](auto nodes) {
      forEachBlock(
          parallel, count, kFileBlock, [&](std::size_t, std::size_t first, std::size_t last) {
            for (std::size_t i = first; i < last; ++i) {
              const auto node = static_cast<std::uint64_t>(nodes[i]);
              for (std::size_t c = 0; c < 3; ++c)
                to[3 * i + c] = node < mesh.nodeCount ? from[3 * node + c]
                                                      : std::numeric_limits<T>::quiet_NaN();
            }
          });
    });
  });
  return corners;
}

std::vector<std::size_t> mxLogicalCornerNodes(const MxFileMesh& mesh, const MbIndex3& cells,
                                              const MxFileArray& active, bool parallel,
                                              bool& several)
{
  const MbIndex3 corners = cells + MbIndex3{1, 1, 1};
  std::vector<std::size_t> result(corners.x * corners.y * corners.z, 0);
  std::atomic<bool> differ = false;
  const MiArrayView nodes = mesh.cells.connectivity.view(), alive = active.view();
  forEachBlock(parallel, corners.y * corners.z, 16,
               [&](std::size_t, std::size_t first, std::size_t last) {
                 for (std::size_t row = first; row < last; ++row) {
                   const std::size_t j = row % corners.y, k = row / corners.y;
                   for (std::size_t i = 0; i < corners.x; ++i) {
                     std::size_t found = mesh.nodeCount, dead = mesh.nodeCount;
                     // The cells around the corner, in their order; each has it as another of its
                     // own corners.
                     for (std::size_t c = kCorners; c-- > 0;) {
                       const std::size_t up = c / 4, back = (c / 2) % 2, right = c % 2;
                       if (i < right || j < back || k < up) continue;
                       const MbIndex3 cell = {i - right, j - back, k - up};
                       if (cell.x >= cells.x || cell.y >= cells.y || cell.z >= cells.z) continue;
                       const std::size_t flat = cell.x + cells.x * (cell.y + cells.y * cell.z);
                       std::size_t own = up * 4;
                       while (kCornerI[own] != right || kCornerJ[own] != back)
                         ++own;
                       const std::size_t node = mbIndex(nodes, flat * kCorners + own);
                       if (node >= mesh.nodeCount) continue;
                       if (alive && mbNumber(alive, flat) == 0) {
                         if (dead == mesh.nodeCount) dead = node;
                       } else if (found == mesh.nodeCount) {
                         found = node;
                       } else if (found != node) {
                         differ.store(true, std::memory_order_relaxed);
                       }
                     }
                     const std::size_t node = found < mesh.nodeCount ? found : dead;
                     result[i + corners.x * row] = node < mesh.nodeCount ? node : 0;
                   }
                 }
               });
  several = differ;
  return result;
}
