#pragma once

#include <velmo/representation/MdExtractBy.h>
#include <velmo/representation/MdMeshShapeRepresentation.h>

/// The implementation of a representation that extracts one set of lines.
template <class Extract>
class MdMeshLineRepresentation : public MdMeshShapeRepresentation<Extract, MdLineMesh>
{
  using Base = MdMeshShapeRepresentation<Extract, MdLineMesh>;

public:
  MdMeshLineRepresentation(typename Base::Node& node, const MdRepresentationTexts& texts)
      : Base(node, texts)
  {
    this->setBuilders(&node.getLineMesh(), nullptr, &node.getPointMesh());
  }
};
