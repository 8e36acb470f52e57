#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace velmoview {

enum ExitCode
{
  kDone = 0,
  kBadInput = 1,
  kBadUsage = 2,
  kNotClean = 3 ///< under --strict: a warning, or a representation that drew nothing
};

/// The whole program. May be called again and again in one process.
/// @param arguments  without the program's name
/// @return an ExitCode
int run(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

} // namespace velmoview
