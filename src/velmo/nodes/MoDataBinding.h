#pragma once

#include <velmo/nodes/MoActionNode.h>

#include <Inventor/fields/SoSFEnum.h>

/// Says where the values of the data sets live, for the representations below.
class MoDataBinding : public MoActionNode
{
  MO_NODE_HEADER(MoDataBinding);

public:
  enum DataBinding
  {
    AUTO = -1, ///< as each data set says itself; also what holds without such a node
    PER_CELL = 0,
    PER_NODE = 1
  };

  MoDataBinding();

  SoSFEnum dataBinding; ///< DataBinding, default PER_CELL

  void doAction(SoAction* action) override;

protected:
  ~MoDataBinding() override = default;
};
