#include <velmo/io/MbMeshFile.h>
#include <velmo/io/MxFileMesh.h>

#include <algorithm>

namespace {

constexpr std::size_t kTypeBlock = std::size_t{1} << 20;

// Numbers of the file formats that are no MiCellShape.
enum FileType : std::uint8_t
{
  kPolyVertex = 2,
  kTriangleStrip = 6,
  kPixel = 8,
  kVoxel = 11,
  kPentagonalPrism = 15,
  kHexagonalPrism = 16
};

/// Dimension of a file type; -1 for one that is not known.
int dimensionOf(std::uint8_t type)
{
  switch (type) {
  case kPolyVertex:
    return 0;
  case kTriangleStrip:
  case kPixel:
    return 2;
  case kVoxel:
  case kPentagonalPrism:
  case kHexagonalPrism:
    return 3;
  // Shapes that cannot be drawn but count for the dimension: curves, surfaces and volumes of
  // higher order.
  case 35:
  case 68:
  case 75:
    return 1;
  case 30:
  case 34:
  case 36:
  case 69:
  case 70:
  case 76:
  case 77:
    return 2;
  case 31:
  case 33:
  case 37:
  case 71:
  case 72:
  case 73:
  case 74:
  case 78:
  case 79:
  case 80:
  case 81:
    return 3;
  default:
    return cellShapeFacts(static_cast<MiCellShape>(type)).dimension;
  }
}

const char* nameOf(std::uint8_t type)
{
  switch (type) {
  case kPolyVertex:
    return "poly-vertex";
  case kTriangleStrip:
    return "triangle strip";
  case kPixel:
    return "pixel";
  default:
    return cellShapeFacts(static_cast<MiCellShape>(type)).name;
  }
}

[[noreturn]] void failFaceStream(const std::string& path, std::size_t cell)
{
  throw MbMeshFileError(path, "cell " + std::to_string(cell),
                        "the face stream of the polyhedron does not fit its length");
}

/// True when `stream` is "face count, then per face its node count and its nodes" and nothing else.
template <class T>
bool isFaceStream(std::span<const T> stream)
{
  if (stream.empty()) return false;
  // A negative number becomes huge and fits nowhere.
  const auto faces = static_cast<std::uint64_t>(static_cast<std::int64_t>(stream[0]));
  std::size_t at = 1;
  for (std::uint64_t face = 0; face < faces; ++face) {
    if (at >= stream.size()) return false;
    const auto nodes = static_cast<std::uint64_t>(static_cast<std::int64_t>(stream[at]));
    if (nodes > stream.size() - at - 1) return false;
    at += static_cast<std::size_t>(nodes) + 1;
  }
  return faces > 0 && at == stream.size();
}

/// Swaps what tells a voxel from a hexahedron and a pixel from a quad.
template <class T>
void permute(std::uint8_t type, T* nodes)
{
  std::swap(nodes[2], nodes[3]);
  if (type == kVoxel) std::swap(nodes[6], nodes[7]);
}

bool isPermuted(std::uint8_t type, std::size_t nodes)
{
  return (type == kVoxel && nodes == 8) || (type == kPixel && nodes == 4);
}

MiCellShape permutedShape(std::uint8_t type)
{
  return type == kVoxel ? MiCellShape::Hexahedron : MiCellShape::Quad;
}

/// Cells that are written one by one because some change their size.
template <class T>
class CellRewriter
{
public:
  CellRewriter(const MxFileCells& cells, const std::string& path, int dimension)
      : m_cells(cells), m_path(path), m_dimension(dimension)
  {}

  MxFileCells run(std::vector<std::size_t>& source)
  {
    const auto types = m_cells.types.span<const std::uint8_t>();
    m_faceOffsets.push_back(0);
    m_offsets.push_back(0);
    for (m_cell = 0; m_cell < m_cells.count; ++m_cell) {
      const int dimension = dimensionOf(types[m_cell]);
      if (dimension >= 0 && dimension < m_dimension) continue;
      add(types[m_cell]);
      source.resize(m_types.size(), m_cell);
    }
    MxFileCells result;
    result.count = m_types.size();
    result.types = MxFileArray::of(std::span<const std::uint8_t>(m_types));
    result.connectivity = MxFileArray::of(std::span<const T>(m_connectivity));
    result.offsets = narrowed(m_offsets);
    if (!m_faces.empty()) {
      result.faces = MxFileArray::of(std::span<const T>(m_faces));
      result.faceOffsets = narrowed(m_faceOffsets);
    }
    return result;
  }

private:
  using Nodes = std::span<const T>;

  template <class Array>
  static Nodes part(const Array& values, const MxFileArray& offsets, std::size_t cell)
  {
    return visitIndices(offsets, [&](auto numbers) {
      const auto first = static_cast<std::size_t>(numbers[cell]);
      return values.subspan(first, static_cast<std::size_t>(numbers[cell + 1]) - first);
    });
  }

  /// As the type of the connectivity where that is wide enough: extraction has its fast ways for
  /// arrays of one type.
  static MxFileArray narrowed(const std::vector<std::size_t>& offsets)
  {
    const auto as = [&](auto scalar) {
      auto array = MxFileArray::of<decltype(scalar)>(offsets.size());
      std::copy(offsets.begin(), offsets.end(), array.template as<decltype(scalar)>());
      return array;
    };
    constexpr std::size_t kMost = std::numeric_limits<std::int32_t>::max();
    return sizeof(T) <= 4 && offsets.back() <= kMost ? as(std::int32_t{}) : as(std::int64_t{});
  }

  void add(std::uint8_t type)
  {
    const Nodes nodes = part(m_cells.connectivity.span<const T>(), m_cells.offsets, m_cell);
    if (type == kTriangleStrip) {
      for (std::size_t i = 0; i + 2 < nodes.size(); ++i) {
        // Every other triangle of a strip is turned around.
        const T triangle[] = {nodes[i], nodes[i + 1 + i % 2], nodes[i + 2 - i % 2]};
        finish(MiCellShape::Triangle, triangle);
      }
    } else if (isPermuted(type, nodes.size())) {
      finish(permutedShape(type), nodes);
      permute(type, m_connectivity.data() + m_connectivity.size() - nodes.size());
    } else if ((type == kPentagonalPrism && nodes.size() == 10) ||
               (type == kHexagonalPrism && nodes.size() == 12))
    {
      addPrismFaces(nodes);
      finish(MiCellShape::Polyhedron, nodes);
    } else if (type == static_cast<std::uint8_t>(MiCellShape::Polyhedron)) {
      addPolyhedron(nodes);
    } else {
      finish(static_cast<MiCellShape>(type), nodes);
    }
  }

  void finish(MiCellShape shape, Nodes nodes)
  {
    m_connectivity.insert(m_connectivity.end(), nodes.begin(), nodes.end());
    m_types.push_back(static_cast<std::uint8_t>(shape));
    m_offsets.push_back(m_connectivity.size());
    m_faceOffsets.push_back(m_faces.size());
  }

  /// Two polygons and the quads between them.
  void addPrismFaces(Nodes nodes)
  {
    const std::size_t n = nodes.size() / 2;
    m_faces.push_back(static_cast<T>(n + 2));
    m_faces.push_back(static_cast<T>(n));
    for (std::size_t i = 0; i < n; ++i)
      m_faces.push_back(nodes[(n - i) % n]);
    m_faces.push_back(static_cast<T>(n));
    m_faces.insert(m_faces.end(), nodes.begin() + static_cast<std::ptrdiff_t>(n), nodes.end());
    for (std::size_t i = 0; i < n; ++i) {
      const std::size_t next = (i + 1) % n;
      m_faces.insert(m_faces.end(), {T{4}, nodes[i], nodes[next], nodes[n + next], nodes[n + i]});
    }
  }

  void addPolyhedron(Nodes nodes)
  {
    if (m_cells.faceOffsets) { // checked before
      const Nodes stream = part(m_cells.faces.span<const T>(), m_cells.faceOffsets, m_cell);
      m_faces.insert(m_faces.end(), stream.begin(), stream.end());
      finish(MiCellShape::Polyhedron, nodes);
      return;
    }
    if (!isFaceStream(nodes)) failFaceStream(m_path, m_cell);
    m_faces.insert(m_faces.end(), nodes.begin(), nodes.end());
    std::vector<T> own;
    for (std::size_t at = 1; at < nodes.size();) {
      const auto count = static_cast<std::size_t>(nodes[at]);
      const Nodes face = nodes.subspan(at + 1, count);
      own.insert(own.end(), face.begin(), face.end());
      at += count + 1;
    }
    std::sort(own.begin(), own.end());
    own.erase(std::unique(own.begin(), own.end()), own.end());
    finish(MiCellShape::Polyhedron, own);
  }

  const MxFileCells& m_cells;
  const std::string& m_path;
  const int m_dimension;
  std::size_t m_cell = 0;
  std::vector<std::uint8_t> m_types;
  std::vector<T> m_connectivity, m_faces;
  std::vector<std::size_t> m_offsets, m_faceOffsets;
};

/// The first cell, in order, for which `isBad` holds; the count when there is none.
template <class IsBad>
std::size_t firstBad(std::size_t count, bool parallel, const IsBad& isBad)
{
  std::vector<std::size_t> found(blockCount(count, kFileBlock), count);
  forEachBlock(parallel, count, kFileBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 for (std::size_t i = first; i < last; ++i)
                   if (isBad(i)) {
                     found[block] = i;
                     return;
                   }
               });
  return found.empty() ? count : *std::min_element(found.begin(), found.end());
}

void checkFaceStreams(const MxFileCells& cells, const std::string& path, bool parallel)
{
  const auto types = cells.types.span<const std::uint8_t>();
  const std::size_t bad = visitIndices(cells.faceOffsets, [&](auto offsets) {
    return visitIndices(cells.faces, [&](auto faces) {
      using T = std::remove_pointer_t<decltype(faces.data())>;
      return firstBad(cells.count, parallel, [&](std::size_t cell) {
        if (types[cell] != static_cast<std::uint8_t>(MiCellShape::Polyhedron)) return false;
        const auto first = static_cast<std::size_t>(offsets[cell]);
        return !isFaceStream(std::span<const T>(faces).subspan(
            first, static_cast<std::size_t>(offsets[cell + 1]) - first));
      });
    });
  });
  if (bad < cells.count) failFaceStream(path, bad);
}

/// Turns voxels and pixels around where they lie.
void permuteInPlace(MxFileCells& cells, bool parallel)
{
  const auto types = cells.types.span<std::uint8_t>();
  visitIndices(cells.connectivity, [&](auto nodes) {
    visitIndices(cells.offsets, [&](auto offsets) {
      forEachBlock(parallel, cells.count, kFileBlock,
                   [&](std::size_t, std::size_t first, std::size_t last) {
                     for (std::size_t c = first; c < last; ++c) {
                       const auto at = static_cast<std::size_t>(offsets[c]);
                       const std::size_t size = static_cast<std::size_t>(offsets[c + 1]) - at;
                       if (!isPermuted(types[c], size)) continue;
                       permute(types[c], nodes.data() + at);
                       types[c] = static_cast<std::uint8_t>(permutedShape(types[c]));
                     }
                   });
    });
  });
}

/// Drops types and offsets when all cells have one shape and its number of nodes.
void compactUniform(MxFileCells& cells, bool parallel)
{
  const auto types = cells.types.span<const std::uint8_t>();
  if (types.empty()) return;
  const auto shape = static_cast<MiCellShape>(types[0]);
  const std::size_t nodes = cellShapeFacts(shape).nodeCount;
  if (nodes == 0) return;
  const bool alike = visitIndices(cells.offsets, [&](auto offsets) {
    using T = std::remove_cvref_t<decltype(offsets[0])>;
    return firstBad(cells.count, parallel,
                    [&](std::size_t c) {
                      return types[c] != types[0] || offsets[c] != static_cast<T>(c * nodes);
                    }) == cells.count &&
           static_cast<std::size_t>(offsets[cells.count]) == cells.count * nodes;
  });
  if (!alike) return;
  cells.uniform = shape;
  cells.types = {};
  cells.offsets = {};
  cells.connectivity.size = cells.count * nodes;
}

} // namespace

std::size_t MxFileMesh::cellCount() const
{
  if (layout == MxFileLayout::Cells) return cells.count;
  const auto along = [](std::size_t count) { return count > 1 ? count - 1 : 1; };
  if (nodes.x <= 1 && nodes.y <= 1 && nodes.z <= 1) return 0;
  return along(nodes.x) * along(nodes.y) * along(nodes.z);
}

std::array<std::size_t, 256> mxCountTypes(const MxFileCells& cells)
{
  std::array<std::size_t, 256> counts{};
  if (!cells.types) {
    counts[static_cast<std::size_t>(cells.uniform)] = cells.count;
    return counts;
  }
  const auto types = cells.types.span<const std::uint8_t>();
  std::vector<std::array<std::size_t, 256>> blocks(blockCount(types.size(), kTypeBlock));
  forEachBlock(true, types.size(), kTypeBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 // Runs of one type, as most meshes are; counting one by one would wait for itself.
                 for (std::size_t i = first; i < last;) {
                   std::size_t end = i + 1;
                   while (end < last && types[end] == types[i])
                     ++end;
                   blocks[block][types[i]] += end - i;
                   i = end;
                 }
               });
  for (const auto& block : blocks)
    for (std::size_t type = 0; type < counts.size(); ++type)
      counts[type] += block[type];
  return counts;
}

bool mxMakeUniform(MxFileCells& cells, std::int64_t fileType, std::size_t nodesEach)
{
  if (fileType < 0 || fileType > 255 || nodesEach == 0) return false;
  // Voxels, pixels and prisms are no shapes, and have no node count here.
  const auto shape = static_cast<MiCellShape>(fileType);
  if (cellShapeFacts(shape).nodeCount != nodesEach) return false;
  cells.uniform = shape;
  cells.types = {};
  cells.offsets = {};
  return true;
}

MxFileArray mxEvenOffsets(std::size_t count, std::size_t each, bool parallel)
{
  MxFileArray offsets(each > 0 && count >= kNarrowLimit / each ? MiScalarType::Int64
                                                               : MiScalarType::Int32,
                      count + 1);
  visitIndices(offsets, [&](auto values) {
    using T = typename decltype(values)::value_type;
    forEachBlock(parallel, values.size(), kFileBlock,
                 [&](std::size_t, std::size_t first, std::size_t last) {
                   for (std::size_t i = first; i < last; ++i)
                     values[i] = static_cast<T>(i * each);
                 });
  });
  return offsets;
}

std::size_t mxFirstBadOffset(const MxFileArray& offsets, std::size_t limit)
{
  return visitIndices(offsets, [&](auto values) {
    return firstBad(values.size(), true, [&](std::size_t i) {
      // A negative number becomes huge.
      const auto value = static_cast<std::uint64_t>(static_cast<std::int64_t>(values[i]));
      return value > limit || (i > 0 && values[i] < values[i - 1]);
    });
  });
}

void mxMapFaceNodes(MxFileCells& cells, const std::string& path,
                    const std::function<std::int64_t(std::int64_t)>& map)
{
  checkFaceStreams(cells, path, true);
  const auto types = cells.types.span<const std::uint8_t>();
  visitIndices(cells.faces, [&](auto faces) {
    using T = typename decltype(faces)::value_type;
    visitIndices(cells.faceOffsets, [&](auto offsets) {
      for (std::size_t cell = 0; cell < cells.count; ++cell) {
        if (types[cell] != static_cast<std::uint8_t>(MiCellShape::Polyhedron)) continue;
        auto at = static_cast<std::size_t>(offsets[cell]) + 1;
        while (at < static_cast<std::size_t>(offsets[cell + 1]))
          for (auto left = static_cast<std::size_t>(faces[at++]); left > 0; --left, ++at)
            faces[at] = static_cast<T>(map(faces[at]));
      }
    });
  });
}

MxCellFacts mxNormalizeCells(MxFileCells& cells, const std::string& path,
                             std::vector<std::string>& notes, bool parallel)
{
  MxCellFacts facts;
  if (cells.count == 0) {
    cells = {};
    return facts;
  }
  const std::array<std::size_t, 256> counts = mxCountTypes(cells);
  int highest = -1;
  for (std::size_t type = 0; type < counts.size(); ++type)
    if (counts[type] > 0) highest = std::max(highest, dimensionOf(static_cast<std::uint8_t>(type)));
  facts.kind = highest == 2                   ? SURFACE_MESH_UNSTRUCTURED
               : highest == 0 || highest == 1 ? LINE_MESH_UNSTRUCTURED
                                              : VOLUME_MESH_UNSTRUCTURED;
  // Points alone are no mesh; they leave lines without a cell.
  const int kept = highest == 0 ? 1 : highest;

  bool rewrite = false, turn = false;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    if (counts[i] == 0) continue;
    const auto type = static_cast<std::uint8_t>(i);
    const int dimension = dimensionOf(type);
    if (dimension >= 0 && dimension < kept) {
      rewrite = true;
      notes.push_back(std::to_string(counts[i]) + " cells of shape " + nameOf(type) +
                      (highest == 0 ? " are left out: a mesh of points alone has no kind."
                                    : " are left out: the mesh has cells of a higher dimension."));
    }
    turn |= type == kVoxel || type == kPixel;
    rewrite |= type == kTriangleStrip || type == kPentagonalPrism || type == kHexagonalPrism;
  }
  const bool polyhedra = counts[static_cast<std::size_t>(MiCellShape::Polyhedron)] > 0;
  if (polyhedra && cells.faceOffsets) checkFaceStreams(cells, path, parallel);
  if (polyhedra && !cells.faceOffsets) rewrite = true;
  if (cells.faces && cells.faces.type != cells.connectivity.type) {
    cells.faces = mxWidened(cells.faces);
    cells.connectivity = mxWidened(cells.connectivity);
  }

  if (rewrite) {
    if (!cells.types) {
      cells.types = MxFileArray::of<std::uint8_t>(cells.count);
      std::memset(cells.types.data.get(), static_cast<int>(cells.uniform), cells.count);
    }
    if (!cells.offsets)
      cells.offsets = mxEvenOffsets(cells.count, cells.connectivity.size / cells.count, parallel);
    const std::size_t before = cells.count;
    visitIndices(cells.connectivity, [&](auto nodes) {
      using T = typename decltype(nodes)::value_type;
      cells = CellRewriter<T>(cells, path, kept).run(facts.source);
    });
    for (std::size_t i = 0; i < facts.source.size() && !facts.changed; ++i)
      facts.changed = facts.source[i] != i;
    facts.changed |= facts.source.size() != before;
    if (cells.count == 0) cells = {};
  } else if (turn) {
    permuteInPlace(cells, parallel);
  }
  if (!polyhedra && !rewrite) cells.faces = cells.faceOffsets = {};
  if (cells.count > 0 && !cells.faces) compactUniform(cells, parallel);
  return facts;
}
