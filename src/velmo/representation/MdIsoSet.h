#pragma once

#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/nodes/MoDataBindingElement.h>
#include <velmo/nodes/MoScalarSetElement.h>
#include <velmo/representation/MdWarnings.h>
#include <velmo/representation/MoMeshRepresentation.h>
#include <velmo/representation/MxAttributesManager.h>

inline constexpr const char* kMdNoIsoSet =
    "Cannot find a compatible scalartset node in the scene graph or isoScalarSetId field is "
    "invalid.";

/// The set whose values a representation follows on meshes of kind K: per node, numbered as the
/// kind numbers its nodes, or flat; or per cell, of cells numbered (i, j, k).
///
/// Without general sets those of the nodes' numbering are asked first, then those of the cells' and
/// flat ones; the cells' before the others where the binding node says so. The first that can be
/// used counts. Null when there is none; said so unless the state holds scalar sets, but none with
/// this id.
/// @param name        the representation's, for the warning
/// @param takesCells  whether sets per cell can be used
template <MeshType K>
const MiTypedDataSet<double>* mdFindIsoSet(const MoMeshRepresentation& node, SoState* state, int id,
                                           const char* name, bool takesCells)
{
  const MxAttributesManager& attributes = node.getAttributesManager();
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
  node.getWarnings().post(name, kMdNoIsoSet, found,
                          found ? found->getTimeStamp() : static_cast<std::uint64_t>(id));
  return nullptr;
}
