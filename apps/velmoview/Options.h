#pragma once

#include <velmo/extraction/interfaces/MiDataSet.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmoview {

/// A command line that cannot be followed: exit code 2. The text names the option and what it
/// takes.
class UsageError : public std::runtime_error
{
public:
  using std::runtime_error::runtime_error;
};

/// An array as the command line names it: NAME, NAME@node or NAME@cell.
struct ArrayName
{
  std::string name; ///< empty when none is named
  std::optional<MiDataBinding> binding;
  std::string text() const;
};

/// Keeps the cells whose value lies in [min, max].
struct ValueFilter
{
  ArrayName array;
  double min = 0, max = 0;
};

/// Inclusive bounds on cell indices: one number each, or three (I, J, K).
struct CellRange
{
  std::vector<std::uint32_t> lower, upper;
};

class Representation;
struct RepresentationRow;

/// One thing to draw.
struct RepresentationRequest
{
  const RepresentationRow* row;
  std::shared_ptr<const Representation> what;
};

/// At which border of the picture the legend stands.
enum class LegendPosition
{
  Right,
  Left,
  Bottom,
  Top
};

struct Options
{
  std::string file;
  std::string demo;
  int demoSize = 0; ///< 0: the demo's own
  std::optional<std::array<std::uint32_t, 3>> ijk;
  bool vertex = false;
  std::string active;
  bool sharedNodes = false;
  std::optional<double> time; ///< of a series: its nearest step is read

  std::vector<RepresentationRequest> representations; ///< in the order of the command line
  std::vector<ValueFilter> cells;                     ///< a cell must pass all of them
  std::optional<CellRange> cellRange;
  bool serial = false;
  std::vector<std::array<int, 2>> picks; ///< pixels, counted from the upper left corner
  int tessellate = 0; ///< parts of the edges of higher-order cells; 0: as they are

  ArrayName colorBy;
  std::string colormap; ///< empty: the default
  std::optional<std::array<double, 2>> range;
  bool edges = false;
  bool points = false;
  bool faces = true;
  double opacity = 1;
  int levels = 0;          ///< bands of colour; 0: colours run smoothly
  bool contouring = false; ///< bands with sharp borders inside faces
  bool enhanced = false;   ///< colours of values that are interpolated inside faces
  std::array<float, 3> nanColor{0.55f, 0.55f, 0.55f}; ///< of values that are no numbers
  bool legend = false;
  std::optional<std::string> legendTitle; ///< none: the name of the coloured array
  std::optional<LegendPosition> legendPosition;
  double fading = 0; ///< edges shorter than this many pixels fade; 0: none

  std::array<int, 2> size{1200, 900};
  std::array<double, 3> view{0, 0, 0}; ///< towards which the camera looks; zeros: the default
  std::array<float, 3> background{0.965f, 0.970f, 0.976f};
  int threads = 0; ///< 0: as many as the machine has

  std::string output;
  std::string report;
  std::string save;     ///< what the names of extracted meshes begin with
  std::string saveMesh; ///< where the mesh is written to
  bool compress = false;
  bool info = false;
  bool checkMesh = false;
  bool strict = false;

  bool help = false;
  bool version = false;

  std::vector<std::array<double, 3>> probes; ///< points whose cell and values are reported
};

/// Reads a command line, without the program's name.
/// @throw UsageError
Options parseOptions(const std::vector<std::string>& arguments);

/// All options, with their dashes.
std::vector<std::string> optionNames();

/// What --help prints: every option with what it takes.
std::string helpText();

} // namespace velmoview
