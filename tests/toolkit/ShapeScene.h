#pragma once

#include <tests/support/Offscreen.h>
#include <velmo/toolkit/classes/SoRef.h>
#include <velmo/toolkit/shapes/TkVertexProperty.h>

#include <Inventor/nodes/SoCamera.h>
#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoDrawStyle.h>
#include <Inventor/nodes/SoLightModel.h>
#include <Inventor/nodes/SoMaterial.h>
#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/nodes/SoShapeHints.h>
#include <Inventor/nodes/SoVertexShape.h>

#include <cstdint>
#include <vector>

/// A shape of ours or the toolkit's before a camera, with the same nodes around it.
struct ShapeScene
{
  ShapeScene(SoCamera* camera, SoVertexShape* shape, const SbColor& diffuse)
  {
    root->addChild(camera);
    for (SoNode* node : std::initializer_list<SoNode*>{light, hints, model, material, style})
      root->addChild(node);
    hints->vertexOrdering = SoShapeHints::COUNTERCLOCKWISE;
    material->diffuseColor = diffuse;
    shape->vertexProperty = property;
    root->addChild(shape);
  }
  void giveColors(const std::vector<std::uint32_t>& colors, int binding)
  {
    property->orderedRGBA.setValuesPointer(static_cast<int>(colors.size()), colors.data());
    property->materialBinding = binding;
  }
  MbImage draw(int width, int height) { return drawScene(root, width, height); }

  SoRef<SoSeparator> root{new SoSeparator};
  SoDirectionalLight* light = new SoDirectionalLight;
  SoShapeHints* hints = new SoShapeHints;
  SoLightModel* model = new SoLightModel;
  SoMaterial* material = new SoMaterial;
  SoDrawStyle* style = new SoDrawStyle;
  TkVertexProperty* property = new TkVertexProperty;
};
