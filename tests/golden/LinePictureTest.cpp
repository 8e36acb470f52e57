#include <cmath>
#include <memory>

#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoDrawStyle.h>
#include <Inventor/nodes/SoLightModel.h>

#include <velmo/colormapping/MoPredefinedColorMapping.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbMesh.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/nodes/MoMesh.h>
#include <velmo/nodes/MoScalarSetIj.h>
#include <velmo/nodes/MoScalarSetIjk.h>
#include <velmo/nodes/MoVec3SetIjk.h>
#include <velmo/representations/MoMeshIsoline.h>
#include <velmo/representations/MoMeshStreamline.h>

#include "tests/golden/GoldenScene.h"

namespace {

/// Lines on white.
class Lines : public GoldenScene
{
protected:
  /// @param largest  value that has the last colour
  Lines(const SbVec3f& eye, float largest) : GoldenScene(eye)
  {
    add(new SoDirectionalLight)->direction = -eye + SbVec3f(0.5f, 0, -0.3f);
    add(new SoDrawStyle)->lineWidth = 3;
    light = add(new SoLightModel);
    auto* map = add(new MoPredefinedColorMapping);
    map->predefColorMap = MoPredefinedColorMapping::RAINBOW_TURBO;
    map->maxValue = largest;
    auto* style = add(new MoDrawStyle);
    style->displayFaces = FALSE;
    style->displayEdges = TRUE;
    add(new MoMaterial)->lineColoring = MoMaterial::CONTOURING;
  }
  SoLightModel* light;
};

/// Two hills with ten isolines, every third of them solid.
class Hills final : public Lines
{
public:
  Hills() : Lines({-0.3f, -1.0f, 0.9f}, 1)
  {
    light->model = SoLightModel::BASE_COLOR;
    std::vector<double> points, heights;
    for (std::size_t j = 0; j <= kCells; ++j)
      for (std::size_t i = 0; i <= kCells; ++i) {
        const double x = 4.0 * static_cast<double>(i) / kCells - 2;
        const double y = 4.0 * static_cast<double>(j) / kCells - 2;
        const double height = std::exp(-2 * ((x + 0.8) * (x + 0.8) + y * y)) +
                              0.7 * std::exp(-1.5 * ((x - 0.9) * (x - 0.9) + y * y));
        points.insert(points.end(), {x, y, height});
        heights.push_back(height);
      }
    m_mesh =
        std::make_unique<MbSurfaceMeshCurvilinear>(MbTopologyIj(kCells, kCells), std::move(points));
    m_heights = std::make_unique<MbDataSetIj<double>>("height", MiDataBinding::PerNode, kCells + 1,
                                                      kCells + 1, std::move(heights));
    add(new MoMesh)->setMesh(m_mesh.get());
    add(new MoScalarSetIj)->setScalarSet(m_heights.get());
    auto* lines = add(new MoMeshIsoline);
    for (int n = 0; n < 10; ++n)
      lines->isovalues.set1Value(n, 0.05f + 0.1f * static_cast<float>(n));
    lines->majorPeriod = 3;
    look();
    addFault("all lines are major ones", [lines] { lines->majorPeriod = 1; });
  }

private:
  static constexpr std::size_t kCells = 48;
  std::unique_ptr<MbSurfaceMeshCurvilinear> m_mesh;
  std::unique_ptr<MbDataSetIj<double>> m_heights;
};

/// Lines of a rising vortex, lit, with the colours of its speed.
class Vortex final : public Lines
{
public:
  Vortex() : Lines({-0.4f, -1.0f, 0.5f}, 3)
  {
    std::vector<double> vectors, speeds;
    for (std::size_t k = 0; k <= kCells; ++k)
      for (std::size_t j = 0; j <= kCells; ++j)
        for (std::size_t i = 0; i <= kCells; ++i) {
          const double x = kStep * static_cast<double>(i) - 1;
          const double y = kStep * static_cast<double>(j) - 1;
          vectors.insert(vectors.end(), {-3 * y, 3 * x, 0.35});
          speeds.push_back(std::sqrt(9 * (x * x + y * y) + 0.35 * 0.35));
        }
    const MbIndex3 nodes{kCells + 1, kCells + 1, kCells + 1};
    m_mesh = std::make_unique<MbVolumeMeshRegular>(
        MbIndex3{kCells, kCells, kCells}, MbVec3d{-1, -1, 0}, MbVec3d{kStep, kStep, kStep});
    m_vectors = std::make_unique<MbDataSetIjk<MbVec3d>>("v", MiDataBinding::PerNode, nodes,
                                                        std::move(vectors));
    m_speeds = std::make_unique<MbDataSetIjk<double>>("speed", MiDataBinding::PerNode, nodes,
                                                      std::move(speeds));
    add(new MoMesh)->setMesh(m_mesh.get());
    add(new MoScalarSetIjk)->setScalarSet(m_speeds.get());
    add(new MoVec3SetIjk)->setVec3Set(m_vectors.get());
    auto* lines = add(new MoMeshStreamline);
    for (int n = 0; n < 6; ++n)
      lines->startingPoints.set1Value(n, SbVec3f(0.15f * static_cast<float>(n + 1), 0, 0.02f));
    look();
    addFault("no light", [this] { light->model = SoLightModel::BASE_COLOR; });
  }

private:
  static constexpr std::size_t kCells = 16;
  static constexpr double kStep = 2.0 / kCells;
  std::unique_ptr<MbVolumeMeshRegular> m_mesh;
  std::unique_ptr<MbDataSetIjk<MbVec3d>> m_vectors;
  std::unique_ptr<MbDataSetIjk<double>> m_speeds;
};

template <class Made>
GoldenSubject subject(const char* name)
{
  return {name, [] { return std::make_unique<Made>(); }};
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Lines, GoldenPicture,
                         testing::Values(subject<Hills>("isolines_of_hills"),
                                         subject<Vortex>("streamlines_of_a_vortex")),
                         GoldenSubject::nameOf);
