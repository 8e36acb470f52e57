#include <velmo/io/MxNumberText.h>
#include <velmo/io/MxXmlScan.h>

#include <algorithm>
#include <cmath>
#include <expat.h>
#include <map>

namespace {

/// Text between tags that is longer is not shown to the parser: it would look at every character.
constexpr std::size_t kSkip = 2048;
/// About this much is parsed at a time, so that appended data, which is no XML, is not looked at.
constexpr std::size_t kStep = std::size_t{1} << 16;
/// More time steps without a list of their times are taken for damage.
constexpr std::size_t kMostSteps = 1000000;

constexpr std::pair<const char*, MiScalarType> kTypes[] = {
    {"Float32", MiScalarType::Float32}, {"Float64", MiScalarType::Float64},
    {"Int8", MiScalarType::Int8},       {"UInt8", MiScalarType::UInt8},
    {"Int16", MiScalarType::Int16},     {"UInt16", MiScalarType::UInt16},
    {"Int32", MiScalarType::Int32},     {"UInt32", MiScalarType::UInt32},
    {"Int64", MiScalarType::Int64},     {"UInt64", MiScalarType::UInt64}};

/// What can be read; with a P in front the pieces are files.
constexpr std::string_view kDataSets[] = {"UnstructuredGrid", "PolyData", "ImageData",
                                          "RectilinearGrid", "StructuredGrid"};

/// The part of a Piece in which a DataArray stands.
enum class Part
{
  None,
  Field,
  Nodes,
  CellValues,
  Points,
  Topology
};

struct Section
{
  std::string_view element;
  Part part;
  std::size_t list = 0;
};
constexpr Section kSections[] = {
    {"PointData", Part::Nodes},    {"CellData", Part::CellValues}, {"Points", Part::Points},
    {"Coordinates", Part::Points}, {"FieldData", Part::Field},     {"Cells", Part::Topology, 0},
    {"Verts", Part::Topology, 0},  {"Lines", Part::Topology, 1},   {"Polys", Part::Topology, 2},
    {"Strips", Part::Topology, 3},
};

class Scan
{
public:
  Scan(const MxFileBytes& file, const MxReadRequest& request)
      : m_file(file), m_request(request), m_content(file, request),
        m_parser(XML_ParserCreate(nullptr), &XML_ParserFree)
  {
    if (!m_parser) throw std::bad_alloc();
  }

  MxXmlContent run()
  {
    XML_Parser parser = m_parser.get();
    XML_SetUserData(parser, this);
    XML_SetElementHandler(
        parser,
        [](void* self, const XML_Char* name, const XML_Char** attributes) {
          static_cast<Scan*>(self)->guarded([&](Scan& scan) { scan.start(name, attributes); });
        },
        [](void* self, const XML_Char* name) {
          static_cast<Scan*>(self)->guarded([&](Scan& scan) { scan.end(name); });
        });
    // Entities of its own have no place in such a file, and cost time without a bound.
    XML_SetStartDoctypeDeclHandler(
        parser, [](void* self, const XML_Char*, const XML_Char*, const XML_Char*, int) {
          static_cast<Scan*>(self)->guarded(
              [](Scan& scan) { scan.fail("a document type is not expected"); });
        });
    const char* const end = m_file.end();
    for (const char* at = m_file.begin(); !m_stopped && !m_finished;) {
      const char* next = at;
      const char* const stop = stretch(at, next);
      m_finished = next == end;
      m_fed.emplace_back(m_fedBytes, at);
      m_fedBytes += static_cast<std::size_t>(stop - at);
      feed(at, stop);
      at = next;
    }
    if (m_content.type == "Collection") {
      if (m_content.steps.empty()) m_file.fail("", "names no DataSet");
    } else if (m_content.pieces.empty()) {
      m_file.fail("", "has no Piece of the " + mxQuoted(m_content.type));
    }
    chooseStep();
    return std::move(m_content);
  }

private:
  /// The end of what is parsed next, and in `next` where it goes on.
  const char* stretch(const char* at, const char*& next) const
  {
    const char* const end = m_file.end();
    for (const char* p = at;;) {
      const auto* close = static_cast<const char*>(std::memchr(p, '>', left(p)));
      if (!close) return next = end;
      const auto* open = static_cast<const char*>(std::memchr(close, '<', left(close)));
      if (!open) open = end;
      if (static_cast<std::size_t>(open - close) > kSkip) {
        next = open;
        return close + 1;
      }
      p = open;
      if (static_cast<std::size_t>(p - at) > kStep || p == end) return next = p;
    }
  }
  std::size_t left(const char* p) const { return static_cast<std::size_t>(m_file.end() - p); }

  void feed(const char* at, const char* stop)
  {
    // A damaged file may be one tag of any length; the parser counts in int.
    constexpr std::size_t kMost = std::size_t{1} << 28;
    if (static_cast<std::size_t>(stop - at) > kMost) m_file.failAtByte(at, "is no XML");
    const XML_Status status =
        XML_Parse(m_parser.get(), at, static_cast<int>(stop - at), m_finished);
    if (m_error) std::rethrow_exception(m_error);
    if (!m_stopped && status != XML_STATUS_OK)
      fail(std::string("is no well-formed XML: ") +
           XML_ErrorString(XML_GetErrorCode(m_parser.get())));
  }

  /// Exceptions must not pass through the parser, which is C.
  template <class Body>
  void guarded(const Body& body)
  {
    if (m_error || m_stopped) return;
    try {
      body(*this);
    } catch (...) {
      m_error = std::current_exception();
      XML_StopParser(m_parser.get(), XML_FALSE);
    }
  }

  /// Where the parser's present token begins in the file.
  const char* here(XML_Index more = 0) const
  {
    const auto byte = static_cast<std::size_t>(
        std::max<XML_Index>(0, XML_GetCurrentByteIndex(m_parser.get()) + more));
    const auto after =
        std::upper_bound(m_fed.begin(), m_fed.end(), byte,
                         [](std::size_t wanted, const auto& fed) { return wanted < fed.first; });
    const auto& [first, place] = *std::prev(after);
    return std::min(place + (byte - first), m_file.end());
  }
  const char* afterTag() const { return here(XML_GetCurrentByteCount(m_parser.get()) - 1) + 1; }

  [[noreturn]] void fail(const std::string& problem) const { m_file.failAtLine(here(), problem); }

  static std::string attribute(const XML_Char** attributes, std::string_view name,
                               const char* otherwise = "")
  {
    for (; attributes[0] && attributes[1]; attributes += 2)
      if (name == attributes[0]) return attributes[1];
    return otherwise;
  }

  /// The numbers of an attribute, which has to have exactly so many.
  template <class T, std::size_t N>
  std::array<T, N> numbersOf(const std::string& text, const char* name) const
  {
    std::array<T, N> numbers{};
    const char* at = text.data();
    const char* const end = at + text.size();
    for (T& number : numbers)
      if (!mxParseNumber(mxNextWord(at, end), number)) failNumbers(text, name, N);
    if (!mxNextWord(at, end).empty()) failNumbers(text, name, N);
    return numbers;
  }
  [[noreturn]] void failNumbers(const std::string& text, const char* name, std::size_t n) const
  {
    fail(std::string(name) + "=" + mxQuoted(text) + " is not " +
         (n == 1 ? "a number" : std::to_string(n) + " numbers"));
  }

  /// The numbers of an attribute, however many.
  template <class T>
  std::vector<T> listOf(const XML_Char** attributes, const char* name) const
  {
    const std::string text = attribute(attributes, name);
    const char* at = text.data();
    const char* const end = at + text.size();
    std::vector<T> numbers;
    for (std::string_view word = mxNextWord(at, end); !word.empty(); word = mxNextWord(at, end))
      if (!mxParseNumber(word, numbers.emplace_back()))
        fail(std::string(name) + "=" + mxQuoted(text) + " is not a list of numbers");
    return numbers;
  }

  std::size_t countOf(const XML_Char** attributes, const char* name,
                      const char* otherwise = "") const
  {
    const std::string text = attribute(attributes, name, otherwise);
    const char* at = text.data();
    std::int64_t value = 0;
    // More than this many bytes no file has.
    if (!mxParseNumber(mxNextWord(at, text.data() + text.size()), value) || value < 0 ||
        value > std::int64_t{1} << 48)
      fail(std::string(name) + "=" + mxQuoted(text) + " is not a count");
    return static_cast<std::size_t>(value);
  }

  std::optional<MxExtent> extentOf(const XML_Char** attributes, const char* name) const
  {
    const std::string text = attribute(attributes, name);
    if (text.empty()) return {};
    const auto numbers = numbersOf<std::int64_t, 6>(text, name);
    constexpr std::int64_t kMost = std::int64_t{1} << 40;
    MxExtent extent;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      extent.first[axis] = numbers[2 * axis];
      extent.last[axis] = numbers[2 * axis + 1];
      if (std::abs(extent.first[axis]) > kMost || std::abs(extent.last[axis]) > kMost)
        fail(std::string(name) + "=" + mxQuoted(text) + " is too large");
    }
    if (!extent.isEmpty()) {
      const MbIndex3 nodes = extent.nodes();
      if (static_cast<double>(nodes.x) * static_cast<double>(nodes.y) *
              static_cast<double>(nodes.z) >
          static_cast<double>(kMostGridNodes))
        fail(std::string(name) + "=" + mxQuoted(text) + " is too large");
    }
    return extent;
  }

  void start(std::string_view name, const XML_Char** attributes)
  {
    if (m_depth++ == 0 && name != "VTKFile") fail("expected the element VTKFile here");
    if (m_array) return closeContent();
    if (m_depth == 1) return readFileAttributes(attributes);
    if (m_depth == 2 && name == m_element) return readDataSet(attributes);
    if (name == "Piece") return beginPiece(attributes);
    if (name == "DataArray" || name == "Array") return beginArray(attributes);
    if (name == "DataSet") return addStep(attributes);
    if (name == "AppendedData") return beginAppended(attribute(attributes, "encoding", "base64"));
    for (const Section& section : kSections)
      if (name == section.element) m_section = section;
    if (m_section.part == Part::Nodes && name == m_section.element && m_content.globalIds.empty())
      m_content.globalIds = attribute(attributes, "GlobalIds");
  }

  void end(std::string_view name)
  {
    --m_depth;
    if (m_array) {
      if (m_depth == m_arrayDepth) {
        closeContent();
        m_array = nullptr;
      } else {
        m_text = afterTag();
      }
    } else if (name == m_section.element) {
      m_section = {};
    }
  }

  void readFileAttributes(const XML_Char** attributes)
  {
    m_element = attribute(attributes, "type");
    std::string type = m_element;
    m_content.parallel = type.starts_with("P") && type != "PolyData";
    if (m_content.parallel) type.erase(0, 1);
    if (type != "Collection" &&
        std::find(std::begin(kDataSets), std::end(kDataSets), type) == std::end(kDataSets))
      fail("holds a " + mxQuoted(m_element) + ", which is no mesh that can be read");
    m_content.type = type;
    MxXmlArrayReader& reader = m_content.reader;
    reader.bigEndian = attribute(attributes, "byte_order") == "BigEndian";
    const std::string header = attribute(attributes, "header_type", "UInt32");
    if (header != "UInt32" && header != "UInt64")
      fail("the header type " + mxQuoted(header) + " is not known");
    reader.longHeaders = header == "UInt64";
    const std::string compressor = attribute(attributes, "compressor");
    const std::optional<MxCodec> codec = mxCodecOf(compressor);
    if (!codec) fail("the compressor " + mxQuoted(compressor) + " is not known");
    if (const char* library = mxMissingLibrary(*codec))
      fail("is compressed with " + mxQuoted(compressor) + ", which needs the library " + library +
           "; this build does not have it");
    reader.codec = *codec;
  }

  void readDataSet(const XML_Char** attributes)
  {
    m_content.times = listOf<double>(attributes, "TimeValues");
    m_content.wholeExtent = extentOf(attributes, "WholeExtent");
    const auto triple = [&](const char* name, const char* otherwise) {
      const auto numbers = numbersOf<double, 3>(attribute(attributes, name, otherwise), name);
      return MbVec3d{numbers[0], numbers[1], numbers[2]};
    };
    m_content.origin = triple("Origin", "0 0 0");
    m_content.spacing = triple("Spacing", "1 1 1");
    m_content.direction =
        numbersOf<double, 9>(attribute(attributes, "Direction", "1 0 0 0 1 0 0 0 1"), "Direction");
  }

  void beginPiece(const XML_Char** attributes)
  {
    MxXmlPiece piece;
    piece.tag = here();
    piece.source = attribute(attributes, "Source");
    if (m_content.parallel && piece.source.empty()) fail("a Piece names no Source");
    piece.extent = extentOf(attributes, "Extent");
    piece.nodes = countOf(attributes, "NumberOfPoints", "0");
    if (m_content.type == "PolyData") {
      constexpr const char* kCounts[] = {"NumberOfVerts", "NumberOfLines", "NumberOfPolys",
                                         "NumberOfStrips"};
      for (std::size_t i = 0; i < 4; ++i)
        piece.cells[i] = countOf(attributes, kCounts[i], "0");
    } else {
      piece.cells[0] = countOf(attributes, "NumberOfCells", "0");
    }
    m_content.pieces.push_back(std::move(piece));
  }

  void addStep(const XML_Char** attributes)
  {
    MxXmlStep step;
    step.tag = here();
    step.source = attribute(attributes, "file");
    if (step.source.empty()) fail("a DataSet names no file");
    step.time = numbersOf<double, 1>(attribute(attributes, "timestep", "0"), "timestep")[0];
    m_content.steps.push_back(std::move(step));
  }

  /// The list that an array of the present section belongs to.
  std::vector<MxXmlArray>& list()
  {
    auto& pieces = m_content.pieces;
    if (pieces.empty()) return m_section.part == Part::Field ? m_content.fields : m_ignored;
    MxXmlPiece& piece = pieces.back();
    switch (m_section.part) {
    case Part::Nodes:
      return piece.nodeSets;
    case Part::CellValues:
      return piece.cellSets;
    case Part::Points:
      return piece.points;
    case Part::Topology:
      return piece.topology[m_section.list];
    default:
      return m_ignored;
    }
  }

  void beginArray(const XML_Char** attributes)
  {
    MxXmlArray array;
    array.tag = here();
    array.name = attribute(attributes, "Name");
    array.typeName = attribute(attributes, "type");
    for (const auto& [name, type] : kTypes)
      if (array.typeName == name) array.type = type;
    array.components = countOf(attributes, "NumberOfComponents", "1");
    array.format = attribute(attributes, "format", "ascii");
    array.offset = attribute(attributes, "offset");
    for (const std::int64_t step : listOf<std::int64_t>(attributes, "TimeStep")) {
      const std::size_t steps = m_content.times.empty() ? kMostSteps : m_content.times.size();
      if (step < 0 || static_cast<std::uint64_t>(step) >= steps)
        fail("TimeStep=" + mxQuoted(attribute(attributes, "TimeStep")) + " is none of the " +
             std::to_string(steps) + " steps");
      array.steps.push_back(static_cast<std::size_t>(step));
      m_lastStep = std::max(m_lastStep, array.steps.back());
      m_hasSteps = true;
    }
    std::vector<MxXmlArray>& arrays = list();
    arrays.push_back(std::move(array));
    m_array = &arrays.back();
    m_arrayDepth = m_depth - 1;
    m_text = afterTag();
    m_array->content = std::string_view(m_text, 0);
    if (m_text - m_file.begin() >= 2 && m_text[-2] == '/') m_text = nullptr;
  }

  /// Takes the text since the last tag, unless it is blank: notes on the array stand before or
  /// after its numbers.
  void closeContent()
  {
    const char* const end = here();
    if (!m_text) return;
    const std::string_view text(m_text, static_cast<std::size_t>(std::max(end, m_text) - m_text));
    if (m_array->content.empty() && !std::all_of(text.begin(), text.end(), isBlank))
      m_array->content = text;
    m_text = nullptr;
  }

  void chooseStep()
  {
    std::vector<double>& times = m_content.times;
    // Steps without times are numbered.
    if (times.empty() && m_hasSteps)
      for (std::size_t step = 0; step <= m_lastStep; ++step)
        times.push_back(static_cast<double>(step));
    if (times.empty()) return;
    if (m_request.time)
      for (std::size_t step = 1; step < times.size(); ++step)
        if (std::abs(times[step] - *m_request.time) <
            std::abs(times[m_content.step] - *m_request.time))
          m_content.step = step;
    keepStep(m_content.fields);
    for (MxXmlPiece& piece : m_content.pieces) {
      for (auto* arrays : {&piece.nodeSets, &piece.cellSets, &piece.points})
        keepStep(*arrays);
      for (auto& arrays : piece.topology)
        keepStep(arrays);
    }
  }

  /// Leaves those arrays that are for the step or for all; one that the step does not have stays as
  /// it was at the last step before.
  void keepStep(std::vector<MxXmlArray>& arrays) const
  {
    constexpr std::size_t kNever = 0;
    const auto since = [&](const MxXmlArray& array) { // counted from 1
      std::size_t latest = kNever;
      for (const std::size_t step : array.steps)
        if (step <= m_content.step) latest = std::max(latest, step + 1);
      return latest;
    };
    std::map<std::string, std::size_t> newest;
    for (const MxXmlArray& array : arrays)
      if (!array.steps.empty()) newest[array.name] = std::max(newest[array.name], since(array));
    std::erase_if(arrays, [&](const MxXmlArray& array) {
      return !array.steps.empty() && (since(array) == kNever || since(array) < newest[array.name]);
    });
  }

  /// What follows need not be XML; nothing after it matters.
  void beginAppended(const std::string& encoding)
  {
    if (encoding != "raw" && encoding != "base64")
      fail("the encoding " + mxQuoted(encoding) + " is not known");
    m_content.reader.appendedBase64 = encoding == "base64";
    const char* at = afterTag();
    while (at < m_file.end() && isBlank(*at))
      ++at;
    if (at == m_file.end() || *at != '_') fail("the appended data does not begin with '_'");
    m_content.reader.appended = std::string_view(at + 1, left(at + 1));
    m_stopped = true;
    XML_StopParser(m_parser.get(), XML_FALSE);
  }

  const MxFileBytes& m_file;
  const MxReadRequest& m_request;
  MxXmlContent m_content;
  std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> m_parser;
  std::vector<std::pair<std::size_t, const char*>> m_fed; ///< byte of the parser, place in the file
  std::size_t m_fedBytes = 0;
  std::exception_ptr m_error;
  bool m_stopped = false, m_finished = false;
  std::string m_element; ///< of the data set
  int m_depth = 0, m_arrayDepth = 0;
  Section m_section{{}, Part::None};
  MxXmlArray* m_array = nullptr;
  const char* m_text = nullptr; ///< where the text of the open array begins
  std::vector<MxXmlArray> m_ignored;
  std::size_t m_lastStep = 0;
  bool m_hasSteps = false;
};

} // namespace

MxXmlContent mxScanXml(const MxFileBytes& file, const MxReadRequest& request)
{
  return Scan(file, request).run();
}
