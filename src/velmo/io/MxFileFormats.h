#pragma once

#include <velmo/io/MxFileBytes.h>
#include <velmo/io/MxFileMesh.h>

/// A file format: how to know it, and how to read it.
struct MxFileFormat
{
  const char* name; ///< for the list of what can be read
  /// Judges by content; the suffix may settle what text alone leaves open.
  bool (*recognises)(const MxFileBytes& file);
  /// @throw MbMeshFileError for damage, std::bad_alloc
  MxFileMesh (*read)(const MxFileBytes& file, const MxReadRequest& request);
};

/// All formats; the first one that recognises a file reads it.
std::span<const MxFileFormat> mxFileFormats();

/// Reads a file of any format.
/// @throw MbMeshFileError, std::bad_alloc
MxFileMesh mxReadMeshFile(const std::string& path, const MxReadRequest& request);
