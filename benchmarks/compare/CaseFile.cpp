#include "CaseFile.h"

#include <filesystem>
#include <stdexcept>
#include <unistd.h>

namespace {

struct TemporaryFile
{
  std::string path;
  const double* mesh = nullptr;
  FileFormat format = FileFormat::None;

  void remove()
  {
    if (!path.empty()) std::filesystem::remove(path);
    path.clear();
  }
  ~TemporaryFile() { remove(); }
};

} // namespace

std::string caseFile(const MeshArrays& mesh, FileFormat format)
{
  static TemporaryFile file;
  if (!file.path.empty() && file.mesh == mesh.points && file.format == format) return file.path;
  file.remove();
  const auto folder = std::filesystem::temp_directory_path();
  file.path = (folder / ("velmo_compare_" + std::to_string(::getpid()))).string();
  file.mesh = mesh.points;
  file.format = format;
  writePeerFile(mesh, format, file.path);
  std::error_code none;
  if (std::filesystem::file_size(file.path, none) < mesh.nodeCount)
    throw std::runtime_error(file.path + " cannot be written");
  return file.path;
}
