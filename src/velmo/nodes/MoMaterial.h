#pragma once

#include <velmo/nodes/MoActionNode.h>

#include <Inventor/fields/SoSFBool.h>
#include <Inventor/fields/SoSFColor.h>
#include <Inventor/fields/SoSFEnum.h>
#include <Inventor/fields/SoSFFloat.h>

/// Says how representations below colour what they draw.
class MoMaterial : public MoActionNode
{
  MO_NODE_HEADER(MoMaterial);

public:
  enum ColoringType
  {
    COLOR = 0,     ///< one colour, this node's
    CONTOURING = 1 ///< by the scalar set of the representation and the colour mapping in the state
  };

  MoMaterial();

  SoSFEnum faceColoring;     ///< ColoringType, default CONTOURING
  SoSFEnum lineColoring;     ///< ColoringType, default CONTOURING
  SoSFEnum pointColoring;    ///< ColoringType, default CONTOURING
  SoSFColor faceColor;       ///< default (1, 1, 1)
  SoSFColor lineColor;       ///< default (1, 0, 0)
  SoSFColor pointColor;      ///< default (0, 1, 0)
  SoSFFloat transparency;    ///< 0, opaque, to 1; default 0
  SoSFBool enhancedColoring; ///< faces: map interpolated values, not colours; default FALSE

  void doAction(SoAction* action) override;

protected:
  ~MoMaterial() override = default;
};
