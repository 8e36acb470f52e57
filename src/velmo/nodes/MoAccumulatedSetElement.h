#pragma once

#include <velmo/toolkit/classes/MoClassMacros.h>

#include <Inventor/elements/SoAccumulatedElement.h>
#include <Inventor/lists/SbPList.h>

/// What the elements that collect data sets have in common: the sets of all nodes of one kind met
/// so far, in traversal order. A separator's own additions vanish behind it.
///
/// A class `E : MoAccumulatedSetElement<E, Set>` says MO_ELEMENT_HEADER(E), befriends this base,
/// and MO_ELEMENT_SOURCE(E, SoAccumulatedElement).
template <class Element, class SetType>
class MoAccumulatedSetElement : public SoAccumulatedElement
{
public:
  using Set = SetType;

  /// Appends a set, null included. *Ownership*: borrowed for the traversal.
  static void add(SoState* state, SoNode* node, const Set* set)
  {
    const int index = Element::getClassStackIndex();
    if (!state || !state->isElementEnabled(index)) return;
    auto* element = static_cast<MoAccumulatedSetElement*>(getElement(state, index));
    element->m_sets.append(const_cast<Set*>(set));
    element->addNodeId(node);
  }
  static int getNum(SoState* state)
  {
    const auto* element = find(state);
    return element ? element->m_sets.getLength() : 0;
  }
  /// The set at a position; null for an entry without a set and for positions that do not exist.
  static const Set* get(SoState* state, int index)
  {
    const auto* element = find(state);
    if (!element || index < 0 || index >= element->m_sets.getLength()) return nullptr;
    return static_cast<const Set*>(element->m_sets[index]);
  }

  void init(SoState* state) override
  {
    SoAccumulatedElement::init(state);
    m_sets.truncate(0);
  }
  void push(SoState* state) override
  {
    SoAccumulatedElement::push(state);
    const auto* below = static_cast<const MoAccumulatedSetElement*>(getNextInStack());
    m_sets = below->m_sets;
    copyNodeIds(below);
  }
  SbBool matches(const SoElement* other) const override
  {
    // Null is what a cache compares with in an action that does not have the element.
    return other && SoAccumulatedElement::matches(other);
  }

private:
  static const MoAccumulatedSetElement* find(SoState* state)
  {
    const int index = Element::getClassStackIndex();
    if (!state || !state->isElementEnabled(index)) return nullptr;
    return static_cast<const MoAccumulatedSetElement*>(getConstElement(state, index));
  }

  SbPList m_sets;
};
