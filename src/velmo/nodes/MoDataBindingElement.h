#pragma once

#include <velmo/nodes/MoDataBinding.h>
#include <velmo/toolkit/classes/MoReplacedElement.h>

/// What MoDataBindingElement carries.
struct MoDataBindingElementValues
{
  MoDataBinding::DataBinding binding = MoDataBinding::AUTO;

  friend bool operator==(const MoDataBindingElementValues&,
                         const MoDataBindingElementValues&) = default;
};

/// Where the values of the data sets live.
class MoDataBindingElement
    : public MoReplacedElement<MoDataBindingElement, MoDataBindingElementValues>
{
  MO_ELEMENT_HEADER(MoDataBindingElement);
  friend class MoReplacedElement<MoDataBindingElement, MoDataBindingElementValues>;

public:
  static void set(SoState* state, SoNode* node, MoDataBinding::DataBinding binding);
  /// AUTO when no node has set one.
  static MoDataBinding::DataBinding getDataBinding(SoState* state);

protected:
  ~MoDataBindingElement() override = default;
};
