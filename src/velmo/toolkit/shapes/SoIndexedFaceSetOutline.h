#pragma once

#include <velmo/base/MbPlainArray.h>
#include <velmo/toolkit/classes/MoClassMacros.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <Inventor/fields/SoSFBool.h>
#include <Inventor/fields/SoSFColor.h>
#include <Inventor/fields/SoSFEnum.h>
#include <Inventor/fields/SoSFFloat.h>
#include <Inventor/nodes/SoIndexedFaceSet.h>

#include <memory>

struct MxUploadCounts;
class MxFaceCache;
class MxOutlineDrawing;
class TkShaderProgram;

/// A face set that keeps its data in graphics memory for every usual binding, draws the true edges
/// of its polygons together with their faces in one pass, and picks through a tree.
///
/// It looks like the toolkit's face set and hands over to it where the context or the data are
/// unusual: graphics older than OpenGL 3.0, indexed normals, materials or texture coordinates, more
/// than one texture, colours that are not packed in the vertex property. Hollow (concave) faces are
/// drawn and picked as they are, whatever the face type of the shape hints.
///
/// Only what changed is sent again. Changes are told by the fields' notifications: values that
/// change in place, behind setValuesPointer, need a touch() of their field (vertex, normal,
/// orderedRGBA, texCoord of the vertex property, or coordIndex).
///
/// Draw style LINES draws each edge once, POINTS each vertex once. An index that names no vertex
/// makes its face invisible, nothing more.
class SoIndexedFaceSetOutline : public SoIndexedFaceSet
{
  typedef SoIndexedFaceSet inherited;
  MO_NODE_HEADER(SoIndexedFaceSetOutline);

public:
  enum OutlineMode
  {
    FACES_AND_EDGES = 0, ///< both in one pass
    EDGES = 1,           ///< edges alone, hidden behind the faces
    NO_OUTLINE = 2       ///< faces alone, as any face set
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
  SoSFFloat transparency; ///< of faceColor and edgeColor, 0 to 1, default 0
  SoSFFloat edgeWidth;    ///< in pixels; 0, the default, takes the line width of the draw style
  SoSFFloat fadingEdgePixelLength; ///< edges of about this length begin to fade, default 5 pixels
  /// Length of a typical edge in object space; 0 or less, the default, fades nothing.
  SoSFFloat edgeLengthReference;

  /// Whether faces and edges can be one pass in this state: draw style FILLED, no shader program,
  /// at most one texture, no fog, no sorting of triangles, and OpenGL 3.0. States of actions that
  /// do not draw get the answer for the last one that did, at first FALSE.
  SbBool isCompatibleWithState(SoState* state) const;
  /// While on, the node draws as if outlineMode were NO_OUTLINE.
  void bypassSinglePassOutline(SbBool bypass);
  SbBool isSinglePassOutlineBypassed() const { return m_bypassed; }

  /// Says that this node draws its edges, in draw style LINES, over faces that it has drawn just
  /// before, with the same polygon offset. They are then drawn as in one pass: on their faces,
  /// never half hidden by them, and faster than as lines.
  /// @param fading  the program that fades the edges, or null; when it is in use, the node fades
  ///                them itself, by its fadingEdgePixelLength and edgeLengthReference
  void setEdgesOnFaces(SbBool on, TkShaderProgram* fading);
  SbBool areEdgesOnFaces() const { return m_edgesOnFaces; }
  const TkShaderProgram* getFadingProgram() const { return m_fadingProgram; }

  /// Says that the normals of the vertex property are numbers for a shader program. Wherever that
  /// program is not in use (another style, a pick, a context that cannot run it) the node computes
  /// its normals, and takes one packed colour a vertex where there are as many.
  /// @param program      null: the normals are normals
  /// @param transparent  what the program answers is to be blended
  void setNormalsFor(TkShaderProgram* program, SbBool transparent);

  /// Faces are lit from both sides unless a vertex ordering above says otherwise: meshes with
  /// inverted or left-handed cells would show black faces.
  void GLRender(SoGLRenderAction* action) override;
  /// One point for each face on the ray, with the details that the toolkit's face set gives.
  void rayPick(SoRayPickAction* action) override;

  /// What was sent to graphics memory so far, in all contexts.
  const MxUploadCounts& getUploadCounts() const;
  const MxFaceCache& getCache() const;

protected:
  ~SoIndexedFaceSetOutline() override;
  /// To callbacks, what is drawn: in draw style LINES each edge once as a line, in POINTS each
  /// vertex as a point, and nothing of an invisible shape.
  void generatePrimitives(SoAction* action) override;

private:
  bool drawOurs(SoGLRenderAction* action);
  void lightBothSides(SoState* state);
  void replaceNumbers(SoState* state);
  MbPlainArray<std::uint32_t> drawnVertices(SoAction* action, bool edges);
  bool isOutlined() const { return !m_bypassed && outlineMode.getValue() != NO_OUTLINE; }

  SbBool m_bypassed = FALSE;
  mutable SbBool m_compatible = FALSE;
  SoRef<TkShaderProgram> m_numbersFor;
  bool m_numbersBlend = false;
  SoRef<TkShaderProgram> m_fadingProgram;
  SbBool m_edgesOnFaces = FALSE;
  std::unique_ptr<MxOutlineDrawing> m_drawing;
};
