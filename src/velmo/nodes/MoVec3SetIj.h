#pragma once

#include <velmo/nodes/MoSetNode.h>
#include <velmo/nodes/MoVec3SetElementIj.h>

/// Appends a vector set for structured surfaces to the state.
class MoVec3SetIj : public MoSetNode<MoVec3SetElementIj>
{
  MO_NODE_HEADER(MoVec3SetIj);

public:
  MoVec3SetIj();

  /// Only stores the set, null for none: an application that swaps sets touches the node itself.
  virtual void setVec3Set(const MiDataSetIj<MbVec3d>* set);
  virtual const MiDataSetIj<MbVec3d>* getVec3Set() const;

protected:
  ~MoVec3SetIj() override = default;
};
