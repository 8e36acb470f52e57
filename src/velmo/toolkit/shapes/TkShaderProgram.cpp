#include <velmo/toolkit/shapes/TkShaderProgram.h>

#include <Inventor/actions/SoGLRenderAction.h>
#include <Inventor/elements/SoGLShaderProgramElement.h>
#include <Inventor/nodes/SoShaderObject.h>

MO_NODE_SOURCE(TkShaderProgram, SoShaderProgram)

TkShaderProgram::TkShaderProgram()
{
  SO_NODE_CONSTRUCTOR(TkShaderProgram);
}

void TkShaderProgram::GLRender(SoGLRenderAction* action)
{
  for (int i = 0; i < shaderObject.getNum(); ++i) {
    const SoNode* node = shaderObject[i];
    if (node && node->isOfType(SoShaderObject::getClassTypeId()) &&
        static_cast<const SoShaderObject*>(node)->isActive.getValue())
    {
      if (!m_condition || m_condition(action->getState())) inherited::GLRender(action);
      return;
    }
  }
}

bool TkShaderProgram::isInUse(SoState* state) const
{
  const int index = SoGLShaderProgramElement::getClassStackIndex();
  if (!state->isElementEnabled(index) || !SoGLShaderProgramElement::get(state)) return false;
  const auto* element = static_cast<const SoReplacedElement*>(state->getConstElement(index));
  return element->getNodeId() == getNodeId();
}
