#include <velmo/toolkit/MxLineDrawing.h>
#include <velmo/toolkit/TkLineSet.h>

MO_NODE_SOURCE(TkLineSet, SoIndexedLineSet)

TkLineSet::TkLineSet()
{
  SO_NODE_CONSTRUCTOR(TkLineSet);
  m_drawing = std::make_unique<MxLineDrawing>(*this, this);
}

TkLineSet::~TkLineSet() = default;

void TkLineSet::GLRender(SoGLRenderAction* action)
{
  if (coordIndex.getNum() < 1) return;
  if (!m_drawing->render(action, -1, [&] { return shouldGLRender(action) == TRUE; }))
    inherited::GLRender(action);
}

void TkLineSet::rayPick(SoRayPickAction* action)
{
  if (coordIndex.getNum() < 2) return;
  const auto wanted = [&] {
    if (!shouldRayPick(action)) return false;
    computeObjectSpaceRay(action);
    return true;
  };
  if (!m_drawing->pick(action, -1, wanted)) inherited::rayPick(action);
}

const MxUploadCounts& TkLineSet::getUploadCounts() const
{
  return m_drawing->counts();
}

int TkLineSet::getTreesBuilt() const
{
  return m_drawing->treesBuilt();
}
