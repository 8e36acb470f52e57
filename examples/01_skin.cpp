// An application's arrays, a mesh node, a data set, a colour map, a skin: a picture.
// usage: 01_skin [PICTURE.png]

#include <velmo/picture.h>
#include <velmo/velmo.h>

#include <Inventor/nodes/SoSeparator.h>

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
    drawn = moWritePicture(argc > 1 ? argv[1] : "skin.png", model, 800, 800);
  }
  MoVelmo::finish();
  return drawn ? 0 : 1;
}
