#include <velmo/nodes/MoMesh.h>

#include <velmo/base/MxTimeStamp.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/nodes/MoMeshElement.h>
#include <velmo/nodes/MxConnection.h>
#include <velmo/representation/MoMeshRepresentation.h>

#include <Inventor/actions/SoAction.h>
#include <Inventor/errors/SoDebugError.h>

MO_NODE_SOURCE(MoMesh, MoActionNode)

MoMesh::MoMesh()
{
  SO_NODE_CONSTRUCTOR(MoMesh);
}

MoMesh::~MoMesh()
{
  connect(nullptr);
}

void MoMesh::doAction(SoAction* action)
{
  MeshType type = UNDEFINED_MESH;
  const MiMesh* mesh = getMesh(type); // before the stamp is read: it may take a new one
  MoMeshElement::set(action->getState(), this, type, mesh, getSource(), m_timeStamp);
}

void MoMesh::setMesh(const MiMesh* mesh)
{
  m_mesh = mesh;
  connect(nullptr);
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
  connect(nullptr);
  m_timeStamp = MxTimeStamp::take();
  touch();
}

void MoMesh::connect(MoMeshRepresentation* representation)
{
  if (m_connection) m_connection->remove(*this);
  m_connection = representation ? representation->getConnection() : nullptr;
  if (m_connection) m_connection->add(*this);
}

void MoMesh::connectFrom(MoMeshRepresentation* representation)
{
  connect(representation);
  m_timeStamp = MxTimeStamp::take(); // counts when the connection ends: the content is another one
  touch();
}

void MoMesh::endConnection()
{
  MoMesh::connectFrom(nullptr);
}

MoMeshRepresentation* MoMesh::getSource() const
{
  return m_connection ? m_connection->getSource() : nullptr;
}

const MiMesh* MoMesh::getMesh(MeshType& type)
{
  if (const MoMeshRepresentation* source = getSource()) {
    m_timeStamp = source->getTimeStamp();
    return source->getExtractedMesh(type);
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
  m_timeStamp = other->m_timeStamp;
  MoMeshRepresentation* source = other->getSource();
  // Copies of all nodes exist before any gets its contents.
  SoFieldContainer* copied = source ? SoFieldContainer::checkCopy(source) : nullptr;
  connect(copied ? static_cast<MoMeshRepresentation*>(copied) : source);
}
