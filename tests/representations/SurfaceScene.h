#pragma once

#include <velmo/colormapping/MoLinearColorMapping.h>
#include <velmo/nodes/MoMesh.h>
#include <velmo/nodes/MoScalarSet.h>
#include <velmo/render/MdSurfaceMesh.h>
#include <velmo/representation/MoMeshSurfaceRepresentation.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <tests/support/ExtractionCounter.h>

#include <Inventor/actions/SoCallbackAction.h>
#include <Inventor/nodes/SoSeparator.h>

#include <string>
#include <vector>

/// A scene of one mesh, one general scalar set, a mapping from black at 0 to white at 10, and a
/// representation of any class.
template <class Node>
class RepresentationScene
{
public:
  RepresentationScene()
  {
    mapping->values.setValues(0, 2, std::vector<float>{0, 10}.data());
    mapping->colors.set1Value(0, SbVec4f(0, 0, 0, 1));
    mapping->colors.set1Value(1, SbVec4f(1, 1, 1, 1));
    node->setExtractorCallback(counter);
    for (SoNode* child : std::initializer_list<SoNode*>{mesh, set, mapping, above, node})
      root->addChild(child);
  }
  ~RepresentationScene() { node->setExtractorCallback(nullptr); }

  void traverse(int times = 1)
  {
    for (int i = 0; i < times; ++i)
      SoCallbackAction().apply(root);
  }
  /// Null when the node has extracted nothing of this class.
  template <class Mesh>
  const Mesh* extracted(MeshType& type) const
  {
    return dynamic_cast<const Mesh*>(node->getExtractedMesh(type));
  }

  ExtractionCounter counter;
  SoRef<SoSeparator> root{new SoSeparator};
  SoRef<MoMesh> mesh{new MoMesh};
  SoRef<MoScalarSet> set{new MoScalarSet};
  SoRef<MoLinearColorMapping> mapping{new MoLinearColorMapping};
  SoRef<SoGroup> above{new SoGroup}; ///< for what a test adds before the representation
  SoRef<Node> node{new Node};
};

/// The same with a representation that makes a surface.
template <class Node>
class SurfaceScene : public RepresentationScene<Node>
{
public:
  using RepresentationScene<Node>::node;

  /// Null while there is none.
  const MeXSurfaceMeshUnstructured* surface() const
  {
    MeshType type;
    return this->template extracted<MeXSurfaceMeshUnstructured>(type);
  }
  /// -1 without a surface.
  int faceCount() const
  {
    return surface() ? static_cast<int>(surface()->getTopology().getCellCount()) : -1;
  }
  /// Whether the hidden nodes have any vertices.
  bool drawsAnything() const
  {
    MeshType type;
    return node->getSurfaceMesh().getExtractedMesh(type) != nullptr;
  }
  /// "indices geometry colours".
  std::string fills() const
  {
    const auto counts = node->getSurfaceMesh().getSceneGraph().getFillCounts();
    return std::to_string(counts.indices) + " " + std::to_string(counts.geometry) + " " +
           std::to_string(counts.colors);
  }
};
