#pragma once

#include <velmoview/Model.h>

#include <span>

namespace velmoview {

/// A built-in mesh, made by formulas.
struct Demo
{
  const char* name;
  const char* summary;
  int size; ///< cells along the longest side, unless asked otherwise
  DemoMesh (*make)(int size);
};

std::span<const Demo> allDemos();

/// One line a demo: its name, then what it shows.
std::string demoList();

/// @param size  cells along the longest side, 0 for the demo's own
/// @throw UsageError for an unknown name
Model makeDemo(const std::string& name, int size);

} // namespace velmoview
