#include "tests/support/Offscreen.h"
#include "tests/support/SceneQueries.h"

#include <velmo/colormapping/MoLevelColorMapping.h>
#include <velmo/colormapping/MoLinearColorMapping.h>
#include <velmo/colormapping/MoUndefinedColor.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbMesh.h>
#include <velmo/nodes/MoDataBinding.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/nodes/MoMesh.h>
#include <velmo/nodes/MoScalarSet.h>
#include <velmo/representations/MoMeshSurface.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoLightModel.h>
#include <Inventor/nodes/SoSeparator.h>

#include <cmath>
#include <gmock/gmock.h>

namespace {

using Rgb = std::array<int, 3>;

/// Three quads in a row, 0 to 3 along x; the third has corners, or a value, that are no numbers.
class Strip
{
public:
  enum Way
  {
    NodeColors,
    CellColors,
    LevelTexture,
    Enhanced
  };

  explicit Strip(Way way)
  {
    const double nan = std::nan("");
    const bool perCell = way == CellColors;
    m_set = std::make_unique<MbDataSetI<double>>(
        "v", perCell ? MiDataBinding::PerCell : MiDataBinding::PerNode,
        perCell ? std::vector<double>{1, 1, nan} : std::vector<double>{1, 1, 1, nan, 1, 1, 1, nan});
    add(cameraAt(1.5f, 0.5f, 1, 1));
    add(new SoLightModel)->model = SoLightModel::BASE_COLOR;
    add(new SoDirectionalLight); // enhanced colouring is always lit
    add(new MoMesh)->setMesh(&m_mesh);
    add(new MoScalarSet)->setScalarSet(m_set.get());
    add(new MoDataBinding)->dataBinding = MoDataBinding::AUTO;
    // 1 is green, what is no number is blue: the last colour.
    if (way == LevelTexture)
      fill(add(new MoLevelColorMapping), {0, 0.5f, 1.5f, 2});
    else
      fill(add(new MoLinearColorMapping), {0, 1, 2});
    above = add(new SoGroup);
    add(new MoMaterial)->enhancedColoring = way == Enhanced;
    add(new MoMeshSurface);
  }

  /// In the middle of quad i.
  Rgb color(int i) const
  {
    const MbImage image = drawScene(m_root, 90, 30);
    if (image.empty()) return {};
    const std::uint8_t* p = image.pixel(15 + 30 * i, 15);
    return {p[0], p[1], p[2]};
  }

  SoGroup* above;

private:
  template <class Node>
  Node* add(Node* node)
  {
    m_root->addChild(node);
    return node;
  }
  template <class Node>
  static void fill(Node* node, const std::vector<float>& values)
  {
    const SbVec4f colors[] = {{1, 0, 0, 1}, {0, 1, 0, 1}, {0, 0, 1, 1}};
    node->values.setValues(0, static_cast<int>(values.size()), values.data());
    node->colors.setValues(0, 3, colors);
  }

  const std::vector<float> m_points{0, 0, 0, 1, 0, 0, 2, 0, 0, 3, 0, 0,
                                    0, 1, 0, 1, 1, 0, 2, 1, 0, 3, 1, 0};
  const std::vector<int> m_cells{0, 1, 5, 4, 1, 2, 6, 5, 2, 3, 7, 6};
  const MbSurfaceMeshUnstructured m_mesh{{MiCellShape::Quad, m_cells}, m_points};
  std::unique_ptr<MbDataSetI<double>> m_set;
  SoRef<SoSeparator> m_root{new SoSeparator};
};

// The middle of a quad is between pixels, and light adds some.
constexpr int kNear = 10;
constexpr Rgb kGreen{0, 255, 0}, kPink{255, 0, 127};

} // namespace

TEST(UndefinedColor, MarksWhatIsNoNumberWhenAsked)
{
  for (const Strip::Way way :
       {Strip::NodeColors, Strip::CellColors, Strip::LevelTexture, Strip::Enhanced})
  {
    SCOPED_TRACE(way);
    Strip strip(way);
    const bool runsIn = way == Strip::NodeColors; // colours of nodes run into each other
    EXPECT_EQ(strip.color(0), kGreen);
    EXPECT_NEAR(strip.color(2)[2], runsIn ? 127 : 255, kNear);

    auto* undefined = new MoUndefinedColor;
    undefined->color.setValue(1, 0, 0.5f);
    strip.above->addChild(undefined);
    EXPECT_EQ(strip.color(0), kGreen);
    EXPECT_EQ(strip.color(1), kGreen);
    const Rgb marked = strip.color(2);
    for (int c = 0; c < 3; ++c)
      EXPECT_NEAR(marked[c], runsIn ? (kGreen[c] + kPink[c]) / 2 : kPink[c], kNear);

    undefined->color.setValue(0, 0, 0);
    EXPECT_EQ(strip.color(2)[0], 0);
    strip.above->removeAllChildren();
    EXPECT_EQ(strip.color(0), kGreen);
    EXPECT_NEAR(strip.color(2)[2], runsIn ? 127 : 255, kNear);
  }
}
