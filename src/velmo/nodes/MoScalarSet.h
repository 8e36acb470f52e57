#pragma once

#include <velmo/nodes/MoScalarSetElement.h>
#include <velmo/nodes/MoSetNode.h>

/// Appends a scalar set of any numbering to the state.
class MoScalarSet : public MoSetNode<MoScalarSetElement>
{
  MO_NODE_HEADER(MoScalarSet);

public:
  MoScalarSet();

  /// Publishes the set from now on, null for none. A set that is numbered by none of I, (I, J) and
  /// (I, J, K) gets a warning and leaves the node without a set.
  virtual void setScalarSet(const MiTypedDataSet<double>* set);
  virtual void reset();
  virtual const MiTypedDataSet<double>* getScalarSet() const;

protected:
  ~MoScalarSet() override = default;
};
