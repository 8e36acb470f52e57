#include <velmo/extraction/algorithms/skin/MxSkinIjk.h>

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/access/MxPolygons.h>
#include <velmo/extraction/interfaces/MxCellShapes.h>

#include <bit>
#include <cstring>

namespace {

constexpr std::size_t kRowBlock = 32;
constexpr const MxShapeFaces& kFaces = kLinearFaces<MiCellShape::Hexahedron>;

/// The sides of a cell in the order of a hexahedron's faces: lower and upper I, J, K.
struct SideMasks
{
  std::array<std::uint64_t, 6> open{};
  std::uint64_t own = 0;

  std::uint64_t any() const { return open[0] | open[1] | open[2] | open[3] | open[4] | open[5]; }
};

/// Which cells of word w of row (j, k) have no accepted neighbour on each side.
SideMasks openSides(const MxIjkChoice& choice, std::size_t w, std::size_t j, std::size_t k)
{
  SideMasks sides;
  const std::uint64_t own = sides.own = choice.word(w, j, k);
  if (own == 0) return sides;
  const std::uint64_t before = w > 0 ? choice.word(w - 1, j, k) >> 63 : 0;
  const std::uint64_t after = w + 1 < choice.wordsPerRow ? choice.word(w + 1, j, k) << 63 : 0;
  sides.open[0] = own & ~(own << 1 | before);
  sides.open[1] = own & ~(own >> 1 | after);
  sides.open[2] = own & ~(j > choice.lower.y ? choice.word(w, j - 1, k) : 0);
  sides.open[3] = own & ~(j + 1 < choice.upper.y ? choice.word(w, j + 1, k) : 0);
  sides.open[4] = own & ~(k > choice.lower.z ? choice.word(w, j, k - 1) : 0);
  sides.open[5] = own & ~(k + 1 < choice.upper.z ? choice.word(w, j, k + 1) : 0);
  return sides;
}

/// Calls body(block, j, k) for the rows of the box, in order within each block of rows.
template <class Body>
void forEachRow(const MxIjkChoice& choice, bool parallel, MxExtractionMonitor& monitor,
                const Body& body)
{
  const std::size_t rowsPerLayer = choice.upper.y - choice.lower.y;
  const std::size_t rows = rowsPerLayer * (choice.upper.z - choice.lower.z);
  constexpr std::size_t kLongRow = 1024;
  const std::size_t width = choice.upper.x - choice.lower.x;
  const bool worthwhile = rows * width >= kParallelThreshold;
  forEachTask(parallel && worthwhile, blockCount(rows, kRowBlock), [&](std::size_t block) {
    monitor.step();
    for (std::size_t row = block * kRowBlock; row < std::min(rows, (block + 1) * kRowBlock); ++row)
    {
      if (width >= kLongRow) MxPoll::ask();
      body(block, choice.lower.y + row % rowsPerLayer, choice.lower.z + row / rowsPerLayer);
    }
  });
}

std::size_t rowBlockCount(const MxIjkChoice& choice)
{
  return blockCount((choice.upper.y - choice.lower.y) * (choice.upper.z - choice.lower.z),
                    kRowBlock);
}

// --- Faces that neighbours do not share by their numbers alone ---------------------------------

/// Open faces in cell order: their cells and their four nodes.
struct OpenFaces
{
  MxArray<std::uint32_t> cells;
  MxArray<std::array<std::uint32_t, 4>> nodes;
};

/// An open face before its nodes have numbers.
struct OpenFace
{
  std::uint32_t cell;
  std::uint32_t face;
};

/// The corners through which a cell's upper I, J, K face meets the lower face of the next cell.
constexpr std::uint8_t kUpperCorners[3][4] = {{1, 2, 6, 5}, {3, 7, 6, 2}, {4, 5, 6, 7}};
constexpr std::uint8_t kLowerCorners[3][4] = {{0, 3, 7, 4}, {0, 4, 5, 1}, {0, 1, 2, 3}};

template <class Key>
bool meet(const Key* cell, const Key* next, int axis)
{
  bool same = true;
  for (int c = 0; c < 4; ++c)
    same = same && cell[kUpperCorners[axis][c]] == next[kLowerCorners[axis][c]];
  return same;
}

/// The open faces of a mesh whose cells bring their corners: `rows.row(j, k, buffer)` gives eight
/// keys a cell for a whole row.
template <class Rows>
std::vector<MxArray<OpenFace>> findOpenFaces(const Rows& rows, const MxIjkChoice& choice,
                                             bool parallel, MxExtractionMonitor& monitor)
{
  using Key = typename Rows::Key;
  std::vector<MxArray<OpenFace>> blocks(rowBlockCount(choice));
  forEachRow(choice, parallel, monitor, [&](std::size_t block, std::size_t j, std::size_t k) {
    std::array<std::vector<Key>, 5> buffers;
    const Key* own = rows.row(j, k, buffers[0]);
    const Key* aside[4] = {j > choice.lower.y ? rows.row(j - 1, k, buffers[1]) : nullptr,
                           j + 1 < choice.upper.y ? rows.row(j + 1, k, buffers[2]) : nullptr,
                           k > choice.lower.z ? rows.row(j, k - 1, buffers[3]) : nullptr,
                           k + 1 < choice.upper.z ? rows.row(j, k + 1, buffers[4]) : nullptr};
    const std::size_t rowBegin = choice.numbering.flat(0, j, k);
    for (std::size_t w = choice.lower.x / 64; 64 * w < choice.upper.x; ++w) {
      const SideMasks sides = openSides(choice, w, j, k);
      forEachBit(sides.own, 64 * w, [&](std::size_t i) {
        const Key* cell = own + 8 * i;
        const auto isOpen = [&](std::size_t side) {
          if (sides.open[side] >> (i % 64) & 1) return true;
          switch (side) {
          case 0:
            return !meet(cell - 8, cell, 0);
          case 1:
            return !meet(cell, cell + 8, 0);
          case 2:
            return !meet(aside[0] + 8 * i, cell, 1);
          case 3:
            return !meet(cell, aside[1] + 8 * i, 1);
          case 4:
            return !meet(aside[2] + 8 * i, cell, 2);
          default:
            return !meet(cell, aside[3] + 8 * i, 2);
          }
        };
        for (std::uint32_t side = 0; side < 6; ++side)
          if (isOpen(side))
            blocks[block].push_back({static_cast<std::uint32_t>(rowBegin + i), side});
      });
    }
  });
  return blocks;
}

/// Matches open faces with each other and writes those that are left.
void writeOpenFaces(const OpenFaces& open, bool parallel, MxExtractionMonitor& monitor,
                    MeXTopologyExplicitI& result, MxArray<std::uint32_t>& cells)
{
  constexpr std::size_t kBlock = 8192;
  const std::size_t count = open.cells.size();
  std::vector<MxArray<MxFaceCandidate>> candidates(blockCount(count, kBlock));
  forEachBlock(parallel, count, kBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 for (std::size_t f = first; f < last; ++f) {
                   MxFaceCandidate candidate;
                   candidate.cell = open.cells[f];
                   candidate.face = static_cast<std::uint32_t>(f);
                   std::array<std::uint32_t, 4> nodes = open.nodes[f];
                   if (makeFaceKey(nodes.data(), 4, candidate))
                     candidates[block].push_back(candidate);
                 }
               });
  const auto noLargeFaces = [](const MxFaceCandidate&, const MxFaceCandidate&) { return true; };
  markUniqueFaces(parallel, candidates, noLargeFaces, monitor);
  MxFaceList skin = collectUniqueFaces(parallel, candidates);
  const auto makeReader = [&] {
    return [&](std::size_t f, std::vector<std::uint32_t>& polygon) {
      const auto& nodes = open.nodes[skin.faces[f]];
      polygon.assign(nodes.begin(), nodes.end());
      removeRepeats(polygon);
    };
  };
  writePolygons(skin.size(), makeReader, parallel, monitor, result);
  cells = std::move(skin.cells);
}

/// Joins the lists of the blocks; nodeOf(cell, corner) numbers the nodes.
template <class NodeOf>
OpenFaces numberOpenFaces(const std::vector<MxArray<OpenFace>>& blocks, bool parallel,
                          const NodeOf& nodeOf)
{
  std::vector<std::size_t> begins;
  for (const auto& block : blocks)
    begins.push_back(block.size());
  const std::size_t total = exclusivePrefixSum(std::span(begins));
  if (total >= std::size_t{1} << 29)
    throw std::length_error("More than 536870911 faces remain to be matched.");
  OpenFaces open;
  open.cells.resizeUninitialized(total);
  open.nodes.resizeUninitialized(total);
  forEachTask(parallel && total >= kParallelThreshold, blocks.size(), [&](std::size_t b) {
    std::size_t at = begins[b];
    for (const OpenFace& face : blocks[b]) {
      if (at % 8192 == 0) MxPoll::ask();
      open.cells[at] = face.cell;
      for (int n = 0; n < 4; ++n)
        open.nodes[at][n] = nodeOf(face.cell, kFaces[face.face].nodes[n]);
      ++at;
    }
  });
  return open;
}

// --- Hexahedron IJK: keys are node numbers ------------------------------------------------------

template <class Id>
struct IdRows
{
  using Key = Id;
  const Id* connectivity;
  MxIjkNumbering numbering;

  const Id* row(std::size_t j, std::size_t k, std::vector<Id>&) const
  {
    return connectivity + 8 * numbering.flat(0, j, k);
  }
  std::uint32_t node(std::size_t cell, std::size_t corner) const
  {
    return static_cast<std::uint32_t>(connectivity[8 * cell + corner]);
  }
};

/// Node numbers of another type, or asked one by one.
struct OtherIdRows
{
  using Key = std::uint64_t;
  const MiTopologyHexahedronIjk* topology;
  MxIndexArray connectivity;
  MxIjkNumbering numbering;
  std::size_t nodeCount;

  const Key* row(std::size_t j, std::size_t k, std::vector<Key>& buffer) const
  {
    buffer.resize(8 * numbering.counts.x);
    for (std::size_t i = 0; i < numbering.counts.x; ++i)
      read(i, j, k, buffer.data() + 8 * i);
    return buffer.data();
  }
  std::uint32_t node(std::size_t cell, std::size_t corner) const
  {
    const MbIndex3 at = numbering.split(cell);
    Key keys[8];
    read(at.x, at.y, at.z, keys);
    // The application is asked again; an answer that has changed must not lead out of bounds.
    return keys[corner] < nodeCount ? static_cast<std::uint32_t>(keys[corner]) : 0;
  }

private:
  void read(std::size_t i, std::size_t j, std::size_t k, Key* keys) const
  {
    if (connectivity) {
      for (std::size_t n = 0; n < 8; ++n)
        keys[n] = connectivity[8 * numbering.flat(i, j, k) + n];
      return;
    }
    std::size_t nodes[8];
    topology->getCellNodes(i, j, k, nodes);
    std::copy(nodes, nodes + 8, keys);
  }
};

// --- Vertex hexahedron IJK: keys are places -----------------------------------------------------

struct CornerRows
{
  using Key = MbVec3d;
  const MxVertexCorners* corners;

  const Key* row(std::size_t j, std::size_t k, std::vector<Key>& buffer) const
  {
    const std::size_t count = corners->numbering().counts.x;
    buffer.resize(8 * count);
    for (std::size_t i = 0; i < count; ++i)
      for (int c = 0; c < 8; ++c)
        buffer[8 * i + static_cast<std::size_t>(c)] = corners->corner(i, j, k, c);
    return buffer.data();
  }
};

/// Numbers places in the order in which they are first met; equal places get one number.
class PlaceNumbers
{
public:
  explicit PlaceNumbers(std::size_t mostPlaces) : m_slots(std::bit_ceil(2 * mostPlaces + 1), 0) {}

  std::uint32_t number(const MbVec3d& place, std::uint64_t corner)
  {
    const std::size_t mask = m_slots.size() - 1;
    std::uint64_t bits[3];
    std::memcpy(bits, &place, sizeof bits);
    const std::uint64_t hash = mixBits(bits[0] ^ mixBits(bits[1] ^ mixBits(bits[2])));
    for (std::size_t slot = hash & mask;; slot = (slot + 1) & mask) {
      if (m_slots[slot] == 0) {
        m_places.push_back(place);
        m_corners.push_back(corner);
        return (m_slots[slot] = static_cast<std::uint32_t>(m_places.size())) - 1;
      }
      if (m_places[m_slots[slot] - 1] == place) return m_slots[slot] - 1;
    }
  }
  MxArray<std::uint64_t>& corners() { return m_corners; }

private:
  MxArray<std::uint32_t> m_slots;
  MxArray<MbVec3d> m_places;
  MxArray<std::uint64_t> m_corners;
};

} // namespace

MxIjkChoice chooseCells(const MiTopologyIjk& topology, const MxBits& unusable,
                        const MiCellFilterIjk* filter, const MbIndex3& lower, const MbIndex3& upper,
                        bool parallel, MxExtractionMonitor& monitor)
{
  constexpr std::size_t kNoBound = static_cast<std::size_t>(-1);
  MxIjkChoice choice;
  choice.numbering.counts = topology.getCellCounts();
  const MbIndex3& counts = choice.numbering.counts;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    choice.lower[axis] = lower[axis] == kNoBound ? 0 : lower[axis];
    choice.upper[axis] = std::min(upper[axis], counts[axis]);
  }
  if (choice.isEmpty()) return choice;
  choice.wordsPerRow = (counts.x + 63) / 64;
  choice.box.assign(choice.wordsPerRow, 0);
  for (std::size_t i = choice.lower.x; i < choice.upper.x; ++i)
    choice.box[i / 64] |= std::uint64_t{1} << (i % 64);
  const bool hasDead = topology.hasDeadCells();
  if (unusable.empty() && !filter && !hasDead) return choice;

  // Few cells of long rows, as of a layer across I, are asked for one by one.
  const bool isNarrow = (choice.upper.x - choice.lower.x) * 16 <= counts.x;
  const MxIndexArray active(topology.getActiveView());
  choice.accepted.resizeZeroed(choice.wordsPerRow * counts.y * counts.z);
  forEachRow(choice, parallel, monitor, [&](std::size_t, std::size_t j, std::size_t k) {
    std::vector<std::uint8_t> accepted(counts.x, 1);
    if (filter && isNarrow) {
      for (std::size_t i = choice.lower.x; i < choice.upper.x; ++i)
        accepted[i] = filter->acceptCell(i, j, k) ? 1 : 0;
    } else if (filter) {
      filter->acceptRow(counts.x, j, k, accepted.data());
    }
    const std::size_t begin = choice.numbering.flat(0, j, k);
    std::uint64_t* words = choice.accepted.data() + choice.wordsPerRow * (j + counts.y * k);
    for (std::size_t i = choice.lower.x; i < choice.upper.x; ++i) {
      const std::size_t cell = begin + i;
      if (!accepted[i] || (!unusable.empty() && unusable.test(cell))) continue;
      if (hasDead &&
          (active ? cell >= active.size() || active[cell] == 0 : topology.isDead(i, j, k)))
        continue;
      words[i / 64] |= std::uint64_t{1} << (i % 64);
    }
  });
  return choice;
}

void writeGridSkin(const MxIjkChoice& choice, bool parallel, MxExtractionMonitor& monitor,
                   MeXTopologyExplicitI& result, MxArray<std::uint32_t>& cells)
{
  if (choice.isEmpty()) {
    result.setUniform(0, 4);
    cells.clear();
    return;
  }
  const std::size_t firstWord = choice.lower.x / 64, lastWord = (choice.upper.x + 63) / 64;
  monitor.beginPhase("Counting faces", rowBlockCount(choice));
  std::vector<std::size_t> begins(rowBlockCount(choice), 0);
  forEachRow(choice, parallel, monitor, [&](std::size_t block, std::size_t j, std::size_t k) {
    std::size_t count = 0;
    for (std::size_t w = firstWord; w < lastWord; ++w)
      for (const std::uint64_t open : openSides(choice, w, j, k).open)
        count += countBits(open);
    begins[block] += count;
  });
  const std::size_t total = exclusivePrefixSum(std::span(begins));

  monitor.beginPhase("Writing faces", rowBlockCount(choice));
  MxArray<int>& indices = result.setUniform(total, 4);
  cells.resizeUninitialized(total);
  const MxIjkNumbering nodes{nodeCountsOf(choice.numbering.counts)};
  std::array<std::uint32_t, 8> steps;
  for (std::size_t c = 0; c < 8; ++c)
    steps[c] = static_cast<std::uint32_t>(
        nodes.flat(kCornerSteps[c][0], kCornerSteps[c][1], kCornerSteps[c][2]));
  forEachRow(choice, parallel, monitor, [&](std::size_t block, std::size_t j, std::size_t k) {
    std::size_t at = begins[block];
    const std::size_t cellBegin = choice.numbering.flat(0, j, k);
    const std::size_t nodeBegin = nodes.flat(0, j, k);
    for (std::size_t w = firstWord; w < lastWord; ++w) {
      const SideMasks sides = openSides(choice, w, j, k);
      forEachBit(sides.any(), 64 * w, [&](std::size_t i) {
        const auto node = static_cast<std::uint32_t>(nodeBegin + i);
        for (std::size_t side = 0; side < 6; ++side) {
          if (!(sides.open[side] >> (i % 64) & 1)) continue;
          cells[at] = static_cast<std::uint32_t>(cellBegin + i);
          int* face = indices.data() + 5 * at++;
          for (std::size_t n = 0; n < 4; ++n)
            face[n] = static_cast<int>(node + steps[kFaces[side].nodes[n]]);
          face[4] = -1;
        }
      });
    }
    begins[block] = at;
  });
}

void writeHexahedronSkin(const MiVolumeMeshHexahedronIjk& mesh, const MxIjkChoice& choice,
                         bool parallel, MxExtractionMonitor& monitor, MeXTopologyExplicitI& result,
                         MxArray<std::uint32_t>& cells)
{
  const auto write = [&](const auto& rows) {
    OpenFaces open;
    if (!choice.isEmpty()) {
      monitor.beginPhase("Comparing neighbours", rowBlockCount(choice));
      open = numberOpenFaces(
          findOpenFaces(rows, choice, parallel, monitor), parallel,
          [&](std::size_t cell, std::size_t corner) { return rows.node(cell, corner); });
    }
    monitor.beginPhase("Matching faces", 1);
    writeOpenFaces(open, parallel, monitor, result, cells);
  };
  const MiTopologyHexahedronIjk& topology = mesh.getTopology();
  const MiArrayView view = topology.getConnectivityView();
  const MxIndexArray any(view);
  const bool complete = any && any.size() >= 8 * choice.numbering.total();
  if (complete && (view.isContiguous<std::int32_t>() || view.isContiguous<std::uint32_t>()))
    write(IdRows<std::uint32_t>{view.as<std::uint32_t>(), choice.numbering});
  else if (complete && (view.isContiguous<std::int64_t>() || view.isContiguous<std::uint64_t>()))
    write(IdRows<std::uint64_t>{view.as<std::uint64_t>(), choice.numbering});
  else
    write(OtherIdRows{&topology, complete ? any : MxIndexArray{}, choice.numbering,
                      mesh.getGeometry().getNodeCount()});
}

MxArray<std::uint64_t> writeVertexSkin(const MxVertexCorners& corners, const MxIjkChoice& choice,
                                       bool parallel, MxExtractionMonitor& monitor,
                                       MeXTopologyExplicitI& result, MxArray<std::uint32_t>& cells)
{
  std::vector<MxArray<OpenFace>> faces;
  if (!choice.isEmpty()) {
    monitor.beginPhase("Comparing neighbours", rowBlockCount(choice));
    faces = findOpenFaces(CornerRows{&corners}, choice, parallel, monitor);
  }
  monitor.beginPhase("Matching faces", 1);
  std::size_t count = 0;
  for (const auto& block : faces)
    count += block.size();
  PlaceNumbers places(4 * count);
  // In one thread: the numbers go by the order of the faces.
  const OpenFaces open = numberOpenFaces(faces, false, [&](std::size_t cell, std::size_t corner) {
    const MbIndex3 at = corners.numbering().split(cell);
    return places.number(corners.corner(at.x, at.y, at.z, static_cast<int>(corner)),
                         8 * static_cast<std::uint64_t>(cell) + corner);
  });
  writeOpenFaces(open, parallel, monitor, result, cells);
  return std::move(places.corners());
}
