#pragma once

#include <tests/representations/SkinScene.h>

/// A scene of one mesh, one general scalar set, a mapping from black at 0 to white at 10, and a
/// representation of any class.
template <class Node>
class FlatScene
{
public:
  FlatScene()
  {
    mapping->values.setValues(0, 2, std::vector<float>{0, 10}.data());
    mapping->colors.set1Value(0, SbVec4f(0, 0, 0, 1));
    mapping->colors.set1Value(1, SbVec4f(1, 1, 1, 1));
    node->setExtractorCallback(counter);
    for (SoNode* child : std::initializer_list<SoNode*>{mesh, set, mapping, above, node})
      root->addChild(child);
  }
  ~FlatScene() { node->setExtractorCallback(nullptr); }

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
