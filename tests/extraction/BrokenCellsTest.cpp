#include <velmo/mesh/MbDataSet.h>

#include <tests/support/CutExtractors.h>
#include <tests/support/ExtractorOf.h>
#include <tests/support/SkinLaws.h>

#include <gmock/gmock.h>

#include <functional>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// An extractor of a mesh of which some cells cannot be used.
struct Broken
{
  const char* name;
  std::shared_ptr<MiExtractor> extractor;
  /// Extracts, a little elsewhere with each step.
  /// @return how many cells there are
  std::function<std::size_t(double step)> extract;
  std::size_t kept;
  std::string sentence;
};

double height(const MbVec3d& p)
{
  return p.z;
}

/// Two tetrahedra with edges of 1, apart, and between them those with a node beyond the last one, a
/// negative one, a huge one, and one that is nowhere.
class Tetrahedra
{
public:
  std::vector<Broken> rows(bool parallel)
  {
    const std::string sentence = laws::brokenCells(4, 1);
    const auto cuts = std::make_shared<CutExtractors>(m_mesh, parallel);
    const auto count = [](const auto& surface) { return surface.topology.getCellCount(); };
    const std::shared_ptr<MiSkinExtractUnstructured> skin =
        MiSkinExtractUnstructured::getNewInstance(m_mesh, parallel);
    const std::shared_ptr<MiStreamlineExtractUnstructured> lines =
        MiStreamlineExtractUnstructured::getNewInstance(m_mesh, parallel);
    return {{"skin", skin,
             [=](double step) {
               skin->setCellRange(0, step == 0 ? 6 : 7);
               return count(skin->extractSkin(nullptr));
             },
             8, sentence},
            {"isosurface", cuts->isosurfaces,
             [=, this](double step) {
               return count(cuts->isosurface(*m_heights, 0.5 + step, nullptr));
             },
             2, sentence},
            {"plane", cuts->planes,
             [=](double step) {
               return count(cuts->plane({0, 0, 1}, 0.5 + step, nullptr));
             },
             2, sentence},
            {"sphere", cuts->spheres,
             [=](double step) { return count(cuts->sphere({}, 0.5 + step, nullptr)); }, 1,
             sentence},
            {"cylinder", cuts->cylinders,
             [=](double step) {
               return count(cuts->cylinder({}, {0, 0, 1}, 0.5 + step, nullptr));
             },
             1, sentence},
            {"streamlines", lines,
             [=, this](double step) {
               const std::vector<MbVec3d> seeds{{0.1, 0.1, 0.1 + step}, {5.1, 0.1, 0.1 + step}};
               EXPECT_TRUE(lines->extractStreamlines(seeds, *m_upward, nullptr));
               return count(lines->getLines()[0]) + count(lines->getLines()[1]);
             },
             2, sentence}};
  }

private:
  const MbVolumeMeshUnstructured m_mesh{
      {MiCellShape::Tetrahedron,
       std::vector<std::int32_t>{0, 1, 2, 3,          4, 1, 2, 9, 4, 5, 6, -1,
                                 5, 6, 7, 2000000000, 4, 5, 6, 8, 4, 5, 6, 7}},
      std::vector<double>{0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 5,   0,
                          0, 6, 0, 0, 5, 1, 0, 5, 0, 1, 5, 0, kNaN}};
  const std::unique_ptr<MiTypedDataSet<double>> m_heights = zoo::nodeSet(m_mesh, height);
  const std::unique_ptr<MiTypedDataSet<MbVec3d>> m_upward =
      zoo::vectorSet(m_mesh, [](const MbVec3d&) {
        return MbVec3d{0, 0, 1};
      });
};

/// Triangles, some with wrong nodes and one that is none; a sheet that has lost a node of its
/// second row, and with it four of its nine cells; segments.
class Flat
{
public:
  Flat()
  {
    for (int j = 0; j < 4; ++j)
      for (int i = 0; i < 4; ++i)
        m_lattice.insert(m_lattice.end(), {double(i), i == 2 && j == 1 ? kNaN : double(j), 0.});
    m_sheet = std::make_unique<MbSurfaceMeshCurvilinear>(MbTopologyIj{3, 3}, m_lattice);
  }
  std::vector<Broken> rows(bool parallel)
  {
    std::vector<Broken> all;
    const auto add = [&]<MeshType K>(const MiMesh& mesh, std::size_t kept, std::size_t lineCount,
                                     const std::string& sentence) {
      const std::shared_ptr<extractors::Surface<K>> surface =
          extractors::Surface<K>::getNewInstance(zoo::as<K>(mesh), parallel);
      const std::shared_ptr<extractors::Isolines<K>> lines =
          extractors::Isolines<K>::getNewInstance(zoo::as<K>(mesh), parallel);
      const std::shared_ptr<MiTypedDataSet<double>> set =
          zoo::nodeSet(mesh, [](const MbVec3d& p) { return p.x; });
      all.push_back(
          {"surface", surface,
           [=](double) { return surface->extractSurface(nullptr).topology.getCellCount(); }, kept,
           sentence});
      all.push_back({"isolines", lines,
                     [=](double step) {
                       const std::vector<double> values{0.5 + step};
                       EXPECT_TRUE(lines->extractIsolines(values, *set, nullptr));
                       return lines->getLines()[0].topology.getCellCount();
                     },
                     lineCount, sentence});
    };
    add.operator()<SURFACE_MESH_UNSTRUCTURED>(m_triangles, 2, 1, laws::brokenCells(3, 1));
    add.operator()<SURFACE_MESH_CURVILINEAR>(*m_sheet, 5, 1, laws::brokenCells(4, 1));
    const std::shared_ptr<MiLineExtractUnstructured> lines =
        MiLineExtractUnstructured::getNewInstance(m_segments, parallel);
    all.push_back({"lines", lines,
                   [=](double) { return lines->extractLine(nullptr).topology.getCellCount(); }, 2,
                   laws::brokenCells(2, 0)});
    return all;
  }

private:
  const MbSurfaceMeshUnstructured m_triangles{
      {MiCellShape::Triangle,
       std::vector<std::int32_t>{0, 1, 2, 1, 2, 7, 1, 2, -1, 2, 1, 3, 4, 1, 0, 2, 2, 0}},
      std::vector<double>{0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0, kNaN, 0, 0}};
  std::vector<double> m_lattice;
  std::unique_ptr<MbSurfaceMeshCurvilinear> m_sheet;
  const MbLineMeshUnstructured m_segments{
      {MiCellShape::Line, std::vector<std::int64_t>{3, 0, 0, 1, 1, 4, 1, 2}},
      std::vector<double>{0, 0, 0, 1, 0, 0, 2, 0, 0, kNaN, 0, 0}};
};

} // namespace

TEST(BrokenCells, AreLeftOutByEveryExtractorWithOneSentenceThatIsSaidOnce)
{
  Tetrahedra tetrahedra;
  Flat flat;
  for (const bool parallel : {false, true}) {
    std::vector<Broken> rows = tetrahedra.rows(parallel);
    for (Broken& row : flat.rows(parallel))
      rows.push_back(std::move(row));
    for (const Broken& row : rows) {
      SCOPED_TRACE(row.name);
      EXPECT_EQ(row.extract(0), row.kept);
      EXPECT_THAT(row.extractor->getWarnings(), ElementsAre(row.sentence));
      EXPECT_EQ(row.extract(0.1), row.kept);
      EXPECT_THAT(row.extractor->getWarnings(), IsEmpty()) << "said once";
    }
  }
}
