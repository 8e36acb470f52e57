#include <velmo/extraction/algorithms/cut/MxCutSheets.h>

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/check/MxRepeatedKeys.h>
#include <velmo/extraction/algorithms/skin/MxFaceMatch.h>

#include <algorithm>

namespace {

constexpr std::size_t kBlock = 4096; // polygons
constexpr std::size_t kPairsPerPoll = 4096;

/// Two polygons over the same nodes, which they pass in opposite directions.
struct Pair
{
  std::uint32_t polygons[2]; ///< the first one goes from the smallest node to its smaller neighbour
  std::uint32_t sheet = 0;   ///< 0: none yet
  std::uint8_t kept = 0;     ///< which of them belongs to the sheet's first side
};

/// A pair at an edge; `forward` when its first polygon passes the edge from the smaller node on.
struct PairAtEdge
{
  MxSheetEdge edge;
  std::uint32_t pair;
  bool forward;
  friend bool operator<(const PairAtEdge& a, const PairAtEdge& b)
  {
    return a.edge != b.edge ? a.edge < b.edge : a.pair < b.pair;
  }
};

class Sheets
{
public:
  Sheets(MeXSurfaceMeshUnstructured& surface, bool parallel)
      : m_surface(surface), m_parallel(parallel)
  {}

  /// False when no two polygons coincide.
  bool findPairs()
  {
    const std::size_t count = m_surface.topology.getCellCount();
    const auto visit = [&](std::size_t block, const auto& emit) {
      for (std::size_t p = block * kBlock; p < std::min(count, (block + 1) * kBlock); ++p) {
        std::uint64_t hash = 0;
        bool isWhole = true;
        for (const int vertex : m_surface.topology.getCell(p)) {
          const auto v = static_cast<std::size_t>(vertex);
          isWhole &= isNode(v);
          if (!isWhole) break;
          hash += mixBits(nodeOf(v));
        }
        if (isWhole) emit(hash, p);
      }
    };
    const std::vector<MxOwnedKey> keys =
        mxCollectRepeated(blockCount(count, kBlock), count, 2, m_parallel, visit);
    std::vector<std::uint32_t> a, b;
    mxForEachRepeated(
        keys, 2,
        [&](std::uint64_t p, std::uint64_t q) {
          readRing(p, a);
          readRing(q, b);
          return a == b;
        },
        [&](const std::vector<std::uint64_t>& owners) {
          if (owners.size() != 2) return; // more than two cells: nobody knows which belong together
          const bool turned[2] = {readRing(owners[0], a), readRing(owners[1], a)};
          if (turned[0] == turned[1]) return;
          m_pairs.push_back({{static_cast<std::uint32_t>(owners[turned[0] ? 1 : 0]),
                              static_cast<std::uint32_t>(owners[turned[0] ? 0 : 1])}});
        });
    std::sort(m_pairs.begin(), m_pairs.end(), [](const Pair& p, const Pair& q) {
      return std::ranges::min(p.polygons) < std::ranges::min(q.polygons);
    });
    return !m_pairs.empty();
  }

  void join(const std::function<void(std::span<MxSheetEdge>)>& findBoundary)
  {
    std::vector<std::uint32_t> ring;
    for (std::uint32_t p = 0; p < m_pairs.size(); ++p) {
      readRing(m_pairs[p].polygons[0], ring);
      for (std::size_t n = 0; n < ring.size(); ++n) {
        const std::uint32_t from = ring[n], to = ring[(n + 1) % ring.size()];
        m_edges.push_back({{std::min(from, to), std::max(from, to)}, p, from < to});
      }
    }
    std::sort(m_edges.begin(), m_edges.end());
    // What ends or branches may do so on the boundary alone.
    std::vector<MxSheetEdge> ends;
    forEachEdge([&](std::span<const PairAtEdge> at) {
      if (at.size() != 2) ends.push_back(at[0].edge);
    });
    if (!ends.empty()) findBoundary(ends);
    std::vector<std::uint32_t> open; // pairs at edges that must not be opened
    m_neighbours.resize(m_pairs.size());
    std::size_t next = 0;
    forEachEdge([&](std::span<const PairAtEdge> at) {
      if (at.size() == 2) {
        // Side by side, kept polygons pass their edge in opposite directions.
        const bool alike = at[0].forward != at[1].forward;
        m_neighbours[at[0].pair].push_back({at[1].pair, alike});
        m_neighbours[at[1].pair].push_back({at[0].pair, alike});
      } else if (!ends[next++].isOnBoundary) {
        for (const PairAtEdge& own : at)
          open.push_back(own.pair);
      }
    });
    turnSheets();
    for (const std::uint32_t pair : open)
      m_isOpen[m_pairs[pair].sheet] = true;
    dropSecondPolygons();
  }

private:
  bool isNode(std::size_t vertex) const
  {
    const MxArray<std::uint32_t>& nodes = m_surface.provenance.nodes;
    return nodes[2 * vertex] == nodes[2 * vertex + 1];
  }
  std::uint32_t nodeOf(std::size_t vertex) const { return m_surface.provenance.nodes[2 * vertex]; }

  /// A polygon's nodes from the smallest one towards its smaller neighbour.
  /// @return whether the polygon goes the other way
  bool readRing(std::size_t polygon, std::vector<std::uint32_t>& ring) const
  {
    ring.clear();
    for (const int vertex : m_surface.topology.getCell(polygon))
      ring.push_back(nodeOf(static_cast<std::size_t>(vertex)));
    std::rotate(ring.begin(), std::ranges::min_element(ring), ring.end());
    const bool turned = ring.back() < ring[1];
    if (turned) std::reverse(ring.begin() + 1, ring.end());
    return turned;
  }

  template <class Body>
  void forEachEdge(const Body& body) const
  {
    for (std::size_t first = 0, last = 0; first < m_edges.size(); first = last) {
      while (last < m_edges.size() && m_edges[last].edge == m_edges[first].edge)
        ++last;
      body(std::span<const PairAtEdge>(m_edges.data() + first, last - first));
    }
  }

  /// Gives pairs that lie side by side one sheet, and tells which polygons are on the same side.
  void turnSheets()
  {
    std::vector<std::uint32_t> stack;
    m_isOpen.assign(1, true);
    for (std::uint32_t start = 0; start < m_pairs.size(); ++start) {
      if (start % kPairsPerPoll == 0) MxPoll::ask();
      if (m_pairs[start].sheet) continue;
      const auto sheet = static_cast<std::uint32_t>(m_isOpen.size());
      m_isOpen.push_back(false);
      m_pairs[start].sheet = sheet;
      stack.push_back(start);
      while (!stack.empty()) {
        const std::uint32_t at = stack.back();
        stack.pop_back();
        for (const auto& [other, alike] : m_neighbours[at]) {
          Pair& pair = m_pairs[other];
          const std::uint8_t kept = alike ? m_pairs[at].kept : 1 - m_pairs[at].kept;
          if (pair.sheet) {
            if (pair.kept != kept) m_isOpen[sheet] = true; // it has one side only
            continue;
          }
          pair.sheet = sheet;
          pair.kept = kept;
          stack.push_back(other);
        }
      }
    }
  }

  /// Of each sheet that may be single the side with the smallest cell stays, whatever the order of
  /// the polygons.
  void dropSecondPolygons()
  {
    constexpr std::uint64_t kNone = ~std::uint64_t{0};
    std::vector<std::array<std::uint64_t, 2>> smallest(m_isOpen.size(), {kNone, kNone});
    const MxArray<std::uint32_t>& cells = m_surface.provenance.cells;
    for (const Pair& pair : m_pairs)
      for (std::size_t n = 0; n < 2; ++n) {
        std::uint64_t& own = smallest[pair.sheet][n ^ pair.kept];
        own = std::min(own, 2 * std::uint64_t{cells[pair.polygons[n]]} + n);
      }
    MxBits dropped(cells.size());
    std::size_t droppedCount = 0;
    for (const Pair& pair : m_pairs) {
      if (m_isOpen[pair.sheet]) continue;
      const std::size_t side = smallest[pair.sheet][0] < smallest[pair.sheet][1] ? 0 : 1;
      dropped.set(pair.polygons[side ^ pair.kept ^ 1]);
      ++droppedCount;
    }
    if (droppedCount > 0) compact(dropped, droppedCount);
  }

  void compact(const MxBits& dropped, std::size_t droppedCount)
  {
    MeXTopologyExplicitI& topology = m_surface.topology;
    MxArray<std::uint32_t>& cells = m_surface.provenance.cells;
    const std::size_t count = topology.getCellCount();
    std::vector<std::uint32_t> begins;
    std::size_t kept = 0, index = 0, smallest = 0, largest = 0;
    int* indices = topology.indices().data();
    for (std::size_t p = 0; p < count; ++p) {
      if (p % kBlock == 0) MxPoll::ask();
      if (dropped.test(p)) continue;
      const std::size_t begin = topology.getCellBegin(p), size = topology.getCellSize(p);
      smallest = kept == 0 ? size : std::min(smallest, size);
      largest = std::max(largest, size);
      begins.push_back(static_cast<std::uint32_t>(index));
      std::copy(indices + begin, indices + begin + size + 1, indices + index);
      index += size + 1;
      cells[kept++] = cells[p];
    }
    begins.push_back(static_cast<std::uint32_t>(index));
    cells.resize(count - droppedCount);
    // Both keep what is there, as there is room for it.
    if (smallest == largest) {
      topology.setUniform(kept, largest);
    } else {
      topology.setMixed(kept, index);
      std::copy(begins.begin(), begins.end(), topology.begins().begin());
    }
  }

  struct Neighbour
  {
    std::uint32_t pair;
    bool alike;
  };
  MeXSurfaceMeshUnstructured& m_surface;
  bool m_parallel;
  std::vector<Pair> m_pairs;
  std::vector<PairAtEdge> m_edges;
  std::vector<std::vector<Neighbour>> m_neighbours;
  std::vector<bool> m_isOpen; ///< of each sheet
};

} // namespace

void leaveSingleSheets(MeXSurfaceMeshUnstructured& surface, bool parallel,
                       const std::function<void(std::span<MxSheetEdge>)>& findBoundary)
{
  Sheets sheets(surface, parallel);
  if (sheets.findPairs()) sheets.join(findBoundary);
}

void markBoundaryEdges(const MxCutCells& cells, const MxCutJob& job, std::span<MxSheetEdge> edges)
{
  MxBits ends(job.nodeCount);
  for (const MxSheetEdge& edge : edges) {
    ends.set(edge.first);
    ends.set(edge.second);
  }
  // The faces at the edges, by hashes of their nodes, which do not depend on where they begin.
  struct Found
  {
    std::size_t edge;
    std::uint64_t face;
    auto operator<=>(const Found&) const = default;
  };
  std::vector<std::vector<Found>> found(blockCount(cells.cellCount(), kCutBlock));
  forEachBlock(job.parallel, cells.cellCount(), kCutBlock,
               [&](std::size_t b, std::size_t first, std::size_t last) {
                 std::vector<std::uint32_t> inside;
                 cells.forEachFaceAt(ends, job, first, last, [&](auto face) {
                   inside.clear();
                   std::uint64_t hash = 0;
                   for (const std::uint32_t node : face) {
                     hash += mixBits(node);
                     if (ends.test(node)) inside.push_back(node);
                   }
                   for (std::size_t n = 1; n < inside.size(); ++n)
                     for (std::size_t m = 0; m < n; ++m) {
                       const MxSheetEdge edge{std::min(inside[n], inside[m]),
                                              std::max(inside[n], inside[m])};
                       const auto at = std::lower_bound(edges.begin(), edges.end(), edge);
                       if (at != edges.end() && *at == edge)
                         found[b].push_back({static_cast<std::size_t>(at - edges.begin()), hash});
                     }
                 });
               });
  std::vector<Found> all;
  for (const std::vector<Found>& block : found)
    all.insert(all.end(), block.begin(), block.end());
  std::sort(all.begin(), all.end());
  for (std::size_t first = 0, last = 0; first < all.size(); first = last) {
    while (last < all.size() && all[last] == all[first])
      ++last;
    if (last - first == 1) edges[all[first].edge].isOnBoundary = true;
  }
}
