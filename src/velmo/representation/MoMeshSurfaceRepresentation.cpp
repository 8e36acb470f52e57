#include <velmo/representation/MoMeshSurfaceRepresentation.h>

#include <velmo/render/MdLineMesh.h>
#include <velmo/render/MdPointMesh.h>
#include <velmo/render/MdSurfaceMesh.h>

#include <Inventor/nodes/SoPickStyle.h>
#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/nodes/SoShaderProgram.h>

MO_NODE_ABSTRACT_SOURCE(MoMeshSurfaceRepresentation, MoMeshRepresentation)

MoMeshSurfaceRepresentation::MoMeshSurfaceRepresentation()
{
  SO_NODE_CONSTRUCTOR(MoMeshSurfaceRepresentation);
  SoSeparator* root = getHiddenRoot();
  m_surfaceMesh = std::make_unique<MdSurfaceMesh>(root);
  // Lines and points that were extracted separately fade as those on the surface do.
  if (SoShaderProgram* fading = m_surfaceMesh->getFadingShaderProgram()) root->addChild(fading);
  auto* unpickable = new SoPickStyle;
  unpickable->style = SoPickStyle::UNPICKABLE;
  root->addChild(unpickable);
  m_lineMesh = std::make_unique<MdLineMesh>(root);
  m_pointMesh = std::make_unique<MdPointMesh>(root);
}

MoMeshSurfaceRepresentation::~MoMeshSurfaceRepresentation() = default;

void MoMeshSurfaceRepresentation::clear()
{
  MoMeshRepresentation::clear();
  clearBuilders();
}

void MoMeshSurfaceRepresentation::clearBuilders()
{
  m_surfaceMesh->clear();
  m_lineMesh->clear();
  m_pointMesh->clear();
}
