#include "CaseMesh.h"

#include <stdexcept>
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

CaseMesh::CaseMesh(const std::string& name, const bench::Sizes& sizes)
{
  if (name == "curvP")
    setStructured(MeshKind::Curvilinear, sizes.hexP);
  else if (name == "imageP")
    setStructured(MeshKind::Regular, sizes.hexP);
  else if (name == "hexP")
    m_arrays = bench::makeHex(sizes.hexP);
  else if (name == "tetP")
    m_arrays = bench::makeTet(sizes.tetP);
  else if (name == "curv")
    setStructured(MeshKind::Curvilinear, sizes.curv);
  else if (name == "rect")
    setStructured(MeshKind::Rectilinear, sizes.rect);
  else if (name == "image")
    setStructured(MeshKind::Regular, sizes.image);
  else if (name == "hex")
    m_arrays = bench::makeHex(sizes.hex);
  else if (name == "tet")
    m_arrays = bench::makeTet(sizes.tet);
  else if (name == "tetshuf")
    m_arrays = bench::makeShuffledTet(sizes.tetshuf);
  else if (name == "mixed")
    m_arrays = bench::makeMixed(sizes.mixed);
  else if (name == "surf" || name == "surfug")
    m_arrays = bench::makeSurface(sizes.surface);
  else if (name == "surfij")
    setSurface(sizes.surface);
  else
    throw std::invalid_argument("There is no mesh of the name " + name + ".");
  m_view.isSurface = name.rfind("surf", 0) == 0;
  m_view.isPolygons = name == "surf";
  if (!m_view.isStructured()) setUnstructured();
  fillFields();
  if (name.back() == 'P') fillVectors();
}

void CaseMesh::setStructured(MeshKind kind, std::size_t n)
{
  m_view.kind = kind;
  m_view.nodeCount = (n + 1) * (n + 1) * (n + 1);
  m_view.cellCount = n * n * n;
  for (std::size_t& nodes : m_view.axisNodes)
    nodes = n + 1;
  if (kind == MeshKind::Curvilinear) {
    m_arrays.points = bench::latticePoints(n);
    m_view.points = m_arrays.points.data();
  } else if (kind == MeshKind::Rectilinear) {
    for (int axis = 0; axis < 3; ++axis) {
      m_axes[axis] = bench::latticeAxis(n, axis);
      m_view.axes[axis] = m_axes[axis].data();
    }
  } else {
    m_view.spacing = 1 / static_cast<double>(n);
  }
}

void CaseMesh::setSurface(std::size_t m)
{
  m_view.kind = MeshKind::Curvilinear;
  m_view.nodeCount = (m + 1) * (m + 1);
  m_view.cellCount = m * m;
  m_view.axisNodes[0] = m_view.axisNodes[1] = m + 1;
  m_view.axisNodes[2] = 1;
  m_arrays.points = bench::surfacePoints(m);
  m_view.points = m_arrays.points.data();
}

void CaseMesh::setUnstructured()
{
  m_view.points = m_arrays.points.data();
  m_view.nodeCount = m_arrays.nodeCount();
  m_view.cellCount = m_arrays.cellCount();
  m_view.connectivity = m_arrays.connectivity.data();
  m_view.connectivityCount = m_arrays.connectivity.size();
  m_view.offsets = m_arrays.offsets.data();
  m_view.shapes = m_arrays.types.data();
}

bench::Point CaseMesh::pointOf(std::size_t node) const
{
  if (m_view.points) {
    const double* p = m_view.points + 3 * node;
    return {p[0], p[1], p[2]};
  }
  const std::size_t nodes = m_view.axisNodes[0];
  const std::size_t at[3] = {node % nodes, node / nodes % nodes, node / nodes / nodes};
  bench::Point point;
  for (int axis = 0; axis < 3; ++axis)
    point[axis] = m_view.axes[axis] ? m_view.axes[axis][at[axis]]
                                    : m_view.spacing * static_cast<double>(at[axis]);
  return point;
}

void CaseMesh::fillFields()
{
  for (std::vector<double>* field : {&m_smooth, &m_busy, &m_colour})
    field->resize(m_view.nodeCount);
  tbb::parallel_for(tbb::blocked_range<std::size_t>(0, m_view.nodeCount), [&](const auto& range) {
    for (std::size_t node = range.begin(); node != range.end(); ++node) {
      const bench::Point p = pointOf(node);
      m_smooth[node] = m_view.isSurface ? bench::smoothSurfaceField(p) : bench::smoothField(p);
      m_busy[node] = bench::busyField(p);
      m_colour[node] = bench::colourField(p);
    }
  });
  m_view.smooth = m_smooth.data();
  m_view.busy = m_busy.data();
  m_view.colour = m_colour.data();
}

void CaseMesh::fillVectors()
{
  m_vec.resize(3 * m_view.nodeCount);
  for (std::size_t node = 0; node < m_view.nodeCount; ++node) {
    const bench::Point v = bench::vectorField(pointOf(node));
    std::copy(v.begin(), v.end(), m_vec.begin() + static_cast<std::ptrdiff_t>(3 * node));
  }
  m_view.vec = m_vec.data();
}
