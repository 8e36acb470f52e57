#pragma once

#include <velmo/base/MxTimeStamp.h>
#include <velmo/colormapping/MiColorMapping.h>

/// A combined colour mapping that answers one colour, whatever it is asked.
class OneColor final : public MiCombineColorMapping
{
public:
  explicit OneColor(const SbColorRGBA& color = {0.5f, 0.5f, 0.5f, 1}) : m_color(color) {}
  SbColorRGBA getColor(std::vector<double>) const override { return m_color; }
  void getRange(double& min, double& max) const override { min = 0, max = 1; }
  std::uint64_t getTimeStamp() const override { return m_stamp; }
  void touch() { m_stamp = MxTimeStamp::take(); }

private:
  SbColorRGBA m_color;
  std::uint64_t m_stamp = MxTimeStamp::take();
};
