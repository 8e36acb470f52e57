#include <velmo/toolkit/shapes/MxDrawnStyle.h>
#include <velmo/toolkit/shapes/MxLineDrawing.h>
#include <velmo/toolkit/shapes/TkPointSet.h>

#include <Inventor/actions/SoCallbackAction.h>

MO_NODE_SOURCE(TkPointSet, SoPointSet)

TkPointSet::TkPointSet()
{
  SO_NODE_CONSTRUCTOR(TkPointSet);
  m_drawing = std::make_unique<MxLineDrawing>(*this, nullptr);
}

TkPointSet::~TkPointSet() = default;

void TkPointSet::GLRender(SoGLRenderAction* action)
{
  if (startIndex.getValue() != 0 || !m_drawing->render(action, numPoints.getValue(), [&] {
        return shouldGLRender(action) == TRUE;
      }))
    inherited::GLRender(action);
}

void TkPointSet::rayPick(SoRayPickAction* action)
{
  const auto wanted = [&] {
    if (!shouldRayPick(action)) return false;
    computeObjectSpaceRay(action);
    return true;
  };
  if (startIndex.getValue() != 0 || !m_drawing->pick(action, numPoints.getValue(), wanted))
    inherited::rayPick(action);
}

void TkPointSet::callback(SoCallbackAction* action)
{
  if (mxDrawnStyle(action) != SoDrawStyleElement::INVISIBLE) inherited::callback(action);
}

const MxUploadCounts& TkPointSet::getUploadCounts() const
{
  return m_drawing->counts();
}

int TkPointSet::getTreesBuilt() const
{
  return m_drawing->treesBuilt();
}
