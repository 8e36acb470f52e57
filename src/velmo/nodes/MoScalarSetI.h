#pragma once

#include <velmo/nodes/MoScalarSetElementI.h>
#include <velmo/nodes/MoSetNode.h>

/// Appends a scalar set for unstructured meshes to the state.
class MoScalarSetI : public MoSetNode<MoScalarSetElementI>
{
  MO_NODE_HEADER(MoScalarSetI);

public:
  MoScalarSetI();

  /// Only stores the set, null for none: an application that swaps sets touches the node itself.
  virtual void setScalarSet(const MiDataSetI<double>* set);
  virtual const MiDataSetI<double>* getScalarSet() const;

protected:
  ~MoScalarSetI() override = default;
};
