#include <velmo/representation/caches/MdExtractionThreadCache.h>

#include <velmo/nodes/MoCellFilterElement.h>

MdExtractionThreadCache::MdExtractionThreadCache(SoState* state) : MdCache(state)
{
  addDependency(state, MoCellFilterElement::getClassStackIndex());
}
