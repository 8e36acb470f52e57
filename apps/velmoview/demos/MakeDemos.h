#pragma once

#include <velmoview/Demos.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace velmoview {

// The makers of the built-in meshes; `size` is the number of cells along the longest side.
DemoMesh makeBeam(int size);
DemoMesh makeLug(int size);
DemoMesh makeGrains(int size);
DemoMesh makeReservoir(int size);
DemoMesh makeReservoirVertex(int size);
DemoMesh makeOrbital(int size);
DemoMesh makeWholeOrbital(int size);
DemoMesh makeCloud(int size);
DemoMesh makeTurbine(int size);
DemoMesh makeTerrain(int size);

/// Adds an array to fill: `count` items of `components` numbers.
inline std::vector<float>& addArray(DemoMesh& demo, const char* name, MiDataBinding binding,
                                    std::size_t count, std::size_t components = 1)
{
  demo.arrays.push_back({name, binding, components, std::vector<float>(count * components)});
  return demo.arrays.back().values;
}

/// 0 below `low`, 1 above `high`, smooth between them.
inline double smoothStep(double low, double high, double x)
{
  const double t = std::min(1.0, std::max(0.0, (x - low) / (high - low)));
  return t * t * (3 - 2 * t);
}

inline double gauss(double distance, double width)
{
  return std::exp(-distance * distance / (2 * width * width));
}

} // namespace velmoview
