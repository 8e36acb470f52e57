#include <velmo/nodes/MoMesh.h>

#include <velmo/base/MxTimeStamp.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/nodes/MoMeshElement.h>
#include <velmo/representation/MoMeshRepresentation.h>

#include <Inventor/actions/SoAction.h>
#include <Inventor/errors/SoDebugError.h>

MO_NODE_SOURCE(MoMesh, MoActionNode)

MoMesh::MoMesh()
{
  SO_NODE_CONSTRUCTOR(MoMesh);
}

void MoMesh::doAction(SoAction* action)
{
  MeshType type = UNDEFINED_MESH;
  const MiMesh* mesh = getMesh(type); // before the stamp is read: it may take a new one
  MoMeshElement::set(action->getState(), this, type, mesh, m_connectedRepresentation, m_timeStamp);
}

void MoMesh::setMesh(const MiMesh* mesh)
{
  m_mesh = mesh;
  m_connectedRepresentation = nullptr;
  m_timeStamp = MxTimeStamp::take();
  touch();
  m_meshType = classifyMesh(mesh);
  if (mesh && m_meshType == UNDEFINED_MESH) {
    SoDebugError::postWarning("MoMesh::setMesh", "Not supported mesh type.");
    m_mesh = nullptr;
  }
}

void MoMesh::reset()
{
  m_mesh = nullptr;
  m_meshType = UNDEFINED_MESH;
  m_connectedRepresentation = nullptr;
  m_timeStamp = MxTimeStamp::take();
  touch();
}

void MoMesh::connectFrom(MoMeshRepresentation* representation)
{
  m_connectedRepresentation = representation;
  m_timeStamp = MxTimeStamp::take(); // counts when the connection ends: the content is another one
  touch();
}

const MiMesh* MoMesh::getMesh(MeshType& type)
{
  if (m_connectedRepresentation) {
    m_timeStamp = m_connectedRepresentation->getTimeStamp();
    return m_connectedRepresentation->getExtractedMesh(type);
  }
  type = m_meshType;
  return m_mesh;
}

void MoMesh::copyContents(const SoFieldContainer* from, SbBool copyConnections)
{
  MoActionNode::copyContents(from, copyConnections);
  const auto* other = static_cast<const MoMesh*>(from);
  m_mesh = other->m_mesh;
  m_meshType = other->m_meshType;
  m_connectedRepresentation = other->m_connectedRepresentation;
  m_timeStamp = other->m_timeStamp;
}
