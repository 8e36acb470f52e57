#include <velmo/io.h>

#include <cstdio>

// Two tetrahedra on one face, written, read back and skinned, without a scene graph.
int main()
{
  const std::vector<double> points{0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 1, 1};
  const std::vector<int> cells{0, 1, 2, 3, 1, 2, 3, 4};
  const MbVolumeMeshUnstructured mesh({MiCellShape::Tetrahedron, cells}, points);
  mbSaveMesh(mesh, {}, "package_io_test.vtu");
  const MbMeshFile file = MbMeshFile::read("package_io_test.vtu");
  const auto* read = dynamic_cast<const MiVolumeMeshUnstructured*>(file.getMesh());
  if (!read) return 1;
  const auto skin = MiSkinExtractUnstructured::getNewInstance(*read, true);
  const std::size_t faces = skin->extractSkin(nullptr).getTopology().getCellCount();
  std::printf("%zu faces\n", faces);
  return faces == 6 ? 0 : 1;
}
