#include <tests/io/TestFiles.h>

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::StartsWith;

namespace {

std::string ascii(const std::string& body)
{
  return "# vtk DataFile Version 3.0\ntitle\nASCII\nDATASET " + body;
}

/// Writes the same file as text and as binary.
struct Writer
{
  bool binary;
  std::string text;

  explicit Writer(bool isBinary, const std::string& dataSet, const char* version = "3.0")
      : binary(isBinary), text(std::string("# vtk DataFile Version ") + version + "\ntitle\n" +
                               (isBinary ? "BINARY" : "ASCII") + "\nDATASET " + dataSet + "\n")
  {}
  template <class T>
  Writer& list(const std::string& header, const std::vector<T>& numbers)
  {
    text += header + "\n" + (binary ? packed(numbers, true) : spelled(numbers)) + "\n";
    return *this;
  }
  Writer& line(const std::string& words)
  {
    text += words + "\n";
    return *this;
  }
};

/// A hexahedron with a pyramid on it, and values of many kinds.
std::string twoCells(bool binary)
{
  Writer w(binary, "UNSTRUCTURED_GRID", "4.2");
  if (binary) {
    // A text of 3 and one of 70 bytes: lengths of one and of two bytes.
    w.line("FIELD FieldData 2").line("TIME 1 1 double").text += packed<double>({2.5}, true);
    w.line("").line("names 1 2 string").text += "\xC3"
                                                "abc" +
                                                packed<std::uint16_t>({0x8000 + 70}, true) +
                                                std::string(70, 'x');
    w.line("");
  } else {
    w.line("FIELD FieldData 2").line("TIME 1 1 double").line("2.5");
    w.line("names 1 2 string").line("abc").line(std::string(70, 'x'));
  }
  w.list<float>("POINTS 9 float", {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1,    0,    0, 0,
                                   1, 1, 0, 1, 1, 1, 1, 0, 1, 1, 0.5f, 0.5f, 2});
  w.line("METADATA").line("INFORMATION 1").line("NAME POINTS LOCATION x").line("DATA 1 2").line("");
  w.list<std::int32_t>("CELLS 2 15", {8, 0, 1, 2, 3, 4, 5, 6, 7, 5, 4, 5, 6, 7, 8});
  w.list<std::int32_t>("CELL_TYPES 2", {12, 14});
  w.line("POINT_DATA 9");
  w.line("SCALARS a%20b double 1");
  w.list<double>("LOOKUP_TABLE table", {1, 2, 3, 4, 5, 6, 7, 8, 1e-3});
  w.line("LOOKUP_TABLE table 1");
  w.text += binary ? "\x01\x02\x03\x04\n" : "0.1 0.2 0.3 0.4\n";
  w.list<std::int16_t>("NORMALS n short", std::vector<std::int16_t>(27, -7));
  w.list<std::int64_t>("TENSORS t long", std::vector<std::int64_t>(81, 1));
  w.list<float>("TEXTURE_COORDINATES uv 2 float", std::vector<float>(18, 0));
  w.line("CELL_DATA 2");
  w.line("FIELD FieldData 2");
  w.list<std::uint8_t>("pair 2 2 unsigned_char", {1, 2, 3, 255});
  w.line("METADATA").line("INFORMATION 0").line("");
  w.list<std::uint64_t>("ids 1 2 vtktypeuint64", {1, 4294967296});
  return w.text;
}

std::vector<std::size_t> nodesOf(const MbMeshFile& file, std::size_t cell)
{
  std::vector<std::size_t> nodes;
  dynamic_cast<const MiMeshUnstructuredI&>(*file.getMesh()).getTopology().getCellNodes(cell, nodes);
  return nodes;
}

} // namespace

TEST(LegacyVtk, TextBinaryAndCarriageReturnsGiveTheSameMeshAndData)
{
  const MbMeshFile text = readText(twoCells(false)), binary = readText(twoCells(true));
  std::string dos;
  for (const char c : twoCells(false))
    dos += c == '\n' ? std::string("\r\n") : std::string(1, c);

  EXPECT_EQ(text.getMeshType(), VOLUME_MESH_UNSTRUCTURED);
  EXPECT_THAT(text.getShapeCounts(), ElementsAre(Pair("hexahedron", 1), Pair("pyramid", 1)));
  EXPECT_EQ(text.getTime(), 2.5);
  ASSERT_EQ(text.getArrays().size(), 6u);
  const MbMeshFileArray* scalars = text.findArray("a b@node");
  ASSERT_TRUE(scalars && scalars->as<MiScalardSetI>());
  EXPECT_EQ(scalars->as<MiScalardSetI>()->getValue(8), 1e-3);
  EXPECT_EQ(text.findArray("n")->type, MiScalarType::Int16);
  EXPECT_EQ(text.findArray("n")->as<MiVec3dSetI>()->getValue(8), (MbVec3d{-7, -7, -7}));
  const MbMeshFileArray* pair = text.findArray("pair");
  EXPECT_EQ(pair->components, 2u);
  EXPECT_FALSE(pair->set);
  EXPECT_EQ(pair->ranges[1].max, 255);
  EXPECT_EQ(text.findArray("ids")->ranges[0].max, 4294967296);
  EXPECT_EQ(text.findArray("ids@node"), nullptr);
  EXPECT_EQ(text.findArray("t")->components, 9u);
  EXPECT_EQ(text.findArray("uv")->components, 2u);
  EXPECT_THAT(text.getNotes(), ElementsAre(HasSubstr("names")));

  EXPECT_EQ(describe(text), describe(binary));
  EXPECT_EQ(describe(text), describe(readText(dos)));
  EXPECT_EQ(text.getNotes(), binary.getNotes());
}

TEST(LegacyVtk, CellsWithOffsetsAreReadInTheSmallestType)
{
  for (const bool binary : {false, true}) {
    Writer w(binary, "UNSTRUCTURED_GRID", "5.1");
    w.list<double>("POINTS 4 double", {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1});
    w.line("CELLS 3 8");
    w.list<std::int64_t>("OFFSETS vtktypeint64", {0, 4, 8});
    w.list<std::int64_t>("CONNECTIVITY vtktypeint64", {0, 1, 2, 3, 3, 2, 1, 0});
    w.list<std::int32_t>("CELL_TYPES 2", {10, 10});
    const MbMeshFile file = readText(w.text);
    EXPECT_THAT(nodesOf(file, 1), ElementsAre(3, 2, 1, 0));
    const auto& mesh = dynamic_cast<const MiVolumeMeshUnstructured&>(*file.getMesh());
    const MiTopologyView view = mesh.getTopology().getView();
    EXPECT_TRUE(view.connectivity.isContiguous<std::int32_t>());
    EXPECT_EQ(view.uniformShape, MiCellShape::Tetrahedron);
    EXPECT_FALSE(view.offsets);
    EXPECT_TRUE(mesh.getGeometry().getView().isContiguous<double>(3));
  }
  EXPECT_THAT(errorOf(ascii("UNSTRUCTURED_GRID\nPOINTS 1 float 0 0 0\nCELLS 3 4\nOFFSETS int 0 3 2 "
                            "CONNECTIVITY int 0 0 0 0\nCELL_TYPES 2 5 5\n")),
              HasSubstr("offset 2 of CELLS runs backwards"));
}

TEST(LegacyVtk, PolyDataPartsBecomeCellsOfTheHighestDimension)
{
  const std::string points = "POLYDATA\nPOINTS 6 float\n0 0 0 1 0 0 0 1 0 1 1 0 0 2 0 1 2 0\n";
  const std::string data = "CELL_DATA 5\nSCALARS s int\nLOOKUP_TABLE default\n1 2 3 4 5\n";
  // In the file strips come first; their data comes last all the same.
  const MbMeshFile all =
      readText(ascii(points +
                     "TRIANGLE_STRIPS 1 7\n6 0 1 2 3 4 5\nVERTICES 1 2\n1 0\nLINES 1 4\n3 0 1 2\n"
                     "POLYGONS 2 9\n3 0 1 2\n4 0 1 3 2\n" +
                     data));
  EXPECT_EQ(all.getMeshType(), SURFACE_MESH_UNSTRUCTURED);
  EXPECT_THAT(all.getShapeCounts(), ElementsAre(Pair("triangle", 5), Pair("quad", 1)));
  EXPECT_THAT(nodesOf(all, 2), ElementsAre(0, 1, 2));
  EXPECT_THAT(nodesOf(all, 3), ElementsAre(1, 3, 2));
  const auto* set = all.findArray("s")->as<MiScalardSetI>();
  ASSERT_TRUE(set);
  ASSERT_EQ(set->getSize(), 6u);
  EXPECT_EQ(set->getValue(0), 3);
  EXPECT_EQ(set->getValue(5), 5);
  EXPECT_THAT(all.getNotes(), ElementsAre(HasSubstr("1 cells of shape vertex are left out"),
                                          HasSubstr("1 cells of shape polyline")));

  const MbMeshFile lines = readText(ascii(points + "LINES 2 7\n3 0 1 2\n2 4 5\n"));
  EXPECT_EQ(lines.getMeshType(), LINE_MESH_UNSTRUCTURED);
  EXPECT_THAT(lines.getShapeCounts(), ElementsAre(Pair("line", 1), Pair("polyline", 1)));

  const MbMeshFile dots = readText(ascii(points + "VERTICES 1 3\n2 0 1\n"));
  EXPECT_EQ(dots.getCellCount(), 0u);
  EXPECT_EQ(dots.getNodeCount(), 6u);
  EXPECT_THAT(dots.getNotes(), ElementsAre(HasSubstr("a mesh of points alone")));
}

TEST(LegacyVtk, OtherShapesAreBroughtIntoThoseOfTheLibrary)
{
  const std::string points = "UNSTRUCTURED_GRID\nPOINTS 12 float\n" + spelled(std::vector<int>(36));
  const MbMeshFile voxel = readText(
      ascii(points + "CELLS 2 18 8 0 1 2 3 4 5 6 7 8 4 5 6 7 8 9 10 11 CELL_TYPES 2 11 11"));
  EXPECT_THAT(voxel.getShapeCounts(), ElementsAre(Pair("hexahedron", 2)));
  EXPECT_THAT(nodesOf(voxel, 0), ElementsAre(0, 1, 3, 2, 4, 5, 7, 6));

  const MbMeshFile pixel = readText(ascii(points + "CELLS 2 9 4 0 1 2 3 3 3 2 1 CELL_TYPES 2 8 5"));
  EXPECT_EQ(pixel.getMeshType(), SURFACE_MESH_UNSTRUCTURED);
  EXPECT_THAT(nodesOf(pixel, 0), ElementsAre(0, 1, 3, 2));

  // A prism: every edge belongs to two faces, once in each direction.
  const MbMeshFile prism =
      readText(ascii(points + "CELLS 2 24 10 0 1 2 3 4 5 6 7 8 9 12 0 1 2 3 4 5 6 7 8 9 10 11 "
                              "CELL_TYPES 2 15 16"));
  EXPECT_THAT(prism.getShapeCounts(), ElementsAre(Pair("polyhedron", 2)));
  for (std::size_t cell = 0; cell < 2; ++cell) {
    std::vector<std::size_t> stream;
    dynamic_cast<const MiVolumeMeshUnstructured&>(*prism.getMesh())
        .getTopology()
        .getCellFaces(cell, stream);
    ASSERT_FALSE(stream.empty());
    ASSERT_EQ(stream[0], 7 + cell);
    std::vector<std::pair<std::size_t, std::size_t>> edges;
    for (std::size_t at = 1; at < stream.size(); at += stream[at] + 1)
      for (std::size_t i = 0, n = stream[at]; i < n; ++i)
        edges.emplace_back(stream[at + 1 + i], stream[at + 1 + (i + 1) % n]);
    EXPECT_EQ(edges.size(), 30 + 6 * cell);
    for (const auto& [a, b] : edges) {
      EXPECT_EQ(std::count(edges.begin(), edges.end(), std::pair(a, b)), 1);
      EXPECT_EQ(std::count(edges.begin(), edges.end(), std::pair(b, a)), 1);
    }
  }

  const MbMeshFile polyhedron = readText(
      ascii(points + "CELLS 2 23 17 4 3 7 5 3 3 3 5 9 3 5 7 9 3 7 3 9 4 0 1 2 3 CELL_TYPES 2 42 10 "
                     "CELL_DATA 2 SCALARS s float LOOKUP_TABLE default 1 2"));
  EXPECT_THAT(nodesOf(polyhedron, 0), ElementsAre(3, 5, 7, 9));
  EXPECT_THAT(nodesOf(polyhedron, 1), ElementsAre(0, 1, 2, 3));
  for (const char* stream : {"4 1 3 0 1", "4 1 -3 0 1", "4 0 3 0 1", "4 -1 3 0 1", "0"})
    EXPECT_THAT(errorOf(ascii(points + "CELLS 1 " + (stream[0] == '0' ? "1 " : "5 ") + stream +
                              " CELL_TYPES 1 42")),
                HasSubstr("cell 0: the face stream"))
        << stream;

  // Wrong node counts and unknown types stay, for the extraction to skip.
  const MbMeshFile odd = readText(
      ascii(points + "CELLS 4 16 4 0 1 2 3 4 0 1 2 3 3 0 1 99 1 7 CELL_TYPES 4 10 12 10 200"));
  EXPECT_THAT(odd.getShapeCounts(),
              ElementsAre(Pair("tetrahedron", 2), Pair("hexahedron", 1), Pair("unknown", 1)));
  EXPECT_THAT(nodesOf(odd, 2), ElementsAre(0, 1, 99));
}

TEST(LegacyVtk, AxesWithOneNodeMakeSurfacesAndLines)
{
  const std::string values = "POINT_DATA 6\nSCALARS s float\nLOOKUP_TABLE d\n0 1 2 3 4 5\n";
  struct Case
  {
    const char* body;
    MeshType kind;
    std::vector<std::size_t> cells;
    MbVec3d last;
  };
  const char* const points = "POINTS 6 float 0 0 0 1 0 0 2 0 0 0 1 0 1 1 0 2 1 9\n";
  const Case cases[] = {
      {"STRUCTURED_POINTS\nDIMENSIONS 3 1 2\nORIGIN 1 2 3\nSPACING 1 10 -2\n",
       SURFACE_MESH_REGULAR,
       {2, 1},
       {3, 2, 1}},
      {"STRUCTURED_POINTS\nDIMENSIONS 1 6 1\nASPECT_RATIO 1 10 1\nORIGIN 1 2 3\n",
       LINE_MESH_REGULAR,
       {5},
       {1, 52, 3}},
      {"RECTILINEAR_GRID\nDIMENSIONS 1 2 3\nX_COORDINATES 1 float 7\nY_COORDINATES 2 int 0 1\n"
       "Z_COORDINATES 3 double 0 1 4\n",
       SURFACE_MESH_RECTILINEAR,
       {1, 2},
       {7, 1, 4}},
      {"RECTILINEAR_GRID\nDIMENSIONS 1 1 6\nX_COORDINATES 1 float 7\nY_COORDINATES 1 int 8\n"
       "Z_COORDINATES 6 double 0 1 4 5 6 9\n",
       LINE_MESH_CURVILINEAR,
       {5},
       {7, 8, 9}},
      {"STRUCTURED_GRID\nDIMENSIONS 3 2 1\n", SURFACE_MESH_CURVILINEAR, {2, 1}, {2, 1, 9}},
      {"STRUCTURED_GRID\nDIMENSIONS 1 1 6\n", LINE_MESH_CURVILINEAR, {5}, {2, 1, 9}},
      {"STRUCTURED_POINTS\nEXTENT 2 4 5 5 0 1\n", SURFACE_MESH_REGULAR, {2, 1}, {4, 5, 1}}};
  for (const Case& c : cases) {
    const std::string body = c.body;
    const MbMeshFile file =
        readText(ascii(body + (body.starts_with("STRUCTURED_GRID") ? points : "") + values));
    EXPECT_EQ(file.getMeshType(), c.kind) << body;
    EXPECT_EQ(file.getCellDimensions(), c.cells) << body;
    const std::string dump = describe(file);
    std::ostringstream node;
    node << c.last.x << ' ' << c.last.y << ' ' << c.last.z << '\n';
    EXPECT_THAT(dump, HasSubstr(" " + node.str())) << body;
    EXPECT_THAT(dump, HasSubstr("set \"s\" PER_NODE double")) << body;
    EXPECT_THAT(file.getNotes(), IsEmpty());
  }
  EXPECT_THAT(errorOf(ascii("STRUCTURED_POINTS\nDIMENSIONS 99999999 99999999 99999999\n")),
              HasSubstr("line 5: the dimensions are too large"));
}

TEST(LegacyVtk, LengthsOfVectorsAreCountedByTheirWorstComponent)
{
  const MbMeshFile file = readText(ascii("STRUCTURED_POINTS\nDIMENSIONS 6 1 1\nPOINT_DATA 6\n"
                                         "VECTORS v double\n3 4 0 nan 1 1 inf nan 0 1 -inf 1 "
                                         "0 0 1e200 nan inf -inf\n"));
  const MbValueRange& lengths = file.getArrays()[0].ranges[3];
  EXPECT_EQ(lengths.min, 5);
  EXPECT_EQ(lengths.max, 1e200);
  EXPECT_EQ(lengths.nanCount, 3u) << "also where another component is infinite";
  EXPECT_EQ(lengths.infiniteCount, 1u);
}

TEST(LegacyVtk, NumbersAreReadAsPeopleWriteThem)
{
  const auto values = [](const std::string& type, const std::string& words) {
    const MbMeshFile file =
        readText(ascii("STRUCTURED_POINTS\nDIMENSIONS 7 1 1\nPOINT_DATA 7\nSCALARS s " + type +
                       " 1\nLOOKUP_TABLE default\n" + words));
    std::vector<double> result;
    for (std::size_t i = 0; i < 7; ++i)
      result.push_back(file.getArrays()[0].as<MiScalardSetI>()->getValue(i));
    return result;
  };
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  EXPECT_THAT(values("double", "1. .5\t+2 -0\n\n1e3 1E-2 1.7976931348623157e308"),
              ElementsAre(1, 0.5, 2, 0, 1000, 0.01, 1.7976931348623157e308));
  EXPECT_THAT(values("float", "1e39 -1e39 1e-50 5e-324 inf -Infinity 1e-40"),
              ElementsAre(kInfinity, -kInfinity, 0, 0, kInfinity, -kInfinity, 1e-40f));
  EXPECT_THAT(values("int", "-2147483648 2147483647 +1 3.0 1e3 0 00012"),
              ElementsAre(-2147483648.0, 2147483647, 1, 3, 1000, 0, 12));
  EXPECT_TRUE(std::isnan(values("float", "nan NaN -nan 0 0 0 0")[2]));
  EXPECT_THAT(values("bit", "1 0 1 1 0 0 1"), ElementsAre(1, 0, 1, 1, 0, 0, 1));
  for (const char* word : {"1x", "0x10", "1,5", "--1", "+-1", "1.5.2", "2147483648", "1.5"}) {
    const std::string file = ascii("STRUCTURED_POINTS\nDIMENSIONS 2 1 1\nPOINT_DATA 2\nSCALARS s "
                                   "int\nLOOKUP_TABLE default\n0\n") +
                             word;
    EXPECT_THAT(errorOf(file), StartsWith("line 10: '" + std::string(word) + "'"));
  }
}

TEST(LegacyVtk, LongListsAreReadInParallelAsInOneThread)
{
  // Longer than several blocks of text, with words of all lengths and stretches of blanks.
  std::vector<double> numbers;
  std::string words;
  for (int i = 0; i < 120000; ++i) {
    numbers.push_back(i % 3 ? i * 1.0 : i / 7.0);
    words += spelled(std::vector<double>{numbers.back()});
    if (i % 1000 == 0) words += std::string(static_cast<std::size_t>(i), '\n');
  }
  const std::string head = "STRUCTURED_POINTS\nDIMENSIONS 120000 1 1\nPOINT_DATA 120000\nSCALARS s "
                           "double\nLOOKUP_TABLE default\n";
  for (const bool parallel : {false, true}) {
    const MbMeshFile file = readText(
        ascii(head + words + "VECTORS v unsigned_char " + spelled(std::vector<int>(360000, 7))),
        {parallel, {}, false, {}});
    const MiArrayView view = file.findArray("s")->values;
    ASSERT_EQ(view.count, numbers.size());
    EXPECT_TRUE(std::equal(numbers.begin(), numbers.end(), view.as<double>()));
    EXPECT_EQ(file.findArray("v")->ranges[3].min, std::sqrt(147.0));
    // The damaged word is found at the same place.
    std::string damaged = head + words;
    damaged.insert(damaged.size() / 2, " oops ");
    EXPECT_THAT(errorOf(ascii(damaged), {parallel, {}, false, {}}), HasSubstr("'oops'"));
    EXPECT_THAT(errorOf(ascii(head + words.substr(0, words.size() - 9)), {parallel, {}, false, {}}),
                HasSubstr("of 120000 numbers"));
  }
}
