#pragma once

#include <velmo/representation/MdMeshRepresentationFor.h>
#include <velmo/representation/MoMeshRepresentation.h>

#include <Inventor/actions/SoAction.h>
#include <Inventor/errors/SoDebugError.h>

/// The extractor of a representation's implementation, null when there is none or it is of another
/// class.
template <class Extractor>
Extractor* mdExtractor(const MoMeshRepresentation& node)
{
  return dynamic_cast<Extractor*>(node.getImplementation().getExtractor());
}

/// A representation's doExtract: finds the mesh of the state, makes the implementation for its kind
/// when the kind is new, and lets it extract.
///
/// A kind that is not in the list is refused with the representation's words, at every attempt, and
/// nothing is drawn.
///
/// @tparam Implementation  made with (node, texts)
template <template <MeshType> class Implementation, class Node, MeshType... Kinds>
void mdExtract(Node& node, SoAction* action, MxKinds<Kinds...> kinds,
               const MdRepresentationTexts& texts)
{
  SoState* state = action->getState();
  MeshType type = UNDEFINED_MESH;
  const MiMesh* mesh = node.getMeshFromState(state, type);
  if (!mesh) {
    if (!node.keepsPicture()) node.clearBuilders();
    return;
  }
  if (node.getImplementation().getMeshType() != type) {
    node.setImplementation(nullptr);
    node.clearBuilders();
    const bool served = visitMeshKind(kinds, type, [&]<MeshType K>() {
      node.setImplementation(std::make_unique<Implementation<K>>(node, texts));
    });
    if (!served) SoDebugError::postWarning(texts.refusalFunction, "%s", texts.refusal);
  }
  node.getImplementation().doExtract(state, mesh);
}
