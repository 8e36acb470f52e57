// Bands of colour on one coarse mesh in three ways: colours at the nodes, a level texture, and
// values that are interpolated inside each face. usage: 03_level_colors [PICTURE.png]

#include <velmo/colormapping/MoLevelColorMapping.h>
#include <velmo/colormapping/MoLinearColorMapping.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbMesh.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/nodes/MoMesh.h>
#include <velmo/nodes/MoScalarSetI.h>
#include <velmo/nodes/MoVelmo.h>
#include <velmo/picture/MoPicture.h>
#include <velmo/representations/MoMeshSkin.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoOrthographicCamera.h>
#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/nodes/SoTranslation.h>

#include <cmath>

namespace {

/// A warped plate of n x n hexahedra, seen from above.
struct Plate
{
  static constexpr int n = 5, row = n + 1;
  std::vector<float> points;
  std::vector<int> cells;
  std::vector<double> height;

  Plate()
  {
    for (const float z : {-0.1f, 0.0f})
      for (int j = 0; j <= n; ++j)
        for (int i = 0; i <= n; ++i) {
          const double x = double(i) / n, y = double(j) / n;
          points.push_back(float(x + 0.06 * std::sin(5 * y + 2 * x)));
          points.push_back(float(y + 0.06 * std::sin(7 * x)));
          points.push_back(z + float(0.08 * std::sin(6 * x) * std::cos(5 * y)));
          height.push_back(std::exp(-4 * (x - 0.6) * (x - 0.6) - 7 * (y - 0.4) * (y - 0.4)));
        }
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i)
        for (const int layer : {0, row * row})
          for (const int corner : {0, 1, row + 1, row})
            cells.push_back(layer + j * row + i + corner);
  }
};

const float kLevels[] = {0, 0.15f, 0.3f, 0.45f, 0.6f, 0.75f, 1};
const SbVec4f kColors[] = {{0.19f, 0.32f, 0.59f, 1}, {0.36f, 0.66f, 0.81f, 1},
                           {0.72f, 0.87f, 0.75f, 1}, {0.98f, 0.93f, 0.62f, 1},
                           {0.96f, 0.64f, 0.35f, 1}, {0.78f, 0.22f, 0.20f, 1}};

MoLevelColorMapping* makeBands()
{
  auto* bands = new MoLevelColorMapping;
  bands->values.setValues(0, 7, kLevels);
  bands->colors.setValues(0, 6, kColors);
  return bands;
}

/// The same colours for the same values, as a linear mapping that jumps: looked up node by node.
MoLinearColorMapping* makeSteps()
{
  auto* steps = new MoLinearColorMapping;
  for (int k = 0; k < 6; ++k)
    for (int end = 0; end < 2; ++end) {
      steps->values.set1Value(2 * k + end, kLevels[k + end]);
      steps->colors.set1Value(2 * k + end, kColors[k]);
    }
  return steps;
}

SoSeparator* makePlate(SoNode* mapping, bool enhanced)
{
  auto* plate = new SoSeparator;
  auto* material = new MoMaterial;
  material->enhancedColoring = enhanced;
  material->lineColoring = MoMaterial::COLOR;
  material->lineColor.setValue(0.25f, 0.27f, 0.3f);
  auto* style = new MoDrawStyle;
  style->displayEdges = TRUE;
  for (SoNode* node : std::initializer_list<SoNode*>{mapping, material, style, new MoMeshSkin})
    plate->addChild(node);
  return plate;
}

bool drawTo(const char* path, SoSeparator* model)
{
  const SoRef<SoSeparator> scene(new SoSeparator);
  auto* camera = new SoOrthographicCamera;
  camera->position.setValue(1.62f, 0.5f, 3);
  camera->height = 1.25f;
  auto* sun = new SoDirectionalLight;
  sun->direction.setValue(0.1f, -0.2f, -1);
  for (SoNode* node : std::initializer_list<SoNode*>{camera, sun, model})
    scene->addChild(node);
  return moWritePicture(path, scene, 1200, 430, SbColor4f(1, 1, 1, 1));
}

} // namespace

int main(int argc, char** argv)
{
  MoVelmo::init();
  const Plate plate;
  bool drawn = false;
  {
    MbVolumeMeshUnstructured mesh({MiCellShape::Hexahedron, plate.cells}, plate.points);
    MbDataSetI<double> height("height", MiDataBinding::PerNode, plate.height);
    const SoRef<SoSeparator> model(new SoSeparator);
    auto* meshNode = new MoMesh;
    meshNode->setMesh(&mesh);
    auto* values = new MoScalarSetI;
    values->setScalarSet(&height);
    model->addChild(meshNode);
    model->addChild(values);
    for (SoSeparator* one : {makePlate(makeSteps(), false), makePlate(makeBands(), false),
                             makePlate(makeBands(), true)})
    {
      model->addChild(one);
      auto* aside = new SoTranslation;
      aside->translation.setValue(1.12f, 0, 0);
      model->addChild(aside);
    }
    drawn = drawTo(argc > 1 ? argv[1] : "level_colors.png", model);
  }
  MoVelmo::finish();
  return drawn ? 0 : 1;
}
