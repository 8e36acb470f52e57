#pragma once

#include <velmo/toolkit/MoClassMacros.h>

#include <Inventor/fields/SoSFBool.h>
#include <Inventor/fields/SoSFColor.h>
#include <Inventor/fields/SoSFEnum.h>
#include <Inventor/fields/SoSFFloat.h>
#include <Inventor/nodes/SoIndexedFaceSet.h>

/// A face set that can draw its faces and the true edges of its polygons in one pass. Where it
/// cannot (see isCompatibleWithState), it draws its faces as any face set does.
class SoIndexedFaceSetOutline : public SoIndexedFaceSet
{
  typedef SoIndexedFaceSet inherited;
  MO_NODE_HEADER(SoIndexedFaceSetOutline);

public:
  enum OutlineMode
  {
    FACES_AND_EDGES = 0, ///< both in one pass
    EDGES = 1,           ///< edges alone, hidden behind the faces
    NO_OUTLINE = 2       ///< faces alone
  };
  enum Coloring
  {
    COLOR = 0,     ///< faceColor or edgeColor
    CONTOURING = 1 ///< the colours of the vertex property or of the texture
  };

  SoIndexedFaceSetOutline();

  SoSFEnum outlineMode;   ///< OutlineMode, default FACES_AND_EDGES
  SoSFBool fading;        ///< fade edges that are short on the screen, default FALSE
  SoSFEnum faceColoring;  ///< Coloring, default CONTOURING
  SoSFEnum edgeColoring;  ///< Coloring, default COLOR
  SoSFColor faceColor;    ///< default (1, 1, 1)
  SoSFColor edgeColor;    ///< default (0, 0, 0)
  SoSFFloat transparency; ///< of the faces, 0 to 1, default 0
  SoSFFloat edgeWidth;    ///< in pixels, default 1

  /// Whether both passes can be one in this state. There is no one-pass drawing yet: never.
  SbBool isCompatibleWithState(SoState* state) const;
  /// While on, the node draws as if outlineMode were NO_OUTLINE.
  void bypassSinglePassOutline(SbBool bypass) { m_bypassed = bypass; }
  SbBool isSinglePassOutlineBypassed() const { return m_bypassed; }

  /// Faces are lit from both sides unless a vertex ordering above says otherwise: meshes with
  /// inverted or left-handed cells would show black faces.
  void GLRender(SoGLRenderAction* action) override;

protected:
  ~SoIndexedFaceSetOutline() override = default;

private:
  SbBool m_bypassed = FALSE;
};
