#pragma once

#include <velmo/io/MxFileArray.h>
#include <velmo/io/MxFileBytes.h>

#include <string>
#include <string_view>

/// The words and lists of numbers of a Gmsh file, text or binary, front to back. Every function
/// refuses what does not fit with an MbMeshFileError that names line or byte.
class MxMshInput
{
public:
  MxMshInput(const MxFileBytes& file, bool parallel)
      : m_file(file), m_parallel(parallel), m_at(file.begin()), m_end(file.end())
  {}

  /// Reads the section $MeshFormat, which comes first.
  /// @throw MbMeshFileError for a version other than 2.x and 4.1
  void readFormat();
  bool isVersion4() const { return m_version4; }
  bool isBinary() const { return m_binary; }

  /// The name of the next section without its $; empty at the end of the file.
  std::string_view nextSection();
  /// Reads "$End..." of a section.
  void endSection(std::string_view name);
  /// Goes on behind "$End..." of a section.
  void skipSection(std::string_view name);

  const char* getPlace() const { return m_at; }
  void setPlace(const char* place) { m_at = place; }
  std::size_t getLeft() const { return static_cast<std::size_t>(m_end - m_at); }

  /// Names the place reached: a line of text, a byte of binary data.
  [[noreturn]] void fail(const std::string& problem) const;

  /// The rest of a line of text, without blanks around it.
  std::string_view line();
  /// A whole number that stands as text in binary files, too.
  std::int64_t textNumber(const char* what);
  double textReal(const char* what);
  /// A number of 32 bits in binary files.
  std::int64_t number(const char* what);
  /// A number as wide as the writer's memory in binary files.
  std::int64_t wideNumber(const char* what);
  /// The same, refused when negative or when the items, each of at least so many numbers of text
  /// or bytes of binary data, do not fit into the rest of the file.
  std::size_t wideCount(const char* what, std::size_t numbersEach, std::size_t bytesEach);
  std::size_t checkedCount(std::int64_t count, const char* what, std::size_t numbersEach,
                           std::size_t bytesEach) const;
  double real(const char* what);

  /// Whole numbers as 64-bit ones.
  MxFileArray numbers(std::size_t count, const char* what);
  MxFileArray wideNumbers(std::size_t count, const char* what);
  MxFileArray reals(std::size_t count, const char* what);

  /// Steps over bytes and returns the first.
  const char* take(std::size_t count, std::size_t width, const char* what);
  /// Numbers of a type at a place taken.
  void copy(std::byte* to, const char* from, std::size_t count, std::size_t width) const;

private:
  template <class T>
  T binary(const char* what);
  MxFileArray integers(MiScalarType stored, std::size_t count, const char* what);
  void endLine();

  const MxFileBytes& m_file;
  const bool m_parallel;
  const char* m_at;
  const char* const m_end;
  bool m_binary = false, m_swap = false, m_version4 = false;
  std::size_t m_wide = 8;
};
