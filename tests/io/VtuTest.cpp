#include <tests/io/TestFiles.h>

#include <gmock/gmock.h>
#include <zlib.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

namespace {

std::string base64(const std::string& bytes)
{
  static const char kAlphabet[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    unsigned bits = 0;
    for (std::size_t j = 0; j < 3; ++j)
      bits = bits << 8 | (i + j < bytes.size() ? static_cast<unsigned char>(bytes[i + j]) : 0u);
    for (std::size_t j = 0; j < 4; ++j)
      text += i + j > bytes.size() ? '=' : kAlphabet[bits >> (18 - 6 * j) & 63];
  }
  return text;
}

enum class Form
{
  Ascii,
  Inline,
  Raw,
  Base64
};

/// Writes .vtu files in every encoding.
struct VtuWriter
{
  Form form = Form::Ascii;
  bool compressed = false, longHeaders = false, bigEndian = false;
  std::size_t blockBytes = 40; ///< small, so that arrays have several blocks
  std::string body, appended;

  std::string header(const std::vector<std::uint64_t>& words) const
  {
    return longHeaders ? packed(words, bigEndian)
                       : packed(std::vector<std::uint32_t>(words.begin(), words.end()), bigEndian);
  }
  std::string encoded(const std::string& bytes) const
  {
    const bool text = form != Form::Raw;
    const auto spell = [&](const std::string& part) { return text ? base64(part) : part; };
    if (!compressed) return spell(header({bytes.size()}) + bytes);
    std::vector<std::uint64_t> words{0, blockBytes, bytes.size() % blockBytes};
    std::string blocks;
    for (std::size_t at = 0; at < bytes.size(); at += blockBytes) {
      const std::string part = bytes.substr(at, blockBytes);
      uLongf size = compressBound(part.size());
      std::string packedPart(size, ' ');
      compress(reinterpret_cast<Bytef*>(packedPart.data()), &size,
               reinterpret_cast<const Bytef*>(part.data()), part.size());
      blocks += packedPart.substr(0, size);
      words.push_back(size);
      ++words[0];
    }
    return spell(header(words)) + spell(blocks);
  }
  template <class T>
  void array(const std::string& name, const std::string& type, const std::vector<T>& numbers,
             int components = 1)
  {
    body += "<DataArray type=\"" + type + "\" Name=\"" + name + "\" NumberOfComponents=\"" +
            std::to_string(components) + "\" format=\"";
    if (form == Form::Ascii) {
      // Notes stand before or after the numbers.
      body += "ascii\">" + spelled(numbers) +
              "<InformationKey name=\"n\"><Value index=\"0\">7</Value></InformationKey>\n";
    } else if (form == Form::Inline) {
      body += "binary\">\n<InformationKey name=\"n\"><Value/></InformationKey>\n   " +
              encoded(packed(numbers, bigEndian)) + "\n";
    } else {
      body += "appended\" offset=\"" + std::to_string(appended.size()) + "\">";
      appended += encoded(packed(numbers, bigEndian));
    }
    body += "</DataArray>\n";
  }
  std::string file() const
  {
    std::string text = "<?xml version=\"1.0\"?>\n<VTKFile type=\"UnstructuredGrid\" "
                       "version=\"1.0\" byte_order=\"";
    text += bigEndian ? "BigEndian" : "LittleEndian";
    if (longHeaders) text += "\" header_type=\"UInt64";
    if (compressed) text += "\" compressor=\"vtkZLibDataCompressor";
    text += "\"><UnstructuredGrid>\n" + body + "</UnstructuredGrid>\n";
    if (!appended.empty())
      text += std::string("<AppendedData encoding=\"") + (form == Form::Raw ? "raw" : "base64") +
              "\">\n _" + appended + "\n</AppendedData>";
    return text + "</VTKFile>\n";
  }
};

/// A tetrahedron as a polyhedron and as itself, a voxel, and a set of every type.
void addPiece(VtuWriter& w)
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

std::string sample(VtuWriter w, int pieces = 1)
{
  w.body = "<FieldData><DataArray type=\"Float64\" Name=\"TimeValue\" NumberOfTuples=\"1\" "
           "format=\"ascii\"> 12.5 </DataArray></FieldData>\n";
  for (int i = 0; i < pieces; ++i)
    addPiece(w);
  return w.file();
}

std::string replaced(std::string text, const std::string& from, const std::string& to)
{
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

template <class Visit>
void forEachEncoding(const Visit& visit)
{
  for (const Form form : {Form::Ascii, Form::Inline, Form::Raw, Form::Base64})
    for (const bool compressed : {false, true})
      for (const bool longHeaders : {false, true})
        for (const bool bigEndian : {false, true}) {
          SCOPED_TRACE(testing::Message()
                       << "form " << static_cast<int>(form) << " compressed " << compressed
                       << " long headers " << longHeaders << " big endian " << bigEndian);
          visit(VtuWriter{form, compressed, longHeaders, bigEndian, 40, {}, {}});
        }
}

} // namespace

TEST(Vtu, EveryEncodingGivesTheSameMeshAndData)
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
  EXPECT_TRUE(topology.getView().connectivity.isContiguous<std::int64_t>());

  const std::string expected = describe(plain);
  forEachEncoding([&](const VtuWriter& w) {
    for (const bool parallel : {false, true})
      EXPECT_EQ(describe(readText(sample(w), {parallel, {}, false, {}})), expected);
  });
}

TEST(Vtu, LongArraysAreReadInParallelAsInOneThread)
{
  std::vector<double> values(50000);
  for (std::size_t i = 0; i < values.size(); ++i)
    values[i] = static_cast<double>(i * i) / 7;
  forEachEncoding([&](VtuWriter w) {
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

TEST(Vtu, PiecesBecomeOneMesh)
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

TEST(Vtu, DamageIsNamedWithItsElement)
{
  const std::string text = sample({});
  const auto after = [&](const char* from, const char* to) {
    return errorOf(replaced(text, from, to));
  };
  EXPECT_THAT(after("</Piece>", ""), HasSubstr("mismatched tag"));
  EXPECT_THAT(after("UnstructuredGrid\"", "PolyData\""), HasSubstr("line 2: holds a 'PolyData'"));
  EXPECT_THAT(after("<?xml version=\"1.0\"?>", "<!DOCTYPE a [<!ENTITY b 'c'>]>"),
              HasSubstr("document type"));
  EXPECT_THAT(after("NumberOfPoints=\"8\"", "NumberOfPoints=\"9\""),
              HasSubstr("<DataArray Name=\"Points\"> in line"));
  EXPECT_THAT(after("NumberOfPoints=\"8\"", "NumberOfPoints=\"-8\""), HasSubstr("is not a count"));
  EXPECT_THAT(after("NumberOfCells=\"3\"", "NumberOfCells=\"200000000000\""),
              HasSubstr("numbers of 1 bytes are needed"));
  EXPECT_THAT(after(">4 8 16 ", ">4 3 16 "), HasSubstr("the offset of cell 1 runs backwards"));
  EXPECT_THAT(after(">4 8 16 ", ">4 8 17 "), HasSubstr("the offset of cell 2 runs"));
  EXPECT_THAT(after(">17 -1 -1", ">18 -1 -1"), HasSubstr("the offset of cell 0 runs"));
  EXPECT_THAT(after(">17 -1 -1", ">16 -1 -1"), HasSubstr("cell 0: the face stream"));
  EXPECT_THAT(after("Name=\"types\"", "Name=\"tips\""), HasSubstr("'types' is missing"));
  EXPECT_THAT(after(">-128 0 127", ">-129 0 127"), HasSubstr("'-129'"));
  EXPECT_THAT(after("format=\"ascii\">-128", "format=\"fancy\">-128"), HasSubstr("'fancy'"));

  VtuWriter w;
  w.form = Form::Inline;
  w.compressed = true;
  EXPECT_THAT(errorOf(replaced(sample(w), "vtkZLibDataCompressor", "vtkLZ4DataCompressor")),
              HasSubstr("'vtkLZ4DataCompressor', which needs a library"));
  w.form = Form::Raw;
  EXPECT_THAT(errorOf(replaced(sample(w), "offset=\"0\"", "offset=\"99999\"")),
              HasSubstr("<DataArray Name=\"f32\"> in line 5: the offset 99999 lies beyond"));
}

TEST(Vtu, NoDamagedByteDoesHarm)
{
  // Every array has damage somewhere: a refusal or a mesh, but nothing else.
  VtuWriter w;
  w.longHeaders = true;
  for (const Form form : {Form::Inline, Form::Raw, Form::Base64})
    for (const bool compressed : {false, true}) {
      w.form = form;
      w.compressed = compressed;
      const std::string good = sample(w);
      const TemporaryFile file(good);
      std::size_t refused = 0;
      // Other places in every form; in all of them together each place comes up.
      const std::size_t first = static_cast<std::size_t>(form) * 2 + (compressed ? 1 : 0);
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
