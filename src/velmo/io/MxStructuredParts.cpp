#include <velmo/io/MbMeshFile.h>
#include <velmo/io/MxStructuredParts.h>
#include <velmo/mesh/MbArray.h>

#include <algorithm>

namespace {

// Bits of the array "vtkGhostType" of cells: another piece has the cell as well; not to be shown.
constexpr std::size_t kDuplicateCell = 1, kHiddenCell = 32;
/// Pieces that fill less of their grid than one part in so many are taken for damage: memory is
/// needed for the whole grid.
constexpr std::size_t kLeastShare = 16;

constexpr const char* kGhostName = "vtkGhostType";

const MxFileSet* ghosts(const MxFileMesh& mesh, MiDataBinding binding = MiDataBinding::PerCell)
{
  for (const MxFileSet& set : mesh.sets)
    if (set.binding == binding && set.name == kGhostName && set.components == 1 &&
        isInteger(set.values.type))
      return &set;
  return nullptr;
}

std::size_t product(const MbIndex3& sizes)
{
  return sizes.x * sizes.y * sizes.z;
}

MbIndex3 cellsOf(const MbIndex3& nodes)
{
  const auto along = [](std::size_t count) { return count > 1 ? count - 1 : 1; };
  return {along(nodes.x), along(nodes.y), along(nodes.z)};
}

/// A box of items within a larger one.
struct Place
{
  MbIndex3 size, whole, at;

  std::size_t rows() const { return size.y * size.z; }
  std::size_t from(std::size_t row) const { return row * size.x; }
  std::size_t to(std::size_t row) const
  {
    return at.x + whole.x * (at.y + row % size.y + whole.y * (at.z + row / size.y));
  }
};

/// Copies items of `width` bytes to their place; those that `skip` marks are left out.
void scatter(const Place& place, std::byte* to, const std::byte* from, std::size_t width,
             const MiArrayView& skip, bool parallel)
{
  forEachBlock(parallel, place.rows(), 64, [&](std::size_t, std::size_t first, std::size_t last) {
    for (std::size_t row = first; row < last; ++row) {
      const std::size_t source = place.from(row), target = place.to(row);
      if (!skip) {
        std::memcpy(to + target * width, from + source * width, place.size.x * width);
        continue;
      }
      for (std::size_t i = 0; i < place.size.x; ++i)
        if ((mbIndex(skip, source + i) & kDuplicateCell) == 0)
          std::memcpy(to + (target + i) * width, from + (source + i) * width, width);
    }
  });
}

class StructuredJoin
{
public:
  StructuredJoin(const std::vector<MxStructuredPart>& parts, const MxExtent& whole,
                 const std::string& path, bool parallel)
      : m_parts(parts), m_whole(whole), m_nodes(whole.nodes()), m_path(path), m_parallel(parallel)
  {}

  MxFileMesh run()
  {
    const MxFileMesh& first = m_parts.front().mesh;
    m_result.format = first.format;
    m_result.time = first.time;
    m_result.layout = first.layout;
    m_result.origin = first.origin;
    m_result.spacing = first.spacing;
    m_result.nodes = m_nodes;
    m_result.nodeCount = product(m_nodes);
    check();
    joinCoordinates();
    for (const MxFileSet& set : first.sets)
      joinSet(set);
    markUncovered();
    return std::move(m_result);
  }

private:
  [[noreturn]] void fail(const std::string& problem) const
  {
    throw MbMeshFileError(m_path, "", problem);
  }

  Place placeOf(const MxStructuredPart& part, bool cells) const
  {
    Place place{part.mesh.nodes, m_nodes, {}};
    for (std::size_t axis = 0; axis < 3; ++axis)
      place.at[axis] = static_cast<std::size_t>(part.extent.first[axis] - m_whole.first[axis]);
    if (cells) {
      place.size = cellsOf(place.size);
      place.whole = cellsOf(place.whole);
      // A part of a single node along an axis has no cells of its own there.
      for (std::size_t axis = 0; axis < 3; ++axis)
        place.at[axis] = std::min(place.at[axis], place.whole[axis] - place.size[axis]);
    }
    return place;
  }

  void check() const
  {
    std::size_t covered = 0;
    for (const MxStructuredPart& part : m_parts) {
      if (part.mesh.layout != m_result.layout) fail("the pieces are meshes of different kinds");
      if (part.mesh.layout == MxFileLayout::Regular &&
          !(part.mesh.origin == m_result.origin && part.mesh.spacing == m_result.spacing))
        fail("the pieces have different origins or spacings");
      for (std::size_t axis = 0; axis < 3; ++axis)
        if (part.extent.first[axis] < m_whole.first[axis] ||
            part.extent.last[axis] > m_whole.last[axis])
          fail("a piece lies outside of the whole extent");
      covered += product(part.mesh.nodes);
    }
    if (m_result.nodeCount / kLeastShare > covered)
      fail("the pieces have " + std::to_string(covered) + " of the " +
           std::to_string(m_result.nodeCount) + " nodes of the whole extent");
  }

  /// An array for the whole grid, NaN or zero where no part has a value.
  MxFileArray blank(MiScalarType type, std::size_t count) const
  {
    MxFileArray array(type, count);
    visitNumbers(array, [&](auto values) {
      using T = typename decltype(values)::value_type;
      forEachBlock(m_parallel, count, kFileBlock,
                   [&](std::size_t, std::size_t first, std::size_t last) {
                     std::fill(values.begin() + static_cast<std::ptrdiff_t>(first),
                               values.begin() + static_cast<std::ptrdiff_t>(last),
                               std::numeric_limits<T>::quiet_NaN());
                   });
    });
    return array;
  }

  void joinCoordinates()
  {
    if (m_result.layout == MxFileLayout::Curvilinear) {
      const MiScalarType type = m_parts.front().mesh.points.type;
      m_result.points = blank(type, 3 * m_result.nodeCount);
      for (const MxStructuredPart& part : m_parts) {
        if (part.mesh.points.type != type) fail("points of the pieces are of different types");
        scatter(placeOf(part, false), m_result.points.data.get(), part.mesh.points.data.get(),
                3 * scalarSize(type), {}, m_parallel);
      }
    }
    if (m_result.layout != MxFileLayout::Rectilinear) return;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const MiScalarType type = m_parts.front().mesh.axes[axis].type;
      MxFileArray& whole = m_result.axes[axis] = blank(type, m_nodes[axis]);
      for (const MxStructuredPart& part : m_parts) {
        const MxFileArray& own = part.mesh.axes[axis];
        if (own.type != type) fail("coordinates of the pieces are of different types");
        std::memcpy(whole.data.get() + placeOf(part, false).at[axis] * scalarSize(type),
                    own.data.get(), own.byteCount());
      }
    }
  }

  void joinSet(const MxFileSet& wanted)
  {
    const bool cells = wanted.binding == MiDataBinding::PerCell;
    std::vector<const MxFileSet*> found;
    for (const MxStructuredPart& part : m_parts)
      for (const MxFileSet& set : part.mesh.sets)
        if (set.name == wanted.name && set.binding == wanted.binding &&
            set.components == wanted.components && set.values.type == wanted.values.type)
        {
          found.push_back(&set);
          break;
        }
    if (found.size() != m_parts.size()) {
      m_result.notes.push_back("The array '" + wanted.name +
                               "' is not in every piece and left out.");
      return;
    }
    const std::size_t items = cells ? product(cellsOf(m_nodes)) : m_result.nodeCount;
    MxFileArray whole = blank(wanted.values.type, items * wanted.components);
    const std::size_t width = wanted.components * scalarSize(wanted.values.type);
    const auto add = [&](bool skipGhosts) {
      for (std::size_t p = 0; p < m_parts.size(); ++p) {
        const MxFileSet* ghost = skipGhosts ? ghosts(m_parts[p].mesh) : nullptr;
        scatter(placeOf(m_parts[p], cells), whole.data.get(), found[p]->values.data.get(), width,
                ghost ? ghost->values.view() : MiArrayView(), m_parallel);
      }
    };
    add(false);
    // What is no ghost in one part wins over the ghosts of others.
    if (cells && ghosts(m_parts.front().mesh)) add(true);
    m_result.sets.push_back({wanted.name, wanted.binding, wanted.components, std::move(whole)});
  }

  void markUncovered()
  {
    const std::size_t cells = product(cellsOf(m_nodes));
    auto covered = MxFileArray::of<std::uint8_t>(cells);
    std::memset(covered.data.get(), 0, cells);
    for (const MxStructuredPart& part : m_parts) {
      const Place place = placeOf(part, true);
      for (std::size_t row = 0; row < place.rows(); ++row)
        std::memset(covered.data.get() + place.to(row), 1, place.size.x);
    }
    const auto values = covered.span<const std::uint8_t>();
    const auto missing = static_cast<std::size_t>(std::count(values.begin(), values.end(), 0));
    if (missing == 0) return;
    m_result.active = covered;
    m_result.notes.push_back(std::to_string(missing) + " cells are in no piece and dead.");
  }

  const std::vector<MxStructuredPart>& m_parts;
  const MxExtent m_whole;
  const MbIndex3 m_nodes;
  const std::string& m_path;
  const bool m_parallel;
  MxFileMesh m_result;
};

} // namespace

MbIndex3 MxExtent::nodes() const
{
  MbIndex3 result;
  for (std::size_t axis = 0; axis < 3; ++axis)
    result[axis] = static_cast<std::size_t>(last[axis] - first[axis]) + 1;
  return result;
}

MxFileMesh mxJoinStructured(std::vector<MxStructuredPart> parts, std::optional<MxExtent> whole,
                            const std::string& path, bool parallel)
{
  if (!whole) {
    whole = parts.front().extent;
    for (const MxStructuredPart& part : parts)
      for (std::size_t axis = 0; axis < 3; ++axis) {
        whole->first[axis] = std::min(whole->first[axis], part.extent.first[axis]);
        whole->last[axis] = std::max(whole->last[axis], part.extent.last[axis]);
      }
  }
  std::vector<MxFileMesh*> meshes;
  for (MxStructuredPart& part : parts)
    meshes.push_back(&part.mesh);
  mxCompleteGhosts(meshes);
  MxFileMesh result = parts.size() == 1 && parts.front().extent == *whole
                          ? std::move(parts.front().mesh)
                          : StructuredJoin(parts, *whole, path, parallel).run();
  for (std::size_t axis = 0; axis < 3; ++axis)
    result.origin[axis] += static_cast<double>(whole->first[axis]) * result.spacing[axis];
  return result;
}

MxFileArray mxStructuredPoints(const MxFileMesh& mesh, bool parallel)
{
  if (mesh.layout == MxFileLayout::Curvilinear) return mesh.points;
  std::array<std::vector<double>, 3> axes;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    axes[axis].resize(mesh.nodes[axis]);
    for (std::size_t i = 0; i < axes[axis].size(); ++i)
      axes[axis][i] = mesh.layout == MxFileLayout::Rectilinear
                          ? mbNumber(mesh.axes[axis].view(), i)
                          : mesh.origin[axis] + mesh.spacing[axis] * static_cast<double>(i);
  }
  auto points = MxFileArray::of<double>(3 * mesh.nodeCount);
  forEachBlock(parallel, mesh.nodes.y * mesh.nodes.z, 64,
               [&](std::size_t, std::size_t first, std::size_t last) {
                 for (std::size_t row = first; row < last; ++row) {
                   double* to = points.as<double>() + 3 * row * mesh.nodes.x;
                   for (std::size_t i = 0; i < mesh.nodes.x; ++i, to += 3) {
                     to[0] = axes[0][i];
                     to[1] = axes[1][row % mesh.nodes.y];
                     to[2] = axes[2][row / mesh.nodes.y];
                   }
                 }
               });
  return points;
}

MxFileMesh mxAsUnstructured(MxFileMesh mesh, bool parallel)
{
  if (mesh.layout == MxFileLayout::Cells) return mesh;
  mesh.points = mxStructuredPoints(mesh, parallel);
  // Steps to the neighbour along each axis that has cells.
  std::vector<std::size_t> steps;
  MbIndex3 along = {1, 1, 1};
  std::size_t step = 1;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    if (mesh.nodes[axis] > 1) {
      steps.push_back(step);
      along[axis] = mesh.nodes[axis] - 1;
    }
    step *= mesh.nodes[axis];
  }
  constexpr MiCellShape kShapes[] = {MiCellShape::Vertex, MiCellShape::Line, MiCellShape::Quad,
                                     MiCellShape::Hexahedron};
  const std::size_t dimension = steps.size(), corners = std::size_t{1} << dimension;
  MxFileCells& cells = mesh.cells;
  cells.count = mesh.cellCount();
  cells.uniform = kShapes[dimension];
  cells.connectivity = MxFileArray::of<std::int64_t>(cells.count * corners);
  auto* to = cells.connectivity.as<std::int64_t>();
  for (std::size_t cell = 0; cell < cells.count; ++cell) {
    const std::size_t i = cell % along.x, j = cell / along.x % along.y,
                      k = cell / along.x / along.y;
    const std::size_t first = i + mesh.nodes.x * (j + mesh.nodes.y * k);
    for (std::size_t corner = 0; corner < corners; ++corner) {
      // Around a face, not row by row.
      const std::size_t bits = corner ^ (corner >> 1 & 1);
      std::size_t node = first;
      for (std::size_t axis = 0; axis < dimension; ++axis)
        if (bits >> axis & 1) node += steps[axis];
      *to++ = static_cast<std::int64_t>(node);
    }
  }
  mesh.layout = MxFileLayout::Cells;
  mesh.axes = {};
  return mesh;
}

void mxCompleteGhosts(std::span<MxFileMesh* const> parts)
{
  for (const MiDataBinding binding : {MiDataBinding::PerCell, MiDataBinding::PerNode}) {
    const MxFileSet* model = nullptr;
    for (const MxFileMesh* part : parts)
      if (!model) model = ghosts(*part, binding);
    if (!model) continue;
    const MiScalarType type = model->values.type;
    for (MxFileMesh* part : parts) {
      if (ghosts(*part, binding)) continue;
      // A structured part of a single node has a value per cell, too.
      const std::size_t cells =
          part->layout == MxFileLayout::Cells ? part->cells.count : product(cellsOf(part->nodes));
      MxFileArray none(type, binding == MiDataBinding::PerCell ? cells : part->nodeCount);
      if (none) std::memset(none.data.get(), 0, none.byteCount());
      part->sets.push_back({kGhostName, binding, 1, std::move(none)});
    }
  }
}

void mxApplyGhosts(MxFileMesh& mesh, bool parallel)
{
  const MxFileSet* set = ghosts(mesh);
  if (!set || set->values.size != mesh.cellCount()) return;
  const MiArrayView flags = set->values.view();
  const auto isGhost = [&](std::size_t cell) {
    return (mbIndex(flags, cell) & (kDuplicateCell | kHiddenCell)) != 0;
  };
  std::size_t cell = 0;
  while (cell < flags.count && !isGhost(cell))
    ++cell;
  if (cell == flags.count) return;
  auto live = MxFileArray::of<std::uint8_t>(flags.count);
  const MiArrayView before = mesh.active.view();
  forEachBlock(
      parallel, flags.count, kFileBlock, [&](std::size_t, std::size_t first, std::size_t last) {
        for (std::size_t i = first; i < last; ++i)
          live.as<std::uint8_t>()[i] = !isGhost(i) && (!before || mbNumber(before, i) != 0);
      });
  mesh.active = live;
}
