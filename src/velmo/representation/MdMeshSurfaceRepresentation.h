#pragma once

#include <velmo/representation/MdMeshShapeRepresentation.h>

/// The implementation of a representation that extracts a surface.
template <class Extract>
class MdMeshSurfaceRepresentation : public MdMeshShapeRepresentation<Extract, MdSurfaceMesh>
{
  using Base = MdMeshShapeRepresentation<Extract, MdSurfaceMesh>;

public:
  using Base::Base;
};
