#include "CaseMesh.h"

#include <stdexcept>

CaseMesh::CaseMesh(const std::string& name, const bench::Sizes& sizes)
{
  if (name == "curv") {
    setStructured(sizes.curv);
    return;
  }
  if (name == "hex")
    m_arrays = bench::makeHex(sizes.hex);
  else if (name == "tet")
    m_arrays = bench::makeTet(sizes.tet);
  else if (name == "tetshuf")
    m_arrays = bench::makeShuffledTet(sizes.tetshuf);
  else if (name == "mixed")
    m_arrays = bench::makeMixed(sizes.mixed);
  else
    throw std::invalid_argument("There is no mesh of the name " + name + ".");
  setUnstructured();
}

void CaseMesh::setStructured(std::size_t n)
{
  m_arrays.points = bench::latticePoints(n);
  m_view.points = m_arrays.points.data();
  m_view.nodeCount = m_arrays.nodeCount();
  m_view.cellCount = n * n * n;
  for (std::size_t& nodes : m_view.axisNodes)
    nodes = n + 1;
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
