#pragma once

#include <velmoview/Model.h>

namespace velmoview {

/// What colours a scene: a scalar set, its binding, and the range of the colours. Without a set
/// everything has one colour.
struct Coloring
{
  const MiTypedDataSet<double>* set = nullptr; ///< the model's
  MiDataBinding binding = MiDataBinding::PerCell;
  double min = 0, max = 1;
  double bandMin = 0, bandMax = 1; ///< what bands of colour divide
  int colormap = 0;                ///< a value of the predefined colour maps' enumeration
  int categories = 0;              ///< whole numbers from bandMin + 0.5 on with a colour each; or 0
  std::string title;               ///< what a legend calls it
  bool hasUndefined = false;       ///< some value of live cells is no number
};

/// The names of the colour maps and what they are good for, one per line.
std::string colormapList();

/// @return the enumeration's value for a name; empty means the default map
/// @throw UsageError for an unknown name
int findColormap(const std::string& name);

/// The array that --color-by names, or else the first number per node, number per cell, or vector
/// (by its length). The range is the one asked for, or that of the live cells' finite values; for
/// the default map a little wider, which bands of colour are not. A map of categories gives whole
/// numbers a colour each, where they are no more than it has.
/// @throw UsageError when the array does not exist or has no colour
Coloring chooseColoring(const Model& model, const Options& options);

/// Which cells are left out, as the command line says.
enum class CellChoice
{
  ByValue,         ///< --cells
  ByValueAndIndex, ///< --cells and --cell-range
};

/// The cells that pass every filter, one number a cell; empty without such an option. By an array
/// per node, a cell passes when all its nodes do.
/// @throw UsageError when an array does not exist
std::vector<std::uint8_t> chooseCells(const Model& model, const Options& options,
                                      CellChoice choice);

} // namespace velmoview
