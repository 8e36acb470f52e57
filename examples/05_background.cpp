// A skin that is extracted in the background: the scene is drawn over and over meanwhile, and the
// extraction tells how far it is. usage: 05_background [PICTURE.png]

#include <velmo/extraction/interfaces/MiExtractorCallback.h>
#include <velmo/mesh/MbMesh.h>
#include <velmo/nodes/MoMesh.h>
#include <velmo/nodes/MoVelmo.h>
#include <velmo/picture/MbPng.h>
#include <velmo/representations/MoMeshSkin.h>
#include <velmo/toolkit/classes/SoRef.h>
#include <velmo/toolkit/offscreen/MoOffscreenCanvas.h>

#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoPerspectiveCamera.h>
#include <Inventor/nodes/SoSeparator.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

/// Called in the worker: it only leaves numbers for the thread that draws.
class Progress final : public MiExtractorCallback
{
public:
  void beginExtract(const std::string&, std::size_t count) override { phases = count, phase = 0; }
  void endExtract() override {}
  void beginPhase(const std::string&, std::size_t count) override { steps = count, done = 0; }
  void endPhase() override { ++phase; }
  bool endStep(std::size_t count) override
  {
    done = count;
    return true; // false would stop the extraction
  }
  double getEndStepCallPeriod() const override { return 0.02; }

  std::atomic<std::size_t> phases{1}, phase{0}, steps{0}, done{0};
};

/// A twisted bar of n x n x 4n cells.
std::vector<float> twistedBar(std::size_t n)
{
  std::vector<float> points;
  for (std::size_t k = 0; k <= 4 * n; ++k)
    for (std::size_t j = 0; j <= n; ++j)
      for (std::size_t i = 0; i <= n; ++i) {
        const double x = double(i) / n - 0.5, y = double(j) / n - 0.5, z = double(k) / n;
        points.insert(points.end(), {float(x * std::cos(z) - y * std::sin(z)),
                                     float(x * std::sin(z) + y * std::cos(z)), float(z)});
      }
  return points;
}

double now()
{
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

bool run(const char* path)
{
  constexpr std::size_t n = 80;
  const std::vector<float> points = twistedBar(n);
  MbVolumeMeshCurvilinear mesh(MbIndex3{n, n, 4 * n}, points);
  Progress progress;
  const SoRef<SoSeparator> scene(new SoSeparator);
  auto* camera = new SoPerspectiveCamera;
  camera->position.setValue(5, 2, 2);
  camera->pointAt(SbVec3f(0, 0, 2), SbVec3f(0, 0, 1));
  auto* meshNode = new MoMesh;
  meshNode->setMesh(&mesh);
  auto* skin = new MoMeshSkin;
  skin->setExtractorCallback(progress);
  for (SoNode* node :
       std::initializer_list<SoNode*>{camera, new SoDirectionalLight, meshNode, skin})
    scene->addChild(node);

  MoOffscreenCanvas canvas;
  MbImage picture;
  int frames = 0;
  double longest = 0;
  do {
    const double begin = now();
    picture = canvas.render(scene, 640, 480);
    if (skin->isExtracting()) longest = std::max(longest, now() - begin);
    if (++frames % 10 == 0)
      std::printf("frame %d: phase %zu of %zu, step %zu of %zu\n", frames, progress.phase + 1,
                  progress.phases.load(), progress.done.load(), progress.steps.load());
  } while (!picture.empty() && skin->isExtracting());
  std::printf("%d frames until the skin was there, the longest %.1f ms\n", frames, 1e3 * longest);
  std::string error = canvas.error();
  if (!picture.empty() && mbWritePng(path, picture, error)) return true;
  std::fprintf(stderr, "%s: %s\n", path, error.c_str());
  return false;
}

} // namespace

int main(int argc, char** argv)
{
  setenv("VELMO_ASYNC_PROCESSING", "1", 0); // usually the user's choice
  MoVelmo::init();
  const bool drawn = run(argc > 1 ? argv[1] : "background.png");
  MoVelmo::finish();
  return drawn ? 0 : 1;
}
