#include <velmo/extraction/algorithms/map/MxCellMeans.h>

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/skin/MxSkinIjk.h>
#include <velmo/mesh/MbDataSet.h>

#include <limits>

namespace {

constexpr std::size_t kCellsPerPoll = 4096;
constexpr std::size_t kNoBound = static_cast<std::size_t>(-1);
constexpr double kNoValue = std::numeric_limits<double>::quiet_NaN();

class CellValues
{
public:
  CellValues(const MiDataSetIjk<double>& set, const MxIjkNumbering& cells)
      : m_set(set), m_view(set.getView()), m_cells(cells)
  {
    if (m_view.count < cells.total()) m_view = {};
  }
  double operator()(std::size_t i, std::size_t j, std::size_t k) const
  {
    return m_view ? mbNumber(m_view, m_cells.flat(i, j, k)) : m_set.getValue(i, j, k);
  }

private:
  const MiDataSetIjk<double>& m_set;
  MiArrayView m_view;
  MxIjkNumbering m_cells;
};

bool isChosen(const MxIjkChoice& choice, std::size_t i, std::size_t j, std::size_t k)
{
  return choice.word(i / 64, j, k) >> (i % 64) & 1;
}

/// Nodes numbered by I, J and K: each looks at the eight cells around it.
std::vector<double> meansOnGrid(const MxIjkChoice& choice, const CellValues& values, bool parallel)
{
  const MbIndex3 cells = choice.numbering.counts;
  const MxIjkNumbering nodes{nodeCountsOf(cells)};
  std::vector<double> means(nodes.total());
  const auto mean = [&](std::size_t i, std::size_t j, std::size_t k) {
    double sum = 0;
    int count = 0;
    for (std::size_t c = k > 0 ? k - 1 : 0; c < std::min(k + 1, cells.z); ++c)
      for (std::size_t b = j > 0 ? j - 1 : 0; b < std::min(j + 1, cells.y); ++b)
        for (std::size_t a = i > 0 ? i - 1 : 0; a < std::min(i + 1, cells.x); ++a)
          if (isChosen(choice, a, b, c)) sum += values(a, b, c), ++count;
    return count > 0 ? sum / count : kNoValue;
  };
  const std::size_t rows = nodes.counts.y * nodes.counts.z;
  forEachBlock(parallel, rows, 64, [&](std::size_t, std::size_t first, std::size_t last) {
    for (std::size_t row = first; row < last; ++row)
      for (std::size_t i = 0; i < nodes.counts.x; ++i) {
        if (i % kCellsPerPoll == kCellsPerPoll - 1) MxPoll::ask();
        means[i + nodes.counts.x * row] = mean(i, row % nodes.counts.y, row / nodes.counts.y);
      }
  });
  return means;
}

/// A flat list of nodes: each cell gives its value to the nodes that it names.
std::vector<double> meansOfNodes(const MiVolumeMeshHexahedronIjk& mesh, const MxIjkChoice& choice,
                                 const CellValues& values)
{
  std::vector<double> means(mesh.getGeometry().getNodeCount(), 0.0);
  std::vector<std::uint32_t> counts(means.size(), 0);
  const MbIndex3 cells = choice.numbering.counts;
  std::size_t nodes[8];
  for (std::size_t k = 0; k < cells.z; ++k)
    for (std::size_t j = 0; j < cells.y; ++j)
      for (std::size_t i = 0; i < cells.x; ++i) {
        if (i % kCellsPerPoll == 0) MxPoll::ask();
        if (!isChosen(choice, i, j, k)) continue;
        mesh.getTopology().getCellNodes(i, j, k, nodes);
        const double value = values(i, j, k);
        for (const std::size_t node : nodes) {
          means[node] += value;
          ++counts[node];
        }
      }
  for (std::size_t n = 0; n < means.size(); ++n)
    means[n] = counts[n] > 0 ? means[n] / counts[n] : kNoValue;
  return means;
}

} // namespace

template <class Mesh>
std::unique_ptr<MiTypedDataSet<double>>
meansAtNodes(const Mesh& mesh, const MiDataSetIjk<double>& values, const MxBits& unusable,
             const MiCellFilterIjk* filter, bool parallel, MxExtractionMonitor& monitor)
{
  const MbIndex3 noBounds{kNoBound, kNoBound, kNoBound};
  const MxIjkChoice choice =
      chooseCells(mesh.getTopology(), unusable, filter, noBounds, noBounds, parallel, monitor);
  const CellValues cellValues(values, choice.numbering);
  if constexpr (std::is_same_v<Mesh, MiVolumeMeshHexahedronIjk>)
    return std::make_unique<MbScalardSetI>(values.getName(), MiDataBinding::PerNode,
                                           meansOfNodes(mesh, choice, cellValues));
  else
    return std::make_unique<MbScalardSetIjk>(values.getName(), MiDataBinding::PerNode,
                                             nodeCountsOf(choice.numbering.counts),
                                             meansOnGrid(choice, cellValues, parallel));
}

#define VELMO_INSTANTIATE(Mesh)                                                                    \
  template std::unique_ptr<MiTypedDataSet<double>> meansAtNodes(                                   \
      const Mesh&, const MiDataSetIjk<double>&, const MxBits&, const MiCellFilterIjk*, bool,       \
      MxExtractionMonitor&);

VELMO_INSTANTIATE(MiVolumeMeshHexahedronIjk)
VELMO_INSTANTIATE(MiVolumeMeshVertexHexahedronIjk)
VELMO_INSTANTIATE(MiVolumeMeshRegular)
VELMO_INSTANTIATE(MiVolumeMeshRectilinear)
VELMO_INSTANTIATE(MiVolumeMeshCurvilinear)
