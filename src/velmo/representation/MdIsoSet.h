#pragma once

#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/nodes/MoDataBindingElement.h>
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
/// Without general sets those of the nodes' numbering are asked first, then those of the cells' and
/// flat ones; the cells' before the others where the binding node says so. The first that can be
/// used counts. Null when there is none; said so unless the state holds scalar sets, but none with
/// this id.
/// @param node       the representation's name, for the warning
/// @param takesCells  whether sets per cell can be used
template <MeshType K>
const MiTypedDataSet<double>* mdFindIsoSet(const MxAttributesManager& attributes, SoState* state,
                                           int id, const char* node, bool takesCells)
{
  using Set = MiTypedDataSet<double>;
  using NodeSet = typename MxMeshKind<K>::template NodeSet<double>;
  using CellSet = typename MxMeshKind<K>::template CellSet<double>;
  const auto fits = [&](const Set* set) {
    if (!set) return false;
    if (set->getBinding() == MiDataBinding::PerCell)
      return takesCells && dynamic_cast<const MiDataSetIjk<double>*>(set) != nullptr;
    return dynamic_cast<const NodeSet*>(set) != nullptr ||
           dynamic_cast<const MiDataSetI<double>*>(set) != nullptr;
  };
  const Set* found = attributes.getScalarSet(state, id);
  if (!found) {
    if (MoScalarSetElement::getNum(state) > 0) return nullptr;
    const auto take = [&]<class Typed>() {
      if (!fits(found)) found = attributes.getDataSet<Typed>(state, id);
    };
    if (MoDataBindingElement::getDataBinding(state) == MoDataBinding::PER_CELL)
      take.template operator()<CellSet>();
    take.template operator()<NodeSet>();
    take.template operator()<CellSet>();
    take.template operator()<MiDataSetI<double>>();
  }
  if (fits(found)) return found;
  mdWarnOfIsoSet(node);
  return nullptr;
}
