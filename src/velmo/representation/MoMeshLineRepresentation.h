#pragma once

#include <velmo/representation/MoMeshRepresentation.h>

class MdLineMesh;
class MdPointMesh;

/// The base of representations that produce lines, with the points drawn on them. Only the lines
/// can be picked.
class MoMeshLineRepresentation : public MoMeshRepresentation
{
  MO_NODE_ABSTRACT_HEADER(MoMeshLineRepresentation);

public:
  void clear() override;

  // For the implementations of representations.
  void clearBuilders() override;
  MdLineMesh& getLineMesh() const { return *m_lineMesh; }
  MdPointMesh& getPointMesh() const { return *m_pointMesh; }

protected:
  MoMeshLineRepresentation();
  ~MoMeshLineRepresentation() override;

private:
  std::unique_ptr<MdLineMesh> m_lineMesh;
  std::unique_ptr<MdPointMesh> m_pointMesh;
};
