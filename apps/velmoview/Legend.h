#pragma once

#include <velmoview/Camera.h>
#include <velmoview/Coloring.h>

#include <string>

class SoNode;

namespace velmoview {

/// Where the legend stands, in pixels of the picture from its lower left corner, and what it
/// writes.
struct LegendLayout
{
  double left, bottom, right, top; ///< of the bar
  bool vertical;
  std::string title; ///< shortened where the picture is too narrow for it
  double titleSize;
  double valueSize; ///< of the font of numbers, in pixels
  int valueCount;
  bool scientific;
  unsigned digits;
  double swatchLeft, swatchBottom; ///< of the square in the colour of undefined values
  PictureMargins margins;          ///< what the mesh leaves free
};

/// Lays the legend out for the size of the picture and the range of the colours.
LegendLayout layOutLegend(const Coloring& coloring, const Options& options);

/// The legend: bar, title, numbers, ticks, and a square for undefined values where there are some.
SoNode* makeLegend(const Coloring& coloring, const Options& options, const LegendLayout& layout);

} // namespace velmoview
