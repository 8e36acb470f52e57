#include <velmoview/Outputs.h>

#include <velmoview/representations/Representation.h>

#include <velmo/base/MxFileWriter.h>

#include <filesystem>
#include <ostream>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace velmoview {

namespace {

const char* systemPath(const OutputFile& output)
{
  return output.path == "-" ? "/dev/stdout" : output.path.c_str();
}

/// The names of a file are many: links, other ways to its folder, another case on some systems.
bool isSameFile(const char* a, const char* b)
{
  struct stat first = {}, second = {};
  return ::stat(a, &first) == 0 && ::stat(b, &second) == 0 && first.st_dev == second.st_dev &&
         first.st_ino == second.st_ino;
}

/// Devices and pipes may be written to by all.
bool isOrdinary(const char* path)
{
  struct stat facts = {};
  return ::stat(path, &facts) != 0 || S_ISREG(facts.st_mode);
}

bool meanTheSame(const OutputFile& a, const OutputFile& b)
{
  if (isSameFile(systemPath(a), systemPath(b))) return true;
  std::error_code error;
  const fs::path first = fs::weakly_canonical(a.path, error);
  return !error && first == fs::weakly_canonical(b.path, error) && !error;
}

} // namespace

std::string savedPath(const Options& options, const RepresentationRequest& request,
                      std::size_t number)
{
  return options.save + "-" + std::to_string(number) + "-" + (request.row->option + 2) + ".vtp";
}

std::vector<OutputFile> outputFiles(const Options& options,
                                    std::span<const RepresentationRequest> requests)
{
  std::vector<OutputFile> outputs;
  for (const auto& [option, path] :
       {std::pair{"--save-mesh", options.saveMesh}, std::pair{"--output", options.output},
        std::pair{"--report", options.report}})
    if (!path.empty()) outputs.push_back({option, path});
  if (options.save.empty()) return outputs;
  for (std::size_t n = 0; n < requests.size(); ++n)
    outputs.push_back({"--save", savedPath(options, requests[n], n + 1)});
  return outputs;
}

void checkOutputs(const std::vector<OutputFile>& outputs, std::span<const std::string> read)
{
  for (std::size_t n = 0; n < outputs.size(); ++n) {
    const OutputFile& output = outputs[n];
    if (!isOrdinary(systemPath(output))) continue;
    for (const std::string& file : read) {
      if (!isSameFile(systemPath(output), file.c_str())) continue;
      const bool isAlias = output.path != file;
      throw UsageError(output.option + " " + output.path + " would overwrite " +
                       (isAlias ? file + ", the same file, which" : "a file that") +
                       " is read; name another one");
    }
    for (std::size_t before = 0; before < n; ++before)
      if (meanTheSame(outputs[before], output))
        throw UsageError(outputs[before].option + " and " + output.option + " both write " +
                         output.path + "; give each a file of its own");
  }
  for (const OutputFile& output : outputs)
    if (output.path != "-") const MxFileWriter attempt(output.path);
}

void writeOut(std::ostream& out, std::string_view bytes)
{
  out << bytes << std::flush;
  if (!out) throw std::runtime_error("the standard output cannot be written");
}

} // namespace velmoview
