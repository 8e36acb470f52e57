// Frames of a large skin with colours, and of large line and point sets: our shapes beside the
// toolkit's, in one process.
//
//   frame_bench [--triangles N] [--frames N] [--width W] [--height H] [--case TEXT]
//
// Times are processor time of all threads in milliseconds, the least of the repeats: the software
// renderer draws in threads of its own. In brackets the part of the traversing thread, which
// traverses, fills buffers and, with the software renderer, transforms vertices. "changed" rows
// hold a whole frame; the last column of the "change alone" rows compares what comes on top of an
// unchanged one.
//
// frame_bench_nothing_drawn is the same program with drawing calls that do nothing: its times are
// those outside of drawing, with what an empty frame takes (clearing, reading back) as a first row.
#include <velmo/nodes/MoVelmo.h>
#include <velmo/toolkit/classes/SoRef.h>
#include <velmo/toolkit/offscreen/MoOffscreenCanvas.h>
#include <velmo/toolkit/shapes/SoIndexedFaceSetOutline.h>
#include <velmo/toolkit/shapes/TkLineSet.h>
#include <velmo/toolkit/shapes/TkPointSet.h>
#include <velmo/toolkit/shapes/TkVertexProperty.h>

#include <Inventor/actions/SoRayPickAction.h>
#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoDrawStyle.h>
#include <Inventor/nodes/SoMaterial.h>
#include <Inventor/nodes/SoPerspectiveCamera.h>
#include <Inventor/nodes/SoPolygonOffset.h>
#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/nodes/SoShapeHints.h>
#include <Inventor/SoPickedPoint.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

double processorTime(clockid_t clock)
{
  timespec t{};
  clock_gettime(clock, &t);
  return 1e3 * static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_nsec);
}

struct Times
{
  double all = 1e300;
  double thread = 1e300;
};

Times measure(int repeats, const std::function<void()>& change, const std::function<void()>& work)
{
  Times least;
  for (int i = 0; i < repeats; ++i) {
    const double all = processorTime(CLOCK_PROCESS_CPUTIME_ID);
    const double own = processorTime(CLOCK_THREAD_CPUTIME_ID);
    change();
    work();
    least.all = std::min(least.all, processorTime(CLOCK_PROCESS_CPUTIME_ID) - all);
    least.thread = std::min(least.thread, processorTime(CLOCK_THREAD_CPUTIME_ID) - own);
  }
  return least;
}

// A wavy square of quadrilaterals or triangles.
struct Skin
{
  Skin(std::size_t triangles, bool quads)
  {
    const int cells = static_cast<int>(std::sqrt(static_cast<double>(triangles) / 2));
    for (int j = 0; j <= cells; ++j)
      for (int i = 0; i <= cells; ++i) {
        const float x = 2.0f * i / cells - 1, y = 2.0f * j / cells - 1;
        positions.emplace_back(x, y, 0.2f * std::sin(4 * x) * std::cos(3 * y));
        normals.emplace_back(-0.8f * std::cos(4 * x) * std::cos(3 * y),
                             0.6f * std::sin(4 * x) * std::sin(3 * y), 1.0f);
        normals.back().normalize();
        colors.push_back(static_cast<std::uint32_t>(255.0 * i / cells) << 24 |
                         static_cast<std::uint32_t>(255.0 * j / cells) << 16 | 0x60ff);
      }
    for (int j = 0; j < cells; ++j)
      for (int i = 0; i < cells; ++i) {
        const int a = j * (cells + 1) + i, d = a + cells + 1;
        if (quads)
          indices.insert(indices.end(), {a, a + 1, d + 1, d, -1});
        else
          indices.insert(indices.end(), {a, a + 1, d + 1, -1, a, d + 1, d, -1});
      }
    const std::size_t faces = static_cast<std::size_t>(cells) * cells * (quads ? 1 : 2);
    for (std::size_t f = 0; f < faces; ++f)
      faceColors.push_back(static_cast<std::uint32_t>(f * 2654435761u) | 0xffu);
  }
  std::vector<SbVec3f> positions, normals;
  std::vector<std::uint32_t> colors, faceColors;
  std::vector<std::int32_t> indices;
};

enum class Normals
{
  Given,
  Computed
};
enum class Colors
{
  PerVertex,
  PerFace
};
enum class Edges
{
  None,
  OnePass,
  OnFaces, // a second pass that knows of the first
  TwoPasses
};

struct Scene
{
  Scene(SoIndexedFaceSet* faceSet, Skin& skin, Normals normals, Colors colors, Edges edges)
      : shape(faceSet)
  {
    root.reset(new SoSeparator);
    root->renderCaching = SoSeparator::OFF;
    auto* camera = new SoPerspectiveCamera;
    camera->position.setValue(0.3f, -0.6f, 2.6f);
    camera->pointAt(SbVec3f(0, 0, 0));
    camera->nearDistance = 0.5f;
    camera->farDistance = 6;
    root->addChild(camera);
    root->addChild(new SoDirectionalLight);
    auto* hints = new SoShapeHints;
    hints->vertexOrdering = SoShapeHints::COUNTERCLOCKWISE;
    root->addChild(hints);
    const bool secondPass = edges == Edges::TwoPasses || edges == Edges::OnFaces;
    if (secondPass) {
      auto* offset = new SoPolygonOffset;
      offset->factor = 0.5f;
      offset->units = 15;
      root->addChild(offset);
    }
    property = new TkVertexProperty;
    property->vertex.setValuesPointer(static_cast<int>(skin.positions.size()),
                                      skin.positions.data());
    if (normals == Normals::Given)
      property->normal.setValuesPointer(static_cast<int>(skin.normals.size()), skin.normals.data());
    auto& values = colors == Colors::PerVertex ? skin.colors : skin.faceColors;
    property->orderedRGBA.setValuesPointer(static_cast<int>(values.size()), values.data());
    property->materialBinding = colors == Colors::PerVertex ? SoVertexProperty::PER_VERTEX_INDEXED
                                                            : SoVertexProperty::PER_FACE;
    shape->vertexProperty = property;
    shape->coordIndex.setValuesPointer(static_cast<int>(skin.indices.size()), skin.indices.data());
    root->addChild(shape);
    if (auto* outline = dynamic_cast<SoIndexedFaceSetOutline*>(faceSet)) {
      outline->outlineMode = edges == Edges::OnePass ? SoIndexedFaceSetOutline::FACES_AND_EDGES
                                                     : SoIndexedFaceSetOutline::NO_OUTLINE;
      outline->setEdgesOnFaces(edges == Edges::OnFaces, nullptr);
    }
    if (secondPass) {
      auto* material = new SoMaterial;
      material->diffuseColor.setValue(0, 0, 0);
      material->setOverride(TRUE);
      root->addChild(material);
      auto* style = new SoDrawStyle;
      style->style = SoDrawStyle::LINES;
      root->addChild(style);
      root->addChild(shape);
    }
  }
  SoRef<SoSeparator> root;
  SoIndexedFaceSet* shape;
  TkVertexProperty* property;
};

// Polylines of a number of segments, all over a square.
struct Strokes
{
  Strokes(std::size_t segments, std::size_t length)
  {
    const std::size_t lines = segments / length;
    const auto rows = static_cast<std::size_t>(std::sqrt(static_cast<double>(lines))) + 1;
    for (std::size_t l = 0; l < lines; ++l) {
      for (std::size_t k = 0; k <= length; ++k) {
        indices.push_back(static_cast<int>(positions.size()));
        const double a = 0.4 * static_cast<double>(k) + static_cast<double>(l);
        const double r = 1.5 / static_cast<double>(rows * length) * static_cast<double>(k + 1);
        const auto place = [&](std::size_t n) {
          return 2.0 * static_cast<double>(n) / static_cast<double>(rows) - 1;
        };
        positions.emplace_back(static_cast<float>(place(l % rows) + r * std::cos(a)),
                               static_cast<float>(place(l / rows) + r * std::sin(a)), 0.0f);
        colors.push_back(static_cast<std::uint32_t>(positions.size()) * 2654435761u | 0xffu);
      }
      indices.push_back(-1);
      lineColors.push_back(static_cast<std::uint32_t>(l) * 2246822519u | 0xffu);
    }
  }
  std::vector<SbVec3f> positions;
  std::vector<std::uint32_t> colors, lineColors;
  std::vector<std::int32_t> indices;
};

// A line or point set, with the same interface as Scene.
struct StrokeScene
{
  StrokeScene(SoVertexShape* shape, Strokes& strokes, Colors colors, unsigned short pattern)
  {
    root.reset(new SoSeparator);
    root->renderCaching = SoSeparator::OFF;
    auto* camera = new SoPerspectiveCamera;
    camera->position.setValue(0, 0, 2.6f);
    camera->nearDistance = 0.5f;
    camera->farDistance = 6;
    root->addChild(camera);
    auto* style = new SoDrawStyle;
    style->linePattern = pattern;
    root->addChild(style);
    property = new TkVertexProperty;
    property->vertex.setValuesPointer(static_cast<int>(strokes.positions.size()),
                                      strokes.positions.data());
    auto& values = colors == Colors::PerVertex ? strokes.colors : strokes.lineColors;
    property->orderedRGBA.setValuesPointer(static_cast<int>(values.size()), values.data());
    property->materialBinding = colors == Colors::PerVertex ? SoVertexProperty::PER_VERTEX_INDEXED
                                                            : SoVertexProperty::PER_FACE;
    shape->vertexProperty = property;
    if (auto* lines = dynamic_cast<SoIndexedLineSet*>(shape))
      lines->coordIndex.setValuesPointer(static_cast<int>(strokes.indices.size()),
                                         strokes.indices.data());
    root->addChild(shape);
  }
  SoRef<SoSeparator> root;
  TkVertexProperty* property;
};

struct Options
{
  std::size_t triangles = 1000000;
  int frames = 5;
  int width = 800;
  int height = 600;
  std::string only;
};

class Bench
{
public:
  explicit Bench(const Options& options) : m_options(options) {}

  // What a face set is given and how it is drawn.
  struct Look
  {
    Normals normals;
    Colors colors;
    Edges edges = Edges::None;
  };

  void empty()
  {
    const SoRef<SoSeparator> nothing(new SoSeparator);
    const Times times = measure(
        m_options.frames, [] {},
        [&] { m_canvas[0].render(nothing, m_options.width, m_options.height); });
    std::printf("\nempty frame %37.2f (%8.2f)\n", times.all, times.thread);
  }

  void frames(const char* name, const Look& look) { frames(name, look, look); }
  void frames(const char* name, const Look& toolkits, const Look& own)
  {
    if (!wanted(name)) return;
    std::printf("\n%s\n%-34s %21s %21s %8s\n", name, "", "toolkit", "ours", "ratio");
    Skin skin(m_options.triangles, false);
    Scene theirs(new SoIndexedFaceSet, skin, toolkits.normals, toolkits.colors, toolkits.edges);
    Scene ours(new SoIndexedFaceSetOutline, skin, own.normals, own.colors, own.edges);
    compareChanges(theirs, ours);
  }

  // Half as many segments as triangles, in polylines of `length` segments; points where it is 0.
  void strokes(const char* name, std::size_t length, Colors colors, unsigned short pattern)
  {
    if (!wanted(name)) return;
    std::printf("\n%s\n%-34s %21s %21s %8s\n", name, "", "toolkit", "ours", "ratio");
    Strokes strokes(m_options.triangles / 2, length ? length : 1);
    const auto shape = [&](bool own) -> SoVertexShape* {
      if (length > 0) return own ? new TkLineSet : new SoIndexedLineSet;
      return own ? new TkPointSet : new SoPointSet;
    };
    StrokeScene theirs(shape(false), strokes, colors, pattern);
    StrokeScene ours(shape(true), strokes, colors, pattern);
    compareChanges(theirs, ours);
    comparePicks(theirs, ours);
  }

  // Ways of drawing edges with our own face set.
  void passes(const char* name, bool quads, Edges edges)
  {
    if (!wanted(name)) return;
    std::printf("\n%s\n", name);
    Skin skin(m_options.triangles, quads);
    Scene two(new SoIndexedFaceSetOutline, skin, Normals::Computed, Colors::PerVertex,
              Edges::TwoPasses);
    Scene other(new SoIndexedFaceSetOutline, skin, Normals::Computed, Colors::PerVertex, edges);
    std::printf("%-34s %21s %21s %8s\n", "", "lines",
                edges == Edges::OnePass ? "one pass" : "on faces", "ratio");
    compare("first frame", two, other, 1, [](Scene&) {});
    compare("unchanged", two, other, m_options.frames, [](Scene&) {});
  }

  void picks(const char* name)
  {
    if (!wanted(name)) return;
    std::printf("\n%s\n%-34s %21s %21s %8s\n", name, "", "toolkit", "ours", "ratio");
    Skin skin(m_options.triangles, false);
    Scene theirs(new SoIndexedFaceSet, skin, Normals::Computed, Colors::PerVertex, Edges::None);
    Scene ours(new SoIndexedFaceSetOutline, skin, Normals::Computed, Colors::PerVertex,
               Edges::None);
    comparePicks(theirs, ours);
  }

private:
  template <class AnyScene>
  void compareChanges(AnyScene& theirs, AnyScene& ours)
  {
    compare("first frame", theirs, ours, 1, [](AnyScene&) {});
    const auto still = compare("unchanged", theirs, ours, m_options.frames, [](AnyScene&) {});
    const auto alone = [&](const std::pair<Times, Times>& changed) {
      row("  change alone", excess(changed.first, still.first),
          excess(changed.second, still.second));
    };
    alone(compare("colours changed", theirs, ours, m_options.frames,
                  [](AnyScene& s) { s.property->orderedRGBA.touch(); }));
    alone(compare("geometry changed", theirs, ours, m_options.frames,
                  [](AnyScene& s) { s.property->vertex.touch(); }));
  }

  template <class AnyScene>
  void comparePicks(AnyScene& theirs, AnyScene& ours)
  {
    float x = -0.4f;
    int hits[2] = {};
    const auto pick = [&](AnyScene& scene, int& hit) {
      SoRayPickAction action(SbViewportRegion(800, 600));
      x = x > 0.4f ? -0.4f : x + 0.0137f;
      if constexpr (std::is_same_v<AnyScene, Scene>)
        action.setRay(SbVec3f(x, 0.1f, 3), SbVec3f(0.05f, 0.02f, -1));
      else
        action.setNormalizedPoint(SbVec2f(0.5f + 0.5f * x, 0.47f));
      action.apply(scene.root);
      hit += action.getPickedPoint() != nullptr;
    };
    const auto none = [] {};
    row("first pick", measure(1, none, [&] { pick(theirs, hits[0]); }),
        measure(1, none, [&] { pick(ours, hits[1]); }));
    row("later pick", measure(m_options.frames, none, [&] { pick(theirs, hits[0]); }),
        measure(200, none, [&] { pick(ours, hits[1]); }));
    std::printf("  hits: %d of %d and %d of 201\n", hits[0], m_options.frames + 1, hits[1]);
  }

  bool wanted(const char* name) const
  {
    return std::string(name).find(m_options.only) != std::string::npos;
  }
  template <class AnyScene, class Change>
  std::pair<Times, Times> compare(const char* what, AnyScene& one, AnyScene& other, int repeats,
                                  const Change& change)
  {
    // A canvas of its own for each: the toolkit gives each its own buffers.
    const auto timesOf = [&](AnyScene& scene, MoOffscreenCanvas& canvas) {
      return measure(
          repeats, [&] { change(scene); },
          [&] {
            if (canvas.render(scene.root, m_options.width, m_options.height).empty()) {
              std::fprintf(stderr, "cannot draw: %s\n", canvas.error().c_str());
              std::exit(1);
            }
          });
    };
    const Times first = timesOf(one, m_canvas[0]);
    const Times second = timesOf(other, m_canvas[1]);
    row(what, first, second);
    return {first, second};
  }
  static Times excess(const Times& changed, const Times& unchanged)
  {
    return {std::max(changed.all - unchanged.all, 0.0),
            std::max(changed.thread - unchanged.thread, 0.0)};
  }
  static void row(const char* what, const Times& one, const Times& other)
  {
    std::printf("  %-32s %10.2f (%8.2f) %10.2f (%8.2f)", what, one.all, one.thread, other.all,
                other.thread);
    if (one.all > 0)
      std::printf(" %8.3f\n", other.all / one.all);
    else
      std::printf(" %8s\n", "-");
    std::fflush(stdout);
  }

  Options m_options;
  MoOffscreenCanvas m_canvas[2];
};

bool read(int argc, char** argv, Options& options)
{
  for (int i = 1; i < argc; ++i) {
    const std::string name = argv[i];
    if (i + 1 == argc) return false;
    const char* value = argv[++i];
    if (name == "--triangles")
      options.triangles = std::strtoull(value, nullptr, 10);
    else if (name == "--frames")
      options.frames = std::atoi(value);
    else if (name == "--width")
      options.width = std::atoi(value);
    else if (name == "--height")
      options.height = std::atoi(value);
    else if (name == "--case")
      options.only = value;
    else
      return false;
  }
  return options.triangles >= 2 && options.frames > 0 && options.width > 0 && options.height > 0;
}

} // namespace

int main(int argc, char** argv)
{
  Options options;
  if (!read(argc, argv, options)) {
    std::fprintf(stderr, "usage: frame_bench [--triangles N] [--frames N] [--width W] [--height H] "
                         "[--case TEXT]\n");
    return 2;
  }
  MoVelmo::init();
  {
#ifdef NOTHING_DRAWN
    const char* what = "outside of drawing";
#else
    const char* what = "of processor time";
#endif
    std::printf("%s, %zu triangles, %d x %d, ms %s\n", MoOffscreenCanvas::rendererName().c_str(),
                options.triangles, options.width, options.height, what);
    Bench bench(options);
    bench.empty();
    const Bench::Look arrays{Normals::Given, Colors::PerVertex};
    const Bench::Look usual{Normals::Computed, Colors::PerVertex};
    const Bench::Look cells{Normals::Computed, Colors::PerFace};
    bench.frames("given normals, colours per vertex", arrays);
    bench.frames("computed normals, colours per vertex", usual);
    bench.frames("computed normals, colours per face", cells);
    bench.frames("computed normals against the toolkit's array path", arrays, usual);
    bench.frames("colours per face against the toolkit's array path", arrays, cells);
    bench.frames("outline of triangles against toolkit",
                 {Normals::Computed, Colors::PerVertex, Edges::TwoPasses},
                 {Normals::Computed, Colors::PerVertex, Edges::OnePass});
    bench.passes("passes: triangles in one pass", false, Edges::OnePass);
    bench.passes("passes: quads in one pass", true, Edges::OnePass);
    bench.passes("passes: edges of triangles on faces", false, Edges::OnFaces);
    bench.passes("passes: edges of quads on faces", true, Edges::OnFaces);
    bench.picks("picks");
    bench.strokes("segments, colours per vertex", 1, Colors::PerVertex, 0xffff);
    bench.strokes("polylines, colours per vertex", 50, Colors::PerVertex, 0xffff);
    bench.strokes("polylines, colours per line", 50, Colors::PerFace, 0xffff);
    bench.strokes("polylines, a pattern and colours per line", 50, Colors::PerFace, 0x0ff0);
    bench.strokes("points, colours per vertex", 0, Colors::PerVertex, 0xffff);
  }
  MoVelmo::finish();
  return 0;
}
