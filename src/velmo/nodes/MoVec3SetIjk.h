#pragma once

#include <velmo/nodes/MoSetNode.h>
#include <velmo/nodes/MoVec3SetElementIjk.h>

/// Appends a vector set for structured volumes to the state.
class MoVec3SetIjk : public MoSetNode<MoVec3SetElementIjk>
{
  MO_NODE_HEADER(MoVec3SetIjk);

public:
  MoVec3SetIjk();

  /// Only stores the set, null for none: an application that swaps sets touches the node itself.
  virtual void setVec3Set(const MiDataSetIjk<MbVec3d>* set);
  virtual const MiDataSetIjk<MbVec3d>* getVec3Set() const;

protected:
  ~MoVec3SetIjk() override = default;
};
