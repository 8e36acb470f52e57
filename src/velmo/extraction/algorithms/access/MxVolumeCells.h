#pragma once

#include <velmo/extraction/algorithms/access/MxArrayAccess.h>
#include <velmo/extraction/interfaces/MiTopology.h>
#include <velmo/extraction/interfaces/MxCellShapes.h>
#include <velmo/mesh/views/MxFaceStream.h>

#include <algorithm>
#include <limits>
#include <type_traits>
#include <vector>

/// Ways to read the cells of an unstructured topology, all with one interface, so that a kernel is
/// written once: `Cells::Cursor` stands on a cell; `probe` moves it there and tells whether the
/// cell can be used at all, `load` moves it to a cell that is known to be usable. A cursor belongs
/// to one thread.

/// Why a cell cannot be used.
enum class MxCellFault : std::uint8_t
{
  None,
  Broken,      ///< names a node that does not exist, or its counts do not match
  UnknownShape ///< a number that is no shape
};

constexpr MiCellShape toCellShape(std::uint64_t number)
{
  return number <= 255 ? static_cast<MiCellShape>(number) : MiCellShape::Empty;
}
/// Empty (0) is a shape that users of the numbering know; it has no faces.
constexpr bool isUnknownShape(std::uint64_t number)
{
  return number > 255 || (number != 0 && cellShapeFacts(toCellShape(number)).dimension < 0);
}

namespace velmo_detail {

/// Node counts by shape number; 0 for shapes of variable size and for numbers that are none.
constexpr std::array<std::uint8_t, 256> makeFixedSizes()
{
  std::array<std::uint8_t, 256> sizes{};
  for (std::size_t number = 0; number < 256; ++number)
    sizes[number] = cellShapeFacts(static_cast<MiCellShape>(number)).nodeCount;
  return sizes;
}
inline constexpr std::array<std::uint8_t, 256> kFixedSizes = makeFixedSizes();

/// True when all of `count` numbers, signed ones in disguise, are below `limit`.
template <class T>
bool allBelow(const T* values, std::size_t count, std::size_t limit)
{
  using Signed = std::make_signed_t<T>;
  if (count == 0) return true;
  if (limit == 0 || limit > static_cast<std::size_t>(std::numeric_limits<Signed>::max()))
    return false;
  // The sign bits of a negative number, or of what is left after one that is too large, gather;
  // unlike a maximum this needs no comparison and two or four numbers go in one instruction.
  const T last = static_cast<T>(limit - 1);
  T gathered = 0;
  constexpr std::size_t kLine = kCacheLine / sizeof(T);
  std::size_t i = 0;
  for (; i + kLine <= count; i += kLine) {
    readAhead(values + i);
    for (std::size_t n = i; n < i + kLine; ++n)
      gathered |= values[n] | static_cast<T>(last - values[n]);
  }
  for (; i < count; ++i)
    gathered |= values[i] | static_cast<T>(last - values[i]);
  return static_cast<Signed>(gathered) >= 0;
}

} // namespace velmo_detail

/// Cells in arrays, with node numbers of one type in `Ids`: a pointer or an MxIndexArray.
template <class Ids>
class MxArrayCells
{
public:
  MxArrayCells(const MiTopologyView& view, Ids connectivity, std::size_t cellCount)
      : m_connectivity(connectivity), m_connectivityCount(view.connectivity.count),
        m_offsets(view.offsets), m_shapes(view.shapes), m_faces(view.faces),
        m_faceOffsets(view.faceOffsets), m_uniform(static_cast<std::uint64_t>(view.uniformShape)),
        m_uniformSize(cellShapeFacts(view.uniformShape).nodeCount), m_cellCount(cellCount)
  {
    if (view.shapes.isContiguous<std::uint8_t>()) m_shapes8 = view.shapes.as<std::uint8_t>();
    if (view.offsets.isContiguous<std::int64_t>() || view.offsets.isContiguous<std::uint64_t>())
      m_offsets64 = view.offsets.as<std::uint64_t>();
    if (view.offsets.isContiguous<std::int32_t>() || view.offsets.isContiguous<std::uint32_t>())
      m_offsets32 = view.offsets.as<std::uint32_t>();
  }

  std::size_t cellCount() const { return m_cellCount; }
  /// True when a plain sweep over the arrays shows that probe would find nothing wrong with the
  /// cells [first, last); false tells nothing.
  bool isCleanBlock(std::size_t first, std::size_t last, std::size_t nodeCount) const
  {
    if constexpr (std::is_pointer_v<Ids>) {
      std::uint64_t begin = 0, end = 0;
      if (!findRange(first, last, begin, end)) return false;
      return velmo_detail::allBelow(m_connectivity + begin, end - begin, nodeCount);
    } else {
      return false;
    }
  }
  /// Asks for where a usable cell's nodes stand, or for the nodes themselves. Inlined always: GCC
  /// takes a function that only prefetches for one without effect and drops calls of it.
  [[gnu::always_inline]] void prefetch(std::size_t cell, bool nodes) const
  {
    if constexpr (std::is_pointer_v<Ids>) {
      std::size_t begin = cell * m_uniformSize;
      if (m_offsets64) {
        if (!nodes) return __builtin_prefetch(m_offsets64 + cell);
        begin = m_offsets64[cell];
      } else if (m_offsets32) {
        if (!nodes) return __builtin_prefetch(m_offsets32 + cell);
        begin = m_offsets32[cell];
      } else if (m_offsets || !nodes) {
        return;
      }
      __builtin_prefetch(m_connectivity + begin);
      __builtin_prefetch(m_connectivity + begin + 7);
    }
  }
  /// A run of cells of one shape, the nodes of each right after those of the one before.
  struct Run
  {
    std::size_t count = 0; ///< 0 when the cell does not start a run that can be told so cheaply
    MiCellShape shape = MiCellShape::Empty;
    Ids nodes{};
  };
  /// The run that starts at `cell`, of cells that have been checked and all are usable.
  Run findRun(std::size_t cell, std::size_t last) const
  {
    Run run;
    if (!std::is_pointer_v<Ids> || (m_shapes && !m_shapes8)) return run;
    const std::uint64_t number = m_shapes ? m_shapes8[cell] : m_uniform;
    if (velmo_detail::kFixedSizes[number] == 0) return run;
    run.shape = static_cast<MiCellShape>(number);
    std::size_t end = m_shapes ? cell + 1 : last;
    while (end < last && m_shapes8[end] == number)
      ++end;
    run.count = end - cell;
    run.nodes = m_connectivity + (m_offsets ? m_offsets[cell] : cell * m_uniformSize);
    return run;
  }
  std::uint64_t shapeNumber(std::size_t cell) const
  {
    if (!m_shapes) return m_uniform;
    return cell < m_shapes.size() ? m_shapes[cell] : 0;
  }

  class Cursor
  {
  public:
    explicit Cursor(const MxArrayCells& cells) : m_cells(&cells) {}

    MxCellFault probe(std::size_t cell, std::size_t nodeCount)
    {
      const MxArrayCells& cells = *m_cells;
      if (cells.m_shapes && cell >= cells.m_shapes.size()) return MxCellFault::Broken;
      const std::uint64_t number = cells.shapeNumber(cell);
      if (isUnknownShape(number)) return MxCellFault::UnknownShape;
      m_shape = toCellShape(number);
      const MiCellShapeFacts facts = cellShapeFacts(m_shape);
      std::uint64_t begin = 0, end = 0;
      if (!cells.findNodes(cell, begin, end)) return MxCellFault::Broken;
      m_size = end - begin;
      m_nodes = cells.m_connectivity + begin;
      if (facts.nodeCount != 0 && facts.nodeCount != m_size) return MxCellFault::Broken;
      std::uint64_t largest = 0;
      for (std::size_t n = 0; n < m_size; ++n)
        largest = std::max<std::uint64_t>(largest, m_nodes[n]);
      if (m_size > 0 && largest >= nodeCount) return MxCellFault::Broken;
      m_stream = {};
      m_streamSize = 0;
      if (m_shape != MiCellShape::Polyhedron) return MxCellFault::None;
      return probeFaces(cell, nodeCount) ? MxCellFault::None : MxCellFault::Broken;
    }

    void load(std::size_t cell)
    {
      const MxArrayCells& cells = *m_cells;
      m_shape = static_cast<MiCellShape>(cells.m_shapes8  ? cells.m_shapes8[cell]
                                         : cells.m_shapes ? cells.m_shapes[cell]
                                                          : cells.m_uniform);
      if (cells.m_offsets64)
        place(cells.m_offsets64[cell], cells.m_offsets64[cell + 1]);
      else if (cells.m_offsets32)
        place(cells.m_offsets32[cell], cells.m_offsets32[cell + 1]);
      else if (cells.m_offsets)
        place(cells.m_offsets[cell], cells.m_offsets[cell + 1]);
      else
        place(cell * cells.m_uniformSize, (cell + 1) * cells.m_uniformSize);
      if (m_shape != MiCellShape::Polyhedron) return;
      const std::uint64_t begin = cells.m_faceOffsets[cell];
      m_streamSize = cells.m_faceOffsets[cell + 1] - begin;
      m_stream = cells.m_faces + begin;
    }

    MiCellShape shape() const { return m_shape; }
    std::size_t size() const { return m_size; }
    const Ids& nodes() const { return m_nodes; }
    const MxIndexArray& stream() const { return m_stream; }
    std::size_t streamSize() const { return m_streamSize; }

  private:
    void place(std::uint64_t begin, std::uint64_t end)
    {
      m_size = end - begin;
      m_nodes = m_cells->m_connectivity + begin;
    }
    bool probeFaces(std::size_t cell, std::size_t nodeCount)
    {
      const MxArrayCells& cells = *m_cells;
      if (!cells.m_faces || cell + 1 >= cells.m_faceOffsets.size()) return false;
      const std::uint64_t begin = cells.m_faceOffsets[cell], end = cells.m_faceOffsets[cell + 1];
      if (begin > end || end > cells.m_faces.size()) return false;
      m_stream = cells.m_faces + begin;
      m_streamSize = end - begin;
      return isFaceStream(m_stream, m_streamSize, nodeCount);
    }

    const MxArrayCells* m_cells;
    MiCellShape m_shape = MiCellShape::Empty;
    std::size_t m_size = 0;
    Ids m_nodes{};
    MxIndexArray m_stream;
    std::size_t m_streamSize = 0;
  };

private:
  bool findNodes(std::size_t cell, std::uint64_t& begin, std::uint64_t& end) const
  {
    if (m_offsets) {
      if (cell + 1 >= m_offsets.size()) return false;
      begin = m_offsets[cell];
      end = m_offsets[cell + 1];
    } else {
      if (m_uniformSize == 0) return false;
      begin = cell * m_uniformSize;
      end = begin + m_uniformSize;
    }
    return begin <= end && end <= m_connectivityCount;
  }

  // The range of the connectivity that the cells share out among them, each as its shape needs it.
  bool findRange(std::size_t first, std::size_t last, std::uint64_t& begin,
                 std::uint64_t& end) const
  {
    const std::uint8_t* shapes = nullptr;
    if (m_shapes) {
      if (!m_shapes8 || last > m_shapes.size()) return false;
      shapes = m_shapes8;
    } else if (m_uniformSize == 0) {
      return false;
    }
    const auto sizeOf = [&](std::size_t cell) -> std::uint64_t {
      return shapes ? velmo_detail::kFixedSizes[shapes[cell]] : m_uniformSize;
    };
    const auto sweep = [&](const auto* offsets) {
      begin = offsets[first];
      end = offsets[last];
      bool fits = begin <= end && end <= m_connectivityCount;
      for (std::size_t cell = first; cell < last; ++cell) {
        const std::uint64_t size = sizeOf(cell);
        fits &= size != 0 && static_cast<std::uint64_t>(offsets[cell + 1]) ==
                                 static_cast<std::uint64_t>(offsets[cell]) + size;
      }
      return fits;
    };
    if (m_offsets) {
      if (last >= m_offsets.size()) return false;
      if (m_offsets64) return sweep(m_offsets64);
      if (m_offsets32) return sweep(m_offsets32);
      return false;
    }
    if (shapes) return false; // sizes of a single shape alone are implied
    begin = first * m_uniformSize;
    end = last * m_uniformSize;
    return end <= m_connectivityCount;
  }

  Ids m_connectivity;
  std::size_t m_connectivityCount;
  MxIndexArray m_offsets, m_shapes, m_faces, m_faceOffsets;
  // The same without a branch on the type, where the layout is a common one.
  const std::uint8_t* m_shapes8 = nullptr;
  const std::uint64_t* m_offsets64 = nullptr;
  const std::uint32_t* m_offsets32 = nullptr;
  std::uint64_t m_uniform;
  std::size_t m_uniformSize;
  std::size_t m_cellCount;
};

/// Cells asked one by one from the application. Its answers are checked each time.
class MxVirtualCells
{
public:
  MxVirtualCells(const MiTopologyI& topology, std::size_t nodeCount)
      : m_topology(&topology), m_nodeCount(nodeCount)
  {}

  std::size_t cellCount() const { return m_topology->getCellCount(); }
  bool isCleanBlock(std::size_t, std::size_t, std::size_t) const { return false; }
  struct Run
  {
    std::size_t count = 0;
    MiCellShape shape = MiCellShape::Empty;
    const std::size_t* nodes = nullptr;
  };
  Run findRun(std::size_t, std::size_t) const { return {}; }
  std::uint64_t shapeNumber(std::size_t cell) const
  {
    return static_cast<std::uint64_t>(m_topology->getCellShape(cell));
  }

  class Cursor
  {
  public:
    explicit Cursor(const MxVirtualCells& cells) : m_cells(&cells) {}

    MxCellFault probe(std::size_t cell, std::size_t nodeCount)
    {
      const MiTopologyI& topology = *m_cells->m_topology;
      m_shape = topology.getCellShape(cell);
      if (isUnknownShape(static_cast<std::uint64_t>(m_shape))) return MxCellFault::UnknownShape;
      const std::size_t expected = cellShapeFacts(m_shape).nodeCount;
      topology.getCellNodes(cell, m_buffer);
      m_streamBuffer.clear();
      if (expected != 0 && expected != m_buffer.size()) return MxCellFault::Broken;
      for (const std::size_t node : m_buffer)
        if (node >= nodeCount) return MxCellFault::Broken;
      if (m_shape != MiCellShape::Polyhedron) return MxCellFault::None;
      topology.getCellFaces(cell, m_streamBuffer);
      return isFaceStream(m_streamBuffer, m_streamBuffer.size(), nodeCount) ? MxCellFault::None
                                                                            : MxCellFault::Broken;
    }
    void load(std::size_t cell)
    {
      if (probe(cell, m_cells->m_nodeCount) != MxCellFault::None) {
        m_shape = MiCellShape::Empty;
        m_buffer.clear();
      }
    }

    MiCellShape shape() const { return m_shape; }
    std::size_t size() const { return m_buffer.size(); }
    const std::size_t* nodes() const { return m_buffer.data(); }
    const std::size_t* stream() const { return m_streamBuffer.data(); }
    std::size_t streamSize() const { return m_streamBuffer.size(); }

  private:
    const MxVirtualCells* m_cells;
    MiCellShape m_shape = MiCellShape::Empty;
    std::vector<std::size_t> m_buffer, m_streamBuffer;
  };

private:
  const MiTopologyI* m_topology;
  std::size_t m_nodeCount;
};

/// Calls visit(cells) with the fastest way to read the topology.
template <class Visitor>
void visitVolumeCells(const MiTopologyI& topology, std::size_t nodeCount, Visitor&& visit)
{
  const MiTopologyView view = topology.getView();
  const std::size_t cellCount = topology.getCellCount();
  const MxIndexArray any(view.connectivity);
  if (!any) {
    visit(MxVirtualCells(topology, nodeCount));
  } else if (view.connectivity.isContiguous<std::int32_t>() ||
             view.connectivity.isContiguous<std::uint32_t>())
  {
    // A negative number read as an unsigned one is larger than any node count.
    visit(
        MxArrayCells<const std::uint32_t*>(view, view.connectivity.as<std::uint32_t>(), cellCount));
  } else if (view.connectivity.isContiguous<std::int64_t>() ||
             view.connectivity.isContiguous<std::uint64_t>())
  {
    visit(
        MxArrayCells<const std::uint64_t*>(view, view.connectivity.as<std::uint64_t>(), cellCount));
  } else {
    visit(MxArrayCells<MxIndexArray>(view, any, cellCount));
  }
}

/// Calls body(face, size, nodeAt) for the faces of a loaded cell in their order, nodeAt(0 ..
/// size - 1) being the face's nodes. `Whole` takes quadratic faces as they are, their shape is
/// body's fourth argument; otherwise they come as linear sub-faces.
template <bool Whole, class Cursor, class Body>
void forEachFace(const Cursor& cursor, const Body& body)
{
  if (cursor.shape() == MiCellShape::Polyhedron) {
    const auto& stream = cursor.stream();
    const std::size_t length = cursor.streamSize();
    std::size_t at = 1;
    for (std::uint32_t face = 0; at < length; ++face) {
      const std::size_t size = stream[at++], first = at;
      body(
          face, size, [&](std::size_t n) { return static_cast<std::uint32_t>(stream[first + n]); },
          MiCellShape::Polygon);
      at += size;
    }
    return;
  }
  const MxShapeFaces& table =
      Whole ? findWholeFaces(cursor.shape()) : findLinearFaces(cursor.shape());
  const auto& nodes = cursor.nodes();
  for (std::uint32_t face = 0; face < table.count; ++face) {
    const MxShapeFace& row = table[face];
    body(
        face, row.size,
        [&](std::size_t n) { return static_cast<std::uint32_t>(nodes[row.nodes[n]]); }, row.shape);
  }
}
