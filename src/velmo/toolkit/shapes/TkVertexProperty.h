#pragma once

#include <velmo/toolkit/classes/MoClassMacros.h>

#include <Inventor/nodes/SoVertexProperty.h>

/// A vertex property with tangents, which only our own shapes and shaders read.
class TkVertexProperty : public SoVertexProperty
{
  typedef SoVertexProperty inherited;
  MO_NODE_HEADER(TkVertexProperty);

public:
  TkVertexProperty();

  SoMFVec3f tangent;       ///< default empty
  SoSFEnum tangentBinding; ///< SoVertexProperty::Binding, default OVERALL

protected:
  ~TkVertexProperty() override = default;
};
