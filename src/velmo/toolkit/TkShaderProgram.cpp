#include <velmo/toolkit/TkShaderProgram.h>

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
      inherited::GLRender(action);
      return;
    }
  }
}
