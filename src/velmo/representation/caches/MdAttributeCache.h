#pragma once

#include <velmo/representation/caches/MdCache.h>

/// The elements that the look of an extracted mesh depends on: draw style, material, colour
/// mappings and the colour of undefined values.
class MdAttributeCache final : public MdCache<MdAttributeCache>
{
private:
  friend class MdCache<MdAttributeCache>;
  explicit MdAttributeCache(SoState* state);
};
