#pragma once

#include <velmo/representation/MdExtractBy.h>
#include <velmo/representation/MdExtractByKind.h>
#include <velmo/representation/MdMeshSurfaceRepresentation.h>

/// The implementation of a surface representation that is described by a recipe (MdExtractBy),
/// drawn by the builders of its node.
///
/// @tparam Recipe  may add `normalOf(node)`: the whole surface is lit with that normal
template <class Recipe, MeshType K>
class MdMeshSurfaceOf final : public MdMeshSurfaceRepresentation<MdExtractBy<Recipe, K>>
{
  using Base = MdMeshSurfaceRepresentation<MdExtractBy<Recipe, K>>;
  using Node = typename Recipe::Node;

public:
  using typename Base::ColorSets;

  MdMeshSurfaceOf(Node& node, const MdRepresentationTexts& texts) : Base(node, texts)
  {
    this->setBuilders(&node.getSurfaceMesh(), &node.getLineMesh(), &node.getPointMesh());
    node.getSurfaceMesh().allowSinglePassOutline(K != VOLUME_MESH_UNSTRUCTURED);
  }

protected:
  using typename Base::Request;

  void extract(SoState* state, const Request& request, const ColorSets& colorSets) override
  {
    Base::extract(state, request, colorSets);
    // While a task runs, what is drawn has the normal that it was extracted with.
    if constexpr (requires(const Node& node) { Recipe::normalOf(node); })
      if (!this->isExtracting())
        this->getNode().getSurfaceMesh().setOverallNormal(Recipe::normalOf(this->getNode()));
  }
};
