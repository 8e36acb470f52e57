#pragma once

#include <velmo/io/MxFileArray.h>
#include <velmo/io/MxFileBytes.h>

#include <optional>
#include <string>
#include <string_view>

/// One DataArray element of a .vtu file: where its numbers are and how they are written.
struct MxXmlArray
{
  std::string name;
  std::string typeName;             ///< as written
  std::optional<MiScalarType> type; ///< none for a type that is no number
  std::size_t components = 1;
  std::string format;       ///< "ascii", "binary" or "appended"
  std::string offset;       ///< of appended data, as written
  std::string_view content; ///< text inside the element
  std::string place;        ///< the element, for messages
};

/// Reads the numbers of DataArray elements.
class MxXmlArrayReader
{
public:
  MxXmlArrayReader(const MxFileBytes& file, bool parallel) : m_file(file), m_parallel(parallel) {}

  // Attributes of the file.
  bool bigEndian = false;
  bool longHeaders = false; ///< UInt64 in place of UInt32
  std::string compressor;   ///< empty for none
  // The appended block: what follows its underscore.
  std::string_view appended;
  bool appendedBase64 = false;

  /// @param numbers  how many there have to be; none for as many as there are
  /// @param leading  zeros to put before the numbers
  /// @throw MbMeshFileError
  MxFileArray read(const MxXmlArray& array, std::optional<std::size_t> numbers,
                   std::size_t leading = 0) const;

private:
  class Source;
  MxFileArray readText(const MxXmlArray& array, std::optional<std::size_t> numbers,
                       std::size_t leading) const;
  MxFileArray readPlain(const MxXmlArray& array, Source& source, std::optional<std::size_t> numbers,
                        std::size_t leading) const;
  MxFileArray readCompressed(const MxXmlArray& array, Source& source,
                             std::optional<std::size_t> numbers, std::size_t leading) const;
  std::size_t headerWord(const MxXmlArray& array, Source& source) const;
  MxFileArray allocate(const MxXmlArray& array, std::size_t bytes,
                       std::optional<std::size_t> numbers, std::size_t leading) const;

  const MxFileBytes& m_file;
  const bool m_parallel;
};
