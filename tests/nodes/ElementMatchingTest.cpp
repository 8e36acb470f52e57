#include <velmo/mesh/MbDataSet.h>
#include <velmo/nodes/MoCellFilter.h>
#include <velmo/nodes/MoCellFilterElement.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoDrawStyleElement.h>
#include <velmo/nodes/MoMesh.h>
#include <velmo/nodes/MoMeshElement.h>
#include <velmo/nodes/MoScalarSet.h>
#include <velmo/nodes/MoScalarSetElement.h>
#include <velmo/nodes/MoTessellator.h>
#include <velmo/nodes/MoTessellatorElement.h>

#include <tests/support/MeshZoo.h>
#include <tests/support/StateProbe.h>
#include <tests/support/UniformTessellator.h>

#include <gmock/gmock.h>

namespace {

/// Nodes, and whether a cache that was made behind them is still good after each step.
struct Row
{
  struct Step
  {
    const char* name;
    bool matches;
    std::function<void(Row&)> apply;
  };
  const char* name;
  int element;
  std::vector<SoNode*> nodes;
  std::vector<Step> steps;

  std::unique_ptr<SoElement> look() const
  {
    const SoRef<SoSeparator> group(new SoSeparator);
    for (SoNode* node : nodes)
      group->addChild(node);
    std::unique_ptr<SoElement> copy;
    const StateProbe probe([&](SoAction* action) {
      copy.reset(action->getState()->getConstElement(element)->copyMatchInfo());
    });
    group->addChild(probe.node());
    SoCallbackAction().apply(group);
    return copy;
  }
};

template <class Base>
class Filter final : public Base
{
public:
  std::uint64_t getTimeStamp() const override { return stamp; }
  bool acceptCell(std::size_t) const { return true; }
  bool acceptCell(std::size_t, std::size_t) const { return true; }
  std::uint64_t stamp = 5;
};

} // namespace

TEST(Elements, MatchWhatIsEqualAndNothingElse)
{
  Filter<MiCellFilterI> first, second;
  Filter<MiCellFilterIj> ofOtherKind;
  UniformTessellator tessellator;
  const std::unique_ptr<MiMesh> mesh = zoo::block(VOLUME_MESH_REGULAR, {1, 1, 1});
  const MbScalardSetI set("s", MiDataBinding::PerNode, std::vector<double>(8));
  const SoRef<MoDrawStyle> style(new MoDrawStyle), twin(new MoDrawStyle);
  const SoRef<MoCellFilter> filter(new MoCellFilter);
  const SoRef<MoTessellator> holder(new MoTessellator);
  const SoRef<MoMesh> meshNode(new MoMesh);
  const SoRef<MoScalarSet> above(new MoScalarSet), below(new MoScalarSet);
  filter->setCellFilter(&first);
  holder->setTessellator(&tessellator);
  meshNode->setMesh(mesh.get());
  above->setScalarSet(&set);
  below->setScalarSet(&set);
  const auto swap = [](Row& row) { std::swap(row.nodes[0], row.nodes[1]); };

  Row rows[] = {
      {"draw style",
       MoDrawStyleElement::getClassStackIndex(),
       {style.get()},
       {{"a twin", true, [&](Row& row) { row.nodes[0] = twin.get(); }},
        {"another field", false,
         [&](Row& row) {
           style->displayPoints = TRUE;
           row.nodes[0] = style.get();
         }}}},
      {"cell filter",
       MoCellFilterElement::getClassStackIndex(),
       {filter.get()},
       {{"another object with this stamp", true, [&](Row&) { filter->setCellFilter(&second); }},
        {"another kind", false, [&](Row&) { filter->setCellFilter(&ofOtherKind); }},
        {"no filter", false, [&](Row&) { filter->setCellFilter(nullptr); }},
        {"another stamp", false,
         [&](Row&) {
           first.stamp = 6;
           filter->setCellFilter(&first);
         }},
        {"the first stamp", true, [&](Row&) { first.stamp = 5; }}}},
      {"tessellator",
       MoTessellatorElement::getClassStackIndex(),
       {holder.get()},
       {{"another stamp", false, [&](Row&) { tessellator.touch(); }},
        {"no tessellator", false, [&](Row&) { holder->setTessellator(nullptr); }}}},
      {"tessellator set again",
       MoTessellatorElement::getClassStackIndex(),
       {holder.get()},
       {{"the same", false, [&](Row&) { holder->setTessellator(&tessellator); }}}},
      {"mesh",
       MoMeshElement::getClassStackIndex(),
       {meshNode.get()},
       {{"set again", false, [&](Row&) { meshNode->setMesh(mesh.get()); }}}},
      {"mesh of a node that is touched",
       MoMeshElement::getClassStackIndex(),
       {meshNode.get()},
       {{"touched", false, [&](Row&) { meshNode->touch(); }}}},
      {"scalar sets",
       MoScalarSetElement::getClassStackIndex(),
       {above.get(), below.get()},
       {{"another order", false, swap},
        {"the first order", true, swap},
        {"set again", false, [&](Row&) { above->setScalarSet(&set); }}}},
  };
  for (Row& row : rows) {
    SCOPED_TRACE(row.name);
    const std::unique_ptr<SoElement> kept = row.look();
    EXPECT_TRUE(kept->matches(row.look().get()));
    EXPECT_FALSE(kept->matches(nullptr));
    const auto expect = [&](const char* what, bool matches) {
      const std::unique_ptr<SoElement> now = row.look();
      EXPECT_EQ(kept->matches(now.get()) == TRUE, matches) << what;
      EXPECT_EQ(now->matches(kept.get()) == TRUE, matches) << what;
    };
    for (const Row::Step& step : row.steps) {
      step.apply(row);
      expect(step.name, step.matches);
    }
    row.nodes.clear();
    expect("no nodes", false);
  }
}
