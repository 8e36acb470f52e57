#pragma once

#include <velmo/extraction/interfaces/MeshType.h>
#include <velmo/nodes/MoActionNode.h>
#include <velmo/toolkit/MoBorrowed.h>

#include <cstdint>

class MiMesh;
class MoMeshRepresentation;

/// Puts the application's mesh, or what a representation extracted, into the traversal state.
///
/// *Ownership*: the mesh and the representation are borrowed; they stay alive as long as the node
/// refers to them. A change of the mesh in place becomes known by another setMesh.
///
/// While an extraction runs in the background, setMesh, reset and the end of the node stop those
/// that read the mesh and wait until they have stopped. So a mesh may be deleted as soon as no node
/// refers to it. Before its arrays are changed in place, call
/// MoMeshRepresentation::stopExtractions().
class MoMesh : public MoActionNode
{
  MO_NODE_HEADER(MoMesh);

public:
  MoMesh();

  void doAction(SoAction* action) override;

  /// Publishes the mesh from now on, null for none. A mesh of no supported kind gets the warning
  /// "Not supported mesh type." and leaves the node without a mesh.
  virtual void setMesh(const MiMesh* mesh);
  /// Forgets the mesh and the representation.
  virtual void reset();
  /// Publishes what the representation extracted last, instead of a mesh; null to end that.
  virtual void connectFrom(MoMeshRepresentation* representation);
  /// The mesh that the node publishes, and its kind.
  virtual const MiMesh* getMesh(MeshType& type);

protected:
  ~MoMesh() override = default;
  void copyContents(const SoFieldContainer* from, SbBool copyConnections) override;

private:
  MoBorrowed<const MiMesh> m_mesh;
  MeshType m_meshType = UNDEFINED_MESH;
  MoMeshRepresentation* m_connectedRepresentation = nullptr;
  std::uint64_t m_timeStamp = ~std::uint64_t{0};
};
