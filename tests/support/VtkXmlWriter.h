#pragma once

#include <tests/io/TestFiles.h>

#include <gtest/gtest.h>

#include <zlib.h>
#ifdef VELMO_HAS_LZ4
#include <lz4.h>
#endif
#ifdef VELMO_HAS_LZMA
#include <lzma.h>
#endif

inline std::string base64(const std::string& bytes)
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

enum class Packing
{
  None,
  Zlib,
  Lz4,
  Lzma
};

/// The packings that this build can make and read.
inline std::vector<Packing> packings()
{
  std::vector<Packing> all{Packing::None, Packing::Zlib};
#ifdef VELMO_HAS_LZ4
  all.push_back(Packing::Lz4);
#endif
#ifdef VELMO_HAS_LZMA
  all.push_back(Packing::Lzma);
#endif
  return all;
}

inline std::string packedBlock(Packing packing, const std::string& part)
{
  std::string to(part.size() * 2 + 1024, ' ');
  std::size_t size = 0;
  if (packing == Packing::Zlib) {
    uLongf room = to.size();
    compress(reinterpret_cast<Bytef*>(to.data()), &room,
             reinterpret_cast<const Bytef*>(part.data()), part.size());
    size = room;
  }
#ifdef VELMO_HAS_LZ4
  if (packing == Packing::Lz4)
    size = static_cast<std::size_t>(LZ4_compress_default(
        part.data(), to.data(), static_cast<int>(part.size()), static_cast<int>(to.size())));
#endif
#ifdef VELMO_HAS_LZMA
  if (packing == Packing::Lzma)
    lzma_easy_buffer_encode(0, LZMA_CHECK_CRC32, nullptr,
                            reinterpret_cast<const std::uint8_t*>(part.data()), part.size(),
                            reinterpret_cast<std::uint8_t*>(to.data()), &size, to.size());
#endif
  return to.substr(0, size);
}

/// Writes files of one data set in every encoding.
struct VtkXmlWriter
{
  Form form = Form::Ascii;
  Packing packing = Packing::None;
  bool longHeaders = false, bigEndian = false;
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
    if (packing == Packing::None) return spell(header({bytes.size()}) + bytes);
    std::vector<std::uint64_t> words{0, blockBytes, bytes.size() % blockBytes};
    std::string blocks;
    for (std::size_t at = 0; at < bytes.size(); at += blockBytes) {
      const std::string part = packedBlock(packing, bytes.substr(at, blockBytes));
      blocks += part;
      words.push_back(part.size());
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
  /// @param attributes  of the element of the data set
  std::string file(const std::string& dataSet = "UnstructuredGrid",
                   const std::string& attributes = "") const
  {
    constexpr const char* kNames[] = {"", "vtkZLibDataCompressor", "vtkLZ4DataCompressor",
                                      "vtkLZMADataCompressor"};
    std::string text =
        "<?xml version=\"1.0\"?>\n<VTKFile type=\"" + dataSet + "\" version=\"1.0\" byte_order=\"";
    text += bigEndian ? "BigEndian" : "LittleEndian";
    if (longHeaders) text += "\" header_type=\"UInt64";
    if (packing != Packing::None)
      text += std::string("\" compressor=\"") + kNames[static_cast<int>(packing)];
    text += "\"><" + dataSet + " " + attributes + ">\n" + body + "</" + dataSet + ">\n";
    if (!appended.empty())
      text += std::string("<AppendedData encoding=\"") + (form == Form::Raw ? "raw" : "base64") +
              "\">\n _" + appended + "\n</AppendedData>";
    return text + "</VTKFile>\n";
  }
};

template <class Visit>
void forEachEncoding(const Visit& visit)
{
  for (const Form form : {Form::Ascii, Form::Inline, Form::Raw, Form::Base64})
    for (const Packing packing : packings())
      for (const bool longHeaders : {false, true})
        for (const bool bigEndian : {false, true}) {
          if (form == Form::Ascii && packing != Packing::None) continue;
          SCOPED_TRACE(testing::Message() << "form " << static_cast<int>(form) << " packing "
                                          << static_cast<int>(packing) << " long headers "
                                          << longHeaders << " big endian " << bigEndian);
          visit(VtkXmlWriter{form, packing, longHeaders, bigEndian, 40, {}, {}});
        }
}

inline std::string replaced(std::string text, const std::string& from, const std::string& to)
{
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}
