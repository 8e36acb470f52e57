#pragma once

#include <velmo/io/MxFileArray.h>
#include <velmo/io/MxFileBytes.h>

#include <string_view>

/// What separates numbers and words: everything up to the blank, as in the common readers.
inline bool isBlank(char c)
{
  return static_cast<unsigned char>(c) <= ' ';
}

/// Moves `where` past blanks and returns the word that follows; empty at the end.
std::string_view mxNextWord(const char*& where, const char* end);

/// The word in quotes for a message: cut when long, without control characters.
std::string mxQuoted(std::string_view word, char quote = '\'');

/// Reads a number that is the whole of `word`. Besides what C++ writes: a plus sign, nan and inf in
/// any case, numbers too large or too small for T (infinite, zero); for an integer T also "3.0".
/// @return false when the word is no number of the type
template <class T>
bool mxParseNumber(std::string_view word, T& value);

/// Reads a number as mxParseNumber does, and the exponents that Fortran writes with a D.
bool mxParseReal(std::string_view word, double& value);

/// Reads `count` numbers from [where, end) and moves `where` past the last one.
/// @param what  names the list in messages
/// @throw MbMeshFileError for a word that is no number, or when the text ends too early; nothing is
///        allocated for a count that the text cannot hold
MxFileArray mxReadNumbers(const MxFileBytes& file, const char*& where, const char* end,
                          MiScalarType type, std::size_t count, const std::string& what,
                          bool parallel);

/// The number of words in [begin, end).
std::size_t mxCountWords(const char* begin, const char* end, bool parallel);
