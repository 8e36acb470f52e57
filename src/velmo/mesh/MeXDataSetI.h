#pragma once

#include <velmo/base/MbValueVector.h>
#include <velmo/base/MxTimeStamp.h>
#include <velmo/extraction/interfaces/MiDataSet.h>

#include <string>
#include <type_traits>
#include <utility>

/// The values of a data set on an extracted mesh, one an extracted node or cell. Owned by the
/// extractor that made it.
template <class T>
class MeXDataSetI final : public MiDataSetI<T>
{
public:
  MeXDataSetI(std::string name, MiDataBinding binding)
      : m_name(std::move(name)), m_binding(binding), m_timeStamp(MxTimeStamp::take())
  {}

  std::string getName() const override { return m_name; }
  MiDataBinding getBinding() const override { return m_binding; }
  std::uint64_t getTimeStamp() const override { return m_timeStamp; }
  std::size_t getSize() const override { return values.size(); }
  T getValue(std::size_t index) const override { return values[index]; }
  MiArrayView getView() const override
  {
    if constexpr (std::is_arithmetic_v<T>) {
      return {values.data(), kMiScalarTypeOf<T>, values.size(), sizeof(T)};
    } else if constexpr (std::is_same_v<T, MbVec3d>) {
      return {values.data(), MiScalarType::Float64, values.size(), sizeof(T)};
    } else {
      return {};
    }
  }
  void touch() { m_timeStamp = MxTimeStamp::take(); }

  /// Filled by several threads: what `resize` adds is not written.
  MbValueVector<T> values;

private:
  std::string m_name;
  MiDataBinding m_binding;
  std::uint64_t m_timeStamp;
};

/// The same by the name that tells it from data sets of other extracted things.
template <class T>
using MeXtractedDataSetI = MeXDataSetI<T>;
