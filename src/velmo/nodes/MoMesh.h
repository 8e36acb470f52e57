#pragma once

#include <velmo/extraction/interfaces/MeshType.h>
#include <velmo/nodes/MoActionNode.h>
#include <velmo/toolkit/background/MoBorrowed.h>

#include <cstdint>
#include <memory>

class MiMesh;
class MoMeshRepresentation;
class MxConnection;

/// Puts the application's mesh, or what a representation extracted, into the traversal state.
///
/// *Ownership*: the mesh is borrowed; it stays alive as long as the node refers to it. A change of
/// the mesh in place becomes known by another setMesh. The representation is borrowed too; its end
/// ends the connection.
///
/// A connected node is touched when the representation has extracted something else, so that
/// caches, culling and picks below follow, and whoever was traversed before it is drawn again.
/// While the representation extracts anew in the background, what was extracted from its last
/// result stays in sight. A representation whose mesh is its own result, directly or through
/// others, extracts nothing. One that is met with different inputs in turn (one node at two places
/// of the scene) asks for another traversal each time: connect from a node of its own.
///
/// A copy that is made together with the representation is connected to the copy of it, another
/// copy to the same one.
///
/// While an extraction runs in the background, setMesh, reset and the end of the node stop those
/// that read the mesh and wait until they have stopped. So a mesh may be deleted as soon as no node
/// refers to it. Before its arrays are changed in place, call
/// MoMeshRepresentation::stopExtractions().
class MoMesh : public MoActionNode
{
  MO_NODE_HEADER(MoMesh);
  friend class MxConnection;

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
  ~MoMesh() override;
  void copyContents(const SoFieldContainer* from, SbBool copyConnections) override;

private:
  void connect(MoMeshRepresentation* representation);
  void endConnection();
  MoMeshRepresentation* getSource() const;

  MoBorrowed<const MiMesh> m_mesh;
  MeshType m_meshType = UNDEFINED_MESH;
  std::shared_ptr<MxConnection> m_connection; ///< null for none
  std::uint64_t m_timeStamp = ~std::uint64_t{0};
};
