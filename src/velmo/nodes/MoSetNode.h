#pragma once

#include <velmo/nodes/MoActionNode.h>
#include <velmo/toolkit/background/MoBorrowed.h>

#include <Inventor/actions/SoAction.h>

/// What the data set nodes have in common: each appends its set to the element's list, with a place
/// of its own even when it has none. *Ownership*: the set is borrowed, as long as the node refers
/// to it.
template <class Element>
class MoSetNode : public MoActionNode
{
public:
  using Set = typename Element::Set;

  void doAction(SoAction* action) override { Element::add(action->getState(), this, m_set); }

protected:
  ~MoSetNode() override = default;
  void copyContents(const SoFieldContainer* from, SbBool copyConnections) override
  {
    MoActionNode::copyContents(from, copyConnections);
    m_set = static_cast<const MoSetNode*>(from)->m_set;
  }

  MoBorrowed<const Set> m_set;
};
