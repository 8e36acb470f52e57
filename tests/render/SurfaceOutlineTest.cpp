#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/render/MxSurfaceSceneGraph.h>
#include <velmo/toolkit/offscreen/MoOffscreenCanvas.h>
#include <velmo/toolkit/shapes/SoIndexedFaceSetOutline.h>

#include <tests/support/SceneQueries.h>
#include <tests/support/StateProbe.h>

#include <Inventor/nodes/SoShaderObject.h>
#include <Inventor/nodes/SoShaderParameter.h>
#include <Inventor/nodes/SoShaderProgram.h>

#include <gtest/gtest.h>

TEST(MxSurfaceSceneGraph, DrawsFacesAndEdgesInOnePassWhereItIsAllowed)
{
  const SoRef<SoSeparator> root(new SoSeparator), scene(new SoSeparator);
  MxSurfaceSceneGraph graph(root);
  const auto* shape = findNode<SoIndexedFaceSetOutline>(root);
  ASSERT_NE(shape, nullptr);

  auto* style = new MoDrawStyle;
  style->displayFaces = TRUE;
  style->displayEdges = TRUE;
  style->fadingThreshold = 4;
  scene->addChild(style);
  const StateProbe probe([&](SoAction* action) { graph.isEnabled(action->getState()); });
  scene->addChild(probe.node());
  MoOffscreenCanvas canvas;

  canvas.render(scene, 16, 16);
  EXPECT_EQ(shape->outlineMode.getValue(), SoIndexedFaceSetOutline::NO_OUTLINE) << "not allowed";
  graph.allowSinglePassOutline(true);
  canvas.render(scene, 16, 16);
  EXPECT_EQ(shape->outlineMode.getValue(), SoIndexedFaceSetOutline::FACES_AND_EDGES);
  EXPECT_TRUE(graph.requireFading());

  const auto before = shape->getNodeId();
  boxOf(scene);
  EXPECT_EQ(shape->getNodeId(), before) << "other actions leave the mode alone";

  // The two values of the fading program reach the shape.
  const auto* shader =
      static_cast<const SoShaderObject*>(graph.getFadingShaderProgram()->shaderObject[0]);
  static_cast<SoShaderParameter1f*>(shader->parameter[0])->value = 7;
  static_cast<SoShaderParameter1f*>(shader->parameter[1])->value = 0.25f;
  EXPECT_EQ(shape->fadingEdgePixelLength.getValue(), 7);
  EXPECT_EQ(shape->edgeLengthReference.getValue(), 0.25f);
  style->displayEdges = FALSE;
  canvas.render(scene, 16, 16);
  EXPECT_EQ(shape->outlineMode.getValue(), SoIndexedFaceSetOutline::NO_OUTLINE);
  EXPECT_FALSE(graph.requireFading());
}
