#include <tests/support/VtkXmlWriter.h>

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

namespace {

using Extent = std::array<int, 6>;
constexpr Extent kWhole{2, 5, 0, 2, -1, 0};

std::string text(const Extent& extent)
{
  std::string result;
  for (const int number : extent)
    result += (result.empty() ? "" : " ") + std::to_string(number);
  return result;
}

double at(int axis, int index)
{
  return 1 + axis + 0.5 * (axis + 1) * index;
}

template <class Visit>
void forEachItem(const Extent& extent, int less, const Visit& visit)
{
  const auto end = [&](std::size_t axis) {
    const int first = extent[2 * axis], last = extent[2 * axis + 1];
    return last > first ? last - less : last;
  };
  for (int k = extent[4]; k <= end(2); ++k)
    for (int j = extent[2]; j <= end(1); ++j)
      for (int i = extent[0]; i <= end(0); ++i)
        visit(i, j, k);
}

constexpr const char* kStructured[] = {"ImageData", "RectilinearGrid", "StructuredGrid"};

/// A part of the grid of which node i, j, k lies at `at` and has the value i + 10 j + 100 k; so has
/// the cell.
/// @param ghostFrom  cells from this I on are marked as those of another piece, and have a wrong
///                   value
void addPiece(VtkXmlWriter& w, const std::string& dataSet, const Extent& extent,
              int ghostFrom = 100)
{
  std::vector<double> nodes, points;
  std::vector<std::int32_t> cells;
  std::vector<std::uint8_t> ghosts;
  forEachItem(extent, 0, [&](int i, int j, int k) {
    nodes.push_back(i + 10 * j + 100 * k);
    for (const double x : {at(0, i), at(1, j), at(2, k)})
      points.push_back(x);
  });
  forEachItem(extent, 1, [&](int i, int j, int k) {
    cells.push_back(i < ghostFrom ? i + 10 * j + 100 * k : -7);
    ghosts.push_back(i < ghostFrom ? 0 : 1);
  });
  w.body += "<Piece Extent=\"" + text(extent) + "\"><PointData>";
  w.array<double>("n", "Float64", nodes);
  w.body += "</PointData><CellData>";
  w.array<std::int32_t>("c", "Int32", cells);
  if (ghostFrom < 100) w.array<std::uint8_t>("vtkGhostType", "UInt8", ghosts);
  w.body += "</CellData>";
  if (dataSet == "RectilinearGrid") {
    w.body += "<Coordinates>";
    for (int axis = 0; axis < 3; ++axis) {
      std::vector<double> line;
      for (int i = extent[2 * axis]; i <= extent[2 * axis + 1]; ++i)
        line.push_back(at(axis, i));
      w.array<double>("x", "Float64", line);
    }
    w.body += "</Coordinates>";
  } else if (dataSet == "StructuredGrid") {
    w.body += "<Points>";
    w.array<double>("Points", "Float64", points, 3);
    w.body += "</Points>";
  }
  w.body += "</Piece>\n";
}

std::string attributes(const Extent& whole)
{
  return "WholeExtent=\"" + text(whole) + "\" Origin=\"1 2 3\" Spacing=\"0.5 1 1.5\"";
}

std::string gridFile(VtkXmlWriter w, const std::string& dataSet, const Extent& extent,
                     int ghostFrom = 100)
{
  addPiece(w, dataSet, extent, ghostFrom);
  return w.file(dataSet, attributes(kWhole));
}

/// A triangle in a square, the second of two when `second`; one of the nodes that both have is
/// marked in it.
/// @param ghost  of the triangle; none for no marks at all
std::string triangleFile(bool second, std::optional<int> ghost, const char* pointType = "Float64")
{
  VtkXmlWriter w;
  w.body = "<Piece NumberOfPoints=\"3\" NumberOfCells=\"1\"><PointData>";
  w.array<std::int32_t>("GlobalNodeId", "Int32", {1, second ? 3 : 2, second ? 4 : 3});
  w.array<double>("n", "Float64", {second ? -1. : 1., 2, 3});
  if (ghost) w.array<std::uint8_t>("vtkGhostType", "UInt8", {1, 0, 0});
  w.body += "</PointData><CellData>";
  w.array<std::int32_t>("c", "Int32", {second ? 20 : 10});
  if (ghost) w.array<std::uint8_t>("vtkGhostType", "UInt8", {static_cast<std::uint8_t>(*ghost)});
  w.body += "</CellData><Points>";
  w.array<double>("p", pointType, {0, 0, 0, 1, second ? 1. : 0., 0, second ? 0. : 1., 1, 0}, 3);
  w.body += "</Points><Cells>";
  w.array<std::int64_t>("connectivity", "Int64", {0, 1, 2});
  w.array<std::int64_t>("offsets", "Int64", {3});
  w.array<std::uint8_t>("types", "UInt8", {5});
  w.body += "</Cells></Piece>\n";
  return w.file();
}

/// Files that go away together.
class Folder
{
public:
  Folder()
  {
    static int s_number = 0;
    m_path = std::filesystem::temp_directory_path() /
             ("velmo_series_" + std::to_string(::getpid()) + "_" + std::to_string(s_number++));
    std::filesystem::create_directory(m_path);
  }
  ~Folder() { std::filesystem::remove_all(m_path); }
  std::string write(const std::string& name, const std::string& contents) const
  {
    std::ofstream(m_path / name, std::ios::binary) << contents;
    return (m_path / name).string();
  }
  std::string errorOf(const std::string& name, const std::string& contents,
                      const MbMeshFileOptions& options = {}) const
  {
    const std::string path = write(name, contents);
    try {
      MbMeshFile::read(path, options);
    } catch (const MbMeshFileError& error) {
      return std::filesystem::path(error.getPath()).filename().string() + ": " + error.getPlace() +
             ": " + error.getProblem();
    }
    return "";
  }

private:
  std::filesystem::path m_path;
};

std::string parallelFile(const std::string& dataSet, const std::vector<Extent>& extents)
{
  std::string pieces;
  for (std::size_t i = 0; i < extents.size(); ++i)
    pieces +=
        "<Piece Extent=\"" + text(extents[i]) + "\" Source=\"piece" + std::to_string(i) + "\"/>\n";
  VtkXmlWriter w;
  w.body = "<PPointData><PDataArray type=\"Float64\" Name=\"n\"/></PPointData>\n" + pieces;
  return w.file("P" + dataSet, "GhostLevel=\"1\" " + attributes(kWhole));
}

/// Nodes on a ring around (2, 2, 0), and sections of every kind.
std::string polyFile(VtkXmlWriter w)
{
  w.body =
      "<Piece NumberOfPoints=\"6\" NumberOfVerts=\"1\" NumberOfLines=\"1\" NumberOfStrips=\"1\" "
      "NumberOfPolys=\"2\"><CellData>";
  w.array<std::int16_t>("id", "Int16", {0, 1, 2, 3, 4});
  w.body += "</CellData><Points>";
  w.array<float>("p", "Float32", {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 2, 0, 0, 2, 1, 0}, 3);
  const auto section = [&w](const char* name, const std::vector<std::int64_t>& nodes,
                            const std::vector<std::int64_t>& offsets) {
    w.body += std::string("<") + name + ">";
    w.array<std::int64_t>("connectivity", "Int64", nodes);
    w.array<std::int64_t>("offsets", "Int64", offsets);
    w.body += std::string("</") + name + ">";
  };
  w.body += "</Points>";
  section("Verts", {0}, {1});
  section("Lines", {0, 1, 4}, {3});
  section("Strips", {1, 4, 2, 5}, {4});
  section("Polys", {0, 1, 2, 0, 1, 2, 3}, {3, 7});
  w.body += "</Piece>";
  return w.file("PolyData");
}

} // namespace

TEST(VtkXmlFiles, StructuredMeshesAreTheSameInEveryEncoding)
{
  const MeshType kinds[] = {VOLUME_MESH_REGULAR, VOLUME_MESH_RECTILINEAR, VOLUME_MESH_CURVILINEAR};
  const char* const formats[] = {"vti", "vtr", "vts"};
  for (std::size_t s = 0; s < 3; ++s) {
    SCOPED_TRACE(kStructured[s]);
    const MbMeshFile plain = readText(gridFile({}, kStructured[s], kWhole));
    EXPECT_EQ(plain.getFormat(), formats[s]);
    EXPECT_EQ(plain.getMeshType(), kinds[s]);
    EXPECT_THAT(plain.getCellDimensions(), ElementsAre(3, 2, 1));
    EXPECT_THAT(plain.getBounds(), ElementsAre(2, 3.5, 2, 4, 1.5, 3));
    EXPECT_EQ(plain.findArray("n")->as<MiScalardSetIjk>()->getValue(1, 2, 0), 3 + 20 - 100);
    EXPECT_EQ(plain.findArray("c")->as<MiScalardSetIjk>()->getValue(2, 1, 0), 4 + 10 - 100);
    forEachEncoding([&](const VtkXmlWriter& w) {
      EXPECT_EQ(describe(readText(gridFile(w, kStructured[s], kWhole))), describe(plain));
    });
    const Extent row{2, 5, 1, 1, 0, 0};
    EXPECT_THAT(readText(gridFile({}, kStructured[s], row)).getCellDimensions(), ElementsAre(3));
  }
}

TEST(VtkXmlFiles, PiecesOfStructuredMeshesShareTheirNodes)
{
  const std::vector<Extent> extents{{2, 4, 0, 2, -1, 0}, {4, 5, 0, 2, -1, 0}};
  const std::vector<Extent> overlapping{{2, 5, 0, 2, -1, 0}, {3, 5, 0, 2, -1, 0}};
  for (const char* dataSet : kStructured) {
    SCOPED_TRACE(dataSet);
    const std::string whole = describe(readText(gridFile({}, dataSet, kWhole)));
    VtkXmlWriter several;
    for (const Extent& extent : extents)
      addPiece(several, dataSet, extent);
    EXPECT_EQ(describe(readText(several.file(dataSet, attributes(kWhole)))), whole);

    const Folder folder;
    folder.write("piece0", gridFile({}, dataSet, extents[0]));
    folder.write("piece1", gridFile({}, dataSet, extents[1]));
    const std::string parallel = parallelFile(dataSet, extents);
    const MbMeshFile file = MbMeshFile::read(folder.write("all", parallel));
    EXPECT_EQ(describe(file), whole);
    EXPECT_EQ(file.getFormat()[0], 'p');

    // A piece that is missing from the list leaves dead cells; one that should be there is an
    // error.
    const MbMeshFile half =
        MbMeshFile::read(folder.write("half", parallelFile(dataSet, {extents[0]})));
    EXPECT_EQ(half.getDeadCellCount(), 2u);
    EXPECT_THAT(half.getNotes(), ElementsAre(HasSubstr("2 cells are in no piece")));
    EXPECT_THAT(folder.errorOf("all", replaced(parallel, "\"piece1\"", "\"lost\"")),
                HasSubstr("all: line 5: the piece 'lost' cannot be opened"));
    EXPECT_THAT(folder.errorOf("all", replaced(parallel, "\"4 5 0", "\"3 5 0")),
                HasSubstr("the piece 'piece1' has another extent"));
    EXPECT_THAT(folder.errorOf("all", replaced(parallel, "WholeExtent=\"2 5", "WholeExtent=\"2 4")),
                HasSubstr("a piece lies outside of the whole extent"));
    EXPECT_THAT(
        folder.errorOf("all", replaced(parallel, "WholeExtent=\"2 5", "WholeExtent=\"2 4000000")),
        HasSubstr("nodes of the whole extent"));

    // What one piece holds for another one gives way to that one's own.
    folder.write("piece0", gridFile({}, dataSet, overlapping[0], 3));
    folder.write("piece1", gridFile({}, dataSet, overlapping[1], 99));
    const MbMeshFile ghosts =
        MbMeshFile::read(folder.write("all", parallelFile(dataSet, overlapping)));
    EXPECT_EQ(ghosts.getDeadCellCount(), 0u);
    EXPECT_EQ(ghosts.findArray("c")->ranges[0].max, 4 + 10 - 100);
    // A piece without marks holds no ghosts, also where it stands before one that has some.
    folder.write("piece0", gridFile({}, dataSet, overlapping[1]));
    folder.write("piece1", gridFile({}, dataSet, overlapping[0], 3));
    const MbMeshFile unmarked = MbMeshFile::read(
        folder.write("all", parallelFile(dataSet, {overlapping[1], overlapping[0]})));
    EXPECT_EQ(unmarked.getDeadCellCount(), 0u);
    EXPECT_EQ(unmarked.findArray("c")->ranges[0].max, 4 + 10 - 100);
    // Alone they are dead.
    EXPECT_EQ(readText(gridFile({}, dataSet, kWhole, 3)).getDeadCellCount(), 4u);
  }
}

TEST(VtkXmlFiles, PiecesThatDoNotFitEachOtherAreRefused)
{
  const std::vector<Extent> extents{{2, 4, 0, 2, -1, 0}, {4, 5, 0, 2, -1, 0}};
  const struct
  {
    const char *dataSet, *from, *to, *error;
  } cases[] = {
      {"ImageData", "Origin=\"1", "Origin=\"2", "the pieces have different origins or spacings"},
      {"ImageData", "Spacing=\"0.5", "Spacing=\"0.6",
       "the pieces have different origins or spacings"},
      {"RectilinearGrid", "\"Float64\" Name=\"x\"", "\"Float32\" Name=\"x\"",
       "coordinates of the pieces are of different types"},
      {"StructuredGrid", "\"Float64\" Name=\"P", "\"Float32\" Name=\"P",
       "points of the pieces are of different types"}};
  const Folder folder;
  for (const auto& [dataSet, from, to, error] : cases) {
    SCOPED_TRACE(error);
    folder.write("piece0", gridFile({}, dataSet, extents[0]));
    folder.write("piece1", replaced(gridFile({}, dataSet, extents[1]), from, to));
    EXPECT_EQ(folder.errorOf("all", parallelFile(dataSet, extents)),
              std::string("all: : ") + error);
  }
  VtkXmlWriter w;
  w.body = "<Piece Source=\"b\"/><Piece Source=\"a\"/>";
  const std::string both = w.file("PUnstructuredGrid");
  folder.write("a", triangleFile(false, {}, "Float32"));
  folder.write("b", triangleFile(true, 1));
  EXPECT_EQ(folder.errorOf("all", both), "all: : points of the pieces are of different types");
  // Where one of them has marks of ghosts, the other one has none that are.
  folder.write("a", triangleFile(false, {}));
  const MbMeshFile file = MbMeshFile::read(folder.write("all", both));
  EXPECT_EQ(file.getDeadCellCount(), 1u);
  EXPECT_THAT(valuesOf(file, "n"), ElementsAre(1, 2, 3, 2));
  EXPECT_THAT(file.getNotes(), IsEmpty());
}

TEST(VtkXmlFiles, ATurnedImageIsCurvilinear)
{
  VtkXmlWriter w;
  addPiece(w, "ImageData", kWhole);
  const MbMeshFile file =
      readText(w.file("ImageData", attributes(kWhole) + " Direction=\"0 -1 0 1 0 0 0 0 1\""));
  EXPECT_EQ(file.getMeshType(), VOLUME_MESH_CURVILINEAR);
  EXPECT_THAT(file.getBounds(), ElementsAre(-1, 1, 3, 4.5, 1.5, 3));
}

TEST(VtkXmlFiles, SectionsOfPolygonsAreOneSurface)
{
  const MbMeshFile plain = readText(polyFile({}));
  EXPECT_EQ(plain.getFormat(), "vtp");
  EXPECT_EQ(plain.getMeshType(), SURFACE_MESH_UNSTRUCTURED);
  EXPECT_THAT(plain.getShapeCounts(), ElementsAre(Pair("triangle", 3), Pair("quad", 1)));
  // Polygons come before strips, and the strip is two triangles.
  const auto& id = *plain.findArray("id")->as<MiScalardSetI>();
  EXPECT_THAT((std::vector<double>{id.getValue(0), id.getValue(1), id.getValue(2), id.getValue(3)}),
              ElementsAre(2, 3, 4, 4));
  forEachEncoding(
      [&](const VtkXmlWriter& w) { EXPECT_EQ(describe(readText(polyFile(w))), describe(plain)); });
  EXPECT_THAT(errorOf(replaced(polyFile({}), ">3 7 ", ">3 8 ")),
              HasSubstr("the offset of item 1 runs"));
}

namespace {

/// A tetrahedron of nodes 0 to 3 of a bipyramid, or of 1 to 4, perhaps as polyhedra; the node 1 +
/// `index` is there as a ghost of the other piece.
std::string numberedPiece(int index, bool polyhedron, double shift)
{
  const double x[] = {-1, 0, 0, 0, 1 + shift}, y[] = {0, 0, 1, 0, 0}, z[] = {0, 0, 0, 1, 0};
  std::vector<double> points, values;
  std::vector<std::int32_t> ids;
  std::vector<std::uint8_t> ghosts;
  for (int n = 0; n < 4; ++n) {
    const int id = index == 0 ? n : 4 - n;
    const bool isGhost = id == 1 + index;
    // The second piece lies elsewhere when shifted.
    points.insert(points.end(), {x[id] + index * shift, y[id], z[id]});
    ids.push_back(100 + id);
    ghosts.push_back(isGhost ? 1 : 0);
    values.push_back(isGhost ? -1 : id);
  }
  VtkXmlWriter w;
  w.body = "<Piece NumberOfPoints=\"4\" NumberOfCells=\"1\"><PointData GlobalIds=\"number\">";
  w.array<std::int32_t>("number", "Int32", ids);
  w.array<std::uint8_t>("vtkGhostType", "UInt8", ghosts);
  w.array<double>("v", "Float64", values);
  w.body += "</PointData><Points>";
  w.array<double>("Points", "Float64", points, 3);
  w.body += "</Points><Cells>";
  w.array<std::int64_t>("connectivity", "Int64", {0, 1, 2, 3});
  w.array<std::int64_t>("offsets", "Int64", {4});
  w.array<std::uint8_t>("types", "UInt8", {static_cast<std::uint8_t>(polyhedron ? 42 : 10)});
  if (polyhedron) {
    w.array<std::int64_t>("faces", "Int64", {4, 3, 0, 2, 1, 3, 0, 1, 3, 3, 1, 2, 3, 3, 2, 0, 3});
    w.array<std::int64_t>("faceoffsets", "Int64", {17});
  }
  w.body += "</Cells></Piece>";
  return w.file();
}

} // namespace

TEST(VtkXmlFiles, NodesOfOneGlobalIdAreOne)
{
  const Folder folder;
  VtkXmlWriter w;
  folder.write("empty.vtu", replaced(w.file(), "</Unst",
                                     "<Piece NumberOfPoints=\"0\" NumberOfCells=\"0\"/></Unst"));
  w.body = "<Piece Source=\"a.vtu\"/><Piece Source=\"b.vtu\"/><Piece Source=\"empty.vtu\"/>";
  const std::string path = folder.write("all.pvtu", w.file("PUnstructuredGrid"));
  for (const bool polyhedra : {false, true}) {
    folder.write("a.vtu", numberedPiece(0, polyhedra, 0));
    folder.write("b.vtu", numberedPiece(1, polyhedra, 0));
    const MbMeshFile file = MbMeshFile::read(path);
    EXPECT_EQ(file.getNodeCount(), 5u);
    EXPECT_THAT(file.getRemarks(), ElementsAre(HasSubstr("share 3 nodes, as the array 'number'")));
    EXPECT_THAT(valuesOf(file, "number"), ElementsAre(100, 101, 102, 103, 104));
    // A ghost's value gives way to the one of the piece that owns the node.
    EXPECT_THAT(valuesOf(file, "v"), ElementsAre(0, 1, 2, 3, 4));
    const auto& topology =
        dynamic_cast<const MiVolumeMeshUnstructured&>(*file.getMesh()).getTopology();
    std::vector<std::size_t> nodes;
    topology.getCellNodes(1, nodes);
    EXPECT_THAT(nodes, testing::UnorderedElementsAre(1, 2, 3, 4));
    if (polyhedra) {
      topology.getCellFaces(1, nodes);
      EXPECT_THAT(nodes, ElementsAre(4, 3, 4, 2, 3, 3, 4, 3, 1, 3, 3, 2, 1, 3, 2, 4, 1));
    }
  }
  // Numbers that say so of nodes at different places are not to be trusted.
  folder.write("b.vtu", numberedPiece(1, false, 0.1));
  folder.write("a.vtu", numberedPiece(0, false, 0));
  const MbMeshFile apart = MbMeshFile::read(path);
  EXPECT_EQ(apart.getNodeCount(), 8u);
  EXPECT_THAT(apart.getNotes(), ElementsAre(HasSubstr("3 nodes have the number of another one")));
}

TEST(VtkXmlFiles, StepsOfOneFileAreReadAtTheNearestTime)
{
  const std::string text =
      "<Piece NumberOfPoints=\"3\" NumberOfCells=\"1\"><PointData>"
      "<DataArray type=\"Float64\" Name=\"T\" TimeStep=\"0\">1 2 3</DataArray>"
      "<DataArray type=\"Float64\" Name=\"T\" TimeStep=\"1 2\">4 5 6</DataArray>"
      "<DataArray type=\"Float64\" Name=\"late\" TimeStep=\"2\">7 8 9</DataArray>"
      "<DataArray type=\"Float64\" Name=\"all\">1 1 1</DataArray></PointData><Points>"
      "<DataArray type=\"Float64\" Name=\"p\" NumberOfComponents=\"3\" TimeStep=\"0\">"
      "0 0 0 1 0 0 0 1 0</DataArray>"
      "<DataArray type=\"Float64\" Name=\"p\" NumberOfComponents=\"3\" TimeStep=\"1\">"
      "0 0 0 2 0 0 0 2 0</DataArray></Points><Cells>"
      "<DataArray type=\"Int64\" Name=\"connectivity\">0 1 2</DataArray>"
      "<DataArray type=\"Int64\" Name=\"offsets\">3</DataArray>"
      "<DataArray type=\"UInt8\" Name=\"types\">5</DataArray></Cells></Piece>";
  VtkXmlWriter w;
  w.body = text;
  const std::string timed = w.file("UnstructuredGrid", "TimeValues=\"0.5 1.5 4\"");
  struct Case
  {
    std::optional<double> asked;
    double time, first, width;
    std::size_t arrays;
  };
  for (const Case& c : {Case{{}, 0.5, 1, 1, 2}, Case{1.2, 1.5, 4, 2, 2}, Case{3.9, 4, 4, 2, 3}}) {
    MbMeshFileOptions options;
    options.time = c.asked;
    const MbMeshFile file = readText(timed, options);
    EXPECT_EQ(file.getTime(), c.time);
    EXPECT_EQ(valuesOf(file, "T").at(0), c.first);
    EXPECT_EQ(file.getBounds()[1], c.width); // points stay as they were at the step before
    EXPECT_EQ(file.getArrays().size(), c.arrays);
  }
  MbMeshFileOptions late;
  late.time = 5;
  EXPECT_THAT(errorOf(timed, late), HasSubstr("the time 5 is outside of 0.5 .. 4"));
  late.time = 1;
  EXPECT_EQ(valuesOf(readText(w.file(), late), "T").at(0), 4); // without times steps are numbered
  EXPECT_THAT(errorOf(replaced(timed, "\"1 2\"", "\"3\"")),
              HasSubstr("TimeStep='3' is none of the 3"));
  EXPECT_THAT(errorOf(replaced(timed, "\"1 2\"", "\"x\"")), HasSubstr("is not a list of numbers"));
}

TEST(VtkXmlFiles, SeriesAreReadAtTheNearestTime)
{
  const Folder folder;
  const Extent left{2, 4, 0, 2, -1, 0}, right{4, 5, 0, 2, -1, 0};
  folder.write("a.vti", gridFile({}, "ImageData", kWhole));
  folder.write("b.vts", gridFile({}, "StructuredGrid", left));
  folder.write("c.vtr", gridFile({}, "RectilinearGrid", right));
  folder.write("d.vtp", polyFile({}));
  VtkXmlWriter w;
  w.body = "<DataSet timestep=\"0.5\" file=\"a.vti\"/>\n"
           "<DataSet timestep=\"1\" part=\"0\" file=\"b.vts\"/>\n"
           "<DataSet timestep=\"1\" part=\"1\" file=\"c.vtr\"/>\n"
           "<DataSet timestep=\"1e1\" file=\"d.vtp\"/>\n";
  const std::string series = w.file("Collection");
  const std::string path = folder.write("all.pvd", series);
  const auto read = [&](std::optional<double> time) {
    MbMeshFileOptions options;
    options.time = time;
    return MbMeshFile::read(path, options);
  };
  EXPECT_EQ(read({}).getTime(), 0.5);
  EXPECT_EQ(read({}).getMeshType(), VOLUME_MESH_REGULAR);
  EXPECT_EQ(read(6).getFormat(), "pvd");
  EXPECT_EQ(read(10.000001).getMeshType(), SURFACE_MESH_UNSTRUCTURED);
  // Parts of different kinds at one time become cells of one mesh.
  const MbMeshFile parts = read(0.9);
  EXPECT_EQ(parts.getTime(), 1);
  EXPECT_THAT(parts.getShapeCounts(), ElementsAre(Pair("hexahedron", 6)));
  EXPECT_EQ(parts.getNodeCount(), 18u + 12u);
  EXPECT_EQ(parts.findArray("c")->ranges[0].max, 4 + 10 - 100);

  MbMeshFileOptions late;
  late.time = 11;
  EXPECT_THAT(folder.errorOf("all.pvd", series, late),
              HasSubstr("all.pvd: : the time 11 is outside of 0.5 .. 10"));
  EXPECT_THAT(folder.errorOf("one.vti", gridFile({}, "ImageData", kWhole), late),
              HasSubstr("has no times to choose from"));
  EXPECT_THAT(folder.errorOf("all.pvd", replaced(series, "a.vti", "z.vti")),
              HasSubstr("all.pvd: line 3: the file 'z.vti' cannot be opened"));
  EXPECT_THAT(folder.errorOf("all.pvd", replaced(series, "a.vti", "all.pvd")),
              HasSubstr("perhaps in a circle"));
  EXPECT_THAT(folder.errorOf("all.pvd", replaced(series, "\"0.5\"", "\"soon\"")),
              HasSubstr("line 3: timestep='soon' is not a number"));
}

TEST(VtkXmlFiles, ReadingTellsHowFarItIs)
{
  const Folder folder;
  const std::vector<Extent> extents{{2, 4, 0, 2, -1, 0}, {4, 5, 0, 2, -1, 0}};
  VtkXmlWriter w;
  w.form = Form::Raw;
  folder.write("piece0", gridFile(w, "StructuredGrid", extents[0]));
  folder.write("piece1", gridFile(w, "StructuredGrid", extents[1]));
  std::vector<double> told;
  MbMeshFileOptions options;
  options.progress = [&](double done) { told.push_back(done); };
  MbMeshFile::read(folder.write("all", parallelFile("StructuredGrid", extents)), options);
  ASSERT_GE(told.size(), 6u);
  EXPECT_TRUE(std::is_sorted(told.begin(), told.end()));
  EXPECT_GT(told.front(), 0);
  EXPECT_EQ(told.back(), 1);
}
