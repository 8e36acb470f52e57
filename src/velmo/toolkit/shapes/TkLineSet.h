#pragma once

#include <velmo/base/MxArray.h>
#include <velmo/toolkit/classes/MoClassMacros.h>

#include <Inventor/nodes/SoIndexedLineSet.h>

#include <memory>

class MxLineDrawing;
struct MxUploadCounts;

/// A line set that keeps its data in graphics memory for every usual binding and picks through a
/// tree.
///
/// It looks like the toolkit's line set, line patterns running along each polyline, and hands over
/// to it where the context or the data are unusual: graphics older than OpenGL 3.0, lines lit by
/// normals, one colour a segment, indexed materials or texture coordinates, more than one texture,
/// colours that are not packed in the vertex property.
///
/// Lines with tangents (a TkVertexProperty) are lit: of all normals of a thin line, the one that
/// catches most of each light (M. Zöckler, D. Stalling, H.-C. Hege: Interactive visualization of 3D
/// vector fields using illuminated stream lines, 1996). Under a shader program or fog they are not.
///
/// Only what changed is sent again, as the fields' notifications tell; see SoIndexedFaceSetOutline.
/// Draw style POINTS draws each vertex once. An index that names no vertex makes its polyline
/// invisible, nothing more.
class TkLineSet : public SoIndexedLineSet
{
  typedef SoIndexedLineSet inherited;
  MO_NODE_HEADER(TkLineSet);

public:
  TkLineSet();

  void GLRender(SoGLRenderAction* action) override;
  /// One point for each segment that is near enough to the ray.
  void rayPick(SoRayPickAction* action) override;
  /// Gives what is drawn: in draw style POINTS each vertex once, and nothing of an invisible shape.
  void callback(SoCallbackAction* action) override;

  /// What was sent to graphics memory so far, in all contexts.
  const MxUploadCounts& getUploadCounts() const;
  int getTreesBuilt() const;

protected:
  ~TkLineSet() override;

private:
  MxArray<std::uint32_t> drawnPoints(SoAction* action);

  std::unique_ptr<MxLineDrawing> m_drawing;
};
