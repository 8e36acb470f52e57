#include <velmoview/Options.h>

#include <velmoview/representations/Representation.h>
#include <velmoview/Values.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <limits>

namespace velmoview {

namespace {

struct OptionRow;
using Reader = void (*)(const OptionRow& row, const std::string& value, Options& options);

/// One option: its name, what it takes (empty for a switch), what it does.
struct OptionRow
{
  const char* name;
  const char* takes;
  const char* help;
  Reader read;
};

constexpr std::uint32_t kMaxCount = std::numeric_limits<std::uint32_t>::max();
/// The largest upper bound: the library reads it as "one more than this".
constexpr std::uint32_t kMaxCellIndex = kMaxCount - 1;
/// Pixels along a side of the picture.
constexpr std::uint32_t kMaxSize = 8192;

template <auto Member>
void readText(const OptionRow& row, const std::string& value, Options& options)
{
  if (value.empty()) refuseValue(row.name, row.takes, "it is empty");
  options.*Member = value;
}

template <auto Member, bool Value>
void readSwitch(const OptionRow&, const std::string&, Options& options)
{
  options.*Member = Value;
}

template <auto Member, std::uint32_t Low, std::uint32_t High>
void readCount(const OptionRow& row, const std::string& value, Options& options)
{
  options.*Member =
      static_cast<int>(readCounts(row.name, row.takes, value, ',', 1, 1, Low, High)[0]);
}

void readIjk(const OptionRow& row, const std::string& value, Options& options)
{
  const auto n = readCounts(row.name, row.takes, value, ',', 3, 3, 1, kMaxCellIndex);
  options.ijk = {n[0], n[1], n[2]};
}

void readCells(const OptionRow& row, const std::string& value, Options& options)
{
  const std::size_t equals = value.rfind('=');
  if (equals == std::string::npos) refuseValue(row.name, row.takes, "there is no '='");
  const auto bounds = readNumbers(row.name, row.takes, value.substr(equals + 1), 2, 2);
  if (bounds[0] > bounds[1]) refuseValue(row.name, row.takes, "MIN is above MAX");
  options.cells.push_back(
      {readArrayName(row.name, row.takes, value.substr(0, equals)), bounds[0], bounds[1]});
}

void readCellRange(const OptionRow& row, const std::string& value, Options& options)
{
  const auto n = readCounts(row.name, row.takes, value, ',', 2, 6, 0, kMaxCellIndex);
  if (n.size() != 2 && n.size() != 6)
    refuseValue(row.name, row.takes, "'" + value + "' holds " + std::to_string(n.size()));
  const auto middle = n.begin() + static_cast<std::ptrdiff_t>(n.size() / 2);
  CellRange range{{n.begin(), middle}, {middle, n.end()}};
  for (std::size_t axis = 0; axis < range.lower.size(); ++axis) {
    if (range.lower[axis] > range.upper[axis])
      refuseValue(row.name, row.takes, "the lower bound is above the upper one");
  }
  options.cellRange = std::move(range);
}

void readPick(const OptionRow& row, const std::string& value, Options& options)
{
  const auto pixel = readCounts(row.name, row.takes, value, ',', 2, 2, 0, kMaxSize - 1);
  options.picks.push_back({static_cast<int>(pixel[0]), static_cast<int>(pixel[1])});
}

void readColorBy(const OptionRow& row, const std::string& value, Options& options)
{
  options.colorBy = readArrayName(row.name, row.takes, value);
}

void readRange(const OptionRow& row, const std::string& value, Options& options)
{
  const auto bounds = readNumbers(row.name, row.takes, value, 2, 2);
  if (bounds[0] >= bounds[1]) refuseValue(row.name, row.takes, "MIN is not below MAX");
  options.range = {bounds[0], bounds[1]};
}

void readOpacity(const OptionRow& row, const std::string& value, Options& options)
{
  options.opacity = readNumbers(row.name, row.takes, value, 1, 1)[0];
  if (options.opacity < 0 || options.opacity > 1)
    refuseValue(row.name, row.takes, value + " is not between 0 and 1");
}

void readFading(const OptionRow& row, const std::string& value, Options& options)
{
  options.fading = readNumbers(row.name, row.takes, value, 1, 1)[0];
  if (options.fading <= 0 || options.fading > 10000)
    refuseValue(row.name, row.takes, value + " is not between 0 and 10000");
}

void readSize(const OptionRow& row, const std::string& value, Options& options)
{
  const auto size = readCounts(row.name, row.takes, value, 'x', 2, 2, 1, kMaxSize);
  options.size = {static_cast<int>(size[0]), static_cast<int>(size[1])};
}

void readView(const OptionRow& row, const std::string& value, Options& options)
{
  const auto v = readNumbers(row.name, row.takes, value, 3, 3);
  if (v[0] == 0 && v[1] == 0 && v[2] == 0)
    refuseValue(row.name, row.takes, "0,0,0 has no direction");
  options.view = {v[0], v[1], v[2]};
}

void readBackground(const OptionRow& row, const std::string& value, Options& options)
{
  options.background = readColor(row.name, row.takes, value);
}

void readSaveMesh(const OptionRow& row, const std::string& value, Options& options)
{
  const std::string_view end =
      std::string_view(value).substr(value.size() - std::min<std::size_t>(value.size(), 4));
  constexpr std::string_view kEnds[] = {".vtu", ".vtp", ".vti", ".vtr", ".vts"};
  if (std::find(std::begin(kEnds), std::end(kEnds), end) == std::end(kEnds))
    refuseValue(row.name, row.takes, "'" + value + "' has none of these suffixes");
  options.saveMesh = value;
}

/// Pictures are PNG files; devices and pipes have names of all kinds.
void readOutput(const OptionRow& row, const std::string& value, Options& options)
{
  namespace fs = std::filesystem;
  std::string end = value.substr(value.size() - std::min<std::size_t>(value.size(), 4));
  for (char& c : end)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  std::error_code ignored;
  const fs::file_status status = fs::status(value, ignored);
  const bool isSpecial =
      value == "-" || value.starts_with("/dev/std") || value.starts_with("/dev/fd/") ||
      (fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status));
  if (end != ".png" && !isSpecial)
    refuseValue(row.name, row.takes,
                "'" + value + "' does not end in .png, the one format of pictures");
  options.output = value;
}

void readTime(const OptionRow& row, const std::string& value, Options& options)
{
  options.time = readNumbers(row.name, row.takes, value, 1, 1)[0];
}

void readNanColor(const OptionRow& row, const std::string& value, Options& options)
{
  options.nanColor = readColor(row.name, row.takes, value);
}

void readLegendTitle(const OptionRow&, const std::string& value, Options& options)
{
  options.legendTitle = value; // an empty one is none
}

void readLegendPosition(const OptionRow& row, const std::string& value, Options& options)
{
  constexpr std::pair<const char*, LegendPosition> kPositions[] = {
      {"right", LegendPosition::Right},
      {"left", LegendPosition::Left},
      {"bottom", LegendPosition::Bottom},
      {"top", LegendPosition::Top}};
  for (const auto& [name, position] : kPositions) {
    if (value == name) options.legendPosition = position;
  }
  if (!options.legendPosition) refuseValue(row.name, row.takes, "'" + value + "' is none of them");
}

void readProbe(const OptionRow& row, const std::string& value, Options& options)
{
  const auto p = readNumbers(row.name, row.takes, value, 3, 3);
  options.probes.push_back({p[0], p[1], p[2]});
}

constexpr const char* kNoValue = "";
constexpr const char* kColorTakes = "#RRGGBB, R,G,B from 0 to 1, or a name such as white or dark";
/// The heading before which the representations are listed.
constexpr const char* kAfterRepresentations = "Filters";

/// A row without a name is a heading of the help text.
constexpr OptionRow kRows[] = {
    {nullptr, kNoValue, "Input", nullptr},
    {"--demo", "a NAME, or list", "draw a built-in mesh instead of a file",
     readText<&Options::demo>},
    {"--demo-size", "a whole number from 2 to 1000", "cells along the built-in mesh's longest side",
     readCount<&Options::demoSize, 2, 1000>},
    {"--time", "a number", "read the step of a series that is nearest to it", readTime},
    {"--ijk", "NI,NJ,NK", "read hexahedra as a grid of NI x NJ x NK cells", readIjk},
    {"--vertex", kNoValue, "with --ijk: every cell has eight corner points of its own",
     readSwitch<&Options::vertex, true>},
    {"--active", "an ARRAY per cell", "its zeros mark dead cells", readText<&Options::active>},
    {"--shared-nodes", kNoValue,
     "corner-point grids: corners of a pillar that coincide are one node",
     readSwitch<&Options::sharedNodes, true>},

    {nullptr, kNoValue, kAfterRepresentations, nullptr},
    {"--cells", "ARRAY=MIN,MAX", "keep only cells whose value lies between MIN and MAX", readCells},
    {"--cell-range", "MIN,MAX or I,J,K,I,J,K", "keep only cells with these indices, both included",
     readCellRange},
    {"--pick", "PX,PY", "report the cell and the values at this pixel; may be given several times",
     readPick},
    {"--tessellate", "a whole number from 1 to 64",
     "draw quadratic cells with so many parts along every edge",
     readCount<&Options::tessellate, 1, 64>},
    {"--serial", kNoValue, "extract with one thread", readSwitch<&Options::serial, true>},

    {nullptr, kNoValue, "How to draw it", nullptr},
    {"--color-by", "ARRAY, ARRAY@node, ARRAY@cell, or none",
     "colour by an array (a vector by its length)", readColorBy},
    {"--colormap", "a NAME, or list", "the colours", readText<&Options::colormap>},
    {"--range", "MIN,MAX", "values of the first and the last colour", readRange},
    {"--nan-color", kColorTakes, "colour of values that are undefined (NaN)", readNanColor},
    {"--legend", kNoValue, "show the colours with their values",
     readSwitch<&Options::legend, true>},
    {"--legend-title", "a TEXT", "with --legend: what stands over it, instead of the array's name",
     readLegendTitle},
    {"--legend-position", "right, left, bottom or top", "with --legend: where it stands",
     readLegendPosition},
    {"--edges", kNoValue, "draw the edges of the cells", readSwitch<&Options::edges, true>},
    {"--points", kNoValue, "draw the nodes", readSwitch<&Options::points, true>},
    {"--no-faces", kNoValue, "do not draw the faces", readSwitch<&Options::faces, false>},
    {"--levels", "a whole number from 1 to 256", "cut the colours into so many bands",
     readCount<&Options::levels, 1, 256>},
    {"--contouring", kNoValue, "with --levels: bands with sharp borders inside faces",
     readSwitch<&Options::contouring, true>},
    {"--enhanced", kNoValue, "interpolate values, not colours, inside faces of four and more sides",
     readSwitch<&Options::enhanced, true>},
    {"--fading", "a number of PIXELS above 0",
     "with --edges or --points: fade where edges get shorter than this", readFading},
    {"--opacity", "a number from 0 to 1", "how opaque faces are", readOpacity},
    {"--background", kColorTakes, "colour behind the mesh", readBackground},
    {"--size", "WIDTHxHEIGHT, each from 1 to 8192", "of the picture in pixels", readSize},
    {"--view", "X,Y,Z", "the direction in which the camera looks", readView},

    {nullptr, kNoValue, "Output and running", nullptr},
    {"--output", "a FILE.png, or - for the standard output", "write the picture there", readOutput},
    {"--report", "a FILE.json, or - for the standard output",
     "write what was read and drawn as JSON", readText<&Options::report>},
    {"--info", kNoValue, "print what is in the mesh file as a table",
     readSwitch<&Options::info, true>},
    {"--check-mesh", kNoValue, "print what is wrong with the mesh; exit code 3 when something is",
     readSwitch<&Options::checkMesh, true>},
    {"--save", "a PREFIX", "write what each representation extracted: PREFIX-1-skin.vtp and so on",
     readText<&Options::save>},
    {"--save-mesh", "a FILE.vtu; of surfaces and lines also .vtp, of grids .vti, .vtr or .vts",
     "write the mesh there", readSaveMesh},
    {"--compress", kNoValue, "with --save or --save-mesh: smaller files",
     readSwitch<&Options::compress, true>},
    {"--probe", "X,Y,Z", "with --report: the cell at a point and the values there; any number",
     readProbe},
    {"--threads", "a whole number from 1 to 1024", "threads to work with",
     readCount<&Options::threads, 1, 1024>},
    {"--strict", kNoValue, "a warning, or a representation that drew nothing, is exit code 3",
     readSwitch<&Options::strict, true>},
    {"--help", kNoValue, "print this text", readSwitch<&Options::help, true>},
    {"--version", kNoValue, "print the version", readSwitch<&Options::version, true>},
};

const OptionRow* findRow(const std::string& name)
{
  for (const OptionRow& row : kRows) {
    if (row.name && name == row.name) return &row;
  }
  return nullptr;
}

const RepresentationRow* findRepresentation(const std::string& name)
{
  for (const RepresentationRow* row : representationTable()) {
    if (name == row->option) return row;
  }
  return nullptr;
}

/// The representations that the last option asked for; options in brackets belong to them.
struct LastAsked
{
  const RepresentationRow* row = nullptr;
  std::vector<std::shared_ptr<Representation>> what;
};

const OwnOption* findOwn(const RepresentationRow& row, const std::string& name)
{
  for (const OwnOption& option : row.options) {
    if (name == option.name) return &option;
  }
  return nullptr;
}

/// An option of the representation before it; null when it is nobody's.
/// @throw UsageError when it is another one's
const OwnOption* findOwn(const LastAsked& last, const std::string& name)
{
  if (const OwnOption* own = last.row ? findOwn(*last.row, name) : nullptr) return own;
  std::string owners;
  for (const RepresentationRow* row : representationTable()) {
    if (findOwn(*row, name)) owners += std::string(owners.empty() ? "" : " or ") + row->option;
  }
  if (!owners.empty()) throw UsageError(name + " belongs to " + owners + ": put it behind one");
  return nullptr;
}

void checkPicks(const Options& options)
{
  for (const auto& pixel : options.picks) {
    if (pixel[0] < options.size[0] && pixel[1] < options.size[1]) continue;
    throw UsageError(
        "--pick takes PX,PY from 0,0 in the upper left corner: " + std::to_string(pixel[0]) + "," +
        std::to_string(pixel[1]) + " is outside the picture of " + std::to_string(options.size[0]) +
        "x" + std::to_string(options.size[1]));
  }
  if (!options.picks.empty() && options.report.empty())
    throw UsageError("--pick writes into the report; add --report FILE.json, or --report -");
}

void checkColors(const Options& options)
{
  if (options.contouring && options.enhanced)
    throw UsageError("--contouring and --enhanced are two ways to colour inside faces; give one");
  if (options.contouring && options.levels == 0)
    throw UsageError("--contouring takes effect only with --levels N");
  if (options.enhanced && !options.faces)
    throw UsageError("--enhanced colours inside faces, and --no-faces draws none");
  const char* ofLegend = options.legendTitle      ? "--legend-title"
                         : options.legendPosition ? "--legend-position"
                                                  : nullptr;
  if (ofLegend && !options.legend)
    throw UsageError(std::string(ofLegend) + " takes effect only with --legend");
  const char* needsColors = options.levels > 0 ? "--levels"
                            : options.enhanced ? "--enhanced"
                            : options.legend   ? "--legend"
                                               : nullptr;
  const bool none = options.colorBy.name == "none" && !options.colorBy.binding;
  if (needsColors && none)
    throw UsageError(std::string(needsColors) + " takes colours, and --color-by none draws in one");
}

/// Combinations that mean nothing are refused rather than ignored.
void checkTogether(const Options& options)
{
  if (options.vertex && !options.ijk)
    throw UsageError("--vertex takes effect only with --ijk NI,NJ,NK");
  if (!options.file.empty() && !options.demo.empty())
    throw UsageError("--demo " + options.demo + " and the file '" + options.file +
                     "' cannot be drawn at once");
  if (options.demoSize && options.demo.empty())
    throw UsageError("--demo-size takes effect only with --demo NAME");
  if (!options.demo.empty() && (options.ijk || !options.active.empty() || options.sharedNodes))
    throw UsageError(
        "--ijk, --active and --shared-nodes describe a file; --demo knows its own cells");
  if (!options.demo.empty() && options.time)
    throw UsageError("--time chooses a step of a file; --demo has none");
  if (options.serial && options.threads > 1)
    throw UsageError("--serial means one thread, --threads " + std::to_string(options.threads) +
                     " asks for more");
  if (!options.faces && !options.edges && !options.points)
    throw UsageError("--no-faces leaves nothing to draw; add --edges or --points");
  if (options.fading > 0 && !options.edges && !options.points)
    throw UsageError("--fading takes effect only with --edges or --points");
  if (!options.probes.empty() && options.report.empty())
    throw UsageError(
        "--probe answers in the report; add --report FILE.json, or - for the terminal");
  if (options.compress && options.save.empty() && options.saveMesh.empty())
    throw UsageError("--compress takes effect only with --save PREFIX or --save-mesh FILE.vtu");
  for (const auto& [name, isGiven] :
       {std::pair{"--info", options.info}, std::pair{"--check-mesh", options.checkMesh}})
    if (isGiven && options.report == "-")
      throw UsageError(std::string(name) +
                       " and --report - both write to the terminal; write the " +
                       "report into a FILE.json");
  if (options.output == "-") {
    const char* other = options.report == "-" ? "--report -"
                        : options.info        ? "--info"
                        : options.checkMesh   ? "--check-mesh"
                                              : nullptr;
    if (other)
      throw UsageError(std::string("--output - and ") + other +
                       " both write to the standard output; write the picture into a FILE.png");
  }
  checkPicks(options);
  checkColors(options);
}

std::string helpOf(const char* name, const char* takes, const std::string& help)
{
  const std::string left = std::string("  ") + name;
  std::string text = left + std::string(left.size() < 18 ? 18 - left.size() : 1, ' ') + help + "\n";
  if (takes[0]) text.append(18, ' ').append("takes ").append(takes).append("\n");
  return text;
}

std::string helpOfRepresentations()
{
  std::string text = "\nWhat to draw; each may be given several times\n";
  for (const RepresentationRow* row : representationTable()) {
    text += helpOf(row->option, row->takes, row->help);
    for (const OwnOption& own : row->options)
      text += helpOf(own.name, own.takes, std::string(row->option) + ": " + own.help);
  }
  return text;
}

} // namespace

std::string ArrayName::text() const
{
  if (!binding) return name;
  return name + (*binding == MiDataBinding::PerNode ? "@node" : "@cell");
}

Options parseOptions(const std::vector<std::string>& arguments)
{
  Options options;
  LastAsked last;
  bool onlyFiles = false;
  for (std::size_t a = 0; a < arguments.size(); ++a) {
    const std::string& argument = arguments[a];
    if (argument == "--" && !onlyFiles) {
      onlyFiles = true;
      continue;
    }
    if (onlyFiles || !argument.starts_with('-')) {
      if (argument.empty()) throw UsageError("the name of the file is empty");
      if (!options.file.empty())
        throw UsageError("one file at a time: '" + options.file + "' and '" + argument + "'");
      options.file = argument;
      continue;
    }
    // Both "--size 80x60" and "--size=80x60".
    const std::size_t equals = argument.find('=');
    const std::string name = argument.substr(0, equals);
    const OptionRow* row = findRow(name == "-h" ? "--help" : name);
    const RepresentationRow* asked = row ? nullptr : findRepresentation(name);
    const OwnOption* own = row || asked ? nullptr : findOwn(last, name);
    if (!row && !asked && !own)
      throw UsageError("unknown option " + name + "; velmoview --help lists the options");
    const char* takes = row ? row->takes : asked ? asked->takes : own->takes;
    const bool takesValue = takes[0] != 0;
    std::string value;
    if (equals != std::string::npos) {
      if (!takesValue) throw UsageError(name + " takes no value");
      value = argument.substr(equals + 1);
    } else if (takesValue) {
      if (a + 1 == arguments.size()) refuseValue(name, takes, "nothing follows it");
      value = arguments[++a];
    }
    if (row) {
      row->read(*row, value, options);
    } else if (asked) {
      last = {asked, asked->read(*asked, value)};
      for (const auto& what : last.what)
        options.representations.push_back({asked, what});
    } else {
      for (const auto& what : last.what)
        own->read(*own, value, *what);
    }
  }
  if (!options.help && !options.version) checkTogether(options);
  return options;
}

std::vector<std::string> optionNames()
{
  std::vector<std::string> names;
  for (const OptionRow& row : kRows)
    if (row.name) names.emplace_back(row.name);
  for (const RepresentationRow* row : representationTable()) {
    names.emplace_back(row->option);
    for (const OwnOption& own : row->options)
      names.emplace_back(own.name);
  }
  return names;
}

std::string helpText()
{
  std::string text =
      "Draws meshes and the data on them.\n\n"
      "  velmoview FILE | --demo NAME [options] --output PICTURE.png\n\n"
      "FILE is a VTK file (legacy .vtk; .vtu .vts .vtr .vti .vtp, their parallel forms, .pvd),\n"
      "a .grdecl, a Gmsh .msh, an Abaqus or CalculiX .inp or an Exodus II file: its content\n"
      "decides.\n";
  for (const OptionRow& row : kRows) {
    if (row.name) {
      text += helpOf(row.name, row.takes, row.help);
      continue;
    }
    if (std::string_view(row.help) == kAfterRepresentations) text += helpOfRepresentations();
    text += std::string("\n") + row.help + "\n";
  }
  text += "\nExit codes: 0 done, 1 bad input, 2 bad usage, 3 a warning or an empty representation "
          "under --strict, "
          "or a fault that --check-mesh found.\n";
  return text;
}

} // namespace velmoview
