#include <velmo/mesh/MeXGeometry.h>

#include <velmo/base/MxCpuBuffer.h>
#include <velmo/base/MxParallel.h>

#include <limits>
#include <vector>

namespace {
struct Extent
{
  static constexpr float kHuge = std::numeric_limits<float>::infinity();
  MbVec3f low{kHuge, kHuge, kHuge}, high{-kHuge, -kHuge, -kHuge};

  void include(const MbVec3f& p)
  {
    low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
    high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
  }
};
} // namespace

MeXGeometryI::MeXGeometryI()
    : m_buffer(std::make_unique<MxCpuBuffer<MbVec3f>>()), m_points(m_buffer->array)
{}

MeXGeometryI::~MeXGeometryI() = default;

const MxBuffer* MeXGeometryI::getBuffer() const
{
  return m_buffer.get();
}

MiArrayView MeXGeometryI::getView() const
{
  // The array holds what getNode returns only without an origin.
  if (origin != MbVec3d{}) return {};
  return {m_points.data(), MiScalarType::Float32, m_points.size(), sizeof(MbVec3f)};
}

void MeXGeometryI::touch(bool parallel)
{
  constexpr std::size_t kBlock = 16384;
  const MbPlainArray<MbVec3f>& all = m_points;
  std::vector<Extent> extents(blockCount(all.size(), kBlock));
  forEachBlock(parallel, all.size(), kBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 Extent extent;
                 for (std::size_t i = first; i < last; ++i)
                   extent.include(all[i]);
                 extents[block] = extent;
               });
  Extent whole;
  for (const Extent& extent : extents) {
    whole.include(extent.low);
    whole.include(extent.high);
  }
  touch(whole.low, whole.high);
}

void MeXGeometryI::touch(const MbVec3f& low, const MbVec3f& high)
{
  m_timeStamp = MxTimeStamp::take();
  m_min = m_max = origin;
  if (m_points.empty()) return;
  m_min += MbVec3d{low.x, low.y, low.z};
  m_max += MbVec3d{high.x, high.y, high.z};
}
