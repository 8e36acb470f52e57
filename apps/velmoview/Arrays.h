#pragma once

#include <velmoview/Model.h>

namespace velmoview {

/// The array that an option names.
/// @param option  with its dashes, for the message
/// @throw UsageError when there is none, or it holds neither numbers nor vectors of three
const ModelArray& findArray(const Model& model, const std::string& option, const ArrayName& name);

/// Whether an array holds numbers or vectors of three.
bool isScalarOrVector(const ModelArray& array);

/// One value of such an array, of a vector its length.
double valueOf(const ModelArray& array, std::size_t item);

/// Such an array as numbers, of vectors their lengths. Lives as long as the model.
const MiTypedDataSet<double>& scalarsOf(const Model& model, const ModelArray& array);

} // namespace velmoview
