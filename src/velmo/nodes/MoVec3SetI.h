#pragma once

#include <velmo/nodes/MoSetNode.h>
#include <velmo/nodes/MoVec3SetElementI.h>

/// Appends a vector set for unstructured meshes to the state.
class MoVec3SetI : public MoSetNode<MoVec3SetElementI>
{
  MO_NODE_HEADER(MoVec3SetI);

public:
  MoVec3SetI();

  /// Only stores the set, null for none: an application that swaps sets touches the node itself.
  virtual void setVec3Set(const MiDataSetI<MbVec3d>* set);
  virtual const MiDataSetI<MbVec3d>* getVec3Set() const;

protected:
  ~MoVec3SetI() override = default;
};
