#pragma once

#include <velmo/colormapping/MiColorMapping.h>
#include <velmo/colormapping/MoColorMappingElementValues.h>
#include <velmo/toolkit/classes/MoReplacedElement.h>

/// Carries the mapping of several values to a colour down the traversal. Borrowed from the node, or
/// from the application, that set it.
class MoCombineColorMappingElement
    : public MoReplacedElement<MoCombineColorMappingElement,
                               MoColorMappingElementValues<MiCombineColorMapping>>
{
  MO_ELEMENT_HEADER(MoCombineColorMappingElement);
  friend class MoReplacedElement<MoCombineColorMappingElement,
                                 MoColorMappingElementValues<MiCombineColorMapping>>;

public:
  /// Replaces the mapping and remembers its present stamp; `mapping` may be null.
  static void set(SoState* state, SoNode* node, const MiCombineColorMapping* mapping);
  /// The mapping in effect; null when there is none.
  static const MiCombineColorMapping* getColorMapping(SoState* state);

protected:
  ~MoCombineColorMappingElement() override;
};
