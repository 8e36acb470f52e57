#include <tests/io/ElementOrder.h>
#include <tests/io/TestFiles.h>

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;
using S = MiCellShape;

namespace {

enum class Form
{
  Text,
  Little,
  Big
};

/// Writes Gmsh files of both versions in every form.
struct MshWriter
{
  bool version4;
  Form form;
  std::string text;

  MshWriter(bool isVersion4, Form how) : version4(isVersion4), form(how)
  {
    text = "$MeshFormat\n" + std::string(version4 ? "4.1" : "2.2") +
           (form == Form::Text ? " 0 8\n" : " 1 8\n");
    if (form != Form::Text) text += packed<std::int32_t>({1}, form == Form::Big) + "\n";
    text += "$EndMeshFormat\n";
  }
  template <class T>
  void add(const std::vector<T>& numbers)
  {
    text += form == Form::Text ? spelled(numbers) : packed(numbers, form == Form::Big);
  }
  void ints(const std::vector<std::int32_t>& numbers) { add(numbers); }
  void wides(const std::vector<std::uint64_t>& numbers) { add(numbers); }

  struct Block
  {
    int dimension, entity, physical, type;
    std::vector<std::vector<std::uint64_t>> elements; ///< number, then nodes
  };
  void nodes(const std::vector<std::uint64_t>& tags, const std::vector<double>& points)
  {
    text += "$Nodes\n";
    if (version4) {
      wides({1, tags.size(), 1, 100});
      text += form == Form::Text ? "\n" : "";
      ints({3, 7, 0});
      wides({tags.size()});
      wides(tags);
      add(points);
    } else {
      text += std::to_string(tags.size()) + "\n";
      for (std::size_t i = 0; i < tags.size(); ++i) {
        ints({static_cast<std::int32_t>(tags[i])});
        add<double>({points[3 * i], points[3 * i + 1], points[3 * i + 2]});
        text += form == Form::Text ? "\n" : "";
      }
    }
    text += "\n$EndNodes\n";
  }
  void elements(const std::vector<Block>& blocks)
  {
    std::size_t count = 0;
    for (const Block& block : blocks)
      count += block.elements.size();
    text += "$Elements\n";
    if (version4)
      wides({blocks.size(), count, 1, 100});
    else
      text += std::to_string(count) + "\n";
    for (const Block& block : blocks) {
      if (version4) {
        ints({block.dimension, block.entity, block.type});
        wides({block.elements.size()});
        for (const auto& element : block.elements)
          wides(element);
        continue;
      }
      const auto size = static_cast<std::int32_t>(block.elements.size());
      if (form != Form::Text) ints({block.type, size, 2});
      for (const auto& element : block.elements) {
        std::vector<std::int32_t> row{static_cast<std::int32_t>(element[0])};
        if (form == Form::Text) row.insert(row.end(), {block.type, 2});
        row.insert(row.end(), {block.physical, block.entity});
        row.insert(row.end(), element.begin() + 1, element.end());
        ints(row);
        text += form == Form::Text ? "\n" : "";
      }
    }
    text += "\n$EndElements\n";
  }
  void entities()
  {
    if (!version4) return;
    text += "$Entities\n";
    wides({0, 0, 1, 1});
    for (const int tag : {5, 7}) { // a surface and a volume
      ints({tag});
      add(std::vector<double>(6, 0.5));
      wides({1});
      ints({tag == 5 ? 50 : 70});
      wides({1});
      ints({1});
    }
    text += "\n$EndEntities\n";
  }
  void data(const char* section, const char* name, double time, int components,
            const std::vector<std::pair<int, double>>& values)
  {
    text += "$" + std::string(section) + "\n1\n\"" + name + "\"\n1\n" + std::to_string(time) +
            "\n3\n0\n" + std::to_string(components) + "\n" + std::to_string(values.size()) + "\n";
    for (const auto& [tag, value] : values) {
      ints({tag});
      add(std::vector<double>(static_cast<std::size_t>(components), value));
      text += form == Form::Text ? "\n" : "";
    }
    text += "\n$End" + std::string(section) + "\n";
  }
};

/// A hexahedron with a pyramid on it, a triangle of its boundary, sparse node tags, and values.
std::string twoCells(bool version4, Form form)
{
  MshWriter w(version4, form);
  w.text += "$PhysicalNames\n1\n3 70 \"steel\"\n$EndPhysicalNames\n";
  w.entities();
  w.nodes({10, 20, 30, 40, 50, 60, 70, 80, 5000000},
          {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 0, 0, 1, 1, 0, 1, 1, 1, 1, 0, 1, 1, .5, .5, 2});
  w.elements({{2, 5, 50, 2, {{1, 10, 20, 30}}},
              {3, 7, 70, 5, {{2, 10, 20, 30, 40, 50, 60, 70, 80}}},
              {3, 7, 70, 7, {{4, 50, 60, 70, 80, 5000000}}}});
  w.data("NodeData", "T", 0.5, 1, {{10, 1.5}, {5000000, 2.5}});
  w.data("NodeData", "T", 1.5, 1, {{10, 7.5}});
  w.data("ElementData", "stress", 0.5, 3, {{4, 3.5}, {1, 9}});
  return w.text;
}

} // namespace

TEST(Msh, BothVersionsInEveryFormHoldTheSameMesh)
{
  std::string first;
  for (const bool version4 : {false, true})
    for (const Form form : {Form::Text, Form::Little, Form::Big}) {
      SCOPED_TRACE(std::to_string(version4) + " " + std::to_string(static_cast<int>(form)));
      const MbMeshFile file = readText(twoCells(version4, form));
      EXPECT_EQ(file.getFormat(), "msh");
      EXPECT_EQ(file.getMeshType(), VOLUME_MESH_UNSTRUCTURED);
      EXPECT_EQ(file.getNodeCount(), 9u);
      EXPECT_THAT(file.getShapeCounts(), ElementsAre(Pair("hexahedron", 1), Pair("pyramid", 1)));
      EXPECT_THAT(file.getNotes(), Contains(HasSubstr("1 cells of shape triangle are left out")));
      EXPECT_THAT(file.getRemarks(), Contains("Physical 70 is called \"steel\"."));
      EXPECT_EQ(file.getTime(), 0.5);
      for (const auto& [name, value] : {std::pair("physical", 70.0), std::pair("entity", 7.0)}) {
        EXPECT_EQ(file.findArray(name)->ranges[0].min, value);
        EXPECT_EQ(file.findArray(name)->ranges[0].max, value);
      }
      const MbMeshFileArray& nodes = *file.findArray("T@node");
      EXPECT_EQ(mbNumber(nodes.values, 0), 1.5);
      EXPECT_EQ(mbNumber(nodes.values, 8), 2.5);
      EXPECT_EQ(nodes.ranges[0].nanCount, 7u);
      const MbMeshFileArray& cells = *file.findArray("stress@cell");
      EXPECT_EQ(mbNumber(cells.values, 1, 2), 3.5);
      EXPECT_EQ(cells.ranges[0].nanCount, 1u);
      if (first.empty()) first = describe(file);
      EXPECT_EQ(describe(file), first);

      EXPECT_TRUE(nodes.isPartial && cells.isPartial);

      MbMeshFileOptions later;
      later.time = 1.4;
      EXPECT_EQ(readText(twoCells(version4, form), later).findArray("T")->ranges[0].max, 7.5);
      later.time = 3;
      EXPECT_THAT(errorOf(twoCells(version4, form), later), HasSubstr("outside of 0.5 .. 1.5"));
    }
}

TEST(Msh, ValuesOfElementsNodesAreAveraged)
{
  for (const Form form : {Form::Text, Form::Little, Form::Big}) {
    MshWriter w(false, form);
    w.nodes({1, 2, 3, 4, 5, 6}, std::vector<double>(18, 0.25));
    w.elements({{2, 5, 50, 2, {{9, 1, 2, 3}}}, {3, 7, 70, 4, {{1, 1, 2, 3, 4}, {2, 2, 3, 4, 5}}}});
    w.text += "$ElementNodeData\n1\n\"s\"\n1\n2.5\n3\n0\n2\n3\n";
    // The triangle is no cell, and has no say.
    for (const int element : {1, 2, 9}) {
      w.ints({element, element == 9 ? 3 : 4});
      for (int n = 0; n < (element == 9 ? 3 : 4); ++n)
        w.add<double>({element + 0.5 * n, -1});
      w.text += form == Form::Text ? "\n" : "";
    }
    w.text += "\n$EndElementNodeData\n";
    const MbMeshFile file = readText(w.text);
    EXPECT_EQ(file.getTime(), 2.5);
    const MbMeshFileArray& values = *file.findArray("s@node");
    ASSERT_EQ(values.components, 2u);
    // Node 2 is the second of the one element and the first of the other: (1.5 + 2) / 2.
    const double expected[] = {1, 1.75, 2.25, 2.75, 3.5};
    for (std::size_t node = 0; node < 5; ++node)
      EXPECT_EQ(mbNumber(values.values, node, 0), expected[node]);
    EXPECT_TRUE(std::isnan(mbNumber(values.values, 5, 0)) && values.isPartial);
    EXPECT_THAT(file.getNotes(), Contains(HasSubstr("'s' per node of each element are averaged")));
    for (std::size_t size = w.text.size() - 150; size < w.text.size(); ++size)
      EXPECT_NO_FATAL_FAILURE(errorOf(w.text.substr(0, size)));
  }
}

TEST(Msh, ElementsHaveTheirNodesInPlace)
{
  const ElementCase cases[] = {
      {"1", S::Line, {"0", "1"}},
      {"8", S::QuadraticLine, {"0", "1", "01"}},
      {"2", S::Triangle, {"0", "1", "2"}},
      {"9", S::QuadraticTriangle, {"0", "1", "2", "01", "12", "20"}},
      {"16", S::QuadraticQuad, {"0", "1", "2", "3", "01", "12", "23", "30"}},
      {"10", S::BiquadraticQuad, {"0", "1", "2", "3", "01", "12", "23", "30", "c"}},
      {"4", S::Tetrahedron, {"0", "1", "2", "3"}},
      {"11", S::QuadraticTetrahedron, {"0", "1", "2", "3", "01", "12", "20", "30", "32", "31"}},
      {"7", S::Pyramid, {"0", "1", "2", "3", "4"}},
      {"19",
       S::QuadraticPyramid,
       {"0", "1", "2", "3", "4", "01", "03", "04", "12", "14", "23", "24", "34"}},
      {"14",
       S::QuadraticPyramid,
       {"0", "1", "2", "3", "4", "01", "03", "04", "12", "14", "23", "24", "34", "0123"}},
      {"6", S::Wedge, {"0", "1", "2", "3", "4", "5"}},
      {"18",
       S::QuadraticWedge,
       {"0", "1", "2", "3", "4", "5", "01", "02", "03", "12", "14", "25", "34", "35", "45"}},
      {"13",
       S::BiquadraticWedge,
       {"0", "1", "2", "3", "4", "5", "01", "02", "03", "12", "14", "25", "34", "35", "45", "0143",
        "0253", "1254"}},
      {"5", S::Hexahedron, {"0", "1", "2", "3", "4", "5", "6", "7"}},
      {"17", S::QuadraticHexahedron, {"0",  "1",  "2",  "3",  "4",  "5",  "6",  "7",  "01", "03",
                                      "04", "12", "15", "23", "26", "37", "45", "47", "56", "67"}},
      {"12", S::TriquadraticHexahedron, {"0",    "1",    "2",    "3",    "4",    "5",  "6",
                                         "7",    "01",   "03",   "04",   "12",   "15", "23",
                                         "26",   "37",   "45",   "47",   "56",   "67", "0321",
                                         "0154", "0473", "1265", "2376", "4567", "c"}},
  };
  for (const ElementCase& element : cases) {
    SCOPED_TRACE(element.type);
    MshWriter w(true, Form::Text);
    std::vector<std::uint64_t> tags, row{1};
    std::vector<double> points;
    for (const std::string& place : element.nodes) {
      const MbVec3d point = elementPoint(element, place);
      points.insert(points.end(), {point.x, point.y, point.z});
      tags.push_back(tags.size() + 1);
    }
    row.insert(row.end(), tags.begin(), tags.end());
    w.nodes(tags, points);
    w.elements({{3, 1, 0, std::stoi(element.type), {row}}});
    expectElement(readText(w.text), element);
  }
}

TEST(Msh, LargeTextIsTheSameReadByOneThreadOrMany)
{
  MshWriter w(true, Form::Text);
  std::vector<std::uint64_t> tags;
  std::vector<double> points;
  MshWriter::Block block{3, 1, 0, 4, {}};
  for (std::uint64_t i = 0; i < 30000; ++i) {
    tags.push_back(1 + (i * 7919) % 30000);
    for (int axis = 0; axis < 3; ++axis)
      points.push_back(std::sin(static_cast<double>(3 * i) + axis));
    if (i % 2) block.elements.push_back({i + 1, 1 + i % 30000, 1 + (i + 5) % 30000, 77, 40001});
  }
  w.nodes(tags, points);
  w.elements({block});
  const TemporaryFile file(w.text);
  MbMeshFileOptions serial;
  serial.parallel = false;
  const MbMeshFile many = MbMeshFile::read(file.path());
  EXPECT_EQ(describe(many), describe(MbMeshFile::read(file.path(), serial)));
  EXPECT_EQ(many.getCellCount(), 15000u);
}

TEST(Msh, WhatHasNoShapeIsNamed)
{
  MshWriter w(false, Form::Text);
  w.nodes({1, 2, 3, 4}, std::vector<double>(12, 0.25));
  std::vector<std::uint64_t> cubic{1};
  for (std::uint64_t n = 0; n < 20; ++n)
    cubic.push_back(1 + n % 4);
  w.elements({{3, 1, 1, 29, {cubic, cubic}}, {3, 1, 1, 4, {{3, 1, 2, 3, 9}}}});
  const MbMeshFile file = readText(w.text);
  EXPECT_EQ(file.getCellCount(), 1u);
  EXPECT_THAT(file.getNotes(), Contains("2 elements of type 29 are left out: their order is too "
                                        "high."));
  // The node 9 is not there: the cell names none, which extraction takes for dead.
  std::vector<std::size_t> nodes;
  dynamic_cast<const MiVolumeMeshUnstructured&>(*file.getMesh())
      .getTopology()
      .getCellNodes(0, nodes);
  EXPECT_GE(nodes[3], 4u);
}

TEST(Msh, DamageIsRefusedWithItsPlace)
{
  const std::string head = "$MeshFormat\n4.1 0 8\n$EndMeshFormat\n";
  const std::string head2 = "$MeshFormat\n2.2 0 8\n$EndMeshFormat\n";
  const std::string nodes2 = head2 + "$Nodes\n1\n1 0 0 0\n$EndNodes\n";
  expectErrors({
      {"$NOD\n1\n", "version 1 cannot be read"},
      {"$MeshFormat\n4.0 0 8\n$EndMeshFormat\n", "line 2: the version '4.0' cannot be read"},
      {"$MeshFormat\n2.2 2 8\n", "the form of the file is 2"},
      {"$MeshFormat\n2.2 1 4\n", "numbers of 4 bytes"},
      {"$MeshFormat\n2.2 1 8\nxxxx", "byte order is not 1"},
      {head, "$Nodes is missing"},
      {head + "$Nodes\n1 99999999999 1 1\n",
       "line 5: the number of nodes is 99999999999, but only"},
      {head + "$Nodes\n1 -1 1 1\n", "the number of nodes is negative"},
      {head + "$Nodes\n1 1 1 1\n3 1 0 2\n1\n2\n0 0 0\n1 1 1\n$EndNodes\n",
       "more nodes than announced"},
      {head + "$Nodes\n1 1 1 1\n3 1 0 1\n1\n0 0 x\n$EndNodes\n", "'x' in node coordinates"},
      {head + "$Nodes\n0 1 1 1\n$EndNodes\n$EndNodes $EndNodes", "0 of the 1 nodes announced"},
      {head + "$Foo\n", "the section $Foo is not ended"},
      {head + "1 2 3\n", "line 4: '1' stands where a section should begin"},
      {nodes2 + "$Elements\n1\n1 999 0 1\n$EndElements\n", "the element type 999 is not known"},
      {nodes2 + "$Elements\n2\n1 15 0 1\n$EndElements\n", "does not fit the 4 numbers"},
      {nodes2 + "$Elements\n1\n1 15 -4 1\n$EndElements\n", "element 0 of 1 does not fit"},
      {nodes2 + "$Elements\n1\n1 15 0 1 7\n$EndElements\n", "use 4 of the 5 numbers"},
      {nodes2 + "$Elements\n1\n1 15 0 1\n", "$Elements is not ended"},
      {nodes2 + "$NodeData\n1\n\"a\"\n0\n3\n0\n1\n88888888\n1 1\n$EndNodeData\n",
       "the number of values is 88888888"},
  });
  // Every way to cut a file short.
  for (const Form form : {Form::Text, Form::Little, Form::Big})
    for (const bool version4 : {false, true}) {
      const std::string whole = twoCells(version4, form);
      for (std::size_t size = 1; size + 20 < whole.size(); size += 7) {
        try {
          readText(whole.substr(0, size));
        } catch (const MbMeshFileError&) {
        }
      }
    }
}
