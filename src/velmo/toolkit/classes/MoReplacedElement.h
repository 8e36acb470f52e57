#pragma once

#include <velmo/toolkit/classes/MoClassMacros.h>

#include <Inventor/elements/SoReplacedElement.h>

/// What all replacing elements have in common. `Values` holds everything that the element carries:
/// its default is the element's initial content, its operator== decides whether a cache that read
/// the element is still good.
///
/// A class `E : MoReplacedElement<E, V>` says MO_ELEMENT_HEADER(E), befriends this base, and
/// MO_ELEMENT_SOURCE(E, SoReplacedElement).
template <class Element, class Values>
class MoReplacedElement : public SoReplacedElement
{
public:
  void init(SoState* state) override
  {
    SoReplacedElement::init(state);
    m_values = Values{};
  }
  /// Equal values match, whichever node set them.
  SbBool matches(const SoElement* other) const override
  {
    // Null is what a cache compares with in an action that does not have the element.
    return other && m_values == static_cast<const MoReplacedElement*>(other)->m_values;
  }
  SoElement* copyMatchInfo() const override
  {
    auto* copy = static_cast<MoReplacedElement*>(SoReplacedElement::copyMatchInfo());
    copy->m_values = m_values;
    return copy;
  }

protected:
  /// The values to read in this state, captured for open caches; null when the state has no such
  /// element.
  static const Values* read(SoState* state)
  {
    const int index = Element::getClassStackIndex();
    if (!state || !state->isElementEnabled(index)) return nullptr;
    return &static_cast<const MoReplacedElement*>(getConstElement(state, index))->m_values;
  }
  /// The values to replace on the current depth; null when the state has no such element.
  static Values* write(SoState* state, SoNode* node)
  {
    const int index = Element::getClassStackIndex();
    if (!state || !state->isElementEnabled(index)) return nullptr;
    auto* element = static_cast<MoReplacedElement*>(getElement(state, index, node));
    return element ? &element->m_values : nullptr;
  }

  Values m_values;
};
