#include <velmo/picture/MoPicture.h>

#include <velmo/picture/MbPng.h>
#include <velmo/toolkit/classes/SoRef.h>
#include <velmo/toolkit/offscreen/MoOffscreenCanvas.h>

#include <algorithm>
#include <cmath>

#include <Inventor/actions/SoSearchAction.h>
#include <Inventor/errors/SoDebugError.h>
#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoPerspectiveCamera.h>
#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/SbViewportRegion.h>
#include <Inventor/SoDB.h>

namespace {

bool holds(SoNode* scene, SoType type)
{
  SoSearchAction search;
  search.setType(type);
  search.setInterest(SoSearchAction::FIRST);
  search.apply(scene);
  return search.getPath() != nullptr;
}

/// The scene below the camera and the light that it lacks.
SoRef<SoSeparator> completed(SoNode* scene, int width, int height)
{
  SoRef<SoSeparator> root(new SoSeparator);
  root->addChild(scene);
  if (!holds(scene, SoCamera::getClassTypeId())) {
    auto* camera = new SoPerspectiveCamera;
    root->insertChild(camera, 0);
    camera->position.setValue(3, -4, 2.5f);
    camera->pointAt(SbVec3f(0, 0, 0), SbVec3f(0, 0, 1));
    const auto side = [](int pixels) { return static_cast<short>(std::clamp(pixels, 1, 32767)); };
    camera->viewAll(root, SbViewportRegion(side(width), side(height)));
    // The toolkit stands where the middle of the sphere around all just fits; what is nearer would
    // be cut off.
    const float half = std::asin(std::tan(camera->heightAngle.getValue() / 2));
    camera->heightAngle = 2.04f * half;
  }
  if (!holds(scene, SoLight::getClassTypeId())) {
    // Before the camera a light's direction is one in the picture: most comes from above and the
    // right.
    const auto add = [&](const SbVec3f& direction, float intensity) {
      auto* light = new SoDirectionalLight;
      light->direction = direction;
      light->intensity = intensity;
      root->insertChild(light, 0);
    };
    add(SbVec3f(-0.2f, -0.3f, -1), 0.8f);
    add(SbVec3f(1, 0.1f, -1), 0.3f);
  }
  return root;
}

bool drawTo(const std::string& path, SoNode* scene, int width, int height,
            const SbColor4f& background, std::string& error)
{
  MoOffscreenCanvas canvas;
  canvas.setBackground(background);
  SoRef<SoSeparator> root;
  if (scene && SoDB::isInitialized()) root = completed(scene, width, height);
  const MbImage picture = canvas.render(root ? root.get() : scene, width, height);
  error = canvas.error();
  return !picture.empty() && mbWritePng(path, picture, error);
}

} // namespace

bool moWritePicture(const std::string& path, SoNode* scene, int width, int height,
                    const SbColor4f& background, std::string* error)
{
  // A scene that nobody holds stays the caller's.
  const bool isHeld = !scene || scene->getRefCount() > 0;
  if (!isHeld) scene->ref();
  std::string reason;
  const bool drawn = drawTo(path, scene, width, height, background, reason);
  if (!isHeld) scene->unrefNoDelete();
  if (error) *error = reason;
  if (!drawn && !error) SoDebugError::postWarning("moWritePicture", "%s", reason.c_str());
  return drawn;
}
