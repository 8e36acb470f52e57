#pragma once

#include <tests/toolkit/ShapeScene.h>
#include <velmo/toolkit/shapes/SoIndexedFaceSetOutline.h>

#include <Inventor/nodes/SoPerspectiveCamera.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

/// A wavy square of cells x cells quadrilaterals; some of them are cut into two triangles, some
/// pairs joined to hexagons. The arrays are handed over in place.
struct WavySheet
{
  explicit WavySheet(int cells, float height = 0.15f)
  {
    for (int j = 0; j <= cells; ++j)
      for (int i = 0; i <= cells; ++i) {
        const float x = 2.0f * i / cells - 1, y = 2.0f * j / cells - 1;
        positions.emplace_back(x, y, height * std::sin(4 * x) * std::cos(3 * y));
        normals.emplace_back(-height * 4 * std::cos(4 * x) * std::cos(3 * y),
                             height * 3 * std::sin(4 * x) * std::sin(3 * y), 1.0f);
        normals.back().normalize();
        colors.push_back(static_cast<std::uint32_t>(255 * i / cells) << 24 |
                         static_cast<std::uint32_t>(255 * j / cells) << 16 | 0x40ff);
        coordinates.emplace_back(0.5f + 0.5f * x, 0.5f);
      }
    const auto at = [cells](int i, int j) { return j * (cells + 1) + i; };
    const auto add = [this](std::initializer_list<int> face) {
      indices.insert(indices.end(), face);
      indices.push_back(-1);
      faceColors.push_back(static_cast<std::uint32_t>(faceColors.size()) * 2654435761u | 0xffu);
    };
    for (int j = 0; j < cells; ++j)
      for (int i = 0; i < cells; ++i) {
        const int a = at(i, j), b = at(i + 1, j), c = at(i + 1, j + 1), d = at(i, j + 1);
        if (i % 4 == 0) {
          add({a, b, c});
          add({a, c, d});
        } else if (i % 4 == 1 && i + 1 < cells) {
          add({a, b, at(i + 2, j), at(i + 2, j + 1), c, d});
          ++i;
        } else {
          add({a, b, c, d});
        }
      }
  }

  void fill(SoVertexProperty* property) const
  {
    property->vertex.setValuesPointer(static_cast<int>(positions.size()), positions.data());
  }
  void fill(SoIndexedFaceSet* shape) const
  {
    shape->coordIndex.setValuesPointer(static_cast<int>(indices.size()), indices.data());
  }
  std::vector<SbVec3f> faceNormals() const
  {
    std::vector<SbVec3f> result;
    for (std::size_t f = 0; f < faceColors.size(); ++f) {
      result.emplace_back(0.3f * std::sin(f * 0.7f), 0.3f * std::cos(f * 0.4f), 1.0f);
      result.back().normalize();
    }
    return result;
  }

  std::vector<SbVec3f> positions, normals;
  std::vector<std::uint32_t> colors, faceColors;
  std::vector<SbVec2f> coordinates;
  std::vector<std::int32_t> indices;
};

/// An arrowhead whose first vertex is far from its notch, and a comb with three teeth.
inline WavySheet makeHollowFaces()
{
  WavySheet shapes(1, 0);
  shapes.positions = {{-0.9f, -0.8f, 0}, {0.0f, -0.3f, 0}, {0.9f, -0.8f, 0}, {0, 0.0f, 0},
                      {-0.9f, 0.1f, 0},  {0.9f, 0.1f, 0},  {0.9f, 0.9f, 0},  {0.5f, 0.9f, 0},
                      {0.45f, 0.3f, 0},  {0.2f, 0.3f, 0},  {0.2f, 0.9f, 0},  {-0.2f, 0.9f, 0},
                      {-0.2f, 0.3f, 0},  {-0.5f, 0.3f, 0}, {-0.5f, 0.9f, 0}, {-0.9f, 0.9f, 0}};
  shapes.indices = {0, 1, 2, 3, -1, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, -1};
  return shapes;
}

using Outline = SoIndexedFaceSetOutline;

/// One face set before a camera.
struct OutlineScene : ShapeScene
{
  explicit OutlineScene(SoIndexedFaceSet* faceSet)
      : ShapeScene(makeCamera(), faceSet, SbColor(0.7f, 0.6f, 0.4f)), shape(faceSet)
  {
    light->direction.setValue(-0.3f, 0.4f, -1);
  }
  void show(const WavySheet& sheet)
  {
    sheet.fill(property);
    sheet.fill(shape);
  }
  void giveNormals(const std::vector<SbVec3f>& normals, int binding)
  {
    property->normal.setValuesPointer(static_cast<int>(normals.size()), normals.data());
    property->normalBinding = binding;
  }
  MbImage draw(int size = 300) { return ShapeScene::draw(size, size * 4 / 5); }
  Outline& outline() { return static_cast<Outline&>(*shape); }

  SoIndexedFaceSet* shape;

private:
  static SoCamera* makeCamera()
  {
    auto* camera = new SoPerspectiveCamera;
    camera->position.setValue(0.8f, -1.2f, 2.2f);
    camera->pointAt(SbVec3f(0, 0, 0));
    camera->nearDistance = 0.5f;
    camera->farDistance = 6;
    return camera;
  }
};

/// What makes one of several scenes.
struct OutlineCase
{
  const char* name;
  std::function<void(OutlineScene&, const WavySheet&)> apply;
  double tolerance = 0.002;
};
