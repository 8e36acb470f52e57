#include <velmoview/Values.h>

#include <charconv>
#include <cmath>

namespace velmoview {

namespace {

struct NamedColor
{
  const char* name;
  std::array<float, 3> color;
};
constexpr NamedColor kColors[] = {{"white", {1, 1, 1}},
                                  {"black", {0, 0, 0}},
                                  {"light", {0.965f, 0.970f, 0.976f}},
                                  {"dark", {0.11f, 0.12f, 0.14f}},
                                  {"grey", {0.5f, 0.5f, 0.5f}},
                                  {"gray", {0.5f, 0.5f, 0.5f}},
                                  {"red", {0.8f, 0.15f, 0.13f}},
                                  {"green", {0.15f, 0.55f, 0.25f}},
                                  {"blue", {0.13f, 0.35f, 0.7f}}};

/// The whole of `text` as a number; false when it is not one.
template <class T>
bool readWhole(const std::string& text, T& value)
{
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc{} && end == text.data() + text.size() && !text.empty();
}

bool readHexColor(const std::string& text, std::array<float, 3>& color)
{
  if (text.size() != 7 || text[0] != '#') return false;
  std::uint32_t packed = 0;
  const auto [end, error] = std::from_chars(text.data() + 1, text.data() + 7, packed, 16);
  if (error != std::errc{} || end != text.data() + 7) return false;
  for (int c = 0; c < 3; ++c)
    color[c] = static_cast<float>((packed >> (16 - 8 * c)) & 255u) / 255.0f;
  return true;
}

} // namespace

void refuseValue(const std::string& option, const std::string& takes, const std::string& why)
{
  throw UsageError(option + " takes " + takes + ": " + why);
}

std::vector<std::string> splitText(const std::string& text, char separator)
{
  std::vector<std::string> parts(1);
  for (const char c : text) {
    if (c == separator)
      parts.emplace_back();
    else
      parts.back() += c;
  }
  return parts;
}

std::vector<double> readNumbers(const std::string& option, const std::string& takes,
                                const std::string& text, std::size_t least, std::size_t most)
{
  std::vector<double> numbers;
  for (const std::string& part : splitText(text, ',')) {
    double value = 0;
    if (!readWhole(part, value) || !std::isfinite(value))
      refuseValue(option, takes, "'" + part + "' is not a finite number");
    numbers.push_back(value);
  }
  if (numbers.size() < least || numbers.size() > most)
    refuseValue(option, takes, "'" + text + "' holds " + std::to_string(numbers.size()));
  return numbers;
}

std::vector<std::uint32_t> readCounts(const std::string& option, const std::string& takes,
                                      const std::string& text, char separator, std::size_t least,
                                      std::size_t most, std::uint32_t low, std::uint32_t high)
{
  std::vector<std::uint32_t> counts;
  for (const std::string& part : splitText(text, separator)) {
    std::uint32_t value = 0;
    if (!readWhole(part, value)) refuseValue(option, takes, "'" + part + "' is not a whole number");
    if (value < low || value > high)
      refuseValue(option, takes,
                  part + " is not between " + std::to_string(low) + " and " + std::to_string(high));
    counts.push_back(value);
  }
  if (counts.size() < least || counts.size() > most)
    refuseValue(option, takes, "'" + text + "' holds " + std::to_string(counts.size()));
  return counts;
}

ArrayName readArrayName(const std::string& option, const std::string& takes,
                        const std::string& text)
{
  ArrayName array{text, {}};
  const auto cut = [&](const std::string& suffix, MiDataBinding binding) {
    if (text.size() <= suffix.size() || !text.ends_with(suffix)) return;
    array = {text.substr(0, text.size() - suffix.size()), binding};
  };
  cut("@node", MiDataBinding::PerNode);
  cut("@cell", MiDataBinding::PerCell);
  if (array.name.empty()) refuseValue(option, takes, "the name is empty");
  return array;
}

std::array<float, 3> readColor(const std::string& option, const std::string& takes,
                               const std::string& text)
{
  for (const NamedColor& named : kColors) {
    if (text == named.name) return named.color;
  }
  std::array<float, 3> color{};
  if (readHexColor(text, color)) return color;
  if (text.find(',') == std::string::npos)
    refuseValue(option, takes, "'" + text + "' is not a colour");
  const std::vector<double> numbers = readNumbers(option, takes, text, 3, 3);
  for (std::size_t c = 0; c < 3; ++c) {
    if (numbers[c] < 0 || numbers[c] > 1)
      refuseValue(option, takes, "the numbers of '" + text + "' are not between 0 and 1");
    color[c] = static_cast<float>(numbers[c]);
  }
  return color;
}

} // namespace velmoview
