#pragma once

#include <velmo/base/MbPlainArray.h>
#include <velmo/base/MxTimeStamp.h>
#include <velmo/extraction/interfaces/MiGeometry.h>

#include <memory>

class MxBuffer;
template <class T>
class MxCpuBuffer;

/// The points of an extracted mesh: single-precision coordinates, read in place by the scene graph,
/// relative to a double-precision origin (zero unless the mesh is small against its distance from
/// zero).
class MeXGeometryI final : public MiGeometryI
{
public:
  MeXGeometryI();
  ~MeXGeometryI() override;

  std::uint64_t getTimeStamp() const override { return m_timeStamp; }
  std::size_t getNodeCount() const override { return m_points.size(); }
  MbVec3d getNode(std::size_t node) const override
  {
    const MbVec3f& p = m_points[node];
    return {origin.x + p.x, origin.y + p.y, origin.z + p.z};
  }
  MiArrayView getView() const override;

  /// The coordinates, an MxCpuBuffer<MbVec3<float>>.
  const MxBuffer* getBuffer() const;
  /// True when there is a point, and getMin and getMax mean something.
  bool hasExtent() const { return !m_points.empty(); }
  /// The smallest and largest coordinates, in mesh space.
  const MbVec3d& getMin() const { return m_min; }
  const MbVec3d& getMax() const { return m_max; }

  /// For the extractor: the coordinates to fill.
  MbPlainArray<MbVec3f>& points() { return m_points; }
  const MbPlainArray<MbVec3f>& points() const { return m_points; }
  /// Takes a new stamp and finds the extent: the points were replaced.
  void touch(bool parallel);
  /// The same when the extent of the points is known: the smallest and largest of their numbers.
  void touch(const MbVec3f& low, const MbVec3f& high);

  MbVec3d origin;

private:
  std::uint64_t m_timeStamp = MxTimeStamp::kNone;
  std::unique_ptr<MxCpuBuffer<MbVec3f>> m_buffer;
  MbPlainArray<MbVec3f>& m_points; ///< the buffer's
  MbVec3d m_min, m_max;
};
