#include <velmoview/ColorMap.h>

#include <velmo/colormapping/MoLevelColorMapping.h>
#include <velmo/colormapping/MoLinearColorMapping.h>
#include <velmo/colormapping/MoPredefinedColorMapping.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <vector>

namespace velmoview {

namespace {

/// Control points of a smooth map for shaders: every second of the 256 rows that the finest has.
constexpr int kControlPoints = 129;

MoPredefinedColorMapping* makeSmooth(const Coloring& coloring)
{
  auto* map = new MoPredefinedColorMapping;
  map->minValue = static_cast<float>(coloring.min);
  map->maxValue = static_cast<float>(coloring.max);
  map->predefColorMap = coloring.colormap;
  return map;
}

/// Values and the colours that belong to them, as the mapping nodes take them.
struct Table
{
  std::vector<float> values;
  std::vector<SbVec4f> colors;

  template <class Node>
  Node* fill(Node* node) const
  {
    node->values.setValues(0, static_cast<int>(values.size()), values.data());
    node->colors.setValues(0, static_cast<int>(colors.size()), colors.data());
    return node;
  }
};

/// Where a share of the way from the first to the last value lies; no overflow on the way.
double between(double first, double last, double share)
{
  return first * (1 - share) + last * share;
}

/// Bands of equal width, each in the map's colour at its centre.
Table bandsOf(const Coloring& coloring, int count)
{
  const SoRef<MoPredefinedColorMapping> smooth(makeSmooth(coloring));
  const MiScalarColorMapping* map = smooth->getColorMapping();
  const auto level = [&](double k) {
    return between(coloring.bandMin, coloring.bandMax, k / count);
  };
  Table table;
  for (int k = 0; k <= count; ++k)
    table.values.push_back(static_cast<float>(level(k)));
  for (int k = 0; k < count; ++k)
    table.colors.push_back(map->getColor(level(k + 0.5)));
  return table;
}

/// The same colours as a map that jumps at every level: its colours are looked up node by node.
Table stepsOf(const Table& bands)
{
  Table steps;
  for (std::size_t k = 0; k < bands.colors.size(); ++k) {
    steps.values.insert(steps.values.end(), {bands.values[k], bands.values[k + 1]});
    steps.colors.insert(steps.colors.end(), 2, bands.colors[k]);
  }
  return steps;
}

Table pointsOf(const Coloring& coloring)
{
  const SoRef<MoPredefinedColorMapping> smooth(makeSmooth(coloring));
  const MiScalarColorMapping* map = smooth->getColorMapping();
  Table table;
  for (int k = 0; k < kControlPoints; ++k) {
    const double value =
        between(coloring.min, coloring.max, static_cast<double>(k) / (kControlPoints - 1));
    table.values.push_back(static_cast<float>(value));
    table.colors.push_back(map->getColor(value));
  }
  return table;
}

} // namespace

SoNode* makeColorMap(const Coloring& coloring, const Options& options)
{
  if (options.levels > 0) {
    const Table bands = bandsOf(coloring, options.levels);
    if (options.contouring || options.enhanced) return bands.fill(new MoLevelColorMapping);
    return stepsOf(bands).fill(new MoLinearColorMapping);
  }
  // Of a map that it does not know, the shader takes ten colours.
  return options.enhanced ? static_cast<SoNode*>(pointsOf(coloring).fill(new MoLinearColorMapping))
                          : makeSmooth(coloring);
}

SoNode* makeLegendMap(const Coloring& coloring, const Options& options)
{
  if (options.levels == 0) return makeSmooth(coloring);
  return bandsOf(coloring, options.levels).fill(new MoLevelColorMapping);
}

} // namespace velmoview
