#pragma once

#include <velmo/io/MxFileArray.h>
#include <velmo/io/MxFileBytes.h>
#include <velmo/io/MxTextPieces.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// A keyword of a deck and the text behind it, up to the '/' that ends it.
struct MxDeckSection
{
  std::string_view name;
  std::string_view text;
  const MxFileBytes* file = nullptr;

  [[noreturn]] void fail(const std::string& problem) const
  {
    file->failAtLine(name.data(), std::string(name) + " " + problem);
  }
};

/// The keywords of a corner-point deck (.grdecl) with those of the files that it includes, in
/// their order. Keywords without data, and those of several records, are left out.
class MxGrdeclDeck
{
public:
  /// @throw MbMeshFileError for a keyword that is not ended, or an include that cannot be followed
  explicit MxGrdeclDeck(const MxFileBytes& root);

  const std::vector<MxDeckSection>& getSections() const { return m_sections; }
  /// Keywords that change a grid or its values in ways that are not carried out.
  const std::vector<std::string>& getLeftOut() const { return m_leftOut; }

private:
  void scan(const MxFileBytes& file);
  void include(const MxDeckSection& section);

  std::vector<const MxFileBytes*> m_open; ///< the file being read and those that include it
  std::vector<std::unique_ptr<MxFileBytes>> m_files;
  std::vector<MxDeckSection> m_sections;
  std::vector<std::string> m_leftOut;
};

/// The word behind blanks and comments; empty at the end.
std::string_view mxNextDeckWord(const char*& where, const char* end);

/// The numbers of a section, counted and not yet read.
struct MxDeckNumbers
{
  struct Piece
  {
    std::string_view text;
    std::size_t first = 0, count = 0;
    bool careful = false; ///< holds more than plain numbers: repeats or comments
  };
  std::size_t count = 0; ///< repeats multiplied out; stops at the largest number
  bool whole = true;     ///< no number has a decimal point or an exponent
  bool defaults = false; ///< some are left to their default
  std::vector<Piece> pieces;
};

/// Counts numbers without looking whether they are any.
/// @throw MbMeshFileError for a repeat count that is none
MxDeckNumbers mxCountDeckNumbers(const MxDeckSection& section, bool parallel);

/// Reads the numbers that have been counted.
/// @param type  Int32 or Float64
/// @param standard  stands for numbers left to their default
/// @param fault  set to the first word that is no number of the type
/// @throw std::bad_alloc
MxFileArray mxReadDeckNumbers(const MxDeckSection& section, const MxDeckNumbers& numbers,
                              MiScalarType type, double standard, bool parallel,
                              MxTextFault& fault);
