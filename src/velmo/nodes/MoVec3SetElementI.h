#pragma once

#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/nodes/MoAccumulatedSetElement.h>

/// The vector sets of unstructured meshes.
class MoVec3SetElementI : public MoAccumulatedSetElement<MoVec3SetElementI, MiDataSetI<MbVec3d>>
{
  MO_ELEMENT_HEADER(MoVec3SetElementI);
  friend class MoAccumulatedSetElement<MoVec3SetElementI, MiDataSetI<MbVec3d>>;

protected:
  ~MoVec3SetElementI() override = default;
};
