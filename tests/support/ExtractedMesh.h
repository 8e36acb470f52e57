#pragma once

#include <velmo/mesh/MeXMesh.h>

#include <algorithm>
#include <vector>

/// Fills an extracted surface or line mesh as an extraction would; the points lie elsewhere than
/// those that it had.
template <class Mesh>
void fillPoints(Mesh& mesh, const std::vector<MbVec3f>& points)
{
  mesh.geometry.points().release();
  mesh.geometry.points().resizeUninitialized(points.size());
  std::copy(points.begin(), points.end(), mesh.geometry.points().data());
  mesh.geometry.touch(false);
}

template <class Mesh>
void fillCells(Mesh& mesh, const std::vector<std::vector<int>>& cells)
{
  std::vector<int> list;
  std::vector<std::uint32_t> begins{0};
  for (const std::vector<int>& cell : cells) {
    list.insert(list.end(), cell.begin(), cell.end());
    list.push_back(-1);
    begins.push_back(static_cast<std::uint32_t>(list.size()));
  }
  MxArray<int>& indices = mesh.topology.setMixed(cells.size(), list.size());
  std::copy(list.begin(), list.end(), indices.data());
  std::copy(begins.begin(), begins.end(), mesh.topology.begins().data());
  mesh.topology.touch();
}
