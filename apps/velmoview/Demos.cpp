#include <velmoview/demos/MakeDemos.h>

namespace velmoview {

namespace {

constexpr Demo kDemos[] = {
    {"beam", "a clamped I-beam, bent by its load: hexahedra", 64, makeBeam},
    {"lug", "a lug under tension: quadratic hexahedra", 48, makeLug},
    {"grains", "a polycrystal: polyhedra", 9, makeGrains},
    {"reservoir", "a faulted reservoir with pinched-out layers: hexahedra with I, J and K", 60,
     makeReservoir},
    {"reservoir-vertex", "the same reservoir, given by its pillars: hexahedra of eight corners", 60,
     makeReservoirVertex},
    {"orbital", "an electron in hydrogen, cut open: a regular grid", 96, makeOrbital},
    {"orbital-whole", "the same electron with all cells alive, for isosurfaces and slices", 96,
     makeWholeOrbital},
    {"cloud", "a thunderstorm over the ground, cut open: a rectilinear grid", 96, makeCloud},
    {"turbine", "the draft tube of a turbine with a vortex rope: a curvilinear grid", 96,
     makeTurbine},
    {"terrain", "a volcano over its foothills: a curvilinear surface", 480, makeTerrain},
};

} // namespace

std::span<const Demo> allDemos()
{
  return kDemos;
}

std::string demoList()
{
  std::string text;
  for (const Demo& demo : kDemos) {
    const std::string name = demo.name;
    text += name + std::string(20 - name.size(), ' ') + demo.summary + "\n";
  }
  return text;
}

Model makeDemo(const std::string& name, int size)
{
  for (const Demo& demo : kDemos) {
    if (name == demo.name) return modelOf("demo " + name, demo.make(size ? size : demo.size));
  }
  std::string names;
  for (const Demo& demo : kDemos)
    names += std::string(names.empty() ? "" : ", ") + demo.name;
  throw UsageError("--demo takes one of " + names + ", or list: there is no '" + name + "'");
}

} // namespace velmoview
