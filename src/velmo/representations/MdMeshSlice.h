#pragma once

#include <velmo/representation/MdExtract.h>
#include <velmo/representation/MdExtractByKind.h>
#include <velmo/representation/MdMeshSurfaceOf.h>

#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/nodes/SoShapeHints.h>
#include <Inventor/SbVec3f.h>

#include <tuple>

inline MbVec3d mdVector(const SbVec3f& v)
{
  return {v[0], v[1], v[2]};
}

/// The slice extractor of a mesh kind, told by the fields of the node.
///
/// @tparam Slice  says what differs: `Node`, `Extractors`, `kTexts`, and `geometryOf(node)`, a
/// tuple
///                of what the extractor's operations are given
template <class Slice, MeshType K>
class MdSliceExtract final : public MdExtract<MdTraits<K, typename Slice::Extractors>>
{
  using Base = MdExtract<MdTraits<K, typename Slice::Extractors>>;
  using Node = typename Slice::Node;

public:
  using typename Base::CellFilter, typename Base::Extractor;
  static constexpr bool kMayBeAsynchronous = false;

  MdSliceExtract(std::shared_ptr<Extractor> extractor, const Node& node)
      : Base(std::move(extractor), Slice::kTexts.extractors[Base::kExtractorIndex]), m_node(node)
  {}

  const MeXSurfaceMeshUnstructured* extractSurface(SoState*, const CellFilter* filter)
  {
    return std::apply(
        [&](const auto&... geometry) {
          return &this->getExtractor().extractSlice(geometry..., filter);
        },
        Slice::geometryOf(m_node));
  }
  const MeXLineMeshUnstructured* extractLine(SoState*, const CellFilter* filter) override
  {
    return std::apply(
        [&](const auto&... geometry) {
          return &this->getExtractor().extractLine(geometry..., filter);
        },
        Slice::geometryOf(m_node));
  }
  const MeXPointMeshCurvilinear* extractPoints(SoState*, const CellFilter* filter) override
  {
    return std::apply(
        [&](const auto&... geometry) {
          return &this->getExtractor().extractPoints(geometry..., filter);
        },
        Slice::geometryOf(m_node));
  }

private:
  const Node& m_node;
};

/// @tparam Slice  as above; with `normalOf(node)` the whole slice is lit with that normal
template <class Slice, MeshType K>
class MdMeshSlice final : public MdMeshSurfaceOf<MdSliceExtract<Slice, K>, typename Slice::Node>
{
  using Base = MdMeshSurfaceOf<MdSliceExtract<Slice, K>, typename Slice::Node>;

public:
  using typename Base::CellFilter, typename Base::ColorSets;

  using Base::Base;

protected:
  void extract(SoState* state, const ColorSets& colorSets, const CellFilter* filter) override
  {
    Base::extract(state, colorSets, filter);
    if constexpr (requires { Slice::normalOf(this->getNode()); })
      this->getNode().getSurfaceMesh().setOverallNormal(Slice::normalOf(this->getNode()));
  }
};

/// The shape hints that every slice begins with. The crease angle stays that of the application.
inline void mdAddSliceHints(SoSeparator* hiddenRoot)
{
  auto* hints = new SoShapeHints;
  hints->vertexOrdering = SoShapeHints::COUNTERCLOCKWISE;
  hints->shapeType = SoShapeHints::UNKNOWN_SHAPE_TYPE;
  hints->faceType = SoShapeHints::CONVEX;
  hints->creaseAngle.setIgnored(TRUE);
  hiddenRoot->insertChild(hints, 0);
}
