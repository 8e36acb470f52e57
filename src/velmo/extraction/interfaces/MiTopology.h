#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>
#include <velmo/extraction/interfaces/MiArrayView.h>
#include <velmo/extraction/interfaces/MiCellShape.h>

#include <cstddef>
#include <vector>

/// How the cells of a mesh hang together: what changes when cells come, go or die.
///
/// Dead cells (inactive reservoir cells, deleted elements) are treated as if they were not there.
/// *Threads*: the const functions of a topology are called from several threads at once.
class MiTopology
{
public:
  virtual ~MiTopology() = default;
  /// Changes whenever the topology's answers may have changed.
  virtual std::uint64_t getTimeStamp() const = 0;
  /// False promises that no cell is dead.
  virtual bool hasDeadCells() const { return false; }
};

/// The arrays behind an unstructured topology, where it has them.
///
/// *Shape*: cell c has the shape `shapes`[c] (numbers of MiCellShape, 8 to 64 bits; without the
/// array all cells are `uniformShape`) and the nodes `connectivity`[`offsets`[c] .. `offsets`[c +
/// 1]). Without `offsets` every cell has the node count of `uniformShape`. A polyhedron's
/// connectivity lists each of its nodes once; its faces stand in `faces`[`faceOffsets`[c] ..
/// `faceOffsets`[c + 1]) as "face count, then for each face its node count and its nodes"; other
/// cells have an empty range there. A zero in `active` marks a dead cell.
struct MiTopologyView
{
  MiArrayView connectivity;
  MiArrayView offsets;
  MiArrayView shapes;
  MiCellShape uniformShape = MiCellShape::Empty;
  MiArrayView faces;
  MiArrayView faceOffsets;
  MiArrayView active;

  explicit operator bool() const { return static_cast<bool>(connectivity); }
};

/// Cells numbered by one index, each with a shape and a list of nodes.
class MiTopologyI : public virtual MiTopology
{
public:
  virtual std::size_t getCellCount() const = 0;
  virtual MiCellShape getCellShape(std::size_t cell) const = 0;
  /// Replaces `nodes` by the cell's nodes, in the order that its shape asks for; a polyhedron gives
  /// each of its nodes once.
  virtual void getCellNodes(std::size_t cell, std::vector<std::size_t>& nodes) const = 0;
  /// Replaces `stream` by a polyhedron's faces: face count, then per face its node count and its
  /// nodes. Other shapes leave it empty.
  virtual void getCellFaces(std::size_t cell, std::vector<std::size_t>& stream) const
  {
    (void)cell;
    stream.clear();
  }
  virtual bool isDead(std::size_t cell) const
  {
    (void)cell;
    return false;
  }
  /// The arrays, or an empty view when the topology is procedural.
  virtual MiTopologyView getView() const { return {}; }
};

/// A row of cells between consecutive nodes: cell i joins nodes i and i + 1.
class MiTopologyRow : public virtual MiTopology
{
public:
  virtual std::size_t getCellCount() const = 0;
  virtual bool isDead(std::size_t i) const
  {
    (void)i;
    return false;
  }
  /// One number a cell, zero for dead; empty without dead cells or when procedural.
  virtual MiArrayView getActiveView() const { return {}; }
};

/// Cells numbered (i, j).
class MiTopologyIj : public virtual MiTopology
{
public:
  virtual std::size_t getCellCountI() const = 0;
  virtual std::size_t getCellCountJ() const = 0;
  virtual bool isDead(std::size_t i, std::size_t j) const
  {
    (void)i, (void)j;
    return false;
  }
  /// One number a cell, I fastest, zero for dead; empty without dead cells or when procedural.
  virtual MiArrayView getActiveView() const { return {}; }
};

/// Cells numbered (i, j, k).
class MiTopologyIjk : public virtual MiTopology
{
public:
  /// Cells along I, J and K.
  virtual MbIndex3 getCellCounts() const = 0;
  virtual bool isDead(std::size_t i, std::size_t j, std::size_t k) const
  {
    (void)i, (void)j, (void)k;
    return false;
  }
  /// One number a cell, I fastest, then J, then K, zero for dead; empty without dead cells or when
  /// procedural.
  virtual MiArrayView getActiveView() const { return {}; }
};

/// Cells numbered (i, j, k), each naming its eight nodes in one flat list of nodes, so that faults
/// open: two neighbours share a face only where they name the same nodes. Node order of a
/// hexahedron: 0 to 3 around the lower K face from (i, j), 4 to 7 above them.
class MiTopologyHexahedronIjk : public virtual MiTopologyIjk
{
public:
  virtual void getCellNodes(std::size_t i, std::size_t j, std::size_t k,
                            std::size_t (&nodes)[8]) const = 0;
  /// Eight node numbers a cell, cells with I fastest: 8 * cells items; empty when procedural.
  virtual MiArrayView getConnectivityView() const { return {}; }
};
