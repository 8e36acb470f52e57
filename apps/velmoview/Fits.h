#pragma once

#include <velmoview/Model.h>

#include <span>

namespace velmoview {

/// Refuses options that this kind of mesh has no place for.
/// @throw UsageError that says what the option needs and what the mesh is
void checkFits(const Model& model, const Options& options,
               std::span<const RepresentationRequest> requests);

} // namespace velmoview
