#include <velmo/io/MxCellBlocks.h>

#include <algorithm>

namespace {

std::size_t nodesOf(const MxCellBlock& block)
{
  return block.type->nodeCount;
}

/// Blocks of the highest dimension; tells of the others.
void keepHighest(std::vector<MxCellBlock>& blocks, std::vector<std::string>& notes)
{
  int highest = 0;
  for (const MxCellBlock& block : blocks)
    highest = std::max(highest, block.type->dimension);
  std::array<std::size_t, 256> left{};
  std::erase_if(blocks, [&](const MxCellBlock& block) {
    if (block.type->dimension == highest) return block.count == 0;
    left[static_cast<std::size_t>(block.type->shape)] += block.count;
    return true;
  });
  for (std::size_t shape = 0; shape < left.size(); ++shape)
    if (left[shape] > 0)
      notes.push_back(std::to_string(left[shape]) + " cells of shape " +
                      cellShapeFacts(static_cast<MiCellShape>(shape)).name +
                      " are left out: the mesh has cells of a higher dimension.");
}

bool fitsInt32(std::int64_t value)
{
  return value >= std::numeric_limits<std::int32_t>::min() &&
         value <= std::numeric_limits<std::int32_t>::max();
}

} // namespace

const std::int64_t* MxCellBlocks::keep(MxFileArray numbers)
{
  m_kept.push_back(std::move(numbers));
  return m_kept.back().as<std::int64_t>();
}

template <class Visit>
void MxCellBlocks::forRuns(bool parallel, const Visit& visit) const
{
  forEachBlock(parallel, m_firstCells.back(), kFileBlock,
               [&](std::size_t, std::size_t first, std::size_t last) {
                 auto at = std::upper_bound(m_firstCells.begin(), m_firstCells.end(), first) - 1;
                 for (; first < last; ++at) {
                   const std::size_t end = std::min(last, at[1]);
                   visit(m_blocks[static_cast<std::size_t>(at - m_firstCells.begin())],
                         first - at[0], first, end - first);
                   first = end;
                 }
               });
}

template <class Index>
void MxCellBlocks::fill(MxFileCells& cells, std::span<const Space> spaces, bool parallel) const
{
  std::size_t size = 0;
  std::vector<std::size_t> firstNodes;
  for (const MxCellBlock& block : m_blocks) {
    firstNodes.push_back(size);
    size += block.count * nodesOf(block);
  }
  const auto shape = m_blocks.empty() ? MiCellShape::Empty : m_blocks[0].type->shape;
  const bool uniform = std::all_of(m_blocks.begin(), m_blocks.end(), [&](const MxCellBlock& block) {
    return block.type->shape == shape;
  });
  cells.connectivity = MxFileArray::of<Index>(size);
  auto* const nodes = cells.connectivity.as<Index>();
  Index* offsets = nullptr;
  std::uint8_t* types = nullptr;
  if (uniform) {
    cells.uniform = shape;
  } else {
    cells.types = MxFileArray::of<std::uint8_t>(cells.count);
    cells.offsets = MxFileArray::of<Index>(cells.count + 1);
    types = cells.types.as<std::uint8_t>();
    offsets = cells.offsets.as<Index>();
    offsets[cells.count] = static_cast<Index>(size);
  }
  forRuns(parallel, [&](const MxCellBlock& block, std::size_t element, std::size_t cell,
                        std::size_t count) {
    const Space& space = spaces[block.space];
    const std::size_t each = nodesOf(block);
    const auto b = static_cast<std::size_t>(&block - m_blocks.data());
    std::size_t at = firstNodes[b] + element * each;
    for (std::size_t i = 0; i < count; ++i) {
      if (!uniform) {
        types[cell + i] = static_cast<std::uint8_t>(block.type->shape);
        offsets[cell + i] = static_cast<Index>(at);
      }
      const std::int64_t* from = block.numbers + (element + i) * block.stride + block.firstNode;
      for (std::size_t n = 0; n < each; ++n) {
        const std::int64_t node = space.nodes->find(from[block.type->order[n]]);
        nodes[at++] =
            static_cast<Index>(node < 0 ? -1 : node + static_cast<std::int64_t>(space.shift));
      }
    }
  });
}

void MxCellBlocks::finish(MxFileMesh& mesh, std::span<const Space> spaces,
                          std::span<const std::string> idNames, bool parallel)
{
  keepHighest(m_blocks, mesh.notes);
  std::size_t cells = 0, numbers = mesh.nodeCount;
  for (const MxCellBlock& block : m_blocks) {
    m_firstCells.push_back(cells);
    cells += block.count;
    numbers = std::max(numbers, cells * 27);
  }
  m_firstCells.push_back(cells);
  mesh.layout = MxFileLayout::Cells;
  mesh.cells = {};
  mesh.cells.count = cells;
  if (cells == 0) return;
  if (numbers <= static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
    fill<std::int32_t>(mesh.cells, spaces, parallel);
  else
    fill<std::int64_t>(mesh.cells, spaces, parallel);

  for (std::size_t id = 0; id < idNames.size(); ++id) {
    auto wide = MxFileArray::of<std::int64_t>(cells);
    std::vector<char> narrow(blockCount(cells, kFileBlock), 1);
    forRuns(parallel, [&](const MxCellBlock& block, std::size_t element, std::size_t cell,
                          std::size_t count) {
      const MxCellId& from = block.ids[id];
      for (std::size_t i = 0; i < count; ++i) {
        const std::int64_t value = from.column < 0
                                       ? from.value
                                       : block.numbers[(element + i) * block.stride +
                                                       static_cast<std::size_t>(from.column)];
        wide.as<std::int64_t>()[cell + i] = value;
        if (!fitsInt32(value)) narrow[cell / kFileBlock] = 0;
      }
    });
    if (std::find(narrow.begin(), narrow.end(), 0) == narrow.end()) {
      auto small = MxFileArray::of<std::int32_t>(cells);
      const auto from = wide.span<const std::int64_t>();
      std::transform(from.begin(), from.end(), small.as<std::int32_t>(),
                     [](std::int64_t value) { return static_cast<std::int32_t>(value); });
      wide = small;
    }
    mesh.sets.push_back({idNames[id], MiDataBinding::PerCell, 1, wide});
  }
}

const MxCellBlock& MxCellBlocks::blockOf(std::size_t cell, std::size_t& element) const
{
  const auto at = std::upper_bound(m_firstCells.begin(), m_firstCells.end(), cell) - 1;
  element = cell - *at;
  return m_blocks[static_cast<std::size_t>(at - m_firstCells.begin())];
}

MxFileArray MxCellBlocks::column(std::uint32_t column, bool parallel) const
{
  auto values = MxFileArray::of<std::int64_t>(m_firstCells.back());
  forRuns(parallel, [&](const MxCellBlock& block, std::size_t element, std::size_t cell,
                        std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
      values.as<std::int64_t>()[cell + i] = block.numbers[(element + i) * block.stride + column];
  });
  return values;
}
