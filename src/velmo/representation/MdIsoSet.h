#pragma once

#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/nodes/MoScalarSetElement.h>
#include <velmo/representation/MxAttributesManager.h>

#include <Inventor/errors/SoDebugError.h>

inline void mdWarnOfIsoSet(const char* node)
{
  SoDebugError::postWarning(node, "%s",
                            "Cannot find a compatible scalartset node in the scene graph or "
                            "isoScalarSetId field is invalid.");
}

/// The set whose values per node a representation follows on meshes of kind K: numbered as the kind
/// numbers its nodes, or flat.
///
/// Null when there is none that can be used; said so unless the state holds scalar sets, but none
/// with this id.
/// @param node  the representation's name, for the warning
template <MeshType K>
const MiTypedDataSet<double>* mdFindIsoSet(const MxAttributesManager& attributes, SoState* state,
                                           int id, const char* node)
{
  using NodeSet = typename MxMeshKind<K>::template NodeSet<double>;
  const MiTypedDataSet<double>* set = attributes.getScalarSet(state, id);
  if (!set) {
    if (MoScalarSetElement::getNum(state) > 0) return nullptr;
    set = attributes.getDataSet<NodeSet>(state, id);
    if (!set) set = attributes.getDataSet<MiDataSetI<double>>(state, id);
  }
  const bool fits = set && set->getBinding() == MiDataBinding::PerNode &&
                    (dynamic_cast<const NodeSet*>(set) != nullptr ||
                     dynamic_cast<const MiDataSetI<double>*>(set) != nullptr);
  if (!fits) mdWarnOfIsoSet(node);
  return fits ? set : nullptr;
}
