#pragma once

#include <velmo/nodes/MoActionNode.h>

#include <Inventor/fields/SoSFColor.h>
#include <Inventor/fields/SoSFFloat.h>

/// Gives values that are no numbers (NaN) a colour of their own, for the representations after it.
/// Without one they have the colour that the mapping answers for them, which is one of its own.
///
/// Where values are interpolated, a face that has an undefined corner is in this colour: all of it
/// with enhanced colouring, the triangles at that corner with a level mapping. Otherwise colours of
/// nodes run into it.
class MoUndefinedColor : public MoActionNode
{
  MO_NODE_HEADER(MoUndefinedColor);

public:
  SoSFColor color;        ///< (0.5, 0.5, 0.5) at first
  SoSFFloat transparency; ///< 0 at first; that of the material comes on top

  MoUndefinedColor();

  void doAction(SoAction* action) override;

protected:
  ~MoUndefinedColor() override;
};
