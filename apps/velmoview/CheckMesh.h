#pragma once

#include <velmoview/Model.h>
#include <velmoview/ProgressBar.h>

#include <string>

namespace velmoview {

/// What --check-mesh prints, and whether something is wrong.
struct MeshVerdict
{
  std::string text;
  bool isFaulty = false;
};

/// @param bar  shows how far it is; may be null
MeshVerdict checkMesh(const Model& model, bool parallel, ProgressBar* bar = nullptr);

} // namespace velmoview
