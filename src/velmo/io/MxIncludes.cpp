#include <velmo/io/MxIncludes.h>

#include <velmo/io/MbMeshFile.h>
#include <velmo/io/MxNumberText.h>

#include <algorithm>
#include <filesystem>

std::unique_ptr<MxFileBytes> mxOpenInclude(std::string name, const char* where,
                                           std::span<const MxFileBytes* const> open,
                                           std::size_t count)
{
  namespace fs = std::filesystem;
  constexpr std::size_t kDeepest = 32, kMost = 1000;
  const MxFileBytes& from = *open.back();
  const auto refuse = [&](const std::string& why) {
    from.failAtLine(where, "the file " + mxQuoted(name) + " " + why);
  };
  if (name.empty()) from.failAtLine(where, "a file is included, but not named");
  if (name.find('\0') != name.npos) refuse("has a name that no file has");
  if (open.size() > kDeepest) refuse("is included too deeply");
  if (count >= kMost) refuse("is one of too many that are included");

  const fs::path folder = fs::path(from.getPath()).parent_path();
  std::error_code error;
  fs::path path = folder / name;
  if (!fs::exists(path, error)) {
    std::replace(name.begin(), name.end(), '\\', '/');
    path = folder / name;
  }
  for (const MxFileBytes* outer : open)
    if (fs::equivalent(path, outer->getPath(), error)) refuse("includes itself");
  try {
    return std::make_unique<MxFileBytes>(path.string(), from);
  } catch (const MbMeshFileError& problem) {
    refuse(problem.getProblem());
  }
  return nullptr;
}
