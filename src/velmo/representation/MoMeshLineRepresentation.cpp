#include <velmo/representation/MoMeshLineRepresentation.h>

#include <velmo/render/MdLineMesh.h>
#include <velmo/render/MdPointMesh.h>

#include <Inventor/nodes/SoPickStyle.h>
#include <Inventor/nodes/SoSeparator.h>

MO_NODE_ABSTRACT_SOURCE(MoMeshLineRepresentation, MoMeshRepresentation)

MoMeshLineRepresentation::MoMeshLineRepresentation()
{
  SO_NODE_CONSTRUCTOR(MoMeshLineRepresentation);
  SoSeparator* root = getHiddenRoot();
  m_lineMesh = std::make_unique<MdLineMesh>(root);
  auto* unpickable = new SoPickStyle;
  unpickable->style = SoPickStyle::UNPICKABLE;
  root->addChild(unpickable);
  m_pointMesh = std::make_unique<MdPointMesh>(root);
}

MoMeshLineRepresentation::~MoMeshLineRepresentation() = default;

void MoMeshLineRepresentation::clear()
{
  MoMeshRepresentation::clear();
  clearBuilders();
}

void MoMeshLineRepresentation::clearBuilders()
{
  m_lineMesh->clear();
  m_pointMesh->clear();
}
