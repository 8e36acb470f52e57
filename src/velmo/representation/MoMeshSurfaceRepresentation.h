#pragma once

#include <velmo/representation/MoMeshRepresentation.h>

class MdLineMesh;
class MdPointMesh;
class MdSurfaceMesh;

/// The base of representations that produce a surface, with the edges and points drawn on it. Only
/// the surface can be picked.
class MoMeshSurfaceRepresentation : public MoMeshRepresentation
{
  MO_NODE_ABSTRACT_HEADER(MoMeshSurfaceRepresentation);

public:
  void clear() override;

  // For the implementations of representations.
  void clearBuilders() override;
  MdSurfaceMesh& getSurfaceMesh() const { return *m_surfaceMesh; }
  MdLineMesh& getLineMesh() const { return *m_lineMesh; }
  MdPointMesh& getPointMesh() const { return *m_pointMesh; }

protected:
  MoMeshSurfaceRepresentation();
  ~MoMeshSurfaceRepresentation() override;

private:
  std::unique_ptr<MdSurfaceMesh> m_surfaceMesh;
  std::unique_ptr<MdLineMesh> m_lineMesh;
  std::unique_ptr<MdPointMesh> m_pointMesh;
};
