#pragma once

#include <velmo/base/MxArray.h>
#include <velmo/base/MxParallel.h>
#include <velmo/toolkit/shapes/MxShapeData.h>

#include <algorithm>
#include <array>
#include <bit>

/// A buffer in the memory of one graphics context, filled again only when what it was filled from
/// has changed.
///
/// *Threads*: with the context current. Values are written straight into the mapped buffer, by
/// several threads where the filling function uses them.
class MxGlBuffer
{
public:
  using Keys = std::array<MxArrayKey, 2>;

  MxGlBuffer() = default;
  MxGlBuffer(const MxGlBuffer&) = delete;
  MxGlBuffer& operator=(const MxGlBuffer&) = delete;
  /// Frees nothing: release() does, while the context is current.
  ~MxGlBuffer() = default;
  void release();

  bool isEmpty() const { return m_buffer == 0; }
  bool isFilledFrom(const Keys& keys) const { return m_buffer != 0 && m_keys == keys; }
  const Keys& keys() const { return m_keys; }
  std::size_t itemCount() const { return m_itemCount; }
  void makeCurrent(unsigned target);

  /// Makes the buffer current, and calls fill(T* out) for `count` items where keys or binding
  /// differ from those of the last fill.
  /// @return whether it was filled
  template <class T, class Fill>
  bool update(unsigned target, std::size_t count, const Keys& keys, int binding, const Fill& fill)
  {
    makeCurrent(target);
    if (m_keys == keys && m_binding == binding) return false;
    m_itemCount = count;
    m_keys = keys;
    m_binding = binding;
    setSize(target, count * sizeof(T));
    if (count == 0) return true;
    if (void* memory = map(target)) {
      fill(static_cast<T*>(memory));
      unmap(target);
    } else {
      MxArray<T> values(count);
      fill(values.data());
      write(target, values.data());
    }
    return true;
  }

private:
  void setSize(unsigned target, std::size_t byteCount);
  void* map(unsigned target);
  void unmap(unsigned target);
  void write(unsigned target, const void* data);

  unsigned m_buffer = 0;
  std::size_t m_byteCount = 0;
  std::size_t m_itemCount = 0;
  Keys m_keys;
  int m_binding = -1;
};

/// Graphics memory wants the bytes red, green, blue, opacity; a packed colour has them from the
/// highest byte down.
inline std::uint32_t mxInMemory(std::uint32_t color)
{
  if constexpr (std::endian::native == std::endian::big) return color;
  return __builtin_bswap32(color);
}
inline const SbVec3f& mxInMemory(const SbVec3f& v)
{
  return v;
}
inline const SbVec2f& mxInMemory(const SbVec2f& v)
{
  return v;
}

/// One value a vertex; the last one stands for missing ones.
template <class T>
void mxFillVertices(T* out, std::size_t count, std::span<const T> values)
{
  forEachBlock(true, count, 65536, [&](std::size_t, std::size_t first, std::size_t last) {
    for (std::size_t i = first; i < last; ++i)
      out[i] = mxInMemory(values[std::min(i, values.size() - 1)]);
  });
}
