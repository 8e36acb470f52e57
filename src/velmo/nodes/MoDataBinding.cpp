#include <velmo/nodes/MoDataBinding.h>

#include <velmo/nodes/MoDataBindingElement.h>

#include <Inventor/actions/SoAction.h>

MO_NODE_SOURCE(MoDataBinding, MoActionNode)

MoDataBinding::MoDataBinding()
{
  SO_NODE_CONSTRUCTOR(MoDataBinding);
  SO_NODE_ADD_FIELD(dataBinding, (PER_CELL));
  SO_NODE_DEFINE_ENUM_VALUE(DataBinding, PER_NODE);
  SO_NODE_DEFINE_ENUM_VALUE(DataBinding, PER_CELL);
  SO_NODE_DEFINE_ENUM_VALUE(DataBinding, AUTO);
  SO_NODE_SET_SF_ENUM_TYPE(dataBinding, DataBinding);
}

void MoDataBinding::doAction(SoAction* action)
{
  MoDataBindingElement::set(action->getState(), this,
                            static_cast<DataBinding>(dataBinding.getValue()));
}
