#pragma once

#include <velmo/toolkit/classes/SoRef.h>

#include <Inventor/caches/SoCache.h>
#include <Inventor/misc/SoState.h>

/// What was read from the state once, with the elements that it depends on.
///
/// A derived class reads and records in its constructor, which runs one level deeper in the state:
/// a cache keeps only the elements of the levels above its own.
template <class Derived>
class MdCache : public SoCache
{
public:
  static SoRef<Derived> build(SoState* state)
  {
    state->push();
    SoRef<Derived> cache(new Derived(state));
    state->pop();
    return cache;
  }

protected:
  explicit MdCache(SoState* state) : SoCache(state) {}

  /// Records an element; one that the action does not enable cannot be depended on.
  void addDependency(SoState* state, int stackIndex)
  {
    if (state->isElementEnabled(stackIndex)) addElement(state->getConstElement(stackIndex));
  }
};
