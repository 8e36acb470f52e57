#pragma once

#include <velmo/base/MxRepeatedCast.h>
#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/mesh/views/MxArrayRead.h>

#include <span>

/// Finds the numbering of data sets of one class, again and again.
template <class T>
struct MxSetCasts
{
  MxRepeatedCast<MiDataSetI<T>, MiTypedDataSet<T>> toI;
  MxRepeatedCast<MiDataSetIj<T>, MiTypedDataSet<T>> toIj;
  MxRepeatedCast<MiDataSetIjk<T>, MiTypedDataSet<T>> toIjk;
};

/// Reads a data set of a mesh under flat numbers, whatever its numbering: from its array where it
/// has one, else by a virtual call a value.
///
/// *Threads*: any number may read.
template <class T>
class MxFieldValues
{
public:
  /// @param cells,nodes  counts along I, J and K of the mesh
  /// @param casts        of the caller, who asks often
  /// A set whose numbering or size does not fit makes an object that answers not a number.
  MxFieldValues(const MiTypedDataSet<T>& set, MxIndexing cellIndexing, MxIndexing nodeIndexing,
                const MbIndex3& cells, const MbIndex3& nodes, MxSetCasts<T>& casts);
  MxFieldValues(const MiTypedDataSet<T>& set, MxIndexing cellIndexing, MxIndexing nodeIndexing,
                const MbIndex3& cells, const MbIndex3& nodes);

  bool fits() const { return m_kind != Kind::None; }
  bool isPerCell() const { return m_perCell; }
  T operator[](std::size_t number) const
  {
    switch (m_kind) {
    case Kind::Double:
      return read<double>(number);
    case Kind::Float:
      return read<float>(number);
    default:
      return readSlowly(number);
    }
  }
  /// The value in a cell, where its nodes have these weights.
  T at(std::size_t cell, std::span<const std::uint32_t> nodes,
       std::span<const double> weights) const
  {
    if (m_perCell) return (*this)[cell];
    const auto sumOf = [&](const auto& valueAt) {
      T sum{};
      for (std::size_t n = 0; n < nodes.size(); ++n)
        sum += valueAt(nodes[n]) * weights[n];
      return sum;
    };
    switch (m_kind) {
    case Kind::Double:
      return sumOf([&](std::size_t node) { return read<double>(node); });
    case Kind::Float:
      return sumOf([&](std::size_t node) { return read<float>(node); });
    default:
      return sumOf([&](std::size_t node) { return readSlowly(node); });
    }
  }
  void prefetch(std::size_t number) const
  {
    if (m_kind == Kind::Double || m_kind == Kind::Float)
      __builtin_prefetch(static_cast<const char*>(m_view.data) + number * m_view.stride);
  }
  static T nothing();

private:
  enum class Kind : std::uint8_t
  {
    None,
    Double,
    Float,
    Any, ///< an array of other numbers
    I,
    Ij,
    Ijk
  };

  template <class Number>
  T read(std::size_t number) const
  {
    const auto* p = reinterpret_cast<const Number*>(static_cast<const char*>(m_view.data) +
                                                    number * m_view.stride);
    if constexpr (std::is_same_v<T, MbVec3d>)
      return {static_cast<double>(p[0]), static_cast<double>(p[1]), static_cast<double>(p[2])};
    else
      return static_cast<T>(p[0]);
  }
  T readSlowly(std::size_t number) const;

  Kind m_kind = Kind::None;
  bool m_perCell = false;
  MiArrayView m_view;
  const MiDataSetI<T>* m_i = nullptr;
  const MiDataSetIj<T>* m_ij = nullptr;
  const MiDataSetIjk<T>* m_ijk = nullptr;
  MbIndex3 m_counts;
};

extern template class MxFieldValues<double>;
extern template class MxFieldValues<MbVec3d>;
