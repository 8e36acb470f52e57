#include "TestFiles.h"

#include <tests/support/MeshZoo.h>

#include <velmo/io/MbMeshSave.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbMeshSummary.h>
#include <velmo/mesh/MbUnstructuredView.h>

#include <csignal>
#include <gmock/gmock.h>
#include <map>
#include <optional>
#include <sys/resource.h>

using testing::Contains;
using testing::HasSubstr;

namespace {

/// A name for a file, which goes away with the object.
class SavedFile
{
public:
  explicit SavedFile(const std::string& suffix)
      : m_path(testing::TempDir() + "velmo_saved_" + std::to_string(::getpid()) + suffix)
  {}
  ~SavedFile() { std::remove(m_path.c_str()); }
  SavedFile(const SavedFile&) = delete;
  SavedFile& operator=(const SavedFile&) = delete;
  const std::string& path() const { return m_path; }
  std::string bytes() const
  {
    std::ifstream file(m_path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

private:
  std::string m_path;
};

std::string dumpOf(const MiMesh& mesh)
{
  std::ostringstream text;
  mbDump(text, mesh);
  return text.str();
}

/// The dump of a mesh as an unstructured one, which is how a .vtu file gives it back.
std::string unstructuredDump(const MiMesh& mesh)
{
  if (const auto volume = mbUnstructuredVolume(mesh)) return dumpOf(*volume);
  if (const auto surface = mbUnstructuredSurface(mesh)) return dumpOf(*surface);
  return dumpOf(*mbUnstructuredLine(mesh));
}

template <class T>
MbNamedArray arrayOf(const char* name, MiDataBinding binding, std::size_t items,
                     std::size_t components)
{
  const auto values = std::make_shared<std::vector<T>>();
  for (std::size_t n = 0; n < items * components; ++n)
    values->push_back(static_cast<T>(3 * n + 1));
  return {name,
          binding,
          components,
          {values->data(), kMiScalarTypeOf<T>, items, components * sizeof(T)},
          values};
}

/// Arrays of every type and of several component counts, one of a name that XML must quote.
std::vector<MbNamedArray> arraysFor(const MiMesh& mesh)
{
  const MbMeshSummary summary = mbSummarize(mesh);
  const MbIndex3& n = summary.nodeCounts;
  const std::size_t nodes = n.x * n.y * n.z, cells = summary.cellCount;
  constexpr auto kNode = MiDataBinding::PerNode, kCell = MiDataBinding::PerCell;
  return {arrayOf<float>("t", kNode, nodes, 1),
          arrayOf<double>("v", kNode, nodes, 3),
          arrayOf<std::int8_t>("a", kNode, nodes, 2),
          arrayOf<std::uint16_t>("t", kCell, cells, 1),
          arrayOf<std::int64_t>("<\"&>", kCell, cells, 1),
          arrayOf<float>("s", kCell, cells, 6),
          arrayOf<std::uint32_t>("u", kCell, cells, 1)};
}

std::vector<MbNamedArray> arraysOf(const MbMeshFile& file)
{
  std::vector<MbNamedArray> arrays;
  for (const MbMeshFileArray& array : file.getArrays())
    arrays.push_back({array.name, array.binding, array.components, array.values, nullptr});
  return arrays;
}

std::string bytesOf(const MiArrayView& view, std::size_t components)
{
  std::string bytes;
  visitScalarType(view.type, [&](auto scalar) {
    bytes.assign(view.as<char>(), view.count * components * sizeof(scalar));
  });
  return bytes;
}

/// The arrays came back with the bytes they had; `isMoved` ones per node have other numbers.
void expectArrays(const MbMeshFile& file, const std::vector<MbNamedArray>& arrays, bool isMoved)
{
  for (const MbNamedArray& array : arrays) {
    const bool perNode = array.binding == MiDataBinding::PerNode;
    SCOPED_TRACE(array.name);
    const MbMeshFileArray* read = file.findArray(array.name + (perNode ? "@node" : "@cell"));
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->type, array.values.type);
    EXPECT_EQ(read->components, array.components);
    if (!perNode || !isMoved) {
      EXPECT_EQ(bytesOf(read->values, read->components), bytesOf(array.values, array.components));
    }
  }
}

} // namespace

TEST(MbMeshSave, EveryKindComesBackFromAVtu)
{
  for (const MeshType kind : zoo::kKinds) {
    for (const bool isProcedural : {false, true}) {
      SCOPED_TRACE(std::string(meshTypeName(kind)) + (isProcedural ? ", procedural" : ""));
      auto mesh = zoo::small(kind);
      if (isProcedural) mesh = zoo::procedural(std::move(mesh));
      const std::vector<MbNamedArray> arrays = arraysFor(*mesh);
      const SavedFile plain("_plain.vtu"), packed("_packed.vtu"), serial("_serial.vtu");
      EXPECT_THAT(mbSaveMesh(*mesh, arrays, plain.path(), {.time = 2.5}), testing::IsEmpty());
      mbSaveMesh(*mesh, arrays, packed.path(), {.compress = true, .time = 2.5});
      mbSaveMesh(*mesh, arrays, serial.path(), {.parallel = false, .time = 2.5});
      EXPECT_EQ(plain.bytes(), serial.bytes());
      for (const SavedFile* saved : {&plain, &packed}) {
        const MbMeshFile file = MbMeshFile::read(saved->path());
        EXPECT_EQ(dumpOf(*file.getMesh()), unstructuredDump(*mesh));
        EXPECT_EQ(file.getDeadCellCount(), 1u);
        EXPECT_EQ(file.getTime(), 2.5);
        expectArrays(file, arrays, kind == VOLUME_MESH_VERTEX_HEXAHEDRON_IJK);
      }
      if (kind != VOLUME_MESH_HEXAHEDRON_IJK && kind != VOLUME_MESH_VERTEX_HEXAHEDRON_IJK) continue;
      MbMeshFileOptions options;
      options.ijk = mbSummarize(*mesh).cellCounts;
      options.vertex = kind == VOLUME_MESH_VERTEX_HEXAHEDRON_IJK;
      const MbMeshFile grid = MbMeshFile::read(plain.path(), options);
      EXPECT_EQ(dumpOf(*grid.getMesh()), dumpOf(*mesh));
      expectArrays(grid, arrays, false);
    }
  }
}

TEST(MbMeshSave, FilesOfEveryFormatComeBack)
{
  std::map<std::string, int> formats;
  const std::filesystem::path corpus = VELMO_SOURCE_DIR "/tests/fuzz/corpus";
  forEachReadable(corpus, [&](const MbMeshFile& file) {
    if (file.getCellCount() == 0) return; // a .vtu without cells tells no kind
    const std::vector<MbNamedArray> arrays = arraysOf(file);
    const MeshType kind = file.getMeshType();
    for (const char* suffix : {".vtu", ".vtp"}) {
      if (suffix == std::string(".vtp") && kind < SURFACE_MESH_UNSTRUCTURED) continue;
      const SavedFile saved(suffix);
      EXPECT_THAT(mbSaveMesh(*file.getMesh(), arrays, saved.path(), {.time = file.getTime()}),
                  testing::IsEmpty());
      const MbMeshFile again = MbMeshFile::read(saved.path());
      EXPECT_EQ(dumpOf(*again.getMesh()), unstructuredDump(*file.getMesh()));
      EXPECT_EQ(again.getTime(), file.getTime());
      EXPECT_EQ(again.getBounds(), file.getBounds());
      expectArrays(again, arrays, kind == VOLUME_MESH_VERTEX_HEXAHEDRON_IJK);
      ++formats[file.getFormat()];
    }
  });
  for (const char* format : {"vtu", "legacy vtk", "grdecl", "msh", "inp"})
    EXPECT_GT(formats[format], 0) << format;
}

TEST(MbMeshSave, SurfacesAndLinesComeBackFromAVtp)
{
  for (const MeshType kind : zoo::kKinds) {
    if (kind < SURFACE_MESH_UNSTRUCTURED) continue;
    SCOPED_TRACE(meshTypeName(kind));
    const auto mesh = zoo::small(kind);
    const std::vector<MbNamedArray> arrays = arraysFor(*mesh);
    const SavedFile saved(".vtp");
    const std::vector<std::string> notes = mbSaveMesh(*mesh, arrays, saved.path());
    const MbMeshFile file = MbMeshFile::read(saved.path());
    EXPECT_EQ(file.getFormat(), "vtp");
    EXPECT_EQ(file.getDeadCellCount(), 1u);
    expectArrays(file, arrays, false);
    // Quadratic cells lose their curves and keep the nodes around them.
    const std::string read = dumpOf(*file.getMesh());
    if (kind == SURFACE_MESH_UNSTRUCTURED) {
      EXPECT_THAT(notes, Contains(HasSubstr("3 quadratic cells are written as poly")));
      EXPECT_THAT(read, HasSubstr("cell 3 polygon 12 15 13 16 14 17\n"));
      EXPECT_THAT(read, HasSubstr("cell 5 polygon 26 30 27 31 28 32 29 33\n"));
    } else if (kind == LINE_MESH_UNSTRUCTURED) {
      EXPECT_THAT(notes, Contains(HasSubstr("1 quadratic cells are written as poly")));
      EXPECT_THAT(read, HasSubstr("cell 2 polyline 6 8 7\n"));
    } else {
      EXPECT_THAT(notes, testing::IsEmpty());
      EXPECT_EQ(read, unstructuredDump(*mesh));
    }
  }
}

TEST(MbMeshSave, EveryShapeComesBack)
{
  for (int dimension = 1; dimension <= 3; ++dimension) {
    const auto mesh = zoo::cellsOf(zoo::shapesOf(dimension));
    const SavedFile saved(".vtu");
    mbSaveMesh(*mesh, {}, saved.path(), {.compress = true, .time = {}});
    EXPECT_EQ(dumpOf(*MbMeshFile::read(saved.path()).getMesh()), dumpOf(*mesh)) << dimension;
  }
}

TEST(MbMeshSave, LargeArraysAreWrittenInBlocks)
{
  const auto mesh = zoo::blockOf(MiCellShape::Polyhedron, {21, 20, 19});
  for (const bool compress : {false, true}) {
    const SavedFile saved(".vtu");
    const std::vector<MbNamedArray> arrays = arraysFor(*mesh);
    mbSaveMesh(*mesh, arrays, saved.path(), {.compress = compress, .time = {}});
    const MbMeshFile file = MbMeshFile::read(saved.path());
    EXPECT_TRUE(dumpOf(*file.getMesh()) == dumpOf(*mesh));
    expectArrays(file, arrays, false);
  }
}

TEST(MbMeshSave, WhatDoesNotFitIsNamed)
{
  const std::vector<double> points{0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1};
  const std::vector<int> nodes{0, 1, 2, 3, 0, 1, 2, 77, 3, 2, 1, 0};
  const MbVolumeMeshUnstructured mesh({MiCellShape::Tetrahedron, nodes}, points);
  const SavedFile saved(".vtu");
  const std::vector<MbNamedArray> arrays{arrayOf<float>("short", MiDataBinding::PerNode, 3, 1),
                                         arrayOf<float>("c", MiDataBinding::PerCell, 3, 1)};
  const std::vector<std::string> notes = mbSaveMesh(mesh, arrays, saved.path());
  EXPECT_THAT(notes, Contains(HasSubstr("'short' has 3 items for 4 nodes")));
  EXPECT_THAT(notes, Contains(HasSubstr("1 cells with missing nodes")));
  const MbMeshFile file = MbMeshFile::read(saved.path());
  EXPECT_EQ(file.getCellCount(), 3u); // the numbers of the others stay
  EXPECT_EQ(file.getArrays().size(), 1u);

  const auto problem = [&](const char* suffix, const MiMesh& what) -> std::string {
    try {
      const SavedFile other(suffix);
      mbSaveMesh(what, {}, other.path());
    } catch (const MbMeshFileError& error) {
      return error.getProblem();
    }
    return "";
  };
  EXPECT_THAT(problem(".vts", mesh), HasSubstr(".vtu takes every mesh"));
  EXPECT_THAT(problem(".obj", mesh), HasSubstr(".vtu, .vtp, .vti, .vtr or .vts"));
  EXPECT_THAT(problem(".vtp", mesh), HasSubstr("only surfaces and lines"));
  EXPECT_THAT(problem(".vti", *zoo::small(VOLUME_MESH_RECTILINEAR)), HasSubstr("uniform steps"));
  EXPECT_THAT(problem(".vtr", *zoo::small(VOLUME_MESH_CURVILINEAR)), HasSubstr("straight axes"));
}

TEST(MbMeshSave, AFailureLeavesNothingBehindAndKeepsWhatWasThere)
{
  const auto mesh = zoo::block(VOLUME_MESH_UNSTRUCTURED, {9, 9, 9});
  const auto problem = [&](const std::string& path) -> std::string {
    try {
      mbSaveMesh(*mesh, {}, path);
    } catch (const MbMeshFileError& error) {
      return error.getPath() == path ? error.getProblem() : "another path";
    }
    return "";
  };
  const std::string folder =
      testing::TempDir() + "velmo_saved_folder_" + std::to_string(::getpid());
  std::filesystem::create_directory(folder);
  EXPECT_THAT(problem(folder + "/no/such/place.vtu"), HasSubstr("No such file"));
  std::ofstream(folder + "/kept.vtu") << "kept";

  rlimit before{};
  ::getrlimit(RLIMIT_FSIZE, &before);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit small{2000, before.rlim_max};
  ::setrlimit(RLIMIT_FSIZE, &small);
  const std::string tooLarge = problem(folder + "/kept.vtu");
  ::setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_THAT(tooLarge, HasSubstr("File too large"));
  std::string kept;
  std::ifstream(folder + "/kept.vtu") >> kept;
  EXPECT_EQ(kept, "kept");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1);
  EXPECT_EQ(problem(folder + "/kept.vtu"), "");
  EXPECT_GT(std::filesystem::file_size(folder + "/kept.vtu"), 2000u);
  std::filesystem::remove_all(folder);
}

TEST(MbMeshSave, DataSetsOfEveryNumberingBecomeArrays)
{
  const MbDataSetIjk<double> grid("g", MiDataBinding::PerCell, MbIndex3{2, 1, 2},
                                  MbNumbers(std::vector<float>{1, 2, 3, 4}));
  const MbNamedArray seen = mbNamedArray(grid);
  EXPECT_EQ(seen.values.type, MiScalarType::Float32); // the array itself
  EXPECT_EQ(seen.values.count, 4u);
  struct Computed : MiVec3dSetIj
  {
    MiDataBinding getBinding() const override { return MiDataBinding::PerNode; }
    std::uint64_t getTimeStamp() const override { return 1; }
    std::size_t getSizeI() const override { return 2; }
    std::size_t getSizeJ() const override { return 3; }
    MbVec3d getValue(std::size_t i, std::size_t j) const override
    {
      return {static_cast<double>(i), static_cast<double>(j), 7};
    }
  };
  const MbNamedArray copied = mbNamedArray(Computed());
  ASSERT_EQ(copied.values.count, 6u);
  EXPECT_EQ(copied.components, 3u);
  EXPECT_EQ(copied.values.as<double>()[3 * 3], 1); // I fastest
  EXPECT_EQ(copied.values.as<double>()[3 * 3 + 1], 1);
}
