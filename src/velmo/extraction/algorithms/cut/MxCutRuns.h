#pragma once

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/cut/MxCutCells.h>

/// What makes dragging fast: the cells of a mesh in runs of eight, each with the range of a field
/// or the box of its places, so that a cut looks at the few runs only that its surface crosses.
///
/// Runs follow the order of the cells where that is measured to be compact, as it is in meshes that
/// come from a grid or a front, and otherwise the order of their centres along a Morton curve. They
/// are made when a mesh and field are cut for the second time, and are shared by all who cut them.

/// The range of each run, in single precision, and of each cell in it, in 255 steps of the run's;
/// all rounded outward. Three bytes a cell and component.
struct MxCutRuns
{
  std::shared_ptr<const MxCellOrder> order;
  std::size_t cellCount = 0, componentCount = 0;
  MbVec3d origin;       ///< of places
  double largest = 0;   ///< no coordinate is farther from the origin's
  bool isUsable = true; ///< false where places lie too far apart for single precision
  /// Of component c and run r: [c * runCount() + r]. A run without any value has a low above high.
  MxArray<float> low, high;
  /// Of component c and cell n in the runs' order: [c * cellCount + n]; 255 and 0 without a value.
  MxArray<std::uint8_t> cellLow, cellHigh;

  std::size_t runCount() const { return blockCount(cellCount, kRunSize); }
  std::size_t getByteCount() const
  {
    return 4 * (low.capacity() + high.capacity() + order->cells.capacity()) + cellLow.capacity() +
           cellHigh.capacity();
  }
};

/// Identifies what runs were made of: addresses and counts stand beside the stamps, so that a stale
/// stamp cannot vouch for other arrays.
struct MxCutRunsKey
{
  const void *topology = nullptr, *geometry = nullptr, *values = nullptr, *data = nullptr;
  std::uint64_t topologyStamp = 0, geometryStamp = 0, valuesStamp = 0;
  std::size_t cellCount = 0, nodeCount = 0;
  friend bool operator==(const MxCutRunsKey&, const MxCutRunsKey&) = default;
};

/// Structures that live as long as somebody holds them; null when there are none. *Threads*: any.
std::shared_ptr<const MxCutRuns> recallRuns(const MxCutRunsKey& key);
void rememberRuns(const MxCutRunsKey& key, const std::shared_ptr<const MxCutRuns>& runs);
std::shared_ptr<const MxCellOrder> recallOrder(const MxCutRunsKey& key);
void rememberOrder(const MxCutRunsKey& key, const std::shared_ptr<const MxCellOrder>& order);

/// An extractor's share of the structures, and what it has cut last.
class MxCutHistory final : public MxCutKept
{
public:
  std::size_t getByteCount() const override { return runs ? runs->getByteCount() : 0; }

  MxCutRunsKey key;
  std::shared_ptr<const MxCutRuns> runs;    ///< of `key`, null before the second cut
  std::shared_ptr<const MxMeshCheck> check; ///< so that it is not found anew
};

/// Sets the bits of the cells that the shape may cut.
/// @return how many; all where so many runs may be cut that looking closer does not pay
std::size_t findActiveCells(const MxCutRuns& runs, const MxCutShape& shape, bool parallel,
                            MxBits& active);

/// The order for the runs of a mesh.
std::shared_ptr<const MxCellOrder> makeOrder(const MxCutCells& cells, const MxBits* unusable,
                                             const MxCutPlaces& places, bool parallel);

/// The runs of a mesh: of its places, or of the values of a field.
std::shared_ptr<const MxCutRuns> makeRuns(const MxCutCells& cells, const MxBits* unusable,
                                          std::shared_ptr<const MxCellOrder> order,
                                          const MxCutReader& reader, bool parallel,
                                          MxExtractionMonitor& monitor);
