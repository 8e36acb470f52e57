#pragma once

#include <velmo/toolkit/classes/MoClassMacros.h>

#include <Inventor/nodes/SoPointSet.h>

#include <memory>

class MxLineDrawing;
struct MxUploadCounts;

/// A point set that keeps its data in graphics memory and picks through a tree; see TkLineSet. A
/// start index is left to the toolkit's point set.
class TkPointSet : public SoPointSet
{
  typedef SoPointSet inherited;
  MO_NODE_HEADER(TkPointSet);

public:
  TkPointSet();

  void GLRender(SoGLRenderAction* action) override;
  /// One point for each that is near enough to the ray.
  void rayPick(SoRayPickAction* action) override;
  /// Gives nothing of an invisible shape.
  void callback(SoCallbackAction* action) override;

  /// What was sent to graphics memory so far, in all contexts.
  const MxUploadCounts& getUploadCounts() const;
  int getTreesBuilt() const;

protected:
  ~TkPointSet() override;

private:
  std::unique_ptr<MxLineDrawing> m_drawing;
};
