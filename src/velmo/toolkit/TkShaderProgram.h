#pragma once

#include <velmo/toolkit/MoClassMacros.h>

#include <Inventor/nodes/SoShaderProgram.h>

/// A shader program that is off while none of its objects is active. The toolkit's own keeps
/// running once it was linked, and stops the render caching of everything around it.
class TkShaderProgram : public SoShaderProgram
{
  typedef SoShaderProgram inherited;
  MO_NODE_HEADER(TkShaderProgram);

public:
  TkShaderProgram();
  void GLRender(SoGLRenderAction* action) override;

protected:
  ~TkShaderProgram() override = default;
};
