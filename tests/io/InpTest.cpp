#include <tests/io/ElementOrder.h>
#include <tests/io/TestFiles.h>

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;
using S = MiCellShape;

namespace {

const char* const kCubeNodes = "*Node, NSET=all\r\n"
                               "10, 0., 0., 0.\r\n20, 1., 0., 0\r\n30, 1., 1., 0.\r\n"
                               "** a comment, with *stars\r\n"
                               "40, , 1.\r\n50, 0., 0., 1.D0\r\n60, 1., 0., 1.\r\n"
                               "70, 1., 1., 1.,\r\n80, 0., 1., 1., 9.9, 9.9\r\n\r\n"
                               "5000000, 0.5, 0.5, 2.\r\n";

} // namespace

TEST(Inp, ADeckHasItsNodesElementsAndSets)
{
  const MbMeshFile file =
      readText(std::string("** made by hand\n*HEADING\n a *text\n") + kCubeNodes +
               "*ELEMENT, type = c3d8r,\n ELSET = cube\n1, 10, 20, 30, 40,\n50, 60, 70, 80\n"
               "*ELEMENT, TYPE=C3D5, ELSET=\"peak\"\n7, 50, 60, 70, 80, 5000000\n"
               "*ELEMENT, TYPE=S3\n100, 10, 20, 30\n"
               "*ELEMENT, TYPE=SPRINGA\n200, 10, 20\n201, 20,\n 30\n"
               "*NSET, NSET=odd, GENERATE\n10, 9000000, 20\n"
               "*NSET, NSET=more\nodd, 20\n*NSET, NSET=more\n40\n"
               "*ELSET, ELSET=top\n7\n*MATERIAL, NAME=steel\n*ELASTIC\n1., .3\n");
  EXPECT_EQ(file.getFormat(), "inp");
  EXPECT_EQ(file.getNodeCount(), 9u);
  EXPECT_THAT(file.getBounds(), ElementsAre(0, 1, 0, 1, 0, 2));
  EXPECT_THAT(file.getShapeCounts(), ElementsAre(Pair("hexahedron", 1), Pair("pyramid", 1)));
  EXPECT_THAT(valuesOf(file, "ELSET"), ElementsAre(1, 2));
  EXPECT_THAT(valuesOf(file, "TOP"), ElementsAre(0, 1));
  EXPECT_THAT(valuesOf(file, "ODD"), ElementsAre(1, 0, 1, 0, 1, 0, 1, 0, 0));
  EXPECT_THAT(valuesOf(file, "MORE"), ElementsAre(1, 1, 1, 1, 1, 0, 1, 0, 0));
  EXPECT_FALSE(file.findArray("ALL"));
  EXPECT_THAT(file.getNotes(),
              Contains("2 elements of type SPRINGA are left out: there is no shape for them."));
  EXPECT_THAT(file.getRemarks(), Contains("ELSET 2 is PEAK."));
  EXPECT_THAT(file.getNotes(), Contains(HasSubstr("1 cells of shape triangle are left out")));
}

TEST(Inp, ElementsHaveTheirNodesInPlace)
{
  const std::vector<std::string> wedge{"0",  "1",  "2",  "3",  "4",  "5",  "01", "12",
                                       "20", "34", "45", "53", "03", "14", "25"};
  const std::vector<std::string> brick{"0",  "1",  "2",  "3",  "4",  "5",  "6",  "7",  "01", "12",
                                       "23", "30", "45", "56", "67", "74", "04", "15", "26", "37"};
  std::vector<std::string> full = brick;
  for (const char* centre : {"c", "0123", "4567", "0154", "1265", "2376", "0374"})
    full.push_back(centre);
  const ElementCase cases[] = {
      {"T3D2", S::Line, {"0", "1"}},
      {"PIPE21", S::Line, {"0", "1"}},
      {"B32R", S::QuadraticLine, {"0", "01", "1"}},
      {"STRI3", S::Triangle, {"0", "1", "2"}},
      {"CPS6M", S::QuadraticTriangle, {"0", "1", "2", "01", "12", "20"}},
      {"STRI65", S::QuadraticTriangle, {"0", "1", "2", "01", "12", "20"}},
      {"S4R5", S::Quad, {"0", "1", "2", "3"}},
      {"CAX4RH", S::Quad, {"0", "1", "2", "3"}},
      {"M3D4R", S::Quad, {"0", "1", "2", "3"}},
      {"S8R", S::QuadraticQuad, {"0", "1", "2", "3", "01", "12", "23", "30"}},
      {"S9R5", S::BiquadraticQuad, {"0", "1", "2", "3", "01", "12", "23", "30", "c"}},
      {"C3D4", S::Tetrahedron, {"0", "1", "2", "3"}},
      {"DC3D10", S::QuadraticTetrahedron, {"0", "1", "2", "3", "01", "12", "20", "03", "13", "23"}},
      {"C3D6", S::Wedge, {"0", "1", "2", "3", "4", "5"}},
      {"COH3D8", S::Hexahedron, {"0", "1", "2", "3", "4", "5", "6", "7"}},
      {"C3D15V", S::QuadraticWedge, wedge},
      {"C3D20RH", S::QuadraticHexahedron, brick},
      {"C3D27", S::TriquadraticHexahedron, full},
  };
  for (const ElementCase& element : cases) {
    SCOPED_TRACE(element.type);
    std::string nodes = "*NODE\n", row = "1";
    for (std::size_t n = 0; n < element.nodes.size(); ++n) {
      const MbVec3d point = elementPoint(element, element.nodes[n]);
      nodes += std::to_string(n + 1) + "," + std::to_string(point.x) + "," +
               std::to_string(point.y) + "," + std::to_string(point.z) + "\n";
      // Long rows go on in the next line.
      row += (n % 10 == 9 ? ",\n" : ",") + std::to_string(n + 1);
    }
    expectElement(readText(nodes + "*ELEMENT, TYPE=" + element.type + "\n" + row + "\n"), element);
  }
}

TEST(Inp, PartsStandWhereTheirInstancesPutThem)
{
  const std::string part = std::string("*PART, NAME=Cube\n") + kCubeNodes +
                           "*ELEMENT, TYPE=C3D8\n1, 10, 20, 30, 40, 50, 60, 70, 80\n"
                           "*NSET, NSET=foot\n10, 20\n*END PART\n*ASSEMBLY, NAME=A\n";
  const std::string outside = "*NODE\n1, 99., 99., 99.\n";
  const MbMeshFile one = readText(part +
                                  "*INSTANCE, NAME=i, PART=cube\n1., 2., 3.\n"
                                  "*END INSTANCE\n" +
                                  outside + "*END ASSEMBLY\n");
  EXPECT_EQ(one.getCellCount(), 1u);
  EXPECT_THAT(one.getBounds(), ElementsAre(1, 2, 2, 3, 3, 5));
  EXPECT_THAT(one.getNotes(), Contains("1 nodes outside of the parts are left out."));

  // The second one is turned by a right angle about the z axis through (5, 0, 0).
  const MbMeshFile two =
      readText(part + "*INSTANCE, NAME=i, PART=cube\n*END INSTANCE\n"
                      "*INSTANCE, NAME=j, PART=CUBE\n5., 0., 0.\n5., 0., 0., 5., 0., 1., 90.\n"
                      "*END INSTANCE\n*NSET, NSET=foot, INSTANCE=j\n50\n*END ASSEMBLY\n");
  EXPECT_EQ(two.getCellCount(), 2u);
  EXPECT_EQ(two.getNodeCount(), 18u);
  for (std::size_t i = 0; i < 6; ++i)
    EXPECT_NEAR(two.getBounds()[i], (std::array<double, 6>{0, 5, 0, 1, 0, 2})[i], 1e-12);
  EXPECT_THAT(valuesOf(two, "FOOT"),
              ElementsAre(1, 1, 0, 0, 0, 0, 0, 0, 0, 1, 1, 0, 0, 1, 0, 0, 0, 0));
}

TEST(Inp, IncludesMayHoldDataOfTheKeywordBefore)
{
  const TemporaryFile data("1, 0., 0., 0.\n2, 1., 0., 0.\n*NODE\n3, 0., 1., 0.\n");
  const std::string name = std::filesystem::path(data.path()).filename().string();
  const MbMeshFile file = readText("*NODE\n*INCLUDE, INPUT=" + name +
                                   "\n4, 0., 0., 1.\n*ELEMENT, TYPE=C3D4\n1,1,2,3,4\n");
  EXPECT_EQ(file.getNodeCount(), 4u);
  EXPECT_THAT(file.getBounds(), ElementsAre(0, 1, 0, 1, 0, 1));
}

TEST(Inp, LargeTextIsTheSameReadByOneThreadOrMany)
{
  std::string text = "*NODE\n";
  for (int i = 0; i < 30000; ++i)
    text += std::to_string(3 * i) + ", " + std::to_string(i * 0.37) + ", 1., 2.\n";
  text += "*ELEMENT, TYPE=C3D8, ELSET=E\n";
  for (int i = 0; i < 20000; ++i) {
    text += std::to_string(i + 1);
    for (int n = 0; n < 8; ++n)
      text += "," + std::to_string(3 * (i + n));
    text += "\n";
  }
  const TemporaryFile file(text);
  MbMeshFileOptions serial;
  serial.parallel = false;
  const MbMeshFile many = MbMeshFile::read(file.path());
  EXPECT_EQ(many.getCellCount(), 20000u);
  EXPECT_EQ(describe(many), describe(MbMeshFile::read(file.path(), serial)));
}

TEST(Inp, DamageIsRefusedWithItsPlace)
{
  const std::string nodes = "*NODE\n1,0,0,0\n2,1,0,0\n";
  expectErrors({
      {"*HEADING\nnothing\n", ": has no nodes"},
      {"*NODE\n1,0,0,0\nx,1,1,1\n", "line 3: 'x' is no number of a node"},
      {"*NODE\n1,0,0,zero\n", "line 2: 'zero' is no coordinate"},
      {nodes + "*ELEMENT\n1,1,2\n", "line 4: *ELEMENT has no TYPE"},
      {nodes + "*ELEMENT, TYPE=T3D2\n1,1\n", "elements of type T3D2 take 3 numbers each, but 2"},
      {nodes + "*ELEMENT, TYPE=T3D2\n1,1,y\n", "line 5: 'y' is no number of an element"},
      {nodes + "*NSET, NSET=a, GENERATE\n1,2,0\n", "line 5: the step of a range is not positive"},
      {nodes + "*ELSET\n1\n", "*ELSET has no ELSET"},
      {"*PART\n", "*PART has no NAME"},
      {"*INSTANCE, PART=p\n", "is of the part 'p', which is not known"},
      {"*PART, NAME=p\n" + nodes + "*END PART\n*INSTANCE, PART=p\n1,2\n",
       "has 2 numbers for its placement"},
      {"*INCLUDE\n", "line 1: *INCLUDE names no INPUT"},
      {"*INCLUDE, INPUT=no_such_file\n", "line 1: the file 'no_such_file' cannot be opened"},
  });
  // A range over numbers that do not exist costs no more than those that do.
  EXPECT_EQ(errorOf(nodes + "*NSET, NSET=a, GENERATE\n-9000000000000000000,9000000000000000000\n"),
            "");
}
