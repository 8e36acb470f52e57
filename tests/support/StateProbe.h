#pragma once

#include <velmo/toolkit/classes/SoRef.h>

#include <Inventor/actions/SoCallbackAction.h>
#include <Inventor/nodes/SoCallback.h>
#include <Inventor/nodes/SoSeparator.h>

#include <functional>

/// A node that shows the state of every traversal that passes it.
class StateProbe
{
public:
  using Look = std::function<void(SoAction*)>;

  explicit StateProbe(Look look) : m_look(std::move(look)), m_node(new SoCallback)
  {
    m_node->setCallback(&StateProbe::call, this);
  }
  StateProbe(const StateProbe&) = delete;
  StateProbe& operator=(const StateProbe&) = delete;
  ~StateProbe() { m_node->setCallback(nullptr); }

  SoNode* node() const { return m_node; }

private:
  static void call(void* self, SoAction* action) { static_cast<StateProbe*>(self)->m_look(action); }

  Look m_look;
  SoRef<SoCallback> m_node;
};

/// Traverses the nodes in order, under one separator, and lets `look` see the state behind them.
template <class... Nodes>
void lookBehind(const std::function<void(SoState*)>& look, Nodes*... nodes)
{
  const StateProbe probe([&](SoAction* action) { look(action->getState()); });
  const SoRef<SoSeparator> root(new SoSeparator);
  (root->addChild(nodes), ...);
  root->addChild(probe.node());
  SoCallbackAction().apply(root);
}
