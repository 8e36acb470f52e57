#pragma once

#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/nodes/MoAccumulatedSetElement.h>

/// The scalar sets of unstructured meshes.
class MoScalarSetElementI : public MoAccumulatedSetElement<MoScalarSetElementI, MiDataSetI<double>>
{
  MO_ELEMENT_HEADER(MoScalarSetElementI);
  friend class MoAccumulatedSetElement<MoScalarSetElementI, MiDataSetI<double>>;

protected:
  ~MoScalarSetElementI() override = default;
};
