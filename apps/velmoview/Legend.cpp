#include <velmoview/Legend.h>

#include <velmoview/ColorMap.h>

#include <velmo/colormapping/legend/MoLegend.h>
#include <velmo/toolkit/shapes/MxTextFont.h>

#include <Inventor/nodes/SoAnnotation.h>
#include <Inventor/nodes/SoBaseColor.h>
#include <Inventor/nodes/SoDrawStyle.h>
#include <Inventor/nodes/SoFaceSet.h>
#include <Inventor/nodes/SoFont.h>
#include <Inventor/nodes/SoLightModel.h>
#include <Inventor/nodes/SoLineSet.h>
#include <Inventor/nodes/SoOrthographicCamera.h>
#include <Inventor/nodes/SoPickStyle.h>
#include <Inventor/nodes/SoResetTransform.h>
#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/nodes/SoText2.h>
#include <Inventor/nodes/SoTranslation.h>
#include <Inventor/nodes/SoVertexProperty.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace velmoview {

namespace {

const char* const kUndefined = "undefined";
/// Widths of letters and digits against the size of the font.
constexpr double kLetter = 0.62, kDigit = 0.64;
/// What the legend may take of the picture's width or height before the mesh stands behind it.
constexpr double kMostShare = 0.4;

std::size_t letterCount(const std::string& text)
{
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xc0) != 0x80; }));
}

double widthOf(const std::string& text, double size)
{
  return static_cast<double>(letterCount(text)) * kLetter * size;
}

/// The title in a size, between the wanted and the least one, in which it takes `width` at most;
/// cut where that is not enough.
void fitTitle(LegendLayout& layout, double width, double leastSize)
{
  const double wanted = widthOf(layout.title, layout.titleSize);
  if (wanted <= width) return;
  layout.titleSize = std::max(leastSize, layout.titleSize * width / wanted);
  const auto most = static_cast<std::size_t>(std::max(3.0, width / (kLetter * layout.titleSize)));
  if (letterCount(layout.title) <= most) return;
  while (letterCount(layout.title) > most - 1) {
    while ((layout.title.back() & 0xc0) == 0x80)
      layout.title.pop_back();
    layout.title.pop_back();
  }
  layout.title += "\xe2\x80\xa6";
}

bool isWhole(double value)
{
  return std::abs(value - std::round(value)) < 1e-6 * std::max(1.0, std::abs(value));
}

/// Numbers that tell neighbouring values apart and are no longer than that takes.
void chooseFormat(const Coloring& coloring, LegendLayout& layout)
{
  if (coloring.categories > 0) return; // whole numbers
  const double min = coloring.bandMin, max = coloring.bandMax;
  const double step = (max - min) / (layout.valueCount - 1);
  const double largest = std::max(std::abs(min), std::abs(max));
  if (!(step > 0) || !std::isfinite(step)) {
    layout.scientific = true;
    layout.digits = 3;
    return;
  }
  const int ofStep = static_cast<int>(std::floor(std::log10(step)));
  const int ofLargest = static_cast<int>(std::floor(std::log10(largest)));
  layout.scientific = largest >= 1e6 || largest < 1e-3;
  if (layout.scientific) {
    layout.digits = static_cast<unsigned>(std::clamp(ofLargest - ofStep + 1, 1, 15));
    return;
  }
  const int first = std::max(0, -ofStep);
  int digits = first;
  const auto isExact = [&] {
    const double scale = std::pow(10.0, digits);
    return isWhole(step * scale) && isWhole(min * scale);
  };
  while (digits < first + 2 && !isExact())
    ++digits;
  layout.digits = static_cast<unsigned>(std::clamp(isExact() ? digits : first + 1, 0, 15));
}

double widthOfValues(double min, double max, const LegendLayout& layout)
{
  int longest = 0;
  for (const double value : {min, max})
    longest = std::max(longest, std::snprintf(nullptr, 0, layout.scientific ? "%.*e" : "%.*f",
                                              static_cast<int>(layout.digits), value));
  return longest * kDigit * layout.valueSize;
}

/// A value at every border of bands, where they are few, and else the number wanted.
int countValues(const Coloring& coloring, const Options& options, int most)
{
  if (coloring.categories > 0) return coloring.categories;
  for (int every = 1; options.levels > 0 && every <= options.levels; ++every) {
    const int count = options.levels / every + 1;
    if (options.levels % every == 0 && count <= most) return count;
  }
  return std::min(most, 5);
}

void layOutUpright(const Coloring& coloring, const Options& options, LegendLayout& layout)
{
  const double width = options.size[0], height = options.size[1];
  const double size = layout.valueSize, margin = size, bar = std::round(1.2 * size);
  layout.valueCount = countValues(coloring, options, 11);
  chooseFormat(coloring, layout);
  double values = widthOfValues(coloring.bandMin, coloring.bandMax, layout);
  if (coloring.hasUndefined) values = std::max(values, widthOf(kUndefined, size));
  fitTitle(layout, kMostShare * width, std::max(8.0, 0.7 * size));
  const double title = widthOf(layout.title, layout.titleSize);

  // Numbers stand two sizes to the left of the bar.
  const double leftPart = std::max(bar / 2 + 2 * size + values, title / 2);
  const double rightPart = std::max(bar / 2, title / 2);
  const double reserved = leftPart + rightPart + 2 * margin;
  const bool atLeft = options.legendPosition == LegendPosition::Left;
  const double middle = atLeft ? margin + leftPart : width - margin - rightPart;
  layout.left = std::round(middle - bar / 2);
  layout.right = layout.left + bar;
  const double below = coloring.hasUndefined ? 3 * size : 0;
  layout.bottom = std::round(0.17 * height + below / 2);
  layout.top = std::round(0.83 * height + below / 2 - layout.titleSize);
  layout.swatchLeft = layout.left;
  layout.swatchBottom = layout.bottom - 2.6 * size;
  (atLeft ? layout.margins.left : layout.margins.right) = std::min(reserved / width, kMostShare);
}

void layOutLying(const Coloring& coloring, const Options& options, LegendLayout& layout)
{
  const double width = options.size[0], height = options.size[1];
  const double size = layout.valueSize, margin = size, bar = std::round(1.2 * size);
  const double length = std::round(0.5 * width);
  fitTitle(layout, 0.9 * width, std::max(8.0, 0.7 * size));
  for (int most = 11;; --most) {
    layout.valueCount = countValues(coloring, options, most);
    chooseFormat(coloring, layout);
    const double values = widthOfValues(coloring.bandMin, coloring.bandMax, layout);
    if (most == 2 || 1.25 * values * (layout.valueCount - 1) < length) break;
  }
  // From the border: numbers, two sizes, the bar, one size, the title.
  const double title = layout.title.empty() ? 0 : 1.9 * layout.titleSize;
  const double reserved = 2 * margin + 2 * size + bar + title;
  const bool atTop = options.legendPosition == LegendPosition::Top;
  layout.bottom = std::round(atTop ? height - margin - title - bar : margin + 2 * size);
  layout.top = layout.bottom + bar;
  const double undefined = coloring.hasUndefined ? bar + 1.6 * size + widthOf(kUndefined, size) : 0;
  layout.left = std::round(std::max(margin, (width - length - undefined) / 2));
  layout.right = layout.left + length;
  layout.swatchLeft = layout.right + 1.6 * size;
  layout.swatchBottom = layout.bottom;
  (atTop ? layout.margins.top : layout.margins.bottom) = std::min(reserved / height, kMostShare);
}

/// Readable on the background.
SbColor inkOn(const std::array<float, 3>& background)
{
  const float light = 0.3f * background[0] + 0.59f * background[1] + 0.11f * background[2];
  return light > 0.45f ? SbColor(0.10f, 0.11f, 0.13f) : SbColor(0.93f, 0.94f, 0.95f);
}

SbVec2f shareOf(double x, double y, const Options& options)
{
  return {static_cast<float>(x / options.size[0]), static_cast<float>(y / options.size[1])};
}

MoLegend* makeBar(const Coloring& coloring, const Options& options, const LegendLayout& layout)
{
  auto* legend = new MoLegend;
  legend->bottomLeft = shareOf(layout.left, layout.bottom, options);
  legend->topRight = shareOf(layout.right, layout.top, options);
  legend->vertical = layout.vertical;
  legend->minValue = coloring.bandMin;
  legend->maxValue = coloring.bandMax;
  legend->titlePosition = MoLegend::POS_TOP;
  legend->titleFontSize = static_cast<float>(layout.titleSize);
  legend->titleColor = inkOn(options.background);
  legend->numValues = layout.valueCount;
  legend->valuesColor = legend->titleColor.getValue();
  legend->valuesFontSize = static_cast<float>(layout.valueSize);
  legend->valueNotation =
      layout.scientific ? MoLegend::NOTATION_SCIENTIFIC : MoLegend::NOTATION_FIXED;
  legend->valuePrecision = layout.digits;
  return legend;
}

/// Where the numbers stand along the bar: from end to end, or from middle to middle of the first
/// and the last category.
std::pair<double, double> valueEnds(const Coloring& coloring, const LegendLayout& layout)
{
  const double start = layout.vertical ? layout.bottom : layout.left;
  const double end = layout.vertical ? layout.top : layout.right;
  if (coloring.categories == 0) return {start, end};
  const double half = (end - start) / coloring.categories / 2;
  return {start + half, end - half};
}

/// Lines in pixels of the picture: a frame around the bar, ticks at the numbers.
SoLineSet* makeLines(const Coloring& coloring, const LegendLayout& layout)
{
  auto* points = new SoVertexProperty;
  auto* lines = new SoLineSet;
  lines->numVertices.setNum(0);
  const auto add = [&](std::initializer_list<SbVec2f> polyline) {
    for (const SbVec2f& p : polyline)
      points->vertex.set1Value(points->vertex.getNum(), SbVec3f(p[0], p[1], 0));
    lines->numVertices.set1Value(lines->numVertices.getNum(), static_cast<int>(polyline.size()));
  };
  const auto at = [](double x, double y) {
    return SbVec2f(static_cast<float>(x), static_cast<float>(y));
  };
  const auto frame = [&](double left, double bottom, double right, double top) {
    add({at(left, bottom), at(right, bottom), at(right, top), at(left, top), at(left, bottom)});
  };
  frame(layout.left, layout.bottom, layout.right, layout.top);
  if (coloring.hasUndefined) {
    const double side = layout.vertical ? layout.right - layout.left : layout.top - layout.bottom;
    frame(layout.swatchLeft, layout.swatchBottom, layout.swatchLeft + side,
          layout.swatchBottom + side);
  }
  const auto [start, end] = valueEnds(coloring, layout);
  const double tick = 0.6 * layout.valueSize;
  for (int i = 0; i < layout.valueCount; ++i) {
    const double along =
        layout.valueCount < 2 ? start : start + i * (end - start) / (layout.valueCount - 1);
    if (layout.vertical)
      add({at(layout.left - tick, along), at(layout.left, along)});
    else
      add({at(along, layout.bottom - tick), at(along, layout.bottom)});
  }
  lines->vertexProperty = points;
  return lines;
}

SoNode* makeSwatch(const Options& options, const LegendLayout& layout, const SbColor& ink)
{
  auto* swatch = new SoSeparator;
  const auto add = [&](auto* node) {
    swatch->addChild(node);
    return node;
  };
  const auto side =
      static_cast<float>(layout.vertical ? layout.right - layout.left : layout.top - layout.bottom);
  add(new SoTranslation)
      ->translation.setValue(static_cast<float>(layout.swatchLeft),
                             static_cast<float>(layout.swatchBottom), 0);
  const auto& nan = options.nanColor;
  add(new SoBaseColor)->rgb = SbColor(nan[0], nan[1], nan[2]);
  auto* corners = new SoVertexProperty;
  for (const auto& [x, y] : {std::pair{0, 0}, {1, 0}, {1, 1}, {0, 1}})
    corners->vertex.set1Value(corners->vertex.getNum(), SbVec3f(x * side, y * side, 0));
  add(new SoFaceSet)->vertexProperty = corners;

  const auto size = static_cast<float>(layout.valueSize);
  add(new SoTranslation)
      ->translation.setValue(layout.vertical ? -2 * size : side + 0.5f * size,
                             side / 2 - 0.36f * size, 0);
  add(new SoBaseColor)->rgb = ink;
  auto* font = add(new SoFont);
  font->name = mxTextFont();
  font->size = size;
  auto* text = add(new SoText2);
  text->string = kUndefined;
  text->justification = layout.vertical ? SoText2::RIGHT : SoText2::LEFT;
  return swatch;
}

} // namespace

LegendLayout layOutLegend(const Coloring& coloring, const Options& options)
{
  LegendLayout layout{};
  const LegendPosition position = options.legendPosition.value_or(LegendPosition::Right);
  layout.vertical = position == LegendPosition::Right || position == LegendPosition::Left;
  layout.title = options.legendTitle.value_or(coloring.title);
  const double least = std::min(0.75 * options.size[0], double(options.size[1]));
  layout.valueSize = std::max(9.0, std::round(0.024 * least));
  layout.titleSize = std::round(1.1 * layout.valueSize);
  layout.vertical ? layOutUpright(coloring, options, layout)
                  : layOutLying(coloring, options, layout);
  return layout;
}

SoNode* makeLegend(const Coloring& coloring, const Options& options, const LegendLayout& layout)
{
  auto* group = new SoSeparator;
  auto* unpickable = new SoPickStyle;
  unpickable->style = SoPickStyle::UNPICKABLE;
  group->addChild(unpickable);
  group->addChild(makeLegendMap(coloring, options));
  MoLegend* bar = makeBar(coloring, options, layout);
  bar->title = layout.title.c_str();
  group->addChild(bar);
  // Numbers at the middles of categories are those of a second bar, upon the first.
  MoLegend* values = bar;
  if (coloring.categories > 0) {
    values = makeBar(coloring, options, layout);
    const auto [start, end] = valueEnds(coloring, layout);
    values->bottomLeft = layout.vertical ? shareOf(layout.left, start, options)
                                         : shareOf(start, layout.bottom, options);
    values->topRight =
        layout.vertical ? shareOf(layout.right, end, options) : shareOf(end, layout.top, options);
    values->minValue = coloring.bandMin + 0.5;
    values->maxValue = coloring.bandMax - 0.5;
    group->addChild(values);
  }
  values->displayValues = TRUE;

  auto* drawn = new SoAnnotation;
  group->addChild(drawn);
  drawn->addChild(new SoResetTransform);
  auto* camera = new SoOrthographicCamera; // of the picture's pixels
  const auto width = static_cast<float>(options.size[0]);
  const auto height = static_cast<float>(options.size[1]);
  camera->viewportMapping = SoCamera::LEAVE_ALONE;
  camera->position.setValue(width / 2, height / 2, 1);
  camera->height = height;
  camera->aspectRatio = width / height;
  camera->nearDistance = 0.5f;
  camera->farDistance = 2;
  drawn->addChild(camera);
  auto* unlit = new SoLightModel;
  unlit->model = SoLightModel::BASE_COLOR;
  drawn->addChild(unlit);
  const SbColor ink = inkOn(options.background);
  if (coloring.hasUndefined) drawn->addChild(makeSwatch(options, layout, ink));
  auto* color = new SoBaseColor;
  color->rgb = ink;
  drawn->addChild(color);
  auto* style = new SoDrawStyle;
  style->lineWidth = static_cast<float>(std::max(1.0, std::round(layout.valueSize / 20)));
  drawn->addChild(style);
  drawn->addChild(makeLines(coloring, layout));
  return group;
}

} // namespace velmoview
