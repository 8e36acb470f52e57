#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>
#include <velmo/io/MxFileArray.h>
#include <velmo/io/MxFileBytes.h>
#include <velmo/io/MxFileMesh.h>

#include <string>
#include <string_view>

/// Capital letters A to Z made small.
std::string mxLowered(std::string_view word);

/// A name with "%20" and its like decoded.
std::string mxDecodedName(std::string_view word);

/// The words and lists of numbers of a legacy .vtk file, front to back. Every function refuses what
/// does not fit with an MbMeshFileError that names line or byte.
class MxLegacyText
{
protected:
  /// Both are borrowed.
  MxLegacyText(const MxFileBytes& file, const MxReadRequest& request)
      : m_file(file), m_request(request), m_parallel(request.parallel), m_at(file.begin()),
        m_end(file.end())
  {}
  ~MxLegacyText() = default;

  /// Names the line of the last word.
  [[noreturn]] void fail(const std::string& problem) const { m_file.failAtLine(m_word, problem); }

  /// Empty at the end of the file.
  std::string_view word();
  std::string_view wordFor(const char* what);
  /// The next word in small letters.
  std::string nextKeyword() { return mxLowered(word()); }
  /// Without blanks at its end; the file goes on in the next line.
  std::string_view restOfLine();

  std::size_t count(const char* what);
  double number(const char* what);
  MbVec3d numbers3(const char* what);

  /// Refuses a count that the file cannot hold, before anything is allocated or multiplied.
  void checkFits(std::size_t items, std::size_t numbersEach, const std::string& what) const;

  /// A list of a type as the file names it.
  MxFileArray list(std::string_view typeName, std::size_t items, std::size_t numbersEach,
                   const std::string& what);
  /// A list that follows the present line.
  /// @param narrow  reads indices of 64 bits into 32
  MxFileArray list(MiScalarType type, std::size_t total, const std::string& what,
                   bool narrow = false);
  /// The list as mxAsIndices; refuses a type of no whole numbers.
  MxFileArray indices(std::string_view typeName, std::size_t items, const std::string& what,
                      bool narrow);
  /// The bytes of a list that follows the present line; binary files.
  const char* bytes(std::size_t items, std::size_t width, const std::string& what);
  /// Texts, one per line or, in binary files, behind their lengths.
  void skipStrings(std::size_t texts, const std::string& what);

  const MxFileBytes& m_file;
  const MxReadRequest& m_request;
  const bool m_parallel;
  const char* m_at;
  const char* const m_end;
  const char* m_word = nullptr; ///< where the last word began
  bool m_binary = false;

private:
  MxFileArray bits(std::size_t total, const std::string& what);
  const char* take(std::size_t items, std::size_t width, const std::string& what);
  MiScalarType typeOf(std::string_view typeName, const std::string& what) const;
};
