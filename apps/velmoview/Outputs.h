#pragma once

#include <velmoview/Options.h>

#include <iosfwd>
#include <span>
#include <string>
#include <vector>

namespace velmoview {

/// A file that an option asks to write.
struct OutputFile
{
  std::string option;
  std::string path; ///< "-": the standard output
};

/// All files that the command line asks for; those of --save as far as `requests` tells.
std::vector<OutputFile> outputFiles(const Options& options,
                                    std::span<const RepresentationRequest> requests = {});

/// Where --save writes what a representation extracted.
/// @param number  counts from 1
std::string savedPath(const Options& options, const RepresentationRequest& request,
                      std::size_t number);

/// Finds out whether all of them can be written without harm; nothing is written.
/// @param read  files that are read; none of them is to be written, by whatever name
/// @throw UsageError when a file is read, or is written twice
/// @throw MxWriteError when the system refuses
void checkOutputs(const std::vector<OutputFile>& outputs, std::span<const std::string> read);

/// Writes to the standard output at once.
/// @throw std::runtime_error when it takes no more
void writeOut(std::ostream& out, std::string_view bytes);

} // namespace velmoview
