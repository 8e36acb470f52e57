#include <velmo/representation/caches/MdAttributeCache.h>

#include <velmo/colormapping/MoColorMappingElement.h>
#include <velmo/colormapping/MoCombineColorMappingElement.h>
#include <velmo/colormapping/MoUndefinedColorElement.h>
#include <velmo/nodes/MoDrawStyleElement.h>
#include <velmo/nodes/MoMaterialElement.h>

MdAttributeCache::MdAttributeCache(SoState* state) : MdCache(state)
{
  addDependency(state, MoDrawStyleElement::getClassStackIndex());
  addDependency(state, MoMaterialElement::getClassStackIndex());
  addDependency(state, MoColorMappingElement::getClassStackIndex());
  addDependency(state, MoCombineColorMappingElement::getClassStackIndex());
  addDependency(state, MoUndefinedColorElement::getClassStackIndex());
}
