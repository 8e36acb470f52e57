#pragma once

#include <velmo/base/MxBoxTree.h>
#include <velmo/toolkit/shapes/MxShapeData.h>

/// The tree for the picks of a shape, built when it is first asked for, and again when the
/// positions or the table of what is picked have changed.
class MxPickTree
{
public:
  /// @param table  stamp of the table that boxOf reads
  template <class BoxOf>
  const MxBoxTree& get(const MxArrayKey& positions, std::uint64_t table, std::size_t count,
                       const BoxOf& boxOf)
  {
    if (m_builtCount > 0 && m_positions == positions && m_table == table) return m_tree;
    m_tree.build(count, boxOf);
    m_positions = positions;
    m_table = table;
    ++m_builtCount;
    return m_tree;
  }
  int builtCount() const { return m_builtCount; }

private:
  MxBoxTree m_tree;
  MxArrayKey m_positions;
  std::uint64_t m_table = 0;
  int m_builtCount = 0;
};
