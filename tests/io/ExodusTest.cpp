#include <tests/io/ElementOrder.h>
#include <tests/io/TestFiles.h>

#include <nlohmann/json.hpp>

using nlohmann::json;
using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;
using S = MiCellShape;

namespace {

/// Writes the classic form of netCDF: a header of dimensions and variables, then their data.
class NetcdfWriter
{
public:
  int dimension(const std::string& name, std::uint32_t length)
  {
    m_dimensions += word(name) + number(length);
    m_lengths.push_back(length);
    return static_cast<int>(m_lengths.size()) - 1;
  }
  template <class T>
  void variable(const std::string& name, const std::vector<int>& dimensions,
                const std::vector<T>& values, const std::string& elementType = "")
  {
    constexpr std::uint32_t kType = std::is_same_v<T, char>     ? 2
                                    : std::is_same_v<T, double> ? 6
                                    : std::is_same_v<T, float>  ? 5
                                                                : 4;
    Variable own;
    own.header = word(name) + number(static_cast<std::uint32_t>(dimensions.size()));
    for (const int id : dimensions)
      own.header += number(static_cast<std::uint32_t>(id));
    own.header += elementType.empty()
                      ? number(0) + number(0)
                      : number(12) + number(1) + word("elem_type") + number(2) + word(elementType);
    own.data = padded(packed(values, true));
    own.header += number(kType) + number(static_cast<std::uint32_t>(own.data.size()));
    m_variables.push_back(own);
  }
  void names(const std::string& name, int count, int width, const std::vector<std::string>& texts)
  {
    std::vector<char> all;
    for (std::string text : texts) {
      text.resize(m_lengths[static_cast<std::size_t>(width)]);
      all.insert(all.end(), text.begin(), text.end());
    }
    variable(name, {count, width}, all);
  }
  std::string file() const
  {
    std::string head = std::string("CDF\x01", 4) + number(0) + number(10) +
                       number(static_cast<std::uint32_t>(m_lengths.size())) + m_dimensions +
                       number(0) + number(0) + number(11) +
                       number(static_cast<std::uint32_t>(m_variables.size()));
    std::size_t at = head.size();
    for (const Variable& variable : m_variables)
      at += variable.header.size() + 4;
    std::string data;
    for (const Variable& variable : m_variables) {
      head += variable.header + number(static_cast<std::uint32_t>(at + data.size()));
      data += variable.data;
    }
    return head + data;
  }

private:
  struct Variable
  {
    std::string header, data;
  };
  static std::string number(std::uint32_t value) { return packed<std::uint32_t>({value}, true); }
  static std::string padded(std::string text)
  {
    text.resize((text.size() + 3) / 4 * 4);
    return text;
  }
  static std::string word(const std::string& text)
  {
    return number(static_cast<std::uint32_t>(text.size())) + padded(text);
  }

  std::string m_dimensions;
  std::vector<std::uint32_t> m_lengths;
  std::vector<Variable> m_variables;
};

bool hasNetcdf()
{
  return errorOf("CDF\x01").find("was built") == std::string::npos;
}

#define SKIP_WITHOUT_NETCDF()                                                                      \
  if (!hasNetcdf()) GTEST_SKIP() << "built without netCDF"

/// Two tetrahedra in two blocks, two time steps, values of all kinds.
std::string twoBlocks(std::uint32_t nodesAnnounced = 5)
{
  NetcdfWriter w;
  const int three = w.dimension("num_dim", 3), nodes = w.dimension("num_nodes", nodesAnnounced),
            blocks = w.dimension("num_el_blk", 2), one = w.dimension("num_el_in_blk1", 1),
            four = w.dimension("num_nod_per_el1", 4), other = w.dimension("num_el_in_blk2", 1),
            ten = w.dimension("num_nod_per_el2", 4), steps = w.dimension("time_step", 2),
            nodal = w.dimension("num_nod_var", 4), cell = w.dimension("num_elem_var", 1),
            width = w.dimension("len_name", 8);
  (void)three;
  w.variable<double>("coordx", {nodes}, {0, 1, 0, 0, 1});
  w.variable<double>("coordy", {nodes}, {0, 0, 1, 0, 1});
  w.variable<float>("coordz", {nodes}, {0, 0, 0, 1, 1});
  w.variable<std::int32_t>("eb_prop1", {blocks}, {10, 20});
  w.variable<std::int32_t>("connect1", {one, four}, {1, 2, 3, 4}, "TETRA");
  w.variable<std::int32_t>("connect2", {other, ten}, {2, 5, 3, 4}, "tet4");
  w.variable<double>("time_whole", {steps}, {0.25, 0.75});
  w.names("name_nod_var", nodal, width, {"T", "V_X", "V_Y", "V_Z"});
  w.names("name_elem_var", cell, width, {"damage"});
  for (int v = 1; v <= 4; ++v) {
    std::vector<float> values(10, static_cast<float>(v));
    std::fill(values.begin() + 5, values.end(), static_cast<float>(10 * v));
    w.variable("vals_nod_var" + std::to_string(v), {steps, nodes}, values);
  }
  w.variable<double>("vals_elem_var1eb2", {steps, other}, {7, 8});
  return w.file();
}

} // namespace

TEST(Exodus, BlocksVariablesAndTimesAreRead)
{
  SKIP_WITHOUT_NETCDF();
  const MbMeshFile file = readText(twoBlocks());
  EXPECT_EQ(file.getFormat(), "exodus");
  EXPECT_THAT(file.getShapeCounts(), ElementsAre(Pair("tetrahedron", 2)));
  EXPECT_THAT(file.getBounds(), ElementsAre(0, 1, 0, 1, 0, 1));
  EXPECT_EQ(file.getTime(), 0.25);
  EXPECT_EQ(mbNumber(file.findArray("block")->values, 1), 20);
  EXPECT_EQ(mbNumber(file.findArray("T")->values, 4), 1);
  EXPECT_EQ(file.findArray("T")->type, MiScalarType::Float32);
  EXPECT_EQ(mbPoint(file.findArray("V")->values, 2), (MbVec3d{2, 3, 4}));
  EXPECT_EQ(file.findArray("damage@cell")->ranges[0].nanCount, 1u);
  EXPECT_TRUE(file.findArray("damage")->isPartial);
  EXPECT_EQ(mbNumber(file.findArray("damage")->values, 1), 7);

  MbMeshFileOptions later;
  later.time = 0.7;
  const MbMeshFile second = readText(twoBlocks(), later);
  EXPECT_EQ(second.getTime(), 0.75);
  EXPECT_EQ(mbPoint(second.findArray("V")->values, 0), (MbVec3d{20, 30, 40}));
  EXPECT_EQ(mbNumber(second.findArray("damage")->values, 1), 8);
}

TEST(Exodus, ElementsHaveTheirNodesInPlace)
{
  SKIP_WITHOUT_NETCDF();
  const std::vector<std::string> brick{"0",  "1",  "2",  "3",  "4",  "5",  "6",  "7",  "01", "12",
                                       "23", "30", "04", "15", "26", "37", "45", "56", "67", "74"};
  std::vector<std::string> full = brick;
  for (const char* centre : {"c", "0123", "4567", "0374", "1265", "0154", "2376"})
    full.push_back(centre);
  const std::vector<std::string> wedge{"0",  "1",  "2",  "3",  "4",  "5",  "01", "12",
                                       "20", "03", "14", "25", "34", "45", "53"};
  const ElementCase cases[] = {
      {"BAR2", S::Line, {"0", "1"}},
      {"TRUSS3", S::QuadraticLine, {"0", "1", "01"}},
      {"TRI7", S::QuadraticTriangle, {"0", "1", "2", "01", "12", "20", "012"}},
      {"SHELL3", S::Triangle, {"0", "1", "2"}},
      {"SHELL4", S::Quad, {"0", "1", "2", "3"}},
      {"TETRA10",
       S::QuadraticTetrahedron,
       {"0", "1", "2", "3", "01", "12", "20", "03", "13", "23"}},
      {"TETRA8", S::Tetrahedron, {"0", "1", "2", "3", "013", "123", "023", "012"}},
      {"PYRAMID13",
       S::QuadraticPyramid,
       {"0", "1", "2", "3", "4", "01", "12", "23", "30", "04", "14", "24", "34"}},
      {"WEDGE", S::Wedge, {"0", "1", "2", "3", "4", "5"}},
      {"WEDGE15", S::QuadraticWedge, wedge},
      {"HEX9", S::Hexahedron, {"0", "1", "2", "3", "4", "5", "6", "7", "c"}},
      {"HEX20", S::QuadraticHexahedron, brick},
      {"HEX27", S::TriquadraticHexahedron, full},
  };
  for (const ElementCase& element : cases) {
    SCOPED_TRACE(element.type);
    const auto count = static_cast<std::uint32_t>(element.nodes.size());
    NetcdfWriter w;
    w.dimension("num_dim", 3);
    const int nodes = w.dimension("num_nodes", count);
    w.dimension("num_el_blk", 1);
    const int one = w.dimension("num_el_in_blk1", 1), each = w.dimension("num_nod_per_el1", count);
    std::vector<double> points[3];
    std::vector<std::int32_t> row;
    for (const std::string& place : element.nodes) {
      const MbVec3d point = elementPoint(element, place);
      for (std::size_t axis = 0; axis < 3; ++axis)
        points[axis].push_back(point[axis]);
      row.push_back(static_cast<std::int32_t>(row.size()) + 1);
    }
    w.variable("coordx", {nodes}, points[0]);
    w.variable("coordy", {nodes}, points[1]);
    w.variable("coordz", {nodes}, points[2]);
    w.variable("connect1", {one, each}, row, element.type);
    expectElement(readText(w.file()), element);
  }
}

namespace {

/// A cube and a wedge on it as polyhedra, a pentagon and a triangle, and a tetrahedron between
/// them.
std::string polyBlocks(bool polyhedra, int badFace = 0)
{
  NetcdfWriter w;
  w.dimension("num_dim", 3);
  const int nodes = w.dimension("num_nodes", 10), blocks = w.dimension("num_el_blk", 2),
            one = w.dimension("num_el_in_blk1", 2), two = w.dimension("num_el_in_blk2", 1),
            four = w.dimension("num_nod_per_el2", 4), steps = w.dimension("time_step", 1),
            variables = w.dimension("num_elem_var", 1), width = w.dimension("len_name", 8);
  w.variable<double>("coordx", {nodes}, {0, 1, 1, 0, 0, 1, 1, 0, 0, 1});
  w.variable<double>("coordy", {nodes}, {0, 0, 1, 1, 0, 0, 1, 1, 0.5, 0.5});
  w.variable<double>("coordz", {nodes}, {0, 0, 0, 0, 1, 1, 1, 1, 2, 2});
  w.variable<std::int32_t>("eb_prop1", {blocks}, {7, 5});
  if (polyhedra) {
    w.dimension("num_fa_blk", 2);
    const int quads = w.dimension("num_fa_in_blk1", 6), each = w.dimension("num_nod_per_fa1", 4),
              roofs = w.dimension("num_fa_in_blk2", 4), length = w.dimension("num_nod_per_fa2", 14),
              faces = w.dimension("num_fac_per_el1", 11);
    w.variable<std::int32_t>("fbconn1", {quads, each}, {1, 4, 3, 2, 5, 6, 7, 8, 1, 2, 6, 5,
                                                        2, 3, 7, 6, 3, 4, 8, 7, 4, 1, 5, 8});
    w.variable<std::int32_t>("fbconn2", {length}, {5, 6, 10, 9, 7, 8, 9, 10, 5, 9, 8, 6, 7, 10});
    w.variable<std::int32_t>("fbepecnt2", {roofs}, {4, 4, 3, 3});
    w.variable<std::int32_t>("facconn1", {faces},
                             {1, 2, 3, 4, 5, 6, 2, 7, 8, 9, badFace ? badFace : 10}, "NFACED");
    w.variable<std::int32_t>("ebepecnt1", {one}, {6, 5});
  } else {
    const int length = w.dimension("num_nod_per_el1", 8);
    w.variable<std::int32_t>("connect1", {length}, {1, 2, 3, 7, 4, 5, 6, 10}, "nsided");
    w.variable<std::int32_t>("ebepecnt1", {one}, {5, 3});
  }
  w.variable<std::int32_t>("connect2", {two, four}, {1, 2, 3, 10}, polyhedra ? "TETRA" : "QUAD");
  w.variable<double>("time_whole", {steps}, {3});
  w.names("name_elem_var", variables, width, {"p"});
  w.variable<double>("vals_elem_var1eb1", {steps, one}, {11, 12});
  w.variable<double>("vals_elem_var1eb2", {steps, two}, {13});
  // Elements are counted as the file has them: the tetrahedron is the third.
  const int nodeSets = w.dimension("num_node_sets", 1), sideSets = w.dimension("num_side_sets", 2),
            few = w.dimension("num_nod_ns1", 2), sides = w.dimension("num_side_ss1", 2),
            last = w.dimension("num_side_ss2", 1);
  w.variable<std::int32_t>("ns_prop1", {nodeSets}, {40});
  w.variable<std::int32_t>("node_ns1", {few}, {1, 10});
  w.names("ss_names", sideSets, width, {"", "inlet"});
  w.variable<std::int32_t>("elem_ss1", {sides}, {1, 3});
  w.variable<std::int32_t>("elem_ss2", {last}, {2});
  return w.file();
}

} // namespace

TEST(Exodus, PolyhedraPolygonsAndSetsAreRead)
{
  SKIP_WITHOUT_NETCDF();
  const MbMeshFile file = readText(polyBlocks(true));
  EXPECT_THAT(file.getShapeCounts(), ElementsAre(Pair("tetrahedron", 1), Pair("polyhedron", 2)));
  // Cells of any number of faces come last, and values and sets with them.
  EXPECT_THAT(valuesOf(file, "block"), ElementsAre(5, 7, 7));
  EXPECT_THAT(valuesOf(file, "p"), ElementsAre(13, 11, 12));
  EXPECT_THAT(valuesOf(file, "side set 1"), ElementsAre(1, 1, 0));
  EXPECT_THAT(valuesOf(file, "inlet"), ElementsAre(0, 0, 1));
  EXPECT_THAT(valuesOf(file, "node set 40"), ElementsAre(1, 0, 0, 0, 0, 0, 0, 0, 0, 1));
  const auto& topology =
      dynamic_cast<const MiVolumeMeshUnstructured&>(*file.getMesh()).getTopology();
  std::vector<std::size_t> stream;
  topology.getCellFaces(2, stream);
  EXPECT_THAT(stream,
              ElementsAre(5, 4, 4, 5, 6, 7, 4, 4, 5, 9, 8, 4, 6, 7, 8, 9, 3, 4, 8, 7, 3, 5, 6, 9));

  const MbMeshFile flat = readText(polyBlocks(false));
  EXPECT_EQ(flat.getMeshType(), SURFACE_MESH_UNSTRUCTURED);
  EXPECT_THAT(flat.getShapeCounts(),
              ElementsAre(Pair("triangle", 1), Pair("polygon", 1), Pair("quad", 1)));
  EXPECT_THAT(valuesOf(flat, "p"), ElementsAre(13, 11, 12));

  EXPECT_THAT(errorOf(polyBlocks(true, 12)), HasSubstr("facconn1 names the face 12 of 10"));
  MbMeshFileOptions late;
  late.time = 4;
  EXPECT_THAT(errorOf(polyBlocks(true), late),
              HasSubstr("the time 4 is outside of 3, the only one"));
}

TEST(Exodus, DamageIsRefused)
{
  if (!hasNetcdf()) {
    EXPECT_THAT(errorOf("CDF\x01"), HasSubstr("libnetcdf-dev"));
    return;
  }
  EXPECT_THAT(errorOf("CDF\x01"),
              HasSubstr("byte 4: the netCDF header is damaged: it ends too early"));
  EXPECT_THAT(errorOf(std::string("CDF\x01", 4) + std::string(28, '\0')),
              HasSubstr("is a netCDF file, but no Exodus II"));
  EXPECT_THAT(errorOf(twoBlocks(100000000)),
              AnyOf(HasSubstr("num_nodes announces 100000000 items"), HasSubstr("is cut short")));
  for (const std::string& whole : {twoBlocks(), polyBlocks(true), polyBlocks(false)}) {
    for (std::size_t size = 4; size + 8 < whole.size(); size += 9)
      EXPECT_NO_FATAL_FAILURE(errorOf(whole.substr(0, size)));
    // Each number of the file as one that cannot be.
    for (std::size_t at = 4; at + 4 < whole.size(); at += 4)
      for (const char* wrong : {"\x7f\xff\xff\xff", "\xff\xff\xff\xfe"})
        EXPECT_NO_FATAL_FAILURE(errorOf(std::string(whole).replace(at, 4, wrong, 4)));
  }
}

TEST(Exodus, ThePublishedFileHoldsTheConvertedMesh)
{
  SKIP_WITHOUT_DATA();
  SKIP_WITHOUT_NETCDF();
  const std::filesystem::path path = dataFolder() / "hex_disk/original/disk_out_ref.ex2";
  if (!std::filesystem::exists(path)) GTEST_SKIP() << path << " is absent";
  const json set = json::parse(std::ifstream(dataFolder() / "reference.json"))["sets"]["hex_disk"];
  const MbMeshFile file = MbMeshFile::read(path.string());
  EXPECT_EQ(file.getNodeCount(), set["nodes"]);
  EXPECT_EQ(file.getCellCount(), set["cells"]);
  for (const auto& [name, expected] : set["point_arrays"].items()) {
    SCOPED_TRACE(name);
    const MbMeshFileArray* array = file.findArray(name + "@node");
    ASSERT_TRUE(array);
    const bool vector = array->components == 3;
    const double low = vector ? expected["magnitude_min"] : expected["min"];
    const double high = vector ? expected["magnitude_max"] : expected["max"];
    EXPECT_NEAR(array->ranges.back().min, low, 1e-6 * std::abs(high));
    EXPECT_NEAR(array->ranges.back().max, high, 1e-6 * std::abs(high));
  }
}
