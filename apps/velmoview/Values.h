#pragma once

#include <velmoview/Options.h>

#include <array>
#include <string>
#include <vector>

/// Readers of option values. Each throws UsageError with a sentence that names the option and what
/// it takes.
namespace velmoview {

/// The parts of `text` between the separators; empty parts are kept.
std::vector<std::string> splitText(const std::string& text, char separator);

/// Finite numbers separated by commas, `least` to `most` of them.
std::vector<double> readNumbers(const std::string& option, const std::string& takes,
                                const std::string& text, std::size_t least, std::size_t most);

/// Whole numbers in [low, high] separated by `separator`, `least` to `most` of them.
std::vector<std::uint32_t> readCounts(const std::string& option, const std::string& takes,
                                      const std::string& text, char separator, std::size_t least,
                                      std::size_t most, std::uint32_t low, std::uint32_t high);

/// NAME, NAME@node or NAME@cell. A name may hold an @ of its own.
ArrayName readArrayName(const std::string& option, const std::string& takes,
                        const std::string& text);

/// #RRGGBB, R,G,B with numbers from 0 to 1, or one of a few names.
std::array<float, 3> readColor(const std::string& option, const std::string& takes,
                               const std::string& text);

[[noreturn]] void refuseValue(const std::string& option, const std::string& takes,
                              const std::string& why);

} // namespace velmoview
