#pragma once

#include <velmo/base/MxTimeStamp.h>
#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/mesh/MbArray.h>
#include <velmo/mesh/MbCounts.h>

#include <span>
#include <string>

/// Texts that an application gives to a ready-made data set: lvalues are borrowed, a rvalue vector
/// is moved in.
class MbTexts
{
public:
  MbTexts() = default;
  MbTexts(std::span<const std::string> texts) : m_texts(texts) {}
  MbTexts(const std::vector<std::string>& texts) : m_texts(texts) {}
  MbTexts(std::vector<std::string>&& texts)
      : m_owner(std::make_shared<const std::vector<std::string>>(std::move(texts))),
        m_texts(*m_owner)
  {}

  std::size_t size() const { return m_texts.size(); }
  const std::string& operator[](std::size_t i) const { return m_texts[i]; }

private:
  std::shared_ptr<const std::vector<std::string>> m_owner;
  std::span<const std::string> m_texts;
};

/// How the values of type T lie in memory: any numeric type for double, triples of any numeric type
/// for MbVec3d.
template <class T>
struct MbValues;
template <>
struct MbValues<double>
{
  using Array = MbNumbers;
  static double get(const Array& array, std::size_t i) { return mbNumber(array.getView(), i); }
  static MiArrayView view(const Array& array) { return array.getView(); }
};
template <>
struct MbValues<MbVec3d>
{
  using Array = MbPoints;
  static MbVec3d get(const Array& array, std::size_t i) { return mbPoint(array.getView(), i); }
  static MiArrayView view(const Array& array) { return array.getView(); }
};
template <>
struct MbValues<std::string>
{
  using Array = MbTexts;
  static const std::string& get(const Array& array, std::size_t i) { return array[i]; }
  static MiArrayView view(const Array&) { return {}; }
};

/// What the ready-made data sets share: name, binding, stamp and the application's array, which is
/// never copied.
///
/// An array shorter than the sizes is refused by the constructors with std::invalid_argument.
template <class T, class Interface>
class MbDataSet : public Interface
{
public:
  using Array = typename MbValues<T>::Array;

  std::string getName() const override { return m_name; }
  MiDataBinding getBinding() const override { return m_binding; }
  std::uint64_t getTimeStamp() const override { return m_timeStamp; }
  MiArrayView getView() const override { return MbValues<T>::view(m_values); }

  /// The application has changed the contents of the array.
  void touch() { m_timeStamp = MxTimeStamp::take(); }
  /// Replaces the array, as for the next step of a computation, and takes a new stamp.
  /// @throw std::invalid_argument
  void setValues(Array values)
  {
    check(values);
    m_values = std::move(values);
    touch();
  }

protected:
  MbDataSet(std::string name, MiDataBinding binding, MbIndex3 sizes, Array values)
      : m_sizes(sizes), m_values(std::move(values)), m_name(std::move(name)), m_binding(binding)
  {
    check(m_values);
  }
  T valueAt(std::size_t index) const { return MbValues<T>::get(m_values, index); }

  MbIndex3 m_sizes;
  Array m_values;

private:
  void check(const Array& values) const
  {
    if (values.size() < mbProduct(m_sizes))
      throw std::invalid_argument("The array of a data set is shorter than its sizes.");
  }

  std::string m_name;
  MiDataBinding m_binding;
  std::uint64_t m_timeStamp = MxTimeStamp::take();
};

/// Values numbered by one index: all of the array.
template <class T>
class MbDataSetI final : public MbDataSet<T, MiDataSetI<T>>
{
public:
  using typename MbDataSet<T, MiDataSetI<T>>::Array;

  MbDataSetI(std::string name, MiDataBinding binding, Array values)
      : MbDataSet<T, MiDataSetI<T>>(std::move(name), binding, {}, std::move(values))
  {}
  std::size_t getSize() const override { return this->m_values.size(); }
  T getValue(std::size_t index) const override { return this->valueAt(index); }
};

/// Values numbered (i, j), I fastest.
template <class T>
class MbDataSetIj final : public MbDataSet<T, MiDataSetIj<T>>
{
public:
  using typename MbDataSet<T, MiDataSetIj<T>>::Array;

  /// @throw std::invalid_argument
  MbDataSetIj(std::string name, MiDataBinding binding, std::size_t sizeI, std::size_t sizeJ,
              Array values)
      : MbDataSet<T, MiDataSetIj<T>>(std::move(name), binding, {sizeI, sizeJ, 1}, std::move(values))
  {}
  std::size_t getSizeI() const override { return this->m_sizes.x; }
  std::size_t getSizeJ() const override { return this->m_sizes.y; }
  T getValue(std::size_t i, std::size_t j) const override
  {
    return this->valueAt(i + this->m_sizes.x * j);
  }
};

/// Values numbered (i, j, k), I fastest, then J, then K.
template <class T>
class MbDataSetIjk final : public MbDataSet<T, MiDataSetIjk<T>>
{
public:
  using typename MbDataSet<T, MiDataSetIjk<T>>::Array;

  /// @throw std::invalid_argument
  MbDataSetIjk(std::string name, MiDataBinding binding, MbIndex3 sizes, Array values)
      : MbDataSet<T, MiDataSetIjk<T>>(std::move(name), binding, sizes, std::move(values))
  {}
  MbIndex3 getSizes() const override { return this->m_sizes; }
  T getValue(std::size_t i, std::size_t j, std::size_t k) const override
  {
    return this->valueAt(i + this->m_sizes.x * (j + this->m_sizes.y * k));
  }
};

using MbScalardSetI = MbDataSetI<double>;
using MbScalardSetIj = MbDataSetIj<double>;
using MbScalardSetIjk = MbDataSetIjk<double>;
using MbVec3dSetI = MbDataSetI<MbVec3d>;
using MbVec3dSetIj = MbDataSetIj<MbVec3d>;
using MbVec3dSetIjk = MbDataSetIjk<MbVec3d>;
using MbStringSetI = MbDataSetI<std::string>;
using MbStringSetIj = MbDataSetIj<std::string>;
using MbStringSetIjk = MbDataSetIjk<std::string>;
