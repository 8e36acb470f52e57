#include <velmo/toolkit/classes/MoClassRecord.h>
#include <velmo/toolkit/classes/MxToolkit.h>

#include <Inventor/actions/SoCallbackAction.h>
#include <Inventor/actions/SoGetBoundingBoxAction.h>
#include <Inventor/actions/SoGetMatrixAction.h>
#include <Inventor/actions/SoGetPrimitiveCountAction.h>
#include <Inventor/actions/SoGLRenderAction.h>
#include <Inventor/actions/SoHandleEventAction.h>
#include <Inventor/actions/SoPickAction.h>
#include <Inventor/actions/SoSearchAction.h>
#include <Inventor/actions/SoWriteAction.h>

namespace {

// The static enableElement of an action class is inherited where the class has none of its own;
// calling it through the class named keeps it with that class.
template <class... Actions>
void enableIn(SoType type, int stackIndex)
{
  (Actions::enableElement(type, stackIndex), ...);
}

} // namespace

void MoClass::prepare(MoClassRecord& record, MoRenderEngineMode parentMode)
{
  if (!record.mutex) record.mutex = new SbThreadMutex;
  const MoClassLock lock(record);
  record.mode = {MoRenderEngineMode::FullySupported, parentMode.additional};
}

bool MoClass::findKeptType(const MoClassRecord& record, SoType& type)
{
  if (record.keptType.isBad() || record.keptGeneration != MxToolkit::generation()) return false;
  type = record.keptType;
  return true;
}

void MoClass::keepType(MoClassRecord& record, SoType type)
{
  record.keptType = type;
  record.keptGeneration = MxToolkit::generation();
}

void MoClass::enableElement(SoType type, int stackIndex)
{
  enableIn<SoCallbackAction, SoGLRenderAction, SoGetMatrixAction, SoSearchAction,
           SoGetBoundingBoxAction, SoWriteAction, SoHandleEventAction, SoPickAction,
           SoGetPrimitiveCountAction>(type, stackIndex);
}
