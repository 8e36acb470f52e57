// A field on a regular grid: two of its isosurfaces and a cut, coloured by another field.
// usage: 02_isosurface [PICTURE.png]

#include <velmo/colormapping/MoPredefinedColorMapping.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbMesh.h>
#include <velmo/nodes/MoMesh.h>
#include <velmo/nodes/MoScalarSet.h>
#include <velmo/nodes/MoVelmo.h>
#include <velmo/picture/MoPicture.h>
#include <velmo/representations/MoMeshIsosurface.h>
#include <velmo/representations/MoMeshPlaneSlice.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoPerspectiveCamera.h>
#include <Inventor/nodes/SoSeparator.h>

#include <cmath>

namespace {

constexpr std::size_t kCells = 80, kNodes = kCells + 1;
constexpr double kStep = 2.0 / kCells;

/// What a solver would hold: a value a node of the cube from -1 to 1, I fastest.
std::vector<float> sample(double (*function)(double x, double y, double z))
{
  std::vector<float> values;
  for (std::size_t k = 0; k < kNodes; ++k)
    for (std::size_t j = 0; j < kNodes; ++j)
      for (std::size_t i = 0; i < kNodes; ++i)
        values.push_back(static_cast<float>(function(i * kStep - 1, j * kStep - 1, k * kStep - 1)));
  return values;
}

/// How close four charges are.
double potential(double x, double y, double z)
{
  double sum = 0;
  for (const int charge : {-1, 1})
    sum += 1 / (0.05 + std::hypot(x - 0.45 * charge, y, z - 0.2 * charge)) +
           1 / (0.05 + std::hypot(x, y - 0.4 * charge, z + 0.3));
  return sum;
}

double temperature(double x, double y, double z)
{
  return 20 + 60 * std::exp(-2 * (x - 0.3) * (x - 0.3) - y * y) * (z + 1);
}

} // namespace

int main(int argc, char** argv)
{
  MoVelmo::init();
  const std::vector<float> potentials = sample(potential), temperatures = sample(temperature);
  bool drawn = false;
  {
    const MbIndex3 nodes{kNodes, kNodes, kNodes};
    MbVolumeMeshRegular mesh(MbTopologyIjk({kCells, kCells, kCells}), MbVec3d{-1, -1, -1},
                             MbVec3d{kStep, kStep, kStep});
    MbDataSetIjk<double> shape("potential", MiDataBinding::PerNode, nodes, potentials);
    MbDataSetIjk<double> color("temperature", MiDataBinding::PerNode, nodes, temperatures);

    auto* meshNode = new MoMesh;
    auto* shapeSet = new MoScalarSet; // id 0
    auto* colorSet = new MoScalarSet; // id 1
    auto* colors = new MoPredefinedColorMapping;
    meshNode->setMesh(&mesh);
    shapeSet->setScalarSet(&shape);
    colorSet->setScalarSet(&color);
    colors->predefColorMap = MoPredefinedColorMapping::RAINBOW_TURBO;
    colors->minValue = 0;
    colors->maxValue = 130;

    // Dragging is setting a field: what does not change is kept.
    auto* surface = new MoMeshIsosurface;
    surface->isoScalarSetId = 0;
    surface->colorScalarSetId = 1;
    surface->isovalue = 6.9f;
    auto* cut = new MoMeshPlaneSlice;
    cut->colorScalarSetId = 1;
    cut->plane = SbPlane(SbVec3f(0, 0, 1), -0.75f);

    const SoRef<SoSeparator> scene(new SoSeparator);
    auto* camera = new SoPerspectiveCamera;
    auto* sun = new SoDirectionalLight;
    sun->direction.setValue(-0.3f, 0.5f, -0.8f);
    for (SoNode* node : std::initializer_list<SoNode*>{camera, sun, meshNode, shapeSet, colorSet,
                                                       colors, surface, cut})
      scene->addChild(node);
    camera->position.setValue(1.9f, -2.9f, 1.3f);
    camera->pointAt(SbVec3f(0, 0, -0.2f), SbVec3f(0, 0, 1));
    camera->viewAll(scene, SbViewportRegion(800, 600));
    camera->heightAngle = 1.05f * camera->heightAngle.getValue(); // a margin around it
    drawn = moWritePicture(argc > 1 ? argv[1] : "isosurface.png", scene, 800, 600);
  }
  MoVelmo::finish();
  return drawn ? 0 : 1;
}
