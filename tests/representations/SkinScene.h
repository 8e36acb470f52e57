#pragma once

#include <velmo/mesh/MbDataSet.h>
#include <velmo/representations/MoMeshSkin.h>

#include <tests/representations/SurfaceScene.h>
#include <tests/support/MeshZoo.h>

#include <numeric>

/// 0, 1, 2 ...
inline std::vector<double> counted(std::size_t count)
{
  std::vector<double> values(count);
  std::iota(values.begin(), values.end(), 0.0);
  return values;
}

/// Four boxes in a row: 20 nodes, 18 faces.
class Row
{
public:
  explicit Row(MeshType kind = VOLUME_MESH_UNSTRUCTURED) : mesh(zoo::block(kind, {4, 1, 1})) {}
  std::unique_ptr<MiMesh> mesh;
  MbScalardSetI perCell{"cells", MiDataBinding::PerCell, counted(4)};
  MbScalardSetI perNode{"nodes", MiDataBinding::PerNode, counted(20)};
};

class SkinScene : public SurfaceScene<MoMeshSkin>
{
public:
  SoRef<MoMeshSkin>& skin = node;
};
