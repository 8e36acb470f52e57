#pragma once

#include <velmo/toolkit/classes/MoClassMacros.h>

#include <Inventor/fields/SoSFBox3f.h>
#include <Inventor/fields/SoSFEnum.h>
#include <Inventor/fields/SoSFVec3f.h>
#include <Inventor/nodes/SoNode.h>

/// Says how a TkBBoxSeparator that has this node among its children answers a bounding-box action,
/// and where the coordinates of the following shapes count from.
class SoBBox : public SoNode
{
  typedef SoNode inherited;
  MO_NODE_HEADER(SoBBox);

public:
  enum Mode
  {
    NONE = 0,     ///< the separator has no extent
    COMPUTED = 1, ///< the extent of the children, as in any separator
    EXPLICIT = 2  ///< `box`, without asking the children
  };

  SoBBox();

  SoSFEnum mode; ///< default COMPUTED
  SoSFBox3f box; ///< in the separator's space; default empty
  /// Moves what follows, so that shapes far from zero keep the precision of small coordinates;
  /// default zero.
  SoSFVec3f origin;

  void doAction(SoAction* action) override;
  void callback(SoCallbackAction* action) override;
  void GLRender(SoGLRenderAction* action) override;
  void getBoundingBox(SoGetBoundingBoxAction* action) override;
  void getMatrix(SoGetMatrixAction* action) override;
  void pick(SoPickAction* action) override;
  void getPrimitiveCount(SoGetPrimitiveCountAction* action) override;

protected:
  ~SoBBox() override = default;
};
