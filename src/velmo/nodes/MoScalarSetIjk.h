#pragma once

#include <velmo/nodes/MoScalarSetElementIjk.h>
#include <velmo/nodes/MoSetNode.h>

/// Appends a scalar set for structured volumes to the state.
class MoScalarSetIjk : public MoSetNode<MoScalarSetElementIjk>
{
  MO_NODE_HEADER(MoScalarSetIjk);

public:
  MoScalarSetIjk();

  /// Only stores the set, null for none: an application that swaps sets touches the node itself.
  virtual void setScalarSet(const MiDataSetIjk<double>* set);
  virtual const MiDataSetIjk<double>* getScalarSet() const;

protected:
  ~MoScalarSetIjk() override = default;
};
