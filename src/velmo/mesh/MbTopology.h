#pragma once

#include <velmo/base/MxTimeStamp.h>
#include <velmo/extraction/interfaces/MiTopology.h>
#include <velmo/mesh/MbArray.h>

/// What the ready-made topologies share: a stamp, and an array with a zero for every dead cell.
///
/// An array that is too short for the counts is refused by the constructors with
/// std::invalid_argument; of a longer one only the beginning is read. Cell numbers given to the
/// const functions must lie within the counts.
template <class Interface>
class MbTopology : public Interface
{
public:
  std::uint64_t getTimeStamp() const override { return m_timeStamp; }
  bool hasDeadCells() const override { return static_cast<bool>(m_active); }
  /// The application has changed the contents of the arrays.
  void touch() { m_timeStamp = MxTimeStamp::take(); }

protected:
  MbTopology() = default;
  /// @throw std::invalid_argument
  MbTopology(std::size_t cellCount, MbNumbers active) : m_active(std::move(active))
  {
    if (m_active && m_active.size() < cellCount)
      throw std::invalid_argument("The array of active cells is shorter than the cells.");
  }
  bool isDeadFlat(std::size_t cell) const
  {
    return m_active && mbNumber(m_active.getView(), cell) == 0;
  }

  MbNumbers m_active;

private:
  std::uint64_t m_timeStamp = MxTimeStamp::take();
};

/// The arrays of an unstructured topology; MiTopologyView tells what stands in each.
struct MbCellArrays
{
  MbNumbers connectivity;
  MbNumbers offsets;
  MbNumbers shapes;
  MiCellShape uniformShape = MiCellShape::Empty; ///< where there are no `shapes`
  MbNumbers faces;
  MbNumbers faceOffsets;
  MbNumbers active;
};

/// Cells of any shape over arrays of connectivity, offsets and shapes.
///
/// Offsets that run backwards or beyond the connectivity are not refused (finding them means
/// reading all of them): such a cell answers with no nodes. Node numbers are handed on as they are;
/// negative ones become huge.
class MbTopologyI final : public MbTopology<MiTopologyI>
{
public:
  /// No cells.
  MbTopologyI() = default;
  /// All cells of one shape with a fixed node count. Numbers at the end that make no whole cell are
  /// left out.
  /// @throw std::invalid_argument
  MbTopologyI(MiCellShape shape, MbNumbers connectivity, MbNumbers active = {});
  /// Cell c has the nodes connectivity[offsets[c] .. offsets[c + 1]).
  /// @param offsets  cell count + 1 numbers
  /// @param shapes   cell count numbers of MiCellShape
  /// @throw std::invalid_argument
  MbTopologyI(MbNumbers shapes, MbNumbers offsets, MbNumbers connectivity, MbNumbers active = {});
  /// Everything else, such as polyhedra, or one shape with offsets.
  /// @throw std::invalid_argument
  MbTopologyI(MbCellArrays arrays);

  std::size_t getCellCount() const override { return m_cellCount; }
  MiCellShape getCellShape(std::size_t cell) const override;
  void getCellNodes(std::size_t cell, std::vector<std::size_t>& nodes) const override;
  void getCellFaces(std::size_t cell, std::vector<std::size_t>& stream) const override;
  bool isDead(std::size_t cell) const override { return isDeadFlat(cell); }
  MiTopologyView getView() const override { return m_view; }

  MbIndex3 getNodeCounts() const { return {}; }

private:
  MbCellArrays m_arrays;
  MiTopologyView m_view;
  std::size_t m_cellCount = 0;
};

/// A row of cells.
class MbTopologyRow final : public MbTopology<MiTopologyRow>
{
public:
  /// @param active  a number a cell, zero for dead
  /// @throw std::invalid_argument
  MbTopologyRow(std::size_t cellCount, MbNumbers active = {});

  std::size_t getCellCount() const override { return m_cellCount; }
  bool isDead(std::size_t i) const override { return isDeadFlat(i); }
  MiArrayView getActiveView() const override { return m_active.getView(); }

  MbIndex3 getNodeCounts() const { return {m_cellCount + 1, 1, 1}; }

private:
  std::size_t m_cellCount;
};

/// Cells numbered (i, j).
class MbTopologyIj final : public MbTopology<MiTopologyIj>
{
public:
  /// @param active  a number a cell, I fastest, zero for dead
  /// @throw std::invalid_argument
  MbTopologyIj(std::size_t cellCountI, std::size_t cellCountJ, MbNumbers active = {});

  std::size_t getCellCountI() const override { return m_countI; }
  std::size_t getCellCountJ() const override { return m_countJ; }
  bool isDead(std::size_t i, std::size_t j) const override { return isDeadFlat(i + m_countI * j); }
  MiArrayView getActiveView() const override { return m_active.getView(); }

  MbIndex3 getNodeCounts() const { return {m_countI + 1, m_countJ + 1, 1}; }

private:
  std::size_t m_countI, m_countJ;
};

/// What the two topologies with cells numbered (i, j, k) share.
template <class Interface>
class MbTopologyIjkOf : public MbTopology<Interface>
{
public:
  /// @param active  a number a cell, I fastest, then J, then K, zero for dead
  /// @throw std::invalid_argument
  MbTopologyIjkOf(MbIndex3 cellCounts, MbNumbers active);

  MbIndex3 getCellCounts() const override { return m_counts; }
  bool isDead(std::size_t i, std::size_t j, std::size_t k) const override
  {
    return this->isDeadFlat(flat(i, j, k));
  }
  MiArrayView getActiveView() const override { return this->m_active.getView(); }

protected:
  std::size_t flat(std::size_t i, std::size_t j, std::size_t k) const
  {
    return i + m_counts.x * (j + m_counts.y * k);
  }
  MbIndex3 m_counts;
};

extern template class MbTopologyIjkOf<MiTopologyIjk>;
extern template class MbTopologyIjkOf<MiTopologyHexahedronIjk>;

/// Cells numbered (i, j, k).
class MbTopologyIjk final : public MbTopologyIjkOf<MiTopologyIjk>
{
public:
  MbTopologyIjk(MbIndex3 cellCounts, MbNumbers active = {})
      : MbTopologyIjkOf(cellCounts, std::move(active))
  {}

  MbIndex3 getNodeCounts() const { return m_counts + MbIndex3{1, 1, 1}; }
};

/// Cells numbered (i, j, k) that name eight nodes each.
class MbTopologyHexahedronIjk final : public MbTopologyIjkOf<MiTopologyHexahedronIjk>
{
public:
  /// @param connectivity  eight node numbers a cell, cells with I fastest
  /// @throw std::invalid_argument
  MbTopologyHexahedronIjk(MbIndex3 cellCounts, MbNumbers connectivity, MbNumbers active = {});

  void getCellNodes(std::size_t i, std::size_t j, std::size_t k,
                    std::size_t (&nodes)[8]) const override;
  MiArrayView getConnectivityView() const override { return m_connectivity.getView(); }

  MbIndex3 getNodeCounts() const { return {}; }

private:
  MbNumbers m_connectivity;
};
