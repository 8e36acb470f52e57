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
};
using Maps = MoPredefinedColorMapping;
constexpr NamedMap kMaps[] = {
    {"rainbow-turbo", Maps::RAINBOW_TURBO}, // the default
    {"physics", Maps::PHYSICS},
    {"standard", Maps::STANDARD},
    {"temperature", Maps::TEMPERATURE},
    {"glow", Maps::GLOW},
    {"blue-white-red", Maps::BLUE_WHITE_RED},
    {"blue-red", Maps::BLUE_RED},
    {"seismic", Maps::SEISMIC},
    {"intensity", Maps::INTENSITY},
    {"grey", Maps::GREY},
};

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
      if (!cells.isDead(c) && std::isfinite(value)) range.include(value);
    }
  });
  return range;
}

void setRange(const Model& model, const ModelArray& array, const Options& options,
              Coloring& coloring)
{
  const auto set = [&coloring](double min, double max) {
    coloring.min = coloring.bandMin = min;
    coloring.max = coloring.bandMax = max;
  };
  if (options.range) {
    set((*options.range)[0], (*options.range)[1]);
    return;
  }
  const ValueRange range = liveRange(model, array);
  if (range.isEmpty()) return;
  set(range.min, range.max);
  // One value everywhere gets the colour in the middle.
  if (static_cast<float>(range.min) == static_cast<float>(range.max)) {
    const double half = std::max(0.5, std::abs(range.min) * 1e-3);
    set(range.min - half, range.max + half);
  } else if (coloring.colormap == kMaps[0].value) {
    const double unused = (range.max / 2 - range.min / 2) * (2 * kUnusedEnd / (1 - 2 * kUnusedEnd));
    coloring.min -= unused;
    coloring.max += unused;
  }
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
  for (const NamedMap& map : kMaps)
    text += std::string(map.name) + (map.value == kMaps[0].value ? " (the default)\n" : "\n");
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
  setRange(model, *array, options, coloring);
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
