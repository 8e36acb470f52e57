#pragma once

#include <velmoview/Model.h>

#include <string>
#include <vector>

namespace velmoview {

class Scene;

/// Writes the mesh as --save-mesh asks.
/// @return what was left out or changed, a sentence each
/// @throw MbMeshFileError
std::vector<std::string> saveInput(const Model& model, const Options& options);

/// Writes what each representation extracted as --save asks: PREFIX-1-skin.vtp and so on, numbered
/// in the order of the command line.
/// @return, @throw  as saveInput
std::vector<std::string> saveDrawn(const Scene& scene, const Model& model, const Options& options);

} // namespace velmoview
