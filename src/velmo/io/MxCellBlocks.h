#pragma once

#include <velmo/io/MxElementTypes.h>
#include <velmo/io/MxFileMesh.h>
#include <velmo/io/MxNumberMap.h>

/// A whole number per cell that a file gives with its elements.
struct MxCellId
{
  std::int64_t value = 0; ///< of all cells of the block
  int column = -1;        ///< where each cell has its own: which of the numbers
};

/// Elements of one type as a file lists them: `stride` numbers each, the node numbers among them.
struct MxCellBlock
{
  const MxElementType* type = nullptr;
  const std::int64_t* numbers = nullptr;
  std::size_t count = 0;
  std::uint32_t stride = 0;
  std::uint16_t firstNode = 0; ///< which of the numbers is the first node
  std::uint16_t space = 0;     ///< whose nodes are meant
  std::array<MxCellId, 2> ids{};
};

/// Makes the cells of a mesh from blocks of elements: those of the highest dimension, in the order
/// of the blocks, their nodes in the order of the shapes. Others are left out with a note.
class MxCellBlocks
{
public:
  /// Node numbers of a block are looked up in `nodes`, and `shift` is added.
  struct Space
  {
    const MxNumberMap* nodes = nullptr;
    std::size_t shift = 0;
  };

  /// Keeps numbers that blocks point into.
  const std::int64_t* keep(MxFileArray numbers);
  void add(const MxCellBlock& block) { m_blocks.push_back(block); }
  const std::vector<MxCellBlock>& getBlocks() const { return m_blocks; }

  /// Fills in the mesh's cells, and a set per cell for each of the `idNames` (up to two). A node
  /// that is not known becomes -1. The nodes have been counted.
  void finish(MxFileMesh& mesh, std::span<const Space> spaces, std::span<const std::string> idNames,
              bool parallel);

  /// After finish: the block of a cell, and in `element` which of its elements the cell is.
  const MxCellBlock& blockOf(std::size_t cell, std::size_t& element) const;

  /// After finish: one of the numbers of each cell.
  MxFileArray column(std::uint32_t column, bool parallel) const;

private:
  /// Calls visit(block, number of its first element wanted, number of that cell, count) for runs of
  /// cells.
  template <class Visit>
  void forRuns(bool parallel, const Visit& visit) const;
  template <class Index>
  void fill(MxFileCells& cells, std::span<const Space> spaces, bool parallel) const;

  std::vector<MxFileArray> m_kept;
  std::vector<MxCellBlock> m_blocks;
  std::vector<std::size_t> m_firstCells; ///< of each block; one more for the end
};
