#pragma once

#include <cstdint>
#include <vector>

#include <Inventor/SbColorRGBA.h>

/// Turns a value into a colour. An application implements it to draw with a mapping of its own.
///
/// *Ownership*: whoever is handed a mapping borrows it. *Threads*: the operations only read, so
/// several threads may call them as long as nobody changes the mapping at the same time.
template <class Value, class Color>
class MiColorMapping
{
public:
  virtual ~MiColorMapping() = default;

  /// The colour of `value`: red, green, blue and opacity, each from 0 to 1.
  virtual Color getColor(Value value) const = 0;

  /// The smallest and the largest value that the mapping defines.
  virtual void getRange(double& min, double& max) const = 0;

  /// A stamp that changes whenever the colour of any value may have changed.
  virtual std::uint64_t getTimeStamp() const = 0;
};

/// One scalar to a colour: what every representation, renderer and legend reads.
using MiScalarColorMapping = MiColorMapping<double, SbColorRGBA>;

/// One value of each of several data sets to a colour.
using MiCombineColorMapping = MiColorMapping<std::vector<double>, SbColorRGBA>;
