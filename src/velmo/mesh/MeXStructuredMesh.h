#pragma once

#include <velmo/mesh/MeXMesh.h>

#include <array>
#include <vector>

/// The cells of an extracted sheet, numbered (i, j), all of them alive. Filled by an extractor,
/// which then takes a stamp with `touch`.
class MeXTopologyIj final : public MiTopologyIj
{
public:
  std::uint64_t getTimeStamp() const override { return m_timeStamp; }
  std::size_t getCellCountI() const override { return countI; }
  std::size_t getCellCountJ() const override { return countJ; }
  void touch() { m_timeStamp = MxTimeStamp::take(); }

  std::size_t countI = 0, countJ = 0;

private:
  std::uint64_t m_timeStamp = MxTimeStamp::kNone;
};

/// The cells of an extracted row: cell i joins nodes i and i + 1; as MeXTopologyIj.
class MeXTopologyRow final : public MiTopologyRow
{
public:
  std::uint64_t getTimeStamp() const override { return m_timeStamp; }
  std::size_t getCellCount() const override { return count; }
  void touch() { m_timeStamp = MxTimeStamp::take(); }

  std::size_t count = 0;

private:
  std::uint64_t m_timeStamp = MxTimeStamp::kNone;
};

/// The nodes of an extracted sheet at equal steps.
class MeXGeometryRegularIj final : public MiGeometryRegularIj
{
public:
  std::uint64_t getTimeStamp() const override { return m_timeStamp; }
  std::size_t getNodeCountI() const override { return nodeCountI; }
  std::size_t getNodeCountJ() const override { return nodeCountJ; }
  MbVec3d getOrigin() const override { return origin; }
  MbVec3d getStepI() const override { return stepI; }
  MbVec3d getStepJ() const override { return stepJ; }
  void touch() { m_timeStamp = MxTimeStamp::take(); }

  std::size_t nodeCountI = 0, nodeCountJ = 0;
  MbVec3d origin, stepI, stepJ;

private:
  std::uint64_t m_timeStamp = MxTimeStamp::kNone;
};

/// The nodes of an extracted sheet at the crossings of two axes.
class MeXGeometryRectilinearIj final : public MiGeometryRectilinearIj
{
public:
  std::uint64_t getTimeStamp() const override { return m_timeStamp; }
  std::size_t getNodeCountI() const override { return axes[0].size(); }
  std::size_t getNodeCountJ() const override { return axes[1].size(); }
  double getCoordinate(int axis, std::size_t index) const override { return axes[axis][index]; }
  MbVec3d getOrigin() const override { return origin; }
  MbVec3d getDirection(int axis) const override { return directions[axis]; }
  MiArrayView getAxisView(int axis) const override
  {
    const std::vector<double>& values = axes[axis];
    return {values.data(), MiScalarType::Float64, values.size(), sizeof(double)};
  }
  void touch() { m_timeStamp = MxTimeStamp::take(); }

  std::array<std::vector<double>, 2> axes; ///< coordinates along I and J
  std::array<MbVec3d, 2> directions{{{1, 0, 0}, {0, 1, 0}}};
  MbVec3d origin;

private:
  std::uint64_t m_timeStamp = MxTimeStamp::kNone;
};

/// The nodes of an extracted sheet, a point each, I fastest.
class MeXGeometryIj final : public MiGeometryIj
{
public:
  std::uint64_t getTimeStamp() const override { return nodes.getTimeStamp(); }
  std::size_t getNodeCountI() const override { return nodeCountI; }
  std::size_t getNodeCountJ() const override
  {
    return nodeCountI == 0 ? 0 : nodes.getNodeCount() / nodeCountI;
  }
  MbVec3d getNode(std::size_t i, std::size_t j) const override
  {
    return nodes.getNode(i + nodeCountI * j);
  }
  // The points are relative to an origin.
  MiArrayView getView() const override { return nodes.getView(); }

  std::size_t nodeCountI = 0;
  MeXGeometryI nodes;
};

/// An extracted mesh whose cells need no list: they follow from counts.
template <class Interface, class Topology, class Geometry>
class MeXMeshStructured final : public Interface
{
public:
  const Topology& getTopology() const override { return topology; }
  const Geometry& getGeometry() const override { return geometry; }
  const MeXProvenance& getProvenance() const { return provenance; }

  Topology topology;
  Geometry geometry;
  MeXProvenance provenance;
};

using MeXSurfaceMeshRegular =
    MeXMeshStructured<MiSurfaceMeshRegular, MeXTopologyIj, MeXGeometryRegularIj>;
using MeXSurfaceMeshRectilinear =
    MeXMeshStructured<MiSurfaceMeshRectilinear, MeXTopologyIj, MeXGeometryRectilinearIj>;
using MeXSurfaceMeshCurvilinear =
    MeXMeshStructured<MiSurfaceMeshCurvilinear, MeXTopologyIj, MeXGeometryIj>;
using MeXLineMeshCurvilinear =
    MeXMeshStructured<MiLineMeshCurvilinear, MeXTopologyRow, MeXGeometryI>;
