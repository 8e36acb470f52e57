#include <velmoview/Info.h>

#include <velmo/extraction/interfaces/MxMeshKind.h>

#include <algorithm>
#include <charconv>

namespace velmoview {

namespace {

constexpr int kPlaceDigits = 10, kValueDigits = 7;

/// Characters of UTF-8: bytes that do not continue one.
std::size_t widthOf(const std::string& text)
{
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xc0) != 0x80;
  }));
}

std::string cellsText(const Model& model)
{
  std::string text;
  for (const std::size_t count : model.dims)
    text += std::to_string(count) + " x ";
  if (!text.empty()) text.replace(text.size() - 3, 3, model.dims.size() > 1 ? " = " : "");
  if (model.dims.size() != 1) text += std::to_string(model.cells);
  if (model.deadCells) text += ", " + std::to_string(model.deadCells) + " of them dead";
  return text;
}

std::string shapesText(const Model& model)
{
  std::string text;
  for (const auto& [shape, count] : model.shapes)
    text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + shape;
  return text;
}

/// Rows of one array: its components below it when it has several.
void addArray(const ModelArray& array, std::vector<std::vector<std::string>>& rows)
{
  const auto add = [&](std::vector<std::string> row, const ValueRange* range) {
    if (range) {
      const bool isEmpty = range->isEmpty();
      row.push_back(isEmpty ? "-" : shownNumber(range->min, kValueDigits));
      row.push_back(isEmpty ? "-" : shownNumber(range->max, kValueDigits));
      row.push_back(std::to_string(range->nanCount));
      row.push_back(std::to_string(range->infiniteCount));
    }
    rows.push_back(std::move(row));
  };
  const bool isPlain = array.components == 1 && !array.ranges.empty();
  add({shownName(array.name), array.binding == MiDataBinding::PerNode ? "node" : "cell",
       scalarName(array.values.type), std::to_string(array.components)},
      isPlain ? &array.ranges[0] : nullptr);
  if (isPlain) return;
  constexpr const char* kParts[] = {"  x", "  y", "  z", "  length"};
  for (std::size_t c = 0; c < array.ranges.size(); ++c)
    add({array.components == 3 ? kParts[c] : "  " + std::to_string(c), "", "", ""},
        &array.ranges[c]);
}

} // namespace

const char* scalarName(MiScalarType type)
{
  constexpr const char* kNames[] = {"float32", "float64", "int8",   "uint8", "int16",
                                    "uint16",  "int32",   "uint32", "int64", "uint64"};
  return kNames[static_cast<std::size_t>(type)];
}

std::string shownNumber(double value, int digits)
{
  char text[40];
  const auto end =
      std::to_chars(text, text + sizeof text, value, std::chars_format::general, digits).ptr;
  return {text, end};
}

std::string shownName(const std::string& name)
{
  std::string text = name;
  for (char& c : text)
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '?';
  return text;
}

std::string textTable(const std::vector<std::vector<std::string>>& rows,
                      const std::vector<bool>& right, const std::string& indent)
{
  std::vector<std::size_t> widths(right.size(), 0);
  for (const auto& row : rows)
    for (std::size_t c = 0; c < row.size(); ++c)
      widths[c] = std::max(widths[c], widthOf(row[c]));
  std::string text;
  for (const auto& row : rows) {
    std::string line = indent;
    for (std::size_t c = 0; c < row.size(); ++c) {
      const std::string gap(widths[c] - widthOf(row[c]), ' ');
      line += (c ? "  " : "") + (right[c] ? gap + row[c] : row[c] + gap);
    }
    text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
  }
  return text;
}

std::string infoText(const Model& model)
{
  std::vector<std::vector<std::string>> facts;
  const auto add = [&](const char* what, const std::string& text) {
    if (!text.empty()) facts.push_back({what, text});
  };
  add("format", model.format);
  add("title", shownName(model.title));
  add("kind", meshTypeName(model.kind));
  add("cells", cellsText(model));
  add("shapes", shapesText(model));
  add("nodes", std::to_string(model.nodes));
  constexpr const char* kAxes[] = {"x", "y", "z"};
  for (std::size_t axis = 0; axis < 3; ++axis)
    if (model.bounds[2 * axis] <= model.bounds[2 * axis + 1])
      add(kAxes[axis], shownNumber(model.bounds[2 * axis], kPlaceDigits) + " .. " +
                           shownNumber(model.bounds[2 * axis + 1], kPlaceDigits));
  if (model.time) add("time", shownNumber(*model.time, kPlaceDigits));
  for (const std::string& note : model.notes)
    add("note", note);
  for (const std::string& remark : model.remarks)
    add("remark", remark);
  std::string text = model.source + "\n" + textTable(facts, {false, false}, "  ");
  if (model.arrays.empty()) return text + "\n  no arrays\n";

  std::vector<std::vector<std::string>> rows{
      {"array", "per", "type", "comp.", "min", "max", "NaN", "inf"}};
  for (const ModelArray& array : model.arrays)
    addArray(array, rows);
  return text + "\n" + textTable(rows, {false, false, false, true, true, true, true, true}, "  ");
}

} // namespace velmoview
