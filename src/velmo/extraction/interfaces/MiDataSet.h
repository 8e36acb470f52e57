#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>
#include <velmo/extraction/interfaces/MiArrayView.h>

#include <string>

/// Where the values of a data set live. The numbers are those of the binding node's enumeration.
enum class MiDataBinding : std::int8_t
{
  PerCell = 0,
  PerNode = 1
};

/// What every data set has, whatever its values.
class MiDataSet
{
public:
  virtual ~MiDataSet() = default;
  virtual std::string getName() const { return {}; }
  virtual MiDataBinding getBinding() const = 0;
  /// Changes whenever a value may have changed.
  virtual std::uint64_t getTimeStamp() const = 0;
};

/// Values of one type, one per cell or one per node. *Threads*: read from several threads at once.
template <class T>
class MiTypedDataSet : public virtual MiDataSet
{
public:
  using Value = T;
};

/// Values numbered by one index.
template <class T>
class MiDataSetI : public virtual MiTypedDataSet<T>
{
public:
  virtual std::size_t getSize() const = 0;
  virtual T getValue(std::size_t index) const = 0;
  /// The array (numbers, or triples for vectors), or an empty view.
  virtual MiArrayView getView() const { return {}; }
};

/// Values numbered (i, j).
template <class T>
class MiDataSetIj : public virtual MiTypedDataSet<T>
{
public:
  virtual std::size_t getSizeI() const = 0;
  virtual std::size_t getSizeJ() const = 0;
  virtual T getValue(std::size_t i, std::size_t j) const = 0;
  /// The array, I fastest, or an empty view.
  virtual MiArrayView getView() const { return {}; }
};

/// Values numbered (i, j, k).
template <class T>
class MiDataSetIjk : public virtual MiTypedDataSet<T>
{
public:
  virtual MbIndex3 getSizes() const = 0;
  virtual T getValue(std::size_t i, std::size_t j, std::size_t k) const = 0;
  /// The array, I fastest, then J, then K, or an empty view.
  virtual MiArrayView getView() const { return {}; }
};

using MiScalardSetI = MiDataSetI<double>;
using MiScalardSetIj = MiDataSetIj<double>;
using MiScalardSetIjk = MiDataSetIjk<double>;
using MiVec3dSetI = MiDataSetI<MbVec3d>;
using MiVec3dSetIj = MiDataSetIj<MbVec3d>;
using MiVec3dSetIjk = MiDataSetIjk<MbVec3d>;
using MiStringSetI = MiDataSetI<std::string>;
using MiStringSetIj = MiDataSetIj<std::string>;
using MiStringSetIjk = MiDataSetIjk<std::string>;
