#pragma once

#include <velmo/extraction/interfaces/MiDataSet.h>

#include <chrono>
#include <thread>

/// A set per node that takes its time: reading a thousand nodes takes `milliseconds`.
class SlowSet final : public MiDataSetI<double>
{
public:
  explicit SlowSet(std::size_t size) : m_size(size) {}
  std::string getName() const override { return "slow"; }
  MiDataBinding getBinding() const override { return MiDataBinding::PerNode; }
  std::uint64_t getTimeStamp() const override { return static_cast<std::uint64_t>(milliseconds); }
  std::size_t getSize() const override { return m_size; }
  double getValue(std::size_t index) const override
  {
    if (index % 1000 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    return 1;
  }
  int milliseconds = 0;

private:
  const std::size_t m_size;
};
