#include <tests/support/VtkXmlWriter.h>

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

namespace {

/// A tetrahedron as a polyhedron and as itself, a voxel, and a set of every type.
void addPiece(VtkXmlWriter& w)
{
  w.body += "<Piece NumberOfPoints=\"8\" NumberOfCells=\"3\">\n<PointData>";
  w.array<float>("f32", "Float32", {0, 1, 2, 3, 4, 5, 6, -0.5f});
  w.array<double>("vector", "Float64", std::vector<double>(24, 1.5), 3);
  w.array<std::uint64_t>("u64", "UInt64", {1, 2, 3, 4, 5, 6, 7, 1099511627776});
  w.body += "</PointData><CellData>";
  w.array<std::int8_t>("i8", "Int8", {-128, 0, 127});
  w.array<std::uint8_t>("u8", "UInt8", {0, 1, 255});
  w.array<std::int16_t>("i16", "Int16", {-32768, 0, 32767});
  w.array<std::uint16_t>("u16", "UInt16", {0, 1, 65535});
  w.array<std::int32_t>("i32", "Int32", {-2147483647, 0, 7});
  w.array<std::uint32_t>("u32", "UInt32", {0, 1, 4294967295});
  w.body += "<DataArray type=\"String\" Name=\"text\" format=\"ascii\">65 0</DataArray>";
  w.body += "</CellData><Points>";
  w.array<float>("Points", "Float32",
                 {0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0, 0, 0, 1, 1, 0, 1, 0, 1, 1, 1, 1, 1}, 3);
  w.body += "</Points><Cells>";
  w.array<std::int64_t>("connectivity", "Int64", {0, 1, 2, 4, 0, 1, 2, 4, 0, 1, 2, 3, 4, 5, 6, 7});
  w.array<std::int64_t>("offsets", "Int64", {4, 8, 16});
  w.array<std::uint8_t>("types", "UInt8", {42, 10, 11});
  w.array<std::int64_t>("faces", "Int64", {4, 3, 0, 2, 1, 3, 0, 1, 4, 3, 1, 2, 4, 3, 2, 0, 4});
  w.array<std::int64_t>("faceoffsets", "Int64", {17, -1, -1});
  w.body += "</Cells></Piece>\n";
}

std::string sample(VtkXmlWriter w, int pieces = 1)
{
  w.body = "<FieldData><DataArray type=\"Float64\" Name=\"TimeValue\" NumberOfTuples=\"1\" "
           "format=\"ascii\"> 12.5 </DataArray></FieldData>\n";
  for (int i = 0; i < pieces; ++i)
    addPiece(w);
  return w.file();
}

} // namespace

TEST(VtkXml, EveryEncodingGivesTheSameMeshAndData)
{
  const MbMeshFile plain = readText(sample({}));
  EXPECT_EQ(plain.getFormat(), "vtu");
  EXPECT_EQ(plain.getTime(), 12.5);
  EXPECT_THAT(plain.getShapeCounts(),
              ElementsAre(Pair("tetrahedron", 1), Pair("hexahedron", 1), Pair("polyhedron", 1)));
  EXPECT_EQ(plain.findArray("u64")->ranges[0].max, 1099511627776.0);
  EXPECT_EQ(plain.findArray("i16")->ranges[0].min, -32768);
  EXPECT_THAT(plain.getNotes(), ElementsAre(HasSubstr("'text'")));
  const auto& topology =
      dynamic_cast<const MiVolumeMeshUnstructured&>(*plain.getMesh()).getTopology();
  std::vector<std::size_t> nodes;
  topology.getCellNodes(2, nodes);
  EXPECT_THAT(nodes, ElementsAre(0, 1, 3, 2, 4, 5, 7, 6));
  topology.getCellFaces(0, nodes);
  EXPECT_EQ(nodes.size(), 17u);
  EXPECT_TRUE(topology.getView().connectivity.isContiguous<std::int32_t>());

  const std::string expected = describe(plain);
  forEachEncoding([&](const VtkXmlWriter& w) {
    for (const bool parallel : {false, true})
      EXPECT_EQ(describe(readText(sample(w), {parallel, {}, false, {}})), expected);
  });
}

TEST(VtkXml, LongArraysAreReadInParallelAsInOneThread)
{
  std::vector<double> values(50000);
  for (std::size_t i = 0; i < values.size(); ++i)
    values[i] = static_cast<double>(i * i) / 7;
  forEachEncoding([&](VtkXmlWriter w) {
    w.blockBytes = 4096;
    w.body = "<Piece NumberOfPoints=\"50000\" NumberOfCells=\"0\"><PointData>";
    w.array<double>("s", "Float64", values);
    w.body += "</PointData><Points>";
    w.array<std::uint8_t>("p", "UInt8", std::vector<std::uint8_t>(150000, 1), 3);
    w.body += "</Points></Piece>";
    for (const bool parallel : {false, true}) {
      const MbMeshFile file = readText(w.file(), {parallel, {}, false, {}});
      const MiArrayView view = file.findArray("s")->values;
      ASSERT_EQ(view.count, values.size());
      EXPECT_TRUE(std::equal(values.begin(), values.end(), view.as<double>()));
      EXPECT_EQ(file.getBounds()[5], 1);
    }
  });
}

TEST(VtkXml, PiecesBecomeOneMesh)
{
  const MbMeshFile one = readText(sample({})), three = readText(sample({}, 3));
  EXPECT_EQ(three.getNodeCount(), 24u);
  EXPECT_THAT(three.getShapeCounts(),
              ElementsAre(Pair("tetrahedron", 3), Pair("hexahedron", 3), Pair("polyhedron", 3)));
  const auto& topology =
      dynamic_cast<const MiVolumeMeshUnstructured&>(*three.getMesh()).getTopology();
  std::vector<std::size_t> nodes;
  topology.getCellNodes(7, nodes);
  EXPECT_THAT(nodes, ElementsAre(16, 17, 18, 20));
  topology.getCellFaces(6, nodes);
  EXPECT_THAT(nodes, ElementsAre(4, 3, 16, 18, 17, 3, 16, 17, 20, 3, 17, 18, 20, 3, 18, 16, 20));
  EXPECT_EQ(three.findArray("i8")->as<MiScalardSetI>()->getValue(8), 127);
  EXPECT_EQ(three.findArray("f32")->values.count, 24u);
}

TEST(VtkXml, FacesOfPolyhedraMayBeListedApart)
{
  const std::string text = sample({});
  const std::size_t first = text.find("<DataArray type=\"Int64\" Name=\"faces\"");
  const auto with = [&](const std::string& faceOffsets, const std::string& faces,
                        const std::string& cellOffsets) {
    const auto array = [](const std::string& name, const std::string& numbers) {
      return "<DataArray type=\"Int64\" Name=\"" + name + "\" format=\"ascii\">" + numbers +
             "</DataArray>\n";
    };
    return text.substr(0, first) + array("face_connectivity", "0 2 1 0 1 4 1 2 4 2 0 4") +
           array("face_offsets", faceOffsets) + array("polyhedron_to_faces", faces) +
           array("polyhedron_offsets", cellOffsets) + text.substr(text.find("</Cells>"));
  };
  const std::string expected = describe(readText(text));
  EXPECT_EQ(describe(readText(with("3 6 9 12", "0 1 2 3", "4 4 4"))), expected);
  EXPECT_EQ(describe(readText(with("0 3 6 9 12", "0 1 2 3", "0 4 4 4"))), expected);
  EXPECT_THAT(errorOf(with("3 6 9 13", "0 1 2 3", "4 4 4")), HasSubstr("offset of item 3 runs"));
  EXPECT_THAT(errorOf(with("3 6 9 12", "0 1 2 4", "4 4 4")),
              HasSubstr("names a face that does not"));
  EXPECT_THAT(errorOf(with("3 6 9 12", "0 1 2 -1", "4 4 4")),
              HasSubstr("names a face that does not"));
}

TEST(VtkXml, DamageIsNamedWithItsElement)
{
  const std::string text = sample({});
  const auto after = [&](const char* from, const char* to) {
    return errorOf(replaced(text, from, to));
  };
  EXPECT_THAT(after("</Piece>", ""), HasSubstr("mismatched tag"));
  EXPECT_THAT(after("UnstructuredGrid\"", "Table\""), HasSubstr("line 2: holds a 'Table'"));
  EXPECT_THAT(after("<?xml version=\"1.0\"?>", "<!DOCTYPE a [<!ENTITY b 'c'>]>"),
              HasSubstr("document type"));
  EXPECT_THAT(after("NumberOfPoints=\"8\"", "NumberOfPoints=\"9\""),
              HasSubstr("<DataArray Name=\"f32\"> ends after 8 of 9 numbers"));
  EXPECT_THAT(after("NumberOfPoints=\"8\"", "NumberOfPoints=\"-8\""), HasSubstr("is not a count"));
  EXPECT_THAT(after("NumberOfCells=\"3\"", "NumberOfCells=\"200000000000\""),
              HasSubstr("numbers, but only"));
  EXPECT_THAT(after(">4 8 16 ", ">4 3 16 "), HasSubstr("the offset of item 1 runs backwards"));
  EXPECT_THAT(after(">4 8 16 ", ">4 8 17 "), HasSubstr("the offset of item 2 runs"));
  EXPECT_THAT(after(">17 -1 -1", ">18 -1 -1"), HasSubstr("the offset of item 0 runs"));
  EXPECT_THAT(after(">17 -1 -1", ">16 -1 -1"), HasSubstr("cell 0: the face stream"));
  EXPECT_THAT(after("Name=\"types\"", "Name=\"tips\""), HasSubstr("'types' is missing"));
  EXPECT_THAT(after(">-128 0 127", ">-129 0 127"), HasSubstr("'-129'"));
  EXPECT_THAT(after("format=\"ascii\">-128", "format=\"fancy\">-128"), HasSubstr("'fancy'"));

  VtkXmlWriter w;
  w.form = Form::Inline;
  w.packing = Packing::Zlib;
  EXPECT_THAT(errorOf(replaced(sample(w), "vtkZLibDataCompressor", "vtkOddCompressor")),
              HasSubstr("line 2: the compressor 'vtkOddCompressor' is not known"));
#ifndef VELMO_HAS_LZ4
  EXPECT_THAT(errorOf(replaced(sample(w), "vtkZLibDataCompressor", "vtkLZ4DataCompressor")),
              HasSubstr("needs the library liblz4"));
#endif
  w.form = Form::Raw;
  EXPECT_THAT(errorOf(replaced(sample(w), "offset=\"0\"", "offset=\"99999\"")),
              HasSubstr("line 5: <DataArray Name=\"f32\">: the offset 99999 lies beyond"));
}

TEST(VtkXml, NoDamagedByteDoesHarm)
{
  // Every array has damage somewhere: a refusal or a mesh, but nothing else.
  VtkXmlWriter w;
  w.longHeaders = true;
  for (const Form form : {Form::Inline, Form::Raw, Form::Base64})
    for (const Packing packing : packings()) {
      w.form = form;
      w.packing = packing;
      const std::string good = sample(w);
      const TemporaryFile file(good);
      std::size_t refused = 0;
      // Other places in every form; in all of them together each place comes up.
      const std::size_t first =
          static_cast<std::size_t>(form) * 3 + static_cast<std::size_t>(packing);
      for (std::size_t at = first; at < good.size(); at += 8) {
        std::string bad = good;
        bad[at] = static_cast<char>(bad[at] ^ (at % 2 ? 0x55 : 0xFF));
        file.write(bad);
        try {
          describe(MbMeshFile::read(file.path()));
        } catch (const MbMeshFileError&) {
          ++refused;
        }
      }
      EXPECT_GT(refused, good.size() / 32);
    }
}
