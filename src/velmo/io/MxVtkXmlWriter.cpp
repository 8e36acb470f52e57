#include <velmo/base/MxParallel.h>
#include <velmo/io/MbMeshFile.h>
#include <velmo/io/MbMeshSave.h>
#include <velmo/io/MxFileArray.h>
#include <velmo/io/MxVtkXmlWriter.h>

#include <algorithm>
#include <array>
#include <bit>
#include <zlib.h>

namespace {

/// Bytes of an array that are made, compressed and inflated as one, and blocks that are held.
constexpr std::size_t kBlockBytes = std::size_t{1} << 18;
constexpr std::size_t kBlocksHeld = 16;
/// Room for an offset, as digits.
constexpr std::size_t kOffsetDigits = 20;

const char* typeName(MiScalarType type)
{
  constexpr const char* kNames[] = {"Float32", "Float64", "Int8",   "UInt8", "Int16",
                                    "UInt16",  "Int32",   "UInt32", "Int64", "UInt64"};
  return kNames[static_cast<std::size_t>(type)];
}

/// Bytes of the UTF-8 character at the beginning; 0 when there is none.
std::size_t characterLength(std::string_view text)
{
  const auto byte = [&](std::size_t n) { return static_cast<unsigned char>(text[n]); };
  const std::size_t length = byte(0) < 0x80                      ? 1
                             : byte(0) >= 0xc2 && byte(0) < 0xe0 ? 2
                             : byte(0) >= 0xe0 && byte(0) < 0xf0 ? 3
                             : byte(0) >= 0xf0 && byte(0) < 0xf5 ? 4
                                                                 : 0;
  if (length == 0 || length > text.size()) return 0;
  for (std::size_t n = 1; n < length; ++n)
    if ((byte(n) & 0xc0) != 0x80) return 0;
  // Longer than needed, surrogates, beyond the last character.
  if (length == 3 && ((byte(0) == 0xe0 && byte(1) < 0xa0) || (byte(0) == 0xed && byte(1) > 0x9f)))
    return 0;
  if (length == 4 && ((byte(0) == 0xf0 && byte(1) < 0x90) || (byte(0) == 0xf4 && byte(1) > 0x8f)))
    return 0;
  return length;
}

} // namespace

std::string mxAttribute(const std::string& text)
{
  std::string result = "\"";
  for (std::size_t at = 0; at < text.size();) {
    const char c = text[at];
    const std::size_t length = characterLength(std::string_view(text).substr(at));
    const auto byte = static_cast<unsigned char>(c);
    if (c == '&')
      result += "&amp;";
    else if (c == '<')
      result += "&lt;";
    else if (c == '"')
      result += "&quot;";
    else if (c == '\t' || c == '\n' || c == '\r')
      result += "&#" + std::to_string(static_cast<int>(c)) + ";";
    else if (length == 1 && byte < 0x20)
      result += '_';
    else if (length > 0)
      result += text.substr(at, length);
    else
      result += {static_cast<char>(0xc0 | byte >> 6), static_cast<char>(0x80 | (byte & 0x3f))};
    at += std::max<std::size_t>(length, 1);
  }
  return result + '"';
}

MxOutputArray mxJoined(std::vector<MxOutputArray> parts)
{
  if (parts.size() == 1) return std::move(parts[0]);
  std::vector<std::size_t> starts{0};
  for (const MxOutputArray& part : parts)
    starts.push_back(starts.back() + part.count);
  MxOutputArray whole{parts[0].name, parts[0].type, parts[0].components, starts.back(), {}};
  whole.fill = [parts = std::move(parts), starts = std::move(starts),
                width = scalarSize(whole.type)](std::size_t first, std::size_t last,
                                                std::byte* to) {
    // The last part that starts there: parts before it may be empty.
    auto part = static_cast<std::size_t>(std::upper_bound(starts.begin(), starts.end(), first) -
                                         starts.begin()) -
                1;
    for (; first < last; ++part) {
      const std::size_t end = std::min(last, starts[part + 1]);
      if (end > first) parts[part].fill(first - starts[part], end - starts[part], to);
      to += (end - first) * width;
      first = end;
    }
  };
  return whole;
}

MxVtkXmlWriter::MxVtkXmlWriter(const std::string& path, const std::string& type,
                               const MbSaveOptions& options)
try : m_path(path), m_file(path), m_compress(options.compress), m_parallel(options.parallel) {
  m_text = "<?xml version=\"1.0\"?>\n";
  const bool little = std::endian::native == std::endian::little;
  open("VTKFile type=\"" + type + "\" version=\"1.0\" byte_order=\"" +
       (little ? "LittleEndian" : "BigEndian") + "\" header_type=\"UInt64\"" +
       (m_compress ? " compressor=\"vtkZLibDataCompressor\"" : ""));
} catch (const MxWriteError& error) {
  throw MbMeshFileError(path, "", error.getProblem());
}

void MxVtkXmlWriter::indent()
{
  m_text.append(2 * m_open.size(), ' ');
}

void MxVtkXmlWriter::open(const std::string& tag)
{
  indent();
  m_text += "<" + tag + ">\n";
  m_open.push_back(tag.substr(0, tag.find(' ')));
}

void MxVtkXmlWriter::close()
{
  const std::string name = m_open.back();
  m_open.pop_back();
  indent();
  m_text += "</" + name + ">\n";
}

void MxVtkXmlWriter::add(MxOutputArray array)
{
  indent();
  m_text += std::string("<DataArray type=\"") + typeName(array.type) +
            "\" Name=" + mxAttribute(array.name) + " NumberOfComponents=\"" +
            std::to_string(array.components) + "\"";
  if (m_open.back() == "FieldData")
    m_text += " NumberOfTuples=\"" + std::to_string(array.count / array.components) + "\"";
  m_text += " format=\"appended\" offset=\"";
  m_arrays.push_back({std::move(array), m_text.size()});
  m_text += "\"/>" + std::string(kOffsetDigits, ' ') + "\n";
}

void MxVtkXmlWriter::finish()
{
  try {
    writeAll();
  } catch (const MxWriteError& error) {
    throw MbMeshFileError(m_path, "", error.getProblem());
  }
}

void MxVtkXmlWriter::writeAll()
{
  while (m_open.size() > 1)
    close();
  m_text += "  <AppendedData encoding=\"raw\">\n   _";
  const std::size_t textSize = m_text.size();
  m_file.write(m_text.data(), textSize);
  for (const Placed& placed : m_arrays) {
    // Numbers that lie at a multiple of their size can be used in a mapped file.
    constexpr char kNothing[8] = {};
    m_file.write(kNothing, -m_file.position() % sizeof(std::uint64_t));
    const std::string offset = std::to_string(m_file.position() - textSize) + "\"/>";
    writeArray(placed.array);
    m_file.writeAt(placed.offsetAt, offset.data(), offset.size());
  }
  constexpr std::string_view kEnd = "\n  </AppendedData>\n</VTKFile>\n";
  m_file.write(kEnd.data(), kEnd.size());
  m_file.commit();
}

void MxVtkXmlWriter::writeArray(const MxOutputArray& array)
{
  using Word = std::uint64_t;
  const std::size_t width = scalarSize(array.type), bytes = array.count * width;
  const std::size_t perBlock = kBlockBytes / width, blocks = blockCount(array.count, perBlock);
  std::vector<Word> header{bytes};
  if (m_compress) header = {blocks, kBlockBytes, bytes % kBlockBytes};
  if (m_compress) header.resize(header.size() + blocks);
  const std::size_t headerAt = m_file.position();
  m_file.write(header.data(), header.size() * sizeof(Word));

  struct Block
  {
    std::vector<std::byte> raw, packed;
    std::size_t size = 0;
  };
  std::vector<Block> held(std::min(kBlocksHeld, blocks));
  for (std::size_t next = 0; next < blocks; next += held.size()) {
    const std::size_t now = std::min(held.size(), blocks - next);
    forEachTask(m_parallel, now, [&](std::size_t n) {
      Block& block = held[n];
      const std::size_t first = (next + n) * perBlock;
      const std::size_t last = std::min(first + perBlock, array.count);
      block.raw.resize(kBlockBytes);
      block.size = (last - first) * width;
      array.fill(first, last, block.raw.data());
      if (!m_compress) return;
      uLongf packed = compressBound(block.size);
      block.packed.resize(packed);
      // Fails only for want of memory.
      if (compress2(reinterpret_cast<Bytef*>(block.packed.data()), &packed,
                    reinterpret_cast<const Bytef*>(block.raw.data()), block.size,
                    Z_BEST_SPEED) != Z_OK)
        throw std::bad_alloc();
      block.size = packed;
    });
    for (std::size_t n = 0; n < now; ++n) {
      m_file.write((m_compress ? held[n].packed : held[n].raw).data(), held[n].size);
      if (m_compress) header[3 + next + n] = held[n].size;
    }
  }
  if (m_compress) m_file.writeAt(headerAt, header.data(), header.size() * sizeof(Word));
}
