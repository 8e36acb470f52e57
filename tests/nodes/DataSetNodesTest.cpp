#include <velmo/nodes/MoCellFilter.h>
#include <velmo/nodes/MoDataBinding.h>
#include <velmo/nodes/MoDataBindingElement.h>
#include <velmo/nodes/MoScalarSet.h>
#include <velmo/nodes/MoScalarSetI.h>
#include <velmo/nodes/MoScalarSetIj.h>
#include <velmo/nodes/MoScalarSetIjk.h>
#include <velmo/nodes/MoStringSet.h>
#include <velmo/nodes/MoVec3SetI.h>
#include <velmo/nodes/MoVec3SetIj.h>
#include <velmo/nodes/MoVec3SetIjk.h>

#include <velmo/extraction/interfaces/MiCellFilter.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <tests/support/StateProbe.h>
#include <tests/support/WarningLog.h>

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

template <class T>
class PlainSet : public MiTypedDataSet<T>
{
public:
  MiDataBinding getBinding() const override { return MiDataBinding::PerNode; }
  std::uint64_t getTimeStamp() const override { return 7; }
};

// Without values.
const MbNumbers kNothing;
const MbScalardSetI kScalarI("i", MiDataBinding::PerNode, kNothing);
const MbScalardSetI kOtherI("i", MiDataBinding::PerNode, kNothing);
const MbScalardSetIj kScalarIj("ij", MiDataBinding::PerNode, 0, 0, kNothing);
const MbScalardSetIjk kScalarIjk("ijk", MiDataBinding::PerNode, {}, kNothing);
const MbVec3dSetI kVec3I("i", MiDataBinding::PerNode, MbPoints());
const MbVec3dSetIj kVec3Ij("ij", MiDataBinding::PerNode, 0, 0, MbPoints());
const MbVec3dSetIjk kVec3Ijk("ijk", MiDataBinding::PerNode, {}, MbPoints());
const MbStringSetIj kStrings("ij", MiDataBinding::PerNode, 0, 0, MbTexts());

/// A set as lists of sets hold it.
const void* general(const MiTypedDataSet<double>& set)
{
  return &set;
}

template <class Base>
class Filter : public Base
{
public:
  explicit Filter(std::uint64_t stamp) : stamp(stamp) {}
  std::uint64_t getTimeStamp() const override { return stamp; }
  std::uint64_t stamp;
};

class FilterI : public Filter<MiCellFilterI>
{
public:
  using Filter::Filter;
  bool acceptCell(std::size_t) const override { return true; }
};
class FilterIj : public Filter<MiCellFilterIj>
{
public:
  using Filter::Filter;
  bool acceptCell(std::size_t, std::size_t) const override { return true; }
};
class FilterIjk : public Filter<MiCellFilterIjk>
{
public:
  using Filter::Filter;
  bool acceptCell(std::size_t, std::size_t, std::size_t) const override { return true; }
};
class StrangeFilter : public Filter<MiCellFilter>
{
public:
  using Filter::Filter;
};

SoRef<MoScalarSet> scalarNode(const MiTypedDataSet<double>* set)
{
  SoRef<MoScalarSet> node(new MoScalarSet);
  node->setScalarSet(set);
  return node;
}

template <class Element>
std::vector<const void*> listOf(SoState* state)
{
  std::vector<const void*> sets;
  for (int i = 0; i < Element::getNum(state); ++i)
    sets.push_back(Element::get(state, i));
  return sets;
}

std::pair<CellFilterType, const MiCellFilter*> publishedBy(MoCellFilter* node)
{
  std::pair<CellFilterType, const MiCellFilter*> found;
  lookBehind(
      [&](SoState* state) {
        found.second = MoCellFilterElement::getCellFilter(state, found.first);
      },
      node);
  return found;
}

} // namespace

TEST(DataSetNodes, AccumulateInOrderWithAPlaceForEachNode)
{
  const auto empty = scalarNode(nullptr);
  const auto first = scalarNode(&kScalarI);
  const auto second = scalarNode(&kScalarIj);
  lookBehind(
      [&](SoState* state) {
        EXPECT_THAT(listOf<MoScalarSetElement>(state),
                    ElementsAre(nullptr, general(kScalarI), general(kScalarIj)));
        EXPECT_EQ(MoScalarSetElement::get(state, -1), nullptr);
        EXPECT_EQ(MoScalarSetElement::get(state, 3), nullptr);
        EXPECT_EQ(MoScalarSetElementI::getNum(state), 0);
        EXPECT_EQ(MoScalarSetElementI::get(state, 0), nullptr);
      },
      empty.get(), first.get(), second.get());
  EXPECT_EQ(MoScalarSetElement::getNum(nullptr), 0);
}

TEST(DataSetNodes, EachKindHasItsOwnList)
{
  const SoRef<SoSeparator> root(new SoSeparator);
  const auto add = [&](auto* node, auto setter, const auto* set) {
    (node->*setter)(set);
    root->addChild(node);
  };
  add(new MoScalarSetI, &MoScalarSetI::setScalarSet, &kScalarI);
  add(new MoScalarSetIj, &MoScalarSetIj::setScalarSet, &kScalarIj);
  add(new MoScalarSetIjk, &MoScalarSetIjk::setScalarSet, &kScalarIjk);
  add(new MoVec3SetI, &MoVec3SetI::setVec3Set, &kVec3I);
  add(new MoVec3SetIj, &MoVec3SetIj::setVec3Set, &kVec3Ij);
  add(new MoVec3SetIjk, &MoVec3SetIjk::setVec3Set, &kVec3Ijk);
  add(new MoStringSet, &MoStringSet::setStringSet, &kStrings);
  int looks = 0;
  const StateProbe probe([&](SoAction* action) {
    SoState* state = action->getState();
    ++looks;
    EXPECT_EQ(MoScalarSetElement::getNum(state), 0);
    EXPECT_EQ(MoScalarSetElementI::get(state, 0), &kScalarI);
    EXPECT_EQ(MoScalarSetElementIj::get(state, 0), &kScalarIj);
    EXPECT_EQ(MoScalarSetElementIjk::get(state, 0), &kScalarIjk);
    EXPECT_EQ(MoVec3SetElementI::get(state, 0), &kVec3I);
    EXPECT_EQ(MoVec3SetElementIj::get(state, 0), &kVec3Ij);
    EXPECT_EQ(MoVec3SetElementIjk::get(state, 0), &kVec3Ijk);
    EXPECT_EQ(MoStringSetElement::get(state, 0), &kStrings);
  });
  root->addChild(probe.node());
  SoCallbackAction().apply(root);
  EXPECT_EQ(looks, 1);
}

TEST(DataSetNodes, SeparatorsInheritAndRestore)
{
  int looks = 0;
  const StateProbe inside([&](SoAction* action) {
    ++looks;
    EXPECT_THAT(listOf<MoScalarSetElement>(action->getState()),
                ElementsAre(general(kScalarI), general(kOtherI)));
  });
  const SoRef<SoSeparator> scope(new SoSeparator);
  scope->addChild(scalarNode(&kOtherI));
  scope->addChild(inside.node());
  const auto outer = scalarNode(&kScalarI);
  lookBehind(
      [&](SoState* state) {
        EXPECT_THAT(listOf<MoScalarSetElement>(state), ElementsAre(general(kScalarI)));
      },
      static_cast<SoNode*>(outer), static_cast<SoNode*>(scope));
  EXPECT_EQ(looks, 1);
}

TEST(DataSetNodes, RefuseSetsOfNoNumberingWithTheirWarnings)
{
  WarningLog warnings;
  const PlainSet<double> scalars;
  const PlainSet<std::string> texts;
  const auto scalarSet = scalarNode(&kScalarIjk);
  const SoRef<MoStringSet> stringSet(new MoStringSet);
  stringSet->setStringSet(&kStrings);
  EXPECT_EQ(scalarSet->getScalarSet(), &kScalarIjk);
  EXPECT_EQ(stringSet->getStringSet(), &kStrings);
  scalarSet->setScalarSet(nullptr);
  stringSet->setStringSet(nullptr);
  EXPECT_THAT(warnings.texts(), IsEmpty());

  scalarSet->setScalarSet(&scalars);
  stringSet->setStringSet(&texts);

  EXPECT_EQ(scalarSet->getScalarSet(), nullptr);
  EXPECT_EQ(stringSet->getStringSet(), nullptr);
  EXPECT_THAT(warnings.texts(),
              ElementsAre("MoScalarSet::setScalarSet: ScalarSet must be of type MiScalardSetI, "
                          "MiScalardSetIj or MiScalardSetIjk.",
                          "MoStringSet::setStringSet: StringSet must be of type MiStringSetI, "
                          "MiStringSetIj or MiStringSetIjk."));
  lookBehind(
      [](SoState* state) { EXPECT_THAT(listOf<MoScalarSetElement>(state), ElementsAre(nullptr)); },
      scalarSet.get());
}

TEST(DataSetNodes, OnlyCheckedSettersTouchTheNode)
{
  const SoRef<MoScalarSetI> typed(new MoScalarSetI);
  auto id = typed->getNodeId();
  typed->setScalarSet(&kScalarI);
  EXPECT_EQ(typed->getNodeId(), id);
  EXPECT_EQ(typed->getScalarSet(), &kScalarI);

  const SoRef<MoScalarSet> checked(new MoScalarSet);
  id = checked->getNodeId();
  checked->setScalarSet(&kScalarI);
  EXPECT_NE(checked->getNodeId(), id);
  id = checked->getNodeId();
  checked->reset();
  EXPECT_NE(checked->getNodeId(), id);
  EXPECT_EQ(checked->getScalarSet(), nullptr);
}

TEST(MoCellFilter, KnowsTheKindAndKeepsTheOldOneForAStranger)
{
  WarningLog warnings;
  const SoRef<MoCellFilter> node(new MoCellFilter);
  EXPECT_EQ(publishedBy(node), std::pair(CELL_FILTER_NONE, (const MiCellFilter*)nullptr));
  const FilterI i(1);
  const FilterIj ij(2);
  const FilterIjk ijk(3);
  node->setCellFilter(&i);
  EXPECT_EQ(publishedBy(node), std::pair(CELL_FILTER_I, (const MiCellFilter*)&i));
  node->setCellFilter(&ijk);
  EXPECT_EQ(publishedBy(node), std::pair(CELL_FILTER_IJK, (const MiCellFilter*)&ijk));
  node->setCellFilter(&ij);
  EXPECT_EQ(publishedBy(node), std::pair(CELL_FILTER_IJ, (const MiCellFilter*)&ij));
  EXPECT_THAT(warnings.texts(), IsEmpty());
  const SoRef<MoCellFilter> copy(static_cast<MoCellFilter*>(node->copy()));
  EXPECT_EQ(publishedBy(copy), std::pair(CELL_FILTER_IJ, (const MiCellFilter*)&ij));

  const StrangeFilter strange(4);
  const auto id = node->getNodeId();
  node->setCellFilter(&strange);
  EXPECT_NE(node->getNodeId(), id);
  EXPECT_EQ(publishedBy(node), std::pair(CELL_FILTER_IJ, (const MiCellFilter*)&strange));
  EXPECT_THAT(warnings.texts(),
              ElementsAre("MoCellFilter::setCellFilter: cellFilter must be of type MiCellFilterI, "
                          "MiCellFilterIj or MiCellFilterIjk."));
  node->reset();
  EXPECT_EQ(publishedBy(node), std::pair(CELL_FILTER_NONE, (const MiCellFilter*)nullptr));
}

TEST(MoDataBinding, IsAutoWithoutANodeAndPerCellByDefault)
{
  lookBehind([](SoState* state) {
    EXPECT_EQ(MoDataBindingElement::getDataBinding(state), MoDataBinding::AUTO);
  });
  const SoRef<MoDataBinding> node(new MoDataBinding);
  const auto published = [&] {
    int found = 99;
    lookBehind([&](SoState* state) { found = MoDataBindingElement::getDataBinding(state); },
               node.get());
    return found;
  };
  EXPECT_EQ(published(), MoDataBinding::PER_CELL);
  EXPECT_TRUE(node->dataBinding.isDefault());
  node->dataBinding = MoDataBinding::PER_NODE;
  EXPECT_EQ(published(), 1);
  EXPECT_TRUE(node->set("dataBinding AUTO"));
  EXPECT_EQ(published(), -1);
  EXPECT_EQ(MoDataBindingElement::getDataBinding(nullptr), MoDataBinding::AUTO);

  // The field follows what it is connected to.
  const SoRef<MoDataBinding> source(new MoDataBinding);
  node->dataBinding.connectFrom(&source->dataBinding);
  source->dataBinding = MoDataBinding::PER_NODE;
  EXPECT_EQ(published(), MoDataBinding::PER_NODE);
}
