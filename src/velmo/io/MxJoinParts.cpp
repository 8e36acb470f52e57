#include <velmo/io/MbMeshFile.h>
#include <velmo/io/MxFileMesh.h>
#include <velmo/io/MxStructuredParts.h>
#include <velmo/mesh/MbArray.h>

#include <algorithm>

namespace {

/// Arrays one behind the other. The numbers of part p are moved on by `shifts`[p]; of each part but
/// the first that has any, the first `skip` numbers are left out.
class Join
{
public:
  explicit Join(const std::string& path) : m_path(path) {}

  MxFileArray run(const char* what, const std::vector<const MxFileArray*>& parts,
                  const std::vector<std::size_t>& shifts = {}, std::size_t skip = 0) const
  {
    std::size_t total = 0;
    const MxFileArray* first = nullptr;
    for (const MxFileArray* part : parts) {
      if (!*part) continue;
      if (first && part->type != first->type)
        throw MbMeshFileError(m_path, "",
                              std::string(what) + " of the pieces are of different types");
      total += part->size - (first ? skip : 0);
      if (!first) first = part;
    }
    if (!first) return {};
    MxFileArray result(first->type, total);
    visitNumbers(result, [&](auto values) {
      using T = typename decltype(values)::value_type;
      T* to = values.data();
      for (std::size_t p = 0; p < parts.size(); ++p) {
        if (!*parts[p]) continue;
        const auto from = parts[p]->template span<const T>().subspan(parts[p] == first ? 0 : skip);
        const std::size_t shift = shifts.empty() ? 0 : shifts[p];
        if (shift == 0) {
          to = std::copy(from.begin(), from.end(), to);
          continue;
        }
        if constexpr (std::is_integral_v<T>) {
          if (shift > static_cast<std::uint64_t>(std::numeric_limits<T>::max()) / 2)
            throw MbMeshFileError(
                m_path, "", std::string(what) + " is of too small a type for all pieces together");
          // In 64 bits without a sign, as damaged numbers may be as large as they like.
          for (const T value : from)
            *to++ = static_cast<T>(static_cast<std::uint64_t>(value) + shift);
        }
      }
    });
    return result;
  }

private:
  const std::string& m_path;
};

template <class Member>
std::vector<const MxFileArray*> collect(const std::vector<MxFileMesh>& parts, const Member& member)
{
  std::vector<const MxFileArray*> arrays;
  for (const MxFileMesh& part : parts)
    arrays.push_back(&member(part));
  return arrays;
}

/// Zeros in the type that the parts with polyhedra have.
MxFileArray zeroOffsets(const std::vector<MxFileMesh>& parts, std::size_t count)
{
  const auto other = std::find_if(parts.begin(), parts.end(), [](const MxFileMesh& part) {
    return static_cast<bool>(part.cells.faceOffsets);
  });
  MxFileArray zeros(other->cells.faceOffsets.type, count);
  std::memset(zeros.data.get(), 0, zeros.byteCount());
  return zeros;
}

/// Gives all parts types and offsets, and indices of one type.
void makeAlike(std::vector<MxFileMesh>& parts)
{
  bool wide = false;
  std::size_t nodes = 0, connectivity = 0, faces = 0;
  for (const MxFileMesh& part : parts) {
    nodes += part.nodeCount;
    connectivity += part.cells.connectivity.size;
    faces += part.cells.faces.size;
    for (const MxFileArray* array : {&part.cells.connectivity, &part.cells.faces})
      wide |= *array && array->type != MiScalarType::Int32;
  }
  wide |= nodes >= kNarrowLimit / 2;
  const bool wideOffsets = wide || connectivity >= kNarrowLimit / 2 || faces >= kNarrowLimit / 2;
  for (MxFileMesh& part : parts) {
    MxFileCells& cells = part.cells;
    if (cells.count > 0 && !cells.types) {
      cells.types = MxFileArray::of<std::uint8_t>(cells.count);
      std::memset(cells.types.data.get(), static_cast<int>(cells.uniform), cells.count);
    }
    if (cells.count > 0 && !cells.offsets) {
      cells.offsets = MxFileArray::of<std::int64_t>(cells.count + 1);
      const std::size_t each = cells.connectivity.size / cells.count;
      for (std::size_t i = 0; i <= cells.count; ++i)
        cells.offsets.as<std::int64_t>()[i] = static_cast<std::int64_t>(i * each);
    }
    if (!wide) continue;
    cells.connectivity = mxWidened(cells.connectivity);
    cells.faces = mxWidened(cells.faces);
  }
  const bool alike =
      !wideOffsets && std::all_of(parts.begin(), parts.end(), [&](const MxFileMesh& part) {
        return !part.cells.offsets || part.cells.offsets.type == MiScalarType::Int32;
      });
  for (MxFileMesh& part : parts) {
    if (!alike) part.cells.offsets = mxWidened(part.cells.offsets);
    part.cells.faceOffsets = mxWidened(part.cells.faceOffsets);
  }
}

void joinSets(const std::vector<MxFileMesh>& parts, const Join& join, MxFileMesh& result)
{
  for (const MxFileSet& set : parts[0].sets) {
    std::vector<const MxFileArray*> arrays;
    for (const MxFileMesh& part : parts) {
      const auto same = std::find_if(part.sets.begin(), part.sets.end(), [&](const MxFileSet& s) {
        return s.name == set.name && s.binding == set.binding && s.components == set.components &&
               (s.values.type == set.values.type || !s.values);
      });
      if (same != part.sets.end()) arrays.push_back(&same->values);
    }
    if (arrays.size() == parts.size())
      result.sets.push_back(
          {set.name, set.binding, set.components, join.run(set.name.c_str(), arrays)});
    else
      result.notes.push_back("The array '" + set.name + "' is not in every piece and left out.");
  }
}

void joinActive(const std::vector<MxFileMesh>& parts, MxFileMesh& result)
{
  if (std::none_of(parts.begin(), parts.end(), [](const MxFileMesh& p) { return bool(p.active); }))
    return;
  result.active = MxFileArray::of<std::uint8_t>(result.cells.count);
  auto* to = result.active.as<std::uint8_t>();
  for (const MxFileMesh& part : parts)
    for (std::size_t i = 0; i < part.cells.count; ++i)
      *to++ = !part.active || mbNumber(part.active.view(), i) != 0;
}

} // namespace

MxFileMesh mxJoinParts(std::vector<MxFileMesh> parts, const std::string& path)
{
  MxFileMesh result;
  std::vector<std::size_t> nodeShifts, connectivityShifts, faceShifts;
  std::size_t connectivity = 0, faces = 0;
  const bool polyhedra = std::any_of(parts.begin(), parts.end(), [](const MxFileMesh& part) {
    return static_cast<bool>(part.cells.faces);
  });
  for (const MxFileMesh& part : parts)
    if (part.layout != MxFileLayout::Cells || part.vertex)
      throw MbMeshFileError(path, "", "the parts are meshes of different kinds");
  makeAlike(parts);
  std::vector<MxFileMesh*> meshes;
  for (MxFileMesh& part : parts)
    meshes.push_back(&part);
  mxCompleteGhosts(meshes);
  for (MxFileMesh& part : parts) {
    if (part.cells.faces) {
      // In 64 bits without a sign, as damaged numbers may be as large as they like.
      if (result.nodeCount > 0)
        mxMapFaceNodes(part.cells, path, [shift = result.nodeCount](std::int64_t node) {
          return static_cast<std::int64_t>(static_cast<std::uint64_t>(node) + shift);
        });
    } else if (polyhedra && part.cells.count > 0) {
      part.cells.faceOffsets = zeroOffsets(parts, part.cells.count + 1);
    }
    nodeShifts.push_back(result.nodeCount);
    connectivityShifts.push_back(connectivity);
    faceShifts.push_back(faces);
    result.nodeCount += part.nodeCount;
    result.cells.count += part.cells.count;
    connectivity += part.cells.connectivity.size;
    faces += part.cells.faces.size;
    result.notes.insert(result.notes.end(), part.notes.begin(), part.notes.end());
  }
  const Join join(path);
  using Part = const MxFileMesh&;
  MxFileCells& cells = result.cells;
  result.points = join.run("points", collect(
                                         parts, [](Part p) -> auto& { return p.points; }));
  cells.connectivity = join.run("the connectivity",
                                collect(
                                    parts, [](Part p) -> auto& { return p.cells.connectivity; }),
                                nodeShifts);
  cells.types = join.run("types", collect(
                                      parts, [](Part p) -> auto& { return p.cells.types; }));
  cells.offsets = join.run("offsets",
                           collect(
                               parts, [](Part p) -> auto& { return p.cells.offsets; }),
                           connectivityShifts, 1);
  if (polyhedra) {
    cells.faces = join.run("faces", collect(
                                        parts, [](Part p) -> auto& { return p.cells.faces; }));
    cells.faceOffsets = join.run("face offsets",
                                 collect(
                                     parts, [](Part p) -> auto& { return p.cells.faceOffsets; }),
                                 faceShifts, 1);
  }
  joinSets(parts, join, result);
  joinActive(parts, result);
  return result;
}
