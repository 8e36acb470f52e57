#pragma once

#include <velmo/io/MxCodec.h>
#include <velmo/io/MxFileArray.h>
#include <velmo/io/MxFileBytes.h>
#include <velmo/io/MxFileMesh.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

class MxBase64Stream;

/// One DataArray element of a file: where its numbers are and how they are written.
struct MxXmlArray
{
  std::string name;
  std::string typeName;             ///< as written
  std::optional<MiScalarType> type; ///< none for a type that is no number
  std::size_t components = 1;
  std::string format;             ///< "ascii", "binary" or "appended"
  std::string offset;             ///< of appended data, as written
  std::vector<std::size_t> steps; ///< the time steps that it is for; none for all
  std::string_view content;       ///< text inside the element
  const char* tag = nullptr;      ///< where the element begins, for messages
};

/// Reads the numbers of DataArray elements.
class MxXmlArrayReader
{
public:
  /// Both are borrowed.
  MxXmlArrayReader(const MxFileBytes& file, const MxReadRequest& request)
      : m_file(file), m_request(request)
  {}

  // Attributes of the file.
  bool bigEndian = false;
  bool longHeaders = false; ///< UInt64 in place of UInt32
  MxCodec codec = MxCodec::None;
  // The appended block: what follows its underscore.
  std::string_view appended;
  bool appendedBase64 = false;

  /// What the caller knows and wants.
  struct Wish
  {
    std::optional<std::size_t> numbers = {}; ///< how many there have to be; none for all there are
    std::size_t leading = 0;                 ///< zeros to put before the numbers
    bool asIndices = false;                  ///< as of mxAsIndices
    bool narrow = false;                     ///< indices: in 32 bits, what does not fit as -1
  };
  /// @throw MbMeshFileError
  MxFileArray read(const MxXmlArray& array, const Wish& wish) const;

  /// The first of `count` numbers where each is the one before it plus `step`; none where they are
  /// not, or stand in the file in a way in which finding out would cost as much as reading.
  /// @throw MbMeshFileError for damage
  std::optional<std::int64_t> firstOfEven(const MxXmlArray& array, std::size_t count,
                                          std::int64_t step) const;

  /// Names the element and its line.
  [[noreturn]] void fail(const MxXmlArray& array, const std::string& problem) const;

private:
  class Source;
  class Target;
  struct Blocks;
  Source open(const MxXmlArray& array) const;
  Blocks openBlocks(const MxXmlArray& array, Source& source, MxArray<std::byte>& room,
                    const Wish& wish) const;
  [[noreturn]] void failDamaged(const MxXmlArray& array, const std::string& what) const;
  MxFileArray readText(const MxXmlArray& array, const Wish& wish) const;
  MxFileArray readPlain(const MxXmlArray& array, Source& source, const Wish& wish) const;
  MxFileArray readPacked(const MxXmlArray& array, Source& source, const Wish& wish) const;
  std::size_t headerWord(const MxXmlArray& array, Source& source) const;
  void checkSize(const MxXmlArray& array, std::size_t bytes, const Wish& wish) const;

  const MxFileBytes& m_file;
  const MxReadRequest& m_request;
};
