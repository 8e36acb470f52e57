#pragma once

#include <velmo/toolkit/classes/MoClassMacros.h>

#include <Inventor/nodes/SoShaderProgram.h>

#include <functional>

class SoState;

/// A shader program that is off while none of its objects is active. The toolkit's own keeps
/// running once it was linked, and stops the render caching of everything around it.
class TkShaderProgram : public SoShaderProgram
{
  typedef SoShaderProgram inherited;
  MO_NODE_HEADER(TkShaderProgram);

public:
  TkShaderProgram();
  void GLRender(SoGLRenderAction* action) override;

  /// Leaves the program off in states of actions that draw where `condition` answers false.
  void setCondition(std::function<bool(SoState*)> condition) { m_condition = std::move(condition); }
  /// Whether this program is the one in use in a state of an action that draws.
  bool isInUse(SoState* state) const;

protected:
  ~TkShaderProgram() override = default;

private:
  std::function<bool(SoState*)> m_condition;
};
