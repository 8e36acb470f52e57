#include <velmo/toolkit/shapes/MxProgramBlending.h>

#include <Inventor/elements/SoGLLazyElement.h>
#include <Inventor/elements/SoGLShaderProgramElement.h>
#include <Inventor/system/gl.h>

MxProgramBlending::MxProgramBlending(SoState* state)
    : m_state(state), m_on(SoGLShaderProgramElement::get(state) != nullptr)
{
  if (!m_on) return;
  glEnable(GL_BLEND);
  glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
}

MxProgramBlending::~MxProgramBlending()
{
  if (!m_on) return;
  glDisable(GL_BLEND);
  static_cast<SoGLLazyElement*>(SoLazyElement::getInstance(m_state))
      ->reset(m_state, SoLazyElement::BLENDING_MASK);
}
