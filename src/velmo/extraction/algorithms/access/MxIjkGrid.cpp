#include <velmo/extraction/algorithms/access/MxIjkGrid.h>

namespace {

MbIndex3 cellCountsOf(const MiTopologyIjk& topology)
{
  return topology.getCellCounts();
}

} // namespace

MxAxes makeAxes(const MiVolumeMeshRegular& mesh)
{
  const MbIndex3 nodes = nodeCountsOf(cellCountsOf(mesh.getTopology()));
  const MiGeometryRegularIjk& geometry = mesh.getGeometry();
  const MbVec3d origin = geometry.getOrigin(), spacing = geometry.getSpacing();
  MxAxes axes;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    axes.values[axis].resize(nodes[axis]);
    for (std::size_t i = 0; i < nodes[axis]; ++i)
      axes.values[axis][i] = origin[axis] + spacing[axis] * static_cast<double>(i);
  }
  return axes;
}

MxAxes makeAxes(const MiVolumeMeshRectilinear& mesh)
{
  const MbIndex3 nodes = nodeCountsOf(cellCountsOf(mesh.getTopology()));
  const MiGeometryRectilinearIjk& geometry = mesh.getGeometry();
  // A geometry with too few nodes leaves the rest of its axis without finite coordinates.
  const MbIndex3 given = geometry.getNodeCounts();
  MxAxes axes;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    axes.values[axis].assign(nodes[axis], std::numeric_limits<double>::quiet_NaN());
    for (std::size_t i = 0; i < std::min(nodes[axis], given[axis]); ++i)
      axes.values[axis][i] = geometry.getCoordinate(static_cast<int>(axis), i);
  }
  return axes;
}

MxVertexCorners::MxVertexCorners(const MiVolumeMeshVertexHexahedronIjk& mesh)
    : m_geometry(&mesh.getGeometry()), m_numbering{cellCountsOf(mesh.getTopology())}
{
  const MiArrayView corners = m_geometry->getView().corners;
  if (!corners || corners.count < 8 * m_numbering.total()) return;
  if (corners.type == MiScalarType::Float64)
    m_form = Form::Float64;
  else if (corners.type == MiScalarType::Float32)
    m_form = Form::Float32;
  m_data = static_cast<const char*>(corners.data);
  m_stride = corners.stride;
}
