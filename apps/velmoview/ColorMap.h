#pragma once

#include <velmoview/Coloring.h>

class SoNode;

namespace velmoview {

/// The node that gives values their colours: the colour map itself, or bands of it, as the options
/// say.
SoNode* makeColorMap(const Coloring& coloring, const Options& options);

/// The same colours as a node that a legend shows from end to end: smooth, or in sharp bands.
SoNode* makeLegendMap(const Coloring& coloring, const Options& options);

} // namespace velmoview
