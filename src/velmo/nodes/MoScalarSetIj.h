#pragma once

#include <velmo/nodes/MoScalarSetElementIj.h>
#include <velmo/nodes/MoSetNode.h>

/// Appends a scalar set for structured surfaces to the state.
class MoScalarSetIj : public MoSetNode<MoScalarSetElementIj>
{
  MO_NODE_HEADER(MoScalarSetIj);

public:
  MoScalarSetIj();

  /// Only stores the set, null for none: an application that swaps sets touches the node itself.
  virtual void setScalarSet(const MiDataSetIj<double>* set);
  virtual const MiDataSetIj<double>* getScalarSet() const;

protected:
  ~MoScalarSetIj() override = default;
};
