// What the traversing thread notices of an extraction in the background.
//
//   background_bench [--cells N] [--seconds S]
//
// The skin of a grid of N^3 cells, of which a slow filter keeps a ball, is extracted at once, then
// in the background while a small picture of the scene is drawn over and over. Told are the longest
// and the mean frame before and while the extraction runs, the frame that takes the result, how
// long it took there, and how long setMesh waits for an extraction that has run for a tenth of a
// second. The filter is made as slow as it takes for the extraction to last S seconds.
#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbMesh.h>
#include <velmo/nodes/MoCellFilter.h>
#include <velmo/nodes/MoMesh.h>
#include <velmo/nodes/MoVelmo.h>
#include <velmo/representations/MoMeshSkin.h>
#include <velmo/toolkit/classes/SoRef.h>
#include <velmo/toolkit/offscreen/MoOffscreenCanvas.h>

#include "Meter.h"

#include <Inventor/actions/SoCallbackAction.h>
#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoOrthographicCamera.h>
#include <Inventor/nodes/SoSeparator.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <thread>

namespace {

/// Keeps a ball, and takes its time over each cell.
class SlowBall final : public MiCellFilterIjk
{
public:
  SlowBall(std::size_t size, double radius) : m_size(size), m_radius(radius) {}

  bool acceptCell(std::size_t i, std::size_t j, std::size_t k) const override
  {
    const double middle = 0.5 * static_cast<double>(m_size);
    const double x = static_cast<double>(i) - middle, y = static_cast<double>(j) - middle,
                 z = static_cast<double>(k) - middle;
    double r = std::sqrt(x * x + y * y + z * z);
    for (int step = 0; step < steps; ++step)
      r = std::sqrt(r * r + 1e-9);
    return r < m_radius * static_cast<double>(m_size);
  }
  std::uint64_t getTimeStamp() const override { return stamp; }

  int steps = 0;
  std::uint64_t stamp = MxTimeStamp::take();

private:
  std::size_t m_size;
  double m_radius;
};

/// A stretch of the traversing thread's time, in seconds: by the clock and of the processor.
struct Stretch
{
  double clock = 0, thread = 0;
};

Stretch now()
{
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return {bench::now(),
          static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec)};
}

Stretch since(const Stretch& begin)
{
  const Stretch end = now();
  return {end.clock - begin.clock, end.thread - begin.thread};
}

/// Times of frames in milliseconds.
struct Frames
{
  double longest = 0, longestThread = 0, sum = 0;
  int count = 0;

  void add(const Stretch& frame)
  {
    longest = std::max(longest, 1e3 * frame.clock);
    longestThread = std::max(longestThread, 1e3 * frame.thread);
    sum += 1e3 * frame.clock;
    ++count;
  }
  void print(const char* what) const
  {
    std::printf("%-34s %4d times, mean %8.2f ms, longest %8.2f ms (processor %8.2f ms)\n", what,
                count, count ? sum / count : 0, longest, longestThread);
  }
};

class Bench
{
public:
  Bench(std::size_t size, bool background)
      : m_ball(size, 0.45), m_mesh(MbIndex3{size, size, size}, MbVec3d{}, MbVec3d{1, 1, 1})
  {
    setenv("VELMO_ASYNC_PROCESSING", background ? "1" : "0", 1);
    auto* camera = new SoOrthographicCamera;
    const float s = static_cast<float>(size);
    camera->position.setValue(s / 2, s / 2, 3 * s);
    camera->height = 1.2f * s;
    camera->farDistance = 5 * s;
    m_filter->setCellFilter(&m_ball);
    m_meshNode->setMesh(&m_mesh);
    for (SoNode* node : std::initializer_list<SoNode*>{camera, new SoDirectionalLight, m_meshNode,
                                                       m_filter, m_skin})
      m_root->addChild(node);
  }
  ~Bench() { m_meshNode->reset(); }

  Stretch frame()
  {
    const Stretch begin = now();
    if (m_canvas.render(m_root, 64, 64).empty()) std::abort();
    return since(begin);
  }
  /// A traversal that draws nothing.
  Stretch traverse()
  {
    const Stretch begin = now();
    SoCallbackAction().apply(m_root);
    return since(begin);
  }
  /// The filter becomes another one, `steps` slow.
  void change(int steps)
  {
    MoMeshRepresentation::stopExtractions();
    m_ball.steps = steps;
    m_ball.stamp = MxTimeStamp::take();
  }
  MoMeshSkin& skin() const { return *m_skin; }
  MoMesh& meshNode() const { return *m_meshNode; }
  const MiMesh& mesh() const { return m_mesh; }

private:
  SlowBall m_ball;
  MbVolumeMeshRegular m_mesh;
  MoOffscreenCanvas m_canvas;
  SoRef<SoSeparator> m_root{new SoSeparator};
  SoRef<MoMesh> m_meshNode{new MoMesh};
  SoRef<MoCellFilter> m_filter{new MoCellFilter};
  SoRef<MoMeshSkin> m_skin{new MoMeshSkin};
};

/// Traverses, or draws, while an extraction begins, runs and ends.
void watch(Bench& background, int steps, bool draws)
{
  Frames before, meanwhile, taking;
  for (int i = 0; i < 50; ++i)
    before.add(draws ? background.frame() : background.traverse());
  background.change(steps);
  const double begin = bench::now();
  meanwhile.add(draws ? background.frame() : background.traverse());
  while (background.skin().isExtracting()) {
    const Stretch took = draws ? background.frame() : background.traverse();
    (background.skin().isExtracting() ? meanwhile : taking).add(took);
  }
  const double end = bench::now();
  std::printf(draws ? "frames of 64 x 64\n" : "traversals that draw nothing\n");
  before.print("nothing runs");
  meanwhile.print("while an extraction runs");
  taking.print("taking the result");
  std::printf("in the background it took %.0f ms\n", 1e3 * (end - begin));
}

void run(std::size_t size, double seconds)
{
  int steps = 1;
  {
    Bench atOnce(size, false);
    atOnce.frame();
    for (double took = 0; took < seconds; steps = std::max(steps + 1, int(steps * 1.5))) {
      atOnce.change(steps);
      took = atOnce.traverse().clock;
      std::printf("at once: %d steps a cell, traversal of %.0f ms\n", steps, 1e3 * took);
    }
  }
  Bench background(size, true);
  background.frame();
  while (background.skin().isExtracting()) {
    background.skin().waitForExtraction();
    background.frame();
  }
  for (const bool draws : {false, true})
    watch(background, steps, draws);

  Frames waits;
  for (int i = 0; i < 10; ++i) {
    background.change(steps);
    background.traverse();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const Stretch asked = now();
    background.meshNode().setMesh(&background.mesh());
    waits.add(since(asked));
  }
  waits.print("setMesh while an extraction runs");
}

} // namespace

int main(int argc, char** argv)
{
  std::size_t size = 150;
  double seconds = 1;
  for (int i = 1; i + 1 < argc; i += 2) {
    if (!std::strcmp(argv[i], "--cells"))
      size = std::strtoul(argv[i + 1], nullptr, 10);
    else if (!std::strcmp(argv[i], "--seconds"))
      seconds = std::atof(argv[i + 1]);
  }
  MoVelmo::init();
  run(size, seconds);
  MoVelmo::finish();
}
