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

/// The set whose values a representation follows on meshes of kind K: per node, numbered as the
/// kind numbers its nodes, or flat; or per cell, of cells numbered (i, j, k).
///
/// Null when there is none that can be used; said so unless the state holds scalar sets, but none
/// with this id.
/// @param node       the representation's name, for the warning
/// @param takesCells  whether sets per cell can be used
template <MeshType K>
const MiTypedDataSet<double>* mdFindIsoSet(const MxAttributesManager& attributes, SoState* state,
                                           int id, const char* node, bool takesCells)
{
  using NodeSet = typename MxMeshKind<K>::template NodeSet<double>;
  const MiTypedDataSet<double>* set = attributes.getScalarSet(state, id);
  if (!set) {
    if (MoScalarSetElement::getNum(state) > 0) return nullptr;
    set = attributes.getDataSet<NodeSet>(state, id);
    if (!set) set = attributes.getDataSet<MiDataSetI<double>>(state, id);
  }
  const bool isPerNode = set && set->getBinding() == MiDataBinding::PerNode &&
                         (dynamic_cast<const NodeSet*>(set) != nullptr ||
                          dynamic_cast<const MiDataSetI<double>*>(set) != nullptr);
  const bool isPerCell = takesCells && set && set->getBinding() == MiDataBinding::PerCell &&
                         dynamic_cast<const MiDataSetIjk<double>*>(set) != nullptr;
  const bool fits = isPerNode || isPerCell;
  if (!fits) mdWarnOfIsoSet(node);
  return fits ? set : nullptr;
}
