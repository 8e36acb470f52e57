#include <velmoview/Coloring.h>

#include <velmoview/Arrays.h>

#include <velmo/colormapping/MoPredefinedColorMapping.h>
#include <velmo/mesh/views/MxCellView.h>

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace velmoview {

namespace {

struct NamedMap
{
  const char* name;
  int value;
  const char* use;
  int categories = 0; ///< as many colours; 0 where colours run smoothly
};
using Maps = MoPredefinedColorMapping;
constexpr NamedMap kMaps[] = {
    {"rainbow-turbo", Maps::RAINBOW_TURBO, "a rainbow of even brightness (the default)"},
    {"viridis", Maps::VIRIDIS, "even steps for the eye, blue to yellow"},
    {"plasma", Maps::PLASMA, "even steps, blue to yellow through red"},
    {"inferno", Maps::INFERNO, "even steps, black to light yellow"},
    {"magma", Maps::MAGMA, "even steps, black to light pink"},
    {"cividis", Maps::CIVIDIS, "even steps, the same for colour-blind eyes"},
    {"blues", Maps::BLUES, "light to dark blue"},
    {"ylgnbu", Maps::YLGNBU, "light yellow to dark blue"},
    {"orrd", Maps::ORRD, "light orange to dark red"},
    {"intensity", Maps::INTENSITY, "black to white"},
    {"glow", Maps::GLOW, "black to white through red and yellow"},
    {"temperature", Maps::TEMPERATURE, "white, blue, magenta, red, yellow"},
    {"physics", Maps::PHYSICS, "a rainbow from dark blue to red"},
    {"standard", Maps::STANDARD, "the circle of hues from red to magenta"},
    {"cool-warm", Maps::COOL_WARM, "two-sided, blue and red around grey"},
    {"rdbu", Maps::RDBU, "two-sided, blue and red around white"},
    {"rdylbu", Maps::RDYLBU, "two-sided, blue and red around yellow"},
    {"puor", Maps::PUOR, "two-sided, purple and orange around white"},
    {"brbg", Maps::BRBG, "two-sided, brown and teal around white"},
    {"prgn", Maps::PRGN, "two-sided, purple and green around white"},
    {"blue-white-red", Maps::BLUE_WHITE_RED, "two-sided, in full colours"},
    {"blue-red", Maps::BLUE_RED, "blue to red through magenta"},
    {"twilight", Maps::TWILIGHT, "ends as it begins: angles and phases"},
    {"okabe-ito", Maps::OKABE_ITO, "8 categories, for all eyes", 8},
    {"tableau-10", Maps::TABLEAU_10, "10 categories", 10},
    {"set-2", Maps::SET_2, "8 categories, light", 8},
    {"dark-2", Maps::DARK_2, "8 categories, dark", 8},
    {"paired", Maps::PAIRED, "12 categories, in light and dark pairs", 12},
    {"seismic", Maps::SEISMIC, "nearly transparent in the middle"},
    {"grey", Maps::GREY, "white, from opaque to transparent"},
};

const NamedMap* findMap(int value)
{
  return std::find_if(std::begin(kMaps), std::end(kMaps),
                      [value](const NamedMap& map) { return map.value == value; });
}

/// The default map is nearly black at both ends, which hides edges and shading: a range that nobody
/// asked for leaves this share of it unused on each side.
constexpr double kUnusedEnd = 0.07;

/// The first array of these components and this binding; never the one that only marks dead cells.
const ModelArray* firstArray(const Model& model, const Options& options, MiDataBinding binding,
                             std::size_t components)
{
  for (const ModelArray& array : model.arrays) {
    if (array.components == components && array.binding == binding && isScalarOrVector(array) &&
        array.name != options.active)
      return &array;
  }
  return nullptr;
}

const ModelArray* defaultArray(const Model& model, const Options& options)
{
  for (const std::size_t components : {1, 3}) {
    for (const MiDataBinding binding : {MiDataBinding::PerNode, MiDataBinding::PerCell}) {
      if (const ModelArray* array = firstArray(model, options, binding, components)) return array;
    }
  }
  return nullptr;
}

/// Of the live cells where the array has one value a cell: what dead cells hold is often a filler.
ValueRange liveRange(const Model& model, const ModelArray& array)
{
  if (array.binding != MiDataBinding::PerCell || model.deadCells == 0) return array.ranges.back();
  ValueRange range;
  visitCellView(MxAllKinds{}, model.mesh, [&](const auto& cells) {
    for (std::size_t c = 0; c < std::min(cells.cellCount(), array.values.count); ++c) {
      const double value = valueOf(array, c);
      if (cells.isDead(c)) continue;
      if (std::isfinite(value)) range.include(value);
      range.nanCount += std::isnan(value);
    }
  });
  return range;
}

void setRange(const ValueRange& range, const Options& options, Coloring& coloring)
{
  const auto set = [&coloring](double min, double max) {
    coloring.min = coloring.bandMin = min;
    coloring.max = coloring.bandMax = max;
  };
  if (options.range) {
    set((*options.range)[0], (*options.range)[1]);
    return;
  }
  if (range.isEmpty()) return;
  set(range.min, range.max);
  // One value everywhere gets the colour in the middle, unless it is a category.
  const bool isCategory =
      findMap(coloring.colormap)->categories > 0 && range.min == std::round(range.min);
  if (static_cast<float>(range.min) == static_cast<float>(range.max)) {
    if (isCategory) return;
    const double half = std::max(0.5, std::abs(range.min) * 1e-3);
    set(range.min - half, range.max + half);
  } else if (coloring.colormap == kMaps[0].value) {
    const double unused = (range.max / 2 - range.min / 2) * (2 * kUnusedEnd / (1 - 2 * kUnusedEnd));
    coloring.min -= unused;
    coloring.max += unused;
  }
}

/// Whole numbers in a map of categories: one colour each.
void setCategories(Coloring& coloring, const Options& options)
{
  const int colors = findMap(coloring.colormap)->categories;
  const double count = coloring.bandMax - coloring.bandMin + 1;
  const auto isWhole = [](double value) { return value == std::round(value); };
  if (colors == 0 || options.levels > 0 || !isWhole(coloring.bandMin) ||
      !isWhole(coloring.bandMax) || count > colors)
    return;
  coloring.categories = static_cast<int>(count);
  coloring.bandMin -= 0.5;
  coloring.bandMax += 0.5;
  coloring.min = coloring.bandMin;
  coloring.max = coloring.bandMin + colors;
}

/// @param range  of as many indices as the cells of the mesh have
void dropOutside(const Model& model, const CellRange& range, std::vector<std::uint8_t>& keep)
{
  const std::vector<std::size_t> counts =
      model.dims.empty() ? std::vector<std::size_t>{model.cells} : model.dims;
  for (std::size_t c = 0; c < keep.size(); ++c) {
    std::size_t rest = c;
    for (std::size_t axis = 0; axis < counts.size(); ++axis) {
      const std::size_t index = rest % counts[axis];
      rest /= counts[axis];
      if (index < range.lower[axis] || index > range.upper[axis]) keep[c] = 0;
    }
  }
}

} // namespace

std::string colormapList()
{
  std::string text;
  for (const NamedMap& map : kMaps) {
    const std::string name = map.name;
    text += name + std::string(16 - name.size(), ' ') + map.use + "\n";
  }
  return text;
}

int findColormap(const std::string& name)
{
  if (name.empty()) return kMaps[0].value;
  std::string names;
  for (const NamedMap& map : kMaps) {
    if (name == map.name) return map.value;
    names += std::string(names.empty() ? "" : ", ") + map.name;
  }
  throw UsageError("--colormap takes one of " + names + ", or list: there is no '" + name + "'");
}

Coloring chooseColoring(const Model& model, const Options& options)
{
  Coloring coloring;
  coloring.colormap = findColormap(options.colormap);
  const ArrayName& wanted = options.colorBy;
  if (wanted.name == "none" && !wanted.binding && !model.find(wanted)) return coloring;
  const ModelArray* array =
      wanted.name.empty() ? defaultArray(model, options) : &findArray(model, "--color-by", wanted);
  if (!array) return coloring;
  coloring.binding = array->binding;
  coloring.set = &scalarsOf(model, *array);
  coloring.title = array->name + (array->components > 1 ? " (magnitude)" : "");
  const ValueRange range = liveRange(model, *array);
  coloring.hasUndefined = range.nanCount > 0;
  setRange(range, options, coloring);
  setCategories(coloring, options);
  for (double* value : {&coloring.min, &coloring.max, &coloring.bandMin, &coloring.bandMax})
    *value = std::clamp<double>(*value, -FLT_MAX, FLT_MAX);
  const char* inFaces = options.enhanced     ? "--enhanced"
                        : options.contouring ? "--contouring"
                                             : nullptr;
  if (inFaces && coloring.binding == MiDataBinding::PerCell)
    throw UsageError(std::string(inFaces) + " draws values per node inside faces; '" + array->name +
                     "' has one value a cell");
  return coloring;
}

std::vector<std::uint8_t> chooseCells(const Model& model, const Options& options, CellChoice choice)
{
  const bool byIndex = choice == CellChoice::ByValueAndIndex && options.cellRange;
  if (options.cells.empty() && !byIndex) return {};
  std::vector<std::uint8_t> keep(model.cells, 1);
  for (const ValueFilter& filter : options.cells) {
    const ModelArray& array = findArray(model, "--cells", filter.array);
    const auto passes = [&](std::size_t item) {
      if (item >= array.values.count) return false;
      const double value = valueOf(array, item);
      return value >= filter.min && value <= filter.max; // NaN does not pass
    };
    const bool perCell = array.binding == MiDataBinding::PerCell;
    visitCellView(MxAllKinds{}, model.mesh, [&](const auto& cells) {
      MxCellBuffer buffer;
      for (std::size_t c = 0; c < keep.size(); ++c) {
        if (!keep[c]) continue;
        const auto nodes = cells.nodes(c, buffer);
        keep[c] = perCell ? passes(c) : std::all_of(nodes.begin(), nodes.end(), [&](std::size_t n) {
          return n < cells.nodeCount() && passes(cells.dataNode(n));
        });
      }
    });
  }
  if (byIndex) dropOutside(model, *options.cellRange, keep);
  return keep;
}

} // namespace velmoview
