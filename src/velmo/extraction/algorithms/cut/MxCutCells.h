#pragma once

#include <velmo/extraction/algorithms/cut/MxCutPasses.h>
#include <velmo/extraction/interfaces/MiTopology.h>

#include <functional>
#include <memory>
#include <span>

inline constexpr std::size_t kCutBlock = 8192; // cells; whole words of MxBits
inline constexpr std::size_t kRunSize = 8;     // cells; a byte of MxBits

/// Cells in an order of their own.
struct MxCellOrder
{
  MxArray<std::uint32_t> cells; ///< empty for the order in which they are numbered
};

/// The cells of a mesh, by blocks: only what runs over the cells of a block is compiled for each of
/// the ways to read them, the cursors of MxVolumeCells.h. *Threads*: any, once made.
class MxCutCells
{
public:
  virtual ~MxCutCells() = default;
  virtual std::size_t cellCount() const = 0;
  /// True when a plain sweep shows that all cells [first, last) can be used; false tells nothing.
  virtual bool isCleanBlock(std::size_t first, std::size_t last, std::size_t nodeCount) const = 0;

  /// Adds the cells [first, last) that are cut to a block of the scratch, which has the classes of
  /// all nodes.
  virtual void collect(std::size_t first, std::size_t last, const MxCutJob& job,
                       MxCutScratch& scratch, MxCutScratch::Block& block) const = 0;
  /// The same for chosen cells, by levels that are made where they are needed.
  virtual void collectChosen(std::span<const std::uint32_t> chosen, const MxCutJob& job,
                             MxCutScratch& scratch, MxCutScratch::Block& block) const = 0;

  /// @param run    its number: its first place in the order by kRunSize
  /// @param nodes  of all its cells, those of a polyhedron once a face
  /// @param ends   where those of each cell end; unusable ones have none
  using RunBody = std::function<void(std::size_t run, const std::vector<std::uint32_t>& nodes,
                                     const std::vector<std::size_t>& ends)>;
  /// Calls body for the runs of the cells at the places [first, last) of an order; the last one may
  /// be shorter.
  virtual void forEachRun(const MxBits* unusable, const MxCellOrder& order, std::size_t first,
                          std::size_t last, const RunBody& body) const = 0;

  using FaceBody = std::function<void(std::span<const std::uint32_t> nodes)>;
  /// Calls body for the linear faces of the cells in [first, last) that are cut at all and have at
  /// least two nodes among those marked.
  virtual void forEachFaceAt(const MxBits& marked, const MxCutJob& job, std::size_t first,
                             std::size_t last, const FaceBody& body) const = 0;
};

/// @param topology  borrowed
std::unique_ptr<MxCutCells> makeCutCells(const MiTopologyI& topology, std::size_t nodeCount);
/// Hexahedra in an array of eight node numbers each; null when it does not hold all, or numbers of
/// another form.
std::unique_ptr<MxCutCells> makeCutHexahedra(const MiArrayView& connectivity,
                                             std::size_t cellCount);
/// Fills in the eight nodes of a cell.
using MxCornersOf = std::function<void(std::size_t cell, std::uint32_t* nodes)>;
std::unique_ptr<MxCutCells> makeCutHexahedra(const MxCornersOf& cornersOf, std::size_t cellCount);

/// Cuts cells and fills all of the surface but its points.
/// @return false when something that was not checked is not clean; nothing is filled then
bool cutCells(const MxCutCells& cells, const MxCutJob& job, MxCutScratch& scratch,
              MxExtractionMonitor& monitor, MeXSurfaceMeshUnstructured& surface);

/// The cut cells among the active ones, as MxCutScratch::blocks.
void collectActiveCells(const MxCutCells& cells, const MxCutJob& job, const MxBits& active,
                        MxCutScratch& scratch, MxExtractionMonitor& monitor);
