#pragma once

#include <velmo/io/MxFileBytes.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// A keyword of an .inp deck with its parameters, and the lines of data behind it.
struct MxInpBlock
{
  std::string name; ///< in capitals, without the '*' and with single blanks
  /// Names in capitals, values as they stand but for quotes.
  std::vector<std::pair<std::string, std::string>> parameters;
  const char* where = nullptr;
  const MxFileBytes* file = nullptr;
  /// The data between comments; each text ends with a line.
  std::vector<std::string_view> data;

  bool has(std::string_view parameter) const { return value(parameter) != nullptr; }
  /// Null when the parameter is missing.
  const std::string* value(std::string_view parameter) const;
  [[noreturn]] void fail(const std::string& problem) const
  {
    file->failAtLine(where, "*" + name + " " + problem);
  }
};

/// Walks through the keywords of an Abaqus or CalculiX deck and of the files that it includes, in
/// their order. A keyword whose data an include divides comes several times.
class MxInpDeck
{
public:
  using Visitor = std::function<void(const MxInpBlock&)>;

  /// @throw MbMeshFileError for an include that cannot be followed, and what `visit` throws
  MxInpDeck(const MxFileBytes& root, const Visitor& visit);

private:
  void scan(const MxFileBytes& file);
  /// Visits the last keyword again, with more data.
  void goOn(const MxFileBytes& file, std::vector<std::string_view> data);

  const Visitor& m_visit;
  std::vector<const MxFileBytes*> m_open;
  std::size_t m_included = 0;
  MxInpBlock m_last;
};

/// Capitals; blanks around the text fall away and those within become single ones.
std::string mxInpName(std::string_view text);

/// The text up to the next comma or the line's end, without blanks around it; moves `where` behind
/// it. `last` tells whether no comma followed.
std::string_view mxInpField(const char*& where, const char* end, bool& last);
