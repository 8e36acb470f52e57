#pragma once

#include <velmoview/Model.h>

#include <string>

namespace velmoview {

/// What --info prints: the mesh and its arrays as a table.
std::string infoText(const Model& model);

/// "float32", "uint8" and so on.
const char* scalarName(MiScalarType type);

/// A number as people read it, `digits` significant ones at the most.
std::string shownNumber(double value, int digits);

/// A name from a file, without what would disturb a terminal.
std::string shownName(const std::string& name);

/// Rows of words in columns as wide as their longest word; the columns of `right` end in line.
std::string textTable(const std::vector<std::vector<std::string>>& rows,
                      const std::vector<bool>& right, const std::string& indent);

} // namespace velmoview
