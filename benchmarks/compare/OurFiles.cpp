#include "CaseFile.h"
#include "Ours.h"

#include <velmo/io/MbMeshFile.h>
#include <velmo/mesh/MbArray.h>
#include <velmo/mesh/MbMesh.h>

#include <optional>

namespace {

class ReadJob final : public Job
{
public:
  ReadJob(const MeshArrays& mesh, FileFormat format, int threads)
      : m_path(caseFile(mesh, format)), m_parallel(threads > 1)
  {}

  void run() override
  {
    MbMeshFileOptions options;
    options.parallel = m_parallel;
    m_file.emplace(MbMeshFile::read(m_path, options));
  }
  CheckValues check() const override
  {
    const auto& mesh = dynamic_cast<const MiVolumeMeshUnstructured&>(*m_file->getMesh());
    ReadCheck check;
    const MiArrayView points = mesh.getGeometry().getView();
    for (std::size_t node = 0; node < points.count; ++node)
      for (std::size_t c = 0; c < 3; ++c)
        check.addCoordinate(mbNumber(points, node, c));
    const MiArrayView connectivity = mesh.getTopology().getView().connectivity;
    for (std::size_t i = 0; i < connectivity.count; ++i)
      check.addNode(static_cast<std::uint64_t>(mbNumber(connectivity, i)));
    for (const MbMeshFileArray& array : m_file->getArrays())
      for (std::size_t node = 0; node < array.values.count; ++node)
        check.addValue(mbNumber(array.values, node));
    return check.values(m_file->getNodeCount(), m_file->getCellCount());
  }
  std::size_t extractionCount() const override { return m_file ? 1 : 0; }

private:
  std::string m_path;
  bool m_parallel;
  std::optional<MbMeshFile> m_file;
};

} // namespace

std::unique_ptr<Job> makeOurRead(const MeshArrays& mesh, const Task& task, int threads)
{
  return std::make_unique<ReadJob>(mesh, task.file, threads);
}
