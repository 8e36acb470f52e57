// An application's arrays, a mesh node, a data set, a colour map, a skin: a picture.
// usage: 01_skin [PICTURE.png]

#include "Picture.h"

#include <velmo/colormapping/MoPredefinedColorMapping.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbMesh.h>
#include <velmo/nodes/MoDataBinding.h>
#include <velmo/nodes/MoMesh.h>
#include <velmo/nodes/MoScalarSetI.h>
#include <velmo/nodes/MoVelmo.h>
#include <velmo/representations/MoMeshSkin.h>
#include <velmo/toolkit/SoRef.h>

#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoPerspectiveCamera.h>
#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/nodes/SoShapeHints.h>

#include <cmath>

namespace {

/// A twisted bar of n x n x 6n hexahedra, as a solver would hold it: plain arrays.
struct Bar
{
  static constexpr int n = 12, nodesPerRow = n + 1, length = 6 * n;
  std::vector<float> points;
  std::vector<int> cells;
  std::vector<double> twist;

  Bar()
  {
    for (int k = 0; k <= length; ++k)
      for (int j = 0; j <= n; ++j)
        for (int i = 0; i <= n; ++i) {
          const double u = double(i) / n - 0.5, v = double(j) / n - 0.5, w = double(k) / n;
          const double angle = 0.35 * w;
          points.push_back(float(u * std::cos(angle) - v * std::sin(angle)));
          points.push_back(float(u * std::sin(angle) + v * std::cos(angle)));
          points.push_back(float(w));
          twist.push_back(std::hypot(u, v) * w);
        }
    const int row = nodesPerRow, layer = row * row;
    for (int k = 0; k < length; ++k)
      for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
          const int a = i + row * j + layer * k;
          for (int node : {a, a + 1, a + 1 + row, a + row})
            cells.push_back(node);
          for (int node : {a, a + 1, a + 1 + row, a + row})
            cells.push_back(node + layer);
        }
  }
};

bool drawTo(const char* path, SoSeparator* model)
{
  const SoRef<SoSeparator> scene(new SoSeparator);
  auto* camera = new SoPerspectiveCamera;
  auto* sun = new SoDirectionalLight;
  auto* hints = new SoShapeHints;
  sun->direction.setValue(-0.8f, -0.35f, -0.5f);
  hints->vertexOrdering = SoShapeHints::COUNTERCLOCKWISE; // both sides of a face are lit
  for (SoNode* node : std::initializer_list<SoNode*>{camera, sun, hints, model})
    scene->addChild(node);
  camera->position.setValue(4, 4, 5);
  camera->pointAt(SbVec3f(0, 0, 3), SbVec3f(1, 0, 0));
  camera->viewAll(scene, SbViewportRegion(800, 600));
  camera->heightAngle = 1.15f * camera->heightAngle.getValue(); // a margin around it
  return writePicture(path, scene, 800, 600);
}

} // namespace

int main(int argc, char** argv)
{
  MoVelmo::init();
  const Bar bar;
  bool drawn = false;
  {
    // The ten lines: nothing of the arrays is copied.
    MbVolumeMeshUnstructured mesh({MiCellShape::Hexahedron, bar.cells}, bar.points);
    MbDataSetI<double> twist("twist", MiDataBinding::PerNode, bar.twist);
    const SoRef<SoSeparator> model(new SoSeparator);
    auto* meshNode = new MoMesh;
    auto* values = new MoScalarSetI;
    auto* colors = new MoPredefinedColorMapping;
    meshNode->setMesh(&mesh);
    values->setScalarSet(&twist);
    colors->predefColorMap = MoPredefinedColorMapping::RAINBOW_TURBO;
    colors->maxValue = 4.25f;
    for (SoNode* node : std::initializer_list<SoNode*>{meshNode, values, colors, new MoMeshSkin})
      model->addChild(node);
    drawn = drawTo(argc > 1 ? argv[1] : "skin.png", model);
  }
  MoVelmo::finish();
  return drawn ? 0 : 1;
}
