#pragma once

#include <velmo/representation/caches/MdCache.h>

/// The elements that an extraction in the background depends on beside what its request says: the
/// cell filter.
class MdExtractionThreadCache final : public MdCache<MdExtractionThreadCache>
{
private:
  friend class MdCache<MdExtractionThreadCache>;
  explicit MdExtractionThreadCache(SoState* state);
};
