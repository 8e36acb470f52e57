#pragma once

#include <velmo/extraction/algorithms/access/MxBits.h>
#include <velmo/extraction/algorithms/cut/MxCut.h>
#include <velmo/extraction/algorithms/cut/MxCutSource.h>
#include <velmo/extraction/algorithms/cut/MxCutTables.h>

#include <functional>

/// The passes of a cut. Cells come in blocks through MxCutCells, levels and places in batches
/// through MxCutSource and MxCutPlaces, so that the ways to read each are not multiplied.

/// Which of the cells that are cut are there at all.
class MxCutKeep
{
public:
  virtual ~MxCutKeep() = default;
  /// Asked from several threads.
  virtual bool keep(std::size_t cell) const = 0;
};

/// What a cut works on.
struct MxCutJob
{
  const MxCutSource* source = nullptr;
  std::size_t nodeCount = 0;
  const MxBits* unusable = nullptr; ///< cells that must not be read; null for none
  const MxCutKeep* keep = nullptr;  ///< null for all
  bool sweepNodes = false;          ///< the nodes' places, which levels come from, were not checked
  bool sweep = false;               ///< the cells were not checked
  /// Tells whether the cells are left-handed, asked once they are known to be clean; null for no.
  std::function<bool()> isLeftHanded;
  /// The places of nodes of usable cells; null where there are no polyhedra.
  std::function<MbVec3d(std::uint32_t)> placeOf;
  bool parallel = false;
};

/// A cell that is cut. The last two are bits of its nodes, for linear shapes alone.
struct MxCutCell
{
  std::uint32_t cell;
  MiCellShape shape;
  std::uint8_t below, on;
};

/// Buffers that are used again by the next cut.
class MxCutScratch final : public MxCutKept
{
public:
  std::size_t getByteCount() const override;

  /// What one block of cells gives.
  struct Block
  {
    MxArray<MxCutCell> cells;
    /// The nodes of these cells: of linear cells in their order, of quadratic ones followed by as
    /// many classes, of polyhedra face by face, each its size, its nodes and their classes, and a
    /// zero at the end.
    MxArray<std::uint32_t> nodes;
    MxArray<std::uint32_t> codes;   ///< corners of all polygons, as slots; see MxCutEdges
    MxArray<std::uint32_t> sizes;   ///< of each polygon
    MxArray<std::uint32_t> sources; ///< the cell of each polygon
    MxArray<MxCutKey> overflow;     ///< a bucket and a second node each
    std::uint32_t smallest = 0xffffffffu, largest = 0;
    bool hasOtherShapes = false; ///< than hexahedra
    bool hasNodesOn = false;     ///< some cell has a node on the level

    void clear();
  };

  /// Of the last cut.
  bool hasNodesOn() const
  {
    return std::any_of(blocks.begin(), blocks.end(),
                       [](const Block& block) { return block.hasNodesOn; });
  }

  MxArray<std::uint8_t> classes;
  std::vector<Block> blocks;
  MxBits active; ///< cells that may be cut, where that was found first
  MxBits owners;
  MxArray<std::uint32_t> ranks;   ///< owners before each word of bits
  MxArray<std::uint32_t> buckets; ///< see MxCutEdges
  std::size_t bucketRoom = 0, ownerCount = 0;
};

inline MxCutKey cutKey(std::uint32_t a, bool aIsOn, std::uint32_t b, bool bIsOn)
{
  if (aIsOn) return {a, a};
  if (bIsOn) return {b, b};
  return {std::min(a, b), std::max(a, b)};
}

/// From the collected cells: fills all of the surface but its points.
void cutCollected(const MxCutJob& job, MxCutScratch& scratch, MxExtractionMonitor& monitor,
                  MeXSurfaceMeshUnstructured& surface);
