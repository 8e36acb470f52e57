#pragma once

#include <velmo/colormapping/MiColorMapping.h>
#include <velmo/colormapping/MoColorMappingElementValues.h>
#include <velmo/toolkit/classes/MoReplacedElement.h>

/// Carries the mapping of one scalar to a colour down the traversal. Borrowed from the node, or
/// from the application, that set it.
class MoColorMappingElement
    : public MoReplacedElement<MoColorMappingElement,
                               MoColorMappingElementValues<MiScalarColorMapping>>
{
  MO_ELEMENT_HEADER(MoColorMappingElement);
  friend class MoReplacedElement<MoColorMappingElement,
                                 MoColorMappingElementValues<MiScalarColorMapping>>;

public:
  /// Replaces the mapping and remembers its present stamp; `mapping` may be null.
  static void set(SoState* state, SoNode* node, const MiScalarColorMapping* mapping);
  /// The mapping in effect; null when there is none.
  static const MiScalarColorMapping* getColorMapping(SoState* state);

protected:
  ~MoColorMappingElement() override;
};
