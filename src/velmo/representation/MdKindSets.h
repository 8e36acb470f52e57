#pragma once

#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/nodes/MoDataBindingElement.h>
#include <velmo/representation/MxAttributesManager.h>

#include <algorithm>
#include <type_traits>
#include <vector>

/// The data sets of the state as meshes of kind K number them, mapped onto nothing.
template <MeshType K>
class MdKindSets
{
  template <class T>
  using CellSet = typename MxMeshKind<K>::template CellSet<T>;
  template <class T>
  using NodeSet = typename MxMeshKind<K>::template NodeSet<T>;
  static constexpr bool kOneNumbering = std::is_same_v<CellSet<double>, NodeSet<double>>;

public:
  explicit MdKindSets(SoState* state)
      : m_state(state), m_binding(MoDataBindingElement::getDataBinding(state))
  {}

  /// The typed set with this id. Where cells and nodes are numbered differently, the binding says
  /// which list is meant, and the sets themselves when it leaves the choice to them.
  template <class T>
  const MiTypedDataSet<T>* find(int id) const
  {
    if constexpr (kOneNumbering) {
      return MxAttributesManager::findDataSet<CellSet<T>>(m_state, id);
    } else {
      if (m_binding != MoDataBinding::PER_NODE) {
        const auto* set = MxAttributesManager::findDataSet<CellSet<T>>(m_state, id);
        if (set && suits(*set)) return set;
      }
      if (m_binding == MoDataBinding::PER_CELL) return nullptr;
      return MxAttributesManager::findDataSet<NodeSet<T>>(m_state, id);
    }
  }

  /// The sets of all ids, null for those without one.
  template <class T>
  std::vector<const MiTypedDataSet<T>*> findAll() const
  {
    int count = MxAttributesManager::getDataSetCount<CellSet<T>>(m_state);
    if constexpr (!kOneNumbering)
      count = std::max(count, MxAttributesManager::getDataSetCount<NodeSet<T>>(m_state));
    std::vector<const MiTypedDataSet<T>*> sets;
    for (int id = 0; id < count; ++id)
      sets.push_back(find<T>(id));
    return sets;
  }

  /// Whether the set has the binding that the state asks for and the numbering that goes with it.
  template <class T>
  bool suits(const MiTypedDataSet<T>& set) const
  {
    const bool perCell = set.getBinding() == MiDataBinding::PerCell;
    if (m_binding == MoDataBinding::PER_CELL && !perCell) return false;
    if (m_binding == MoDataBinding::PER_NODE && perCell) return false;
    return perCell ? dynamic_cast<const CellSet<T>*>(&set) != nullptr
                   : dynamic_cast<const NodeSet<T>*>(&set) != nullptr;
  }

private:
  SoState* m_state;
  MoDataBinding::DataBinding m_binding;
};
