#pragma once

#include <velmo/toolkit/classes/SoRef.h>

#include <Inventor/actions/SoGetBoundingBoxAction.h>
#include <Inventor/actions/SoRayPickAction.h>
#include <Inventor/actions/SoSearchAction.h>
#include <Inventor/actions/SoWriteAction.h>
#include <Inventor/nodes/SoOrthographicCamera.h>
#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/SoDB.h>
#include <Inventor/SoFullPath.h>
#include <Inventor/SoInput.h>
#include <Inventor/SoOutput.h>
#include <Inventor/SoPickedPoint.h>

#include <string>
#include <vector>

// What tests ask of scene graphs.

/// The first node of a class, hidden ones too; with this name when it has one. Null for none.
template <class Node>
Node* findNode(SoNode* under, const char* name = "")
{
  SoSearchAction search;
  search.setSearchingAll(TRUE);
  if (*name) search.setName(name);
  search.setType(Node::getClassTypeId());
  search.apply(under);
  SoPath* path = search.getPath();
  return path ? static_cast<Node*>(static_cast<SoFullPath*>(path)->getTail()) : nullptr;
}

inline SbBox3f boxOf(SoNode* root)
{
  SoGetBoundingBoxAction action(SbViewportRegion(100, 100));
  action.apply(root);
  return action.getBoundingBox();
}

/// The fields of a node in their order, as "name default".
inline std::vector<std::string> fieldsOf(const SoNode& node)
{
  SoFieldList fields;
  const int count = node.getFields(fields);
  std::vector<std::string> texts;
  for (int f = 0; f < count; ++f) {
    SbName name;
    SbString value;
    node.getFieldName(fields[f], name);
    fields[f]->get(value);
    texts.push_back(std::string(name.getString()) + " " + value.getString());
  }
  return texts;
}

/// What a file of the node holds.
inline std::string textOf(SoNode* node, bool binary = false)
{
  SoOutput out;
  std::vector<char> buffer(1 << 20);
  out.setBinary(binary);
  out.setBuffer(buffer.data(), buffer.size(), [](void*, std::size_t) -> void* { return nullptr; });
  SoWriteAction(&out).apply(node);
  void* begin = nullptr;
  std::size_t size = 0;
  out.getBuffer(begin, size);
  return {static_cast<const char*>(begin), size};
}
/// A separator of the nodes of a file; null when it cannot be read.
inline SoRef<SoSeparator> readNodes(const std::string& text)
{
  SoInput in;
  in.setBuffer(text.data(), text.size());
  return SoRef<SoSeparator>(SoDB::readAll(&in));
}
/// The one node of a file; null when there is none, or of another class.
template <class Node>
SoRef<Node> readNode(const std::string& text)
{
  const SoRef<SoSeparator> root = readNodes(text);
  if (!root || root->getNumChildren() != 1) return {};
  return SoRef<Node>(dynamic_cast<Node*>(root->getChild(0)));
}

/// What a ray along -z meets.
class PickDown
{
public:
  PickDown(SoNode* root, float x, float y, bool all = false) : action(SbViewportRegion(100, 100))
  {
    action.setRay(SbVec3f(x, y, 50), SbVec3f(0, 0, -1));
    action.setPickAll(all);
    action.apply(root);
    point = action.getPickedPoint();
  }
  /// Null when there is no detail of this class, of the shape or of a node above it.
  template <class Detail>
  const Detail* detail(const SoNode* of = nullptr) const
  {
    if (!point) return nullptr;
    return dynamic_cast<const Detail*>(of ? point->getDetail(of) : point->getDetail());
  }

  SoRayPickAction action;
  const SoPickedPoint* point = nullptr; ///< the first, null for none
};

/// A camera that looks along -z at a part of the scene so high.
inline SoOrthographicCamera* cameraAt(float x, float y, float z, float height)
{
  auto* camera = new SoOrthographicCamera;
  camera->position.setValue(x, y, z);
  camera->height = height;
  camera->nearDistance = 0.1f;
  camera->farDistance = z + 10;
  return camera;
}
