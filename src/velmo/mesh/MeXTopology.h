#pragma once

#include <velmo/base/MbPlainArray.h>
#include <velmo/base/MxTimeStamp.h>
#include <velmo/extraction/interfaces/MiTopology.h>

#include <memory>

class MxBuffer;
template <class T>
class MxCpuBuffer;

/// The cells of an extracted mesh: one index list in which every cell ends with -1, read in place
/// by the scene graph.
///
/// Cells of dimension 2 are triangles, quads and polygons, of dimension 1 lines and polylines.
/// Filled by an extractor, which then takes a stamp with `touch`.
class MeXTopologyExplicitI : public MiTopologyI
{
public:
  explicit MeXTopologyExplicitI(int dimension);
  ~MeXTopologyExplicitI() override;

  std::uint64_t getTimeStamp() const override { return m_timeStamp; }
  std::size_t getCellCount() const override { return m_cellCount; }
  MiCellShape getCellShape(std::size_t cell) const override;
  void getCellNodes(std::size_t cell, std::vector<std::size_t>& nodes) const override;

  /// The index list, an MxCpuBuffer<int>.
  const MxBuffer* getBuffer() const;

  /// Where a cell's first index stands in the list.
  std::size_t getCellBegin(std::size_t cell) const
  {
    return m_begins.empty() ? cell * (m_uniformSize + 1) : m_begins[cell];
  }
  std::size_t getCellSize(std::size_t cell) const
  {
    return m_begins.empty() ? m_uniformSize : m_begins[cell + 1] - m_begins[cell] - 1;
  }
  std::span<const int> getCell(std::size_t cell) const
  {
    return m_indices.span().subspan(getCellBegin(cell), getCellSize(cell));
  }

  /// For the extractor: room for `cellCount` cells of `nodesPerCell` nodes each.
  /// @return the index list, uninitialised, (nodesPerCell + 1) * cellCount long
  /// @throw std::length_error when 32-bit indices cannot number the list
  MbPlainArray<int>& setUniform(std::size_t cellCount, std::size_t nodesPerCell);
  /// For the extractor: room for cells of different sizes. Fill `begins()` with cellCount + 1
  /// positions, the last one being `indexCount`.
  /// @return the index list, uninitialised, `indexCount` long
  /// @throw std::length_error when 32-bit indices cannot number the list
  MbPlainArray<int>& setMixed(std::size_t cellCount, std::size_t indexCount);
  MbPlainArray<std::uint32_t>& begins() { return m_begins; }
  MbPlainArray<int>& indices() { return m_indices; }
  const MbPlainArray<int>& indices() const { return m_indices; }

  /// Takes a new stamp: the cells were replaced.
  void touch() { m_timeStamp = MxTimeStamp::take(); }
  /// Takes the stamp of cells that were written again just as they were.
  void keepTimeStamp(std::uint64_t stamp) { m_timeStamp = stamp; }

private:
  int m_dimension;
  std::uint64_t m_timeStamp = MxTimeStamp::kNone;
  std::size_t m_cellCount = 0;
  std::size_t m_uniformSize = 0;
  std::unique_ptr<MxCpuBuffer<int>> m_buffer;
  MbPlainArray<int>& m_indices; ///< the buffer's
  MbPlainArray<std::uint32_t> m_begins;
};
