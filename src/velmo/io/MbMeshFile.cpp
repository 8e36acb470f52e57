#include <velmo/io/MbMeshFile.h>

MbMeshFileError::MbMeshFileError(std::string path, std::string place, std::string problem)
    : std::runtime_error(path + ": " + (place.empty() ? "" : place + ": ") + problem),
      m_path(std::move(path)), m_place(std::move(place)), m_problem(std::move(problem))
{}

struct MbMeshFile::Impl
{
  std::unique_ptr<MiMesh> mesh;
  MeshType type = UNDEFINED_MESH;
  std::string path, format, title;
  std::vector<MbMeshFileArray> arrays;
  std::vector<std::string> notes;
};

MbMeshFile MbMeshFile::read(const std::string& path, const MbMeshFileOptions&)
{
  throw MbMeshFileError(path, "", "is of no format that can be read");
}

MbMeshFile::MbMeshFile(std::unique_ptr<Impl> impl) : m_impl(std::move(impl)) {}
MbMeshFile::MbMeshFile(MbMeshFile&&) noexcept = default;
MbMeshFile& MbMeshFile::operator=(MbMeshFile&&) noexcept = default;
MbMeshFile::~MbMeshFile() = default;
