#pragma once

#include <velmo/representation/MdMeshSurfaceRepresentation.h>

/// The implementation of a surface representation whose node is all that its extraction is told by.
///
/// @tparam Extract  an MdExtract, made with (extractor, node), that also has
///                  extractSurface(state, filter)
template <class Extract, class Node>
class MdMeshSurfaceOf : public MdMeshSurfaceRepresentation<Extract>
{
  using Base = MdMeshSurfaceRepresentation<Extract>;

public:
  using typename Base::CellFilter;
  using typename Base::Interface;

  MdMeshSurfaceOf(Node& node, const MdRepresentationTexts& texts) : Base(node, texts), m_node(node)
  {
    this->setBuilders(&node.getSurfaceMesh(), &node.getLineMesh(), &node.getPointMesh());
    node.getSurfaceMesh().allowSinglePassOutline(Extract::kMeshType != VOLUME_MESH_UNSTRUCTURED);
  }

protected:
  std::unique_ptr<Extract> makeExtract(const Interface& mesh, bool parallel,
                                       const MiTessellator* tessellator) override
  {
    return std::make_unique<Extract>(
        Extract::Extractor::getNewInstance(mesh, parallel, tessellator), m_node);
  }
  const MeXSurfaceMeshUnstructured* extractSurface(SoState* state,
                                                   const CellFilter* filter) override
  {
    return this->getExtract()->extractSurface(state, filter);
  }
  Node& getNode() const { return m_node; }

private:
  Node& m_node;
};
