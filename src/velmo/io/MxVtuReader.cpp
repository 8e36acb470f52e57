#include <velmo/io/MxFileMesh.h>
#include <velmo/io/MxNumberText.h>
#include <velmo/io/MxXmlArray.h>

#include <algorithm>
#include <expat.h>
#include <memory>

namespace {

constexpr std::size_t kParseStep = std::size_t{1} << 20;
constexpr std::string_view kHead = "<VTKFile";

struct TypeName
{
  const char* name;
  MiScalarType type;
};
constexpr TypeName kTypes[] = {
    {"Float32", MiScalarType::Float32}, {"Float64", MiScalarType::Float64},
    {"Int8", MiScalarType::Int8},       {"UInt8", MiScalarType::UInt8},
    {"Int16", MiScalarType::Int16},     {"UInt16", MiScalarType::UInt16},
    {"Int32", MiScalarType::Int32},     {"UInt32", MiScalarType::UInt32},
    {"Int64", MiScalarType::Int64},     {"UInt64", MiScalarType::UInt64}};

/// The part of a Piece in which a DataArray stands.
enum class Part
{
  None,
  Field,
  Nodes,
  CellValues,
  Points,
  Cells
};

struct Piece
{
  std::size_t nodes = 0, cells = 0;
  std::vector<MxXmlArray> nodeSets, cellSets, points, topology;
};

/// Finds where the arrays of a file are; their numbers are not read yet.
class XmlScan
{
public:
  XmlScan(const MxFileBytes& file, bool parallel) : reader(file, parallel), m_file(file) {}

  void run()
  {
    const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(
        XML_ParserCreate(nullptr), &XML_ParserFree);
    if (!parser) throw std::bad_alloc();
    m_parser = parser.get();
    XML_SetUserData(m_parser, this);
    XML_SetElementHandler(
        m_parser,
        [](void* self, const XML_Char* name, const XML_Char** attributes) {
          static_cast<XmlScan*>(self)->guarded(
              [&](XmlScan& scan) { scan.start(name, attributes); });
        },
        [](void* self, const XML_Char* name) {
          static_cast<XmlScan*>(self)->guarded([&](XmlScan& scan) { scan.end(name); });
        });
    // Entities of its own have no place in such a file, and cost time without a bound.
    XML_SetStartDoctypeDeclHandler(
        m_parser, [](void* self, const XML_Char*, const XML_Char*, const XML_Char*, int) {
          static_cast<XmlScan*>(self)->guarded(
              [](XmlScan& scan) { scan.fail("a document type is not expected"); });
        });
    for (const char* at = m_file.begin(); !m_stopped;) {
      const std::size_t step = std::min(kParseStep, static_cast<std::size_t>(m_file.end() - at));
      const bool last = at + step == m_file.end();
      const XML_Status status = XML_Parse(m_parser, at, static_cast<int>(step), last);
      if (m_error) std::rethrow_exception(m_error);
      if (m_stopped) break;
      if (status != XML_STATUS_OK)
        fail(std::string("is no well-formed XML: ") + XML_ErrorString(XML_GetErrorCode(m_parser)));
      at += step;
      if (last) break;
    }
    m_parser = nullptr;
    if (pieces.empty()) m_file.fail("", "has no Piece of an UnstructuredGrid");
  }

  MxXmlArrayReader reader;
  std::vector<Piece> pieces;
  std::vector<MxXmlArray> fields;

private:
  /// Exceptions must not pass through the parser, which is C.
  template <class Body>
  void guarded(const Body& body)
  {
    if (m_error || m_stopped) return;
    try {
      body(*this);
    } catch (...) {
      m_error = std::current_exception();
      XML_StopParser(m_parser, XML_FALSE);
    }
  }

  [[noreturn]] void fail(const std::string& problem) const
  {
    m_file.fail("line " + std::to_string(XML_GetCurrentLineNumber(m_parser)), problem);
  }

  static std::string attribute(const XML_Char** attributes, std::string_view name,
                               const char* otherwise = "")
  {
    for (; attributes[0] && attributes[1]; attributes += 2)
      if (name == attributes[0]) return attributes[1];
    return otherwise;
  }

  std::size_t countOf(const XML_Char** attributes, const char* name) const
  {
    const std::string text = attribute(attributes, name);
    std::int64_t value = 0;
    std::string_view word = text;
    while (!word.empty() && isBlank(word.back()))
      word.remove_suffix(1);
    while (!word.empty() && isBlank(word.front()))
      word.remove_prefix(1);
    // More than this many bytes no file has.
    if (!mxParseNumber(word, value) || value < 0 || value > std::int64_t{1} << 48)
      fail(std::string(name) + "=" + mxQuoted(text) + " is not a count");
    return static_cast<std::size_t>(value);
  }

  const char* afterTag() const
  {
    return m_file.begin() + XML_GetCurrentByteIndex(m_parser) + XML_GetCurrentByteCount(m_parser);
  }

  void start(std::string_view name, const XML_Char** attributes)
  {
    if (m_depth++ == 0 && name != "VTKFile") fail("VTKFile should stand here");
    if (m_array) {
      closeContent(m_file.begin() + XML_GetCurrentByteIndex(m_parser));
      return;
    }
    if (name == "VTKFile") {
      readFileAttributes(attributes);
    } else if (name == "Piece") {
      pieces.push_back({countOf(attributes, "NumberOfPoints"),
                        countOf(attributes, "NumberOfCells"),
                        {},
                        {},
                        {},
                        {}});
    } else if (name == "PointData") {
      m_part = Part::Nodes;
    } else if (name == "CellData") {
      m_part = Part::CellValues;
    } else if (name == "Points") {
      m_part = Part::Points;
    } else if (name == "Cells") {
      m_part = Part::Cells;
    } else if (name == "FieldData") {
      m_part = Part::Field;
    } else if (name == "DataArray" || name == "Array") {
      beginArray(attributes);
    } else if (name == "AppendedData") {
      beginAppended(attribute(attributes, "encoding", "base64"));
    }
  }

  void end(std::string_view name)
  {
    --m_depth;
    if (m_array) {
      if (m_depth == m_arrayDepth) {
        closeContent(m_file.begin() + XML_GetCurrentByteIndex(m_parser));
        m_array = nullptr;
      } else {
        m_content = afterTag();
      }
    } else if (name == "PointData" || name == "CellData" || name == "Points" || name == "Cells" ||
               name == "FieldData")
    {
      m_part = Part::None;
    }
  }

  void readFileAttributes(const XML_Char** attributes)
  {
    const std::string type = attribute(attributes, "type");
    if (type != "UnstructuredGrid")
      fail("holds a " + mxQuoted(type) + "; of these files only an UnstructuredGrid can be read");
    reader.bigEndian = attribute(attributes, "byte_order") == "BigEndian";
    const std::string header = attribute(attributes, "header_type", "UInt32");
    if (header != "UInt32" && header != "UInt64")
      fail("the header type " + mxQuoted(header) + " is not known");
    reader.longHeaders = header == "UInt64";
    reader.compressor = attribute(attributes, "compressor");
    if (!reader.compressor.empty() && reader.compressor != "vtkZLibDataCompressor")
      fail("is compressed with " + mxQuoted(reader.compressor) +
           ", which needs a library that this build does not have; only zlib can be read");
  }

  void beginArray(const XML_Char** attributes)
  {
    MxXmlArray array;
    array.name = attribute(attributes, "Name");
    array.typeName = attribute(attributes, "type");
    for (const TypeName& type : kTypes)
      if (array.typeName == type.name) array.type = type.type;
    const std::string components = attribute(attributes, "NumberOfComponents");
    array.components = components.empty() ? 1 : countOf(attributes, "NumberOfComponents");
    array.format = attribute(attributes, "format", "ascii");
    array.offset = attribute(attributes, "offset");
    array.place = "<DataArray Name=\"" + array.name + "\"> in line " +
                  std::to_string(XML_GetCurrentLineNumber(m_parser));
    std::vector<MxXmlArray>* list = &m_ignored;
    if (m_part == Part::Field && pieces.empty()) list = &fields;
    if (!pieces.empty()) {
      Piece& piece = pieces.back();
      list = m_part == Part::Nodes        ? &piece.nodeSets
             : m_part == Part::CellValues ? &piece.cellSets
             : m_part == Part::Points     ? &piece.points
             : m_part == Part::Cells      ? &piece.topology
                                          : &m_ignored;
    }
    list->push_back(std::move(array));
    m_array = &list->back();
    m_arrayDepth = m_depth - 1;
    m_content = afterTag();
    if (m_content - m_file.begin() >= 2 && m_content[-2] == '/') m_content = nullptr;
  }

  /// Takes the text since the last tag, unless it is blank: notes on the array stand before or
  /// after its numbers.
  void closeContent(const char* end)
  {
    if (!m_content || end <= m_content) return;
    const std::string_view text(m_content, static_cast<std::size_t>(end - m_content));
    if (m_array->content.empty() && !std::all_of(text.begin(), text.end(), isBlank))
      m_array->content = text;
    m_content = nullptr;
  }

  /// What follows need not be XML; nothing after it matters.
  void beginAppended(const std::string& encoding)
  {
    if (encoding != "raw" && encoding != "base64")
      fail("the encoding " + mxQuoted(encoding) + " is not known");
    reader.appendedBase64 = encoding == "base64";
    const char* at = afterTag();
    while (at < m_file.end() && isBlank(*at))
      ++at;
    if (at == m_file.end() || *at != '_') fail("the appended data does not begin with '_'");
    reader.appended = std::string_view(at + 1, static_cast<std::size_t>(m_file.end() - at - 1));
    m_stopped = true;
    XML_StopParser(m_parser, XML_FALSE);
  }

  const MxFileBytes& m_file;
  XML_Parser m_parser = nullptr;
  std::exception_ptr m_error;
  bool m_stopped = false;
  int m_depth = 0, m_arrayDepth = 0;
  Part m_part = Part::None;
  MxXmlArray* m_array = nullptr;
  const char* m_content = nullptr;
  std::vector<MxXmlArray> m_ignored;
};

const MxXmlArray* find(const std::vector<MxXmlArray>& arrays, std::string_view name)
{
  const auto found = std::find_if(arrays.begin(), arrays.end(),
                                  [&](const MxXmlArray& array) { return array.name == name; });
  return found == arrays.end() ? nullptr : &*found;
}

/// A piece of the file as a mesh of its own.
class PieceReader
{
public:
  PieceReader(const MxFileBytes& file, const MxXmlArrayReader& reader)
      : m_file(file), m_reader(reader)
  {}

  MxFileMesh read(const Piece& piece) const
  {
    MxFileMesh mesh;
    mesh.nodeCount = piece.nodes;
    mesh.cells.count = piece.cells;
    if (piece.nodes > 0) {
      if (piece.points.empty()) m_file.fail("<Points>", "the points are missing");
      if (piece.points[0].components != 3)
        m_file.fail(piece.points[0].place, "points need three components");
      mesh.points = m_reader.read(piece.points[0], piece.nodes * 3);
    }
    if (piece.cells > 0) readCells(piece, mesh.cells);
    readSets(piece.nodeSets, MiDataBinding::PerNode, piece.nodes, mesh);
    readSets(piece.cellSets, MiDataBinding::PerCell, piece.cells, mesh);
    return mesh;
  }

private:
  const MxXmlArray& need(const Piece& piece, const char* name) const
  {
    const MxXmlArray* array = find(piece.topology, name);
    if (!array) m_file.fail("<Cells>", std::string("the array '") + name + "' is missing");
    if (array->type && !isInteger(*array->type))
      m_file.fail(array->place, "cells need whole numbers");
    return *array;
  }

  void readCells(const Piece& piece, MxFileCells& cells) const
  {
    const MxXmlArray& connectivity = need(piece, "connectivity");
    const MxXmlArray& offsets = need(piece, "offsets");
    cells.types = asBytes(m_reader.read(need(piece, "types"), piece.cells));
    cells.connectivity = mxAsIndices(m_reader.read(connectivity, {}));
    cells.offsets = mxAsIndices(m_reader.read(offsets, piece.cells, 1));
    checkOffsets(offsets, cells.offsets, cells.connectivity);

    const bool polyhedra =
        mxCountTypes(cells)[static_cast<std::size_t>(MiCellShape::Polyhedron)] > 0;
    if (!polyhedra) return;
    const MxXmlArray& faceOffsets = need(piece, "faceoffsets");
    cells.faces = mxAsIndices(m_reader.read(need(piece, "faces"), {}));
    cells.faceOffsets = mxAsIndices(m_reader.read(faceOffsets, piece.cells, 1));
    // Cells without faces have -1; the range of a polyhedron begins where the one before ends.
    visitIndices(cells.faceOffsets, [&](auto values) {
      for (std::size_t i = 1; i < values.size(); ++i)
        if (values[i] == -1) values[i] = values[i - 1];
    });
    checkOffsets(faceOffsets, cells.faceOffsets, cells.faces);
  }

  /// Refuses bad offsets, and cuts off what `numbers` has beyond the last one.
  void checkOffsets(const MxXmlArray& array, const MxFileArray& offsets, MxFileArray& numbers) const
  {
    const std::size_t limit = numbers.size;
    const std::size_t bad = mxFirstBadOffset(offsets, limit);
    if (bad < offsets.size)
      m_file.fail(array.place, "the offset of cell " + std::to_string(bad - 1) +
                                   " runs backwards or beyond the " + std::to_string(limit) +
                                   " numbers that it points into");
    numbers.size =
        visitIndices(offsets, [](auto values) { return static_cast<std::size_t>(values.back()); });
  }

  static MxFileArray asBytes(const MxFileArray& types)
  {
    if (types.type == MiScalarType::UInt8) return types;
    auto bytes = MxFileArray::of<std::uint8_t>(types.size);
    visitNumbers(types, [&](auto values) {
      std::transform(values.begin(), values.end(), bytes.as<std::uint8_t>(), [](auto value) {
        return static_cast<std::uint8_t>(value >= 0 && value < 255 ? value : 255);
      });
    });
    return bytes;
  }

  void readSets(const std::vector<MxXmlArray>& arrays, MiDataBinding binding, std::size_t items,
                MxFileMesh& mesh) const
  {
    for (const MxXmlArray& array : arrays) {
      if (!array.type || array.components == 0) {
        mesh.notes.push_back("The array '" + array.name + "' of type " + mxQuoted(array.typeName) +
                             " is left out.");
        continue;
      }
      if (items > 0 && array.components > (std::size_t{1} << 48) / items)
        m_file.fail(array.place, "too many components");
      mesh.sets.push_back(
          {array.name, binding, array.components, m_reader.read(array, items * array.components)});
    }
  }

  const MxFileBytes& m_file;
  const MxXmlArrayReader& m_reader;
};

} // namespace

bool mxIsVtkXml(const MxFileBytes& file)
{
  std::string_view head = file.head();
  while (!head.empty() && (isBlank(head.front()) || static_cast<unsigned char>(head.front()) > 127))
    head.remove_prefix(1); // a byte order mark as well
  return head.substr(0, 1) == "<" && head.find(kHead) != std::string_view::npos;
}

MxFileMesh mxReadVtkXml(const MxFileBytes& file, const MxReadRequest& request)
{
  XmlScan scan(file, request.parallel);
  scan.run();
  const PieceReader reader(file, scan.reader);
  std::vector<MxFileMesh> parts;
  for (const Piece& piece : scan.pieces)
    parts.push_back(reader.read(piece));
  MxFileMesh mesh =
      parts.size() == 1 ? std::move(parts[0]) : mxJoinParts(std::move(parts), file.getPath());
  mesh.format = "vtu";
  for (const MxXmlArray& field : scan.fields) {
    const bool time = field.name == "TimeValue" || field.name == "TIME";
    if (!time || !field.type) continue;
    const MxFileArray values = scan.reader.read(field, {});
    if (values.size > 0)
      mesh.time = visitNumbers(values, [](auto v) { return static_cast<double>(v[0]); });
  }
  return mesh;
}
