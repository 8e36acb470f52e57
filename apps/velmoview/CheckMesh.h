#pragma once

#include <velmoview/Model.h>

#include <string>

namespace velmoview {

/// What --check-mesh prints, and whether something is wrong.
struct MeshVerdict
{
  std::string text;
  bool isFaulty = false;
};

MeshVerdict checkMesh(const Model& model, bool parallel);

} // namespace velmoview
