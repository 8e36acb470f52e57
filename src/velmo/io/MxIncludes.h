#pragma once

#include <velmo/io/MxFileBytes.h>

#include <memory>
#include <span>
#include <string>

/// Opens a file that another one names, relative to that one; '\' separates folders as well.
///
/// @param name   as it stands in the text at `where` of the innermost file
/// @param open   the files being read, the innermost last
/// @param count  files included so far
/// @throw MbMeshFileError at the place of the name when the file includes itself, files are nested
///        too deeply or are too many, or it cannot be opened
std::unique_ptr<MxFileBytes> mxOpenInclude(std::string name, const char* where,
                                           std::span<const MxFileBytes* const> open,
                                           std::size_t count);
