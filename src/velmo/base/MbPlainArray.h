#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>
#include <span>
#include <type_traits>
#include <utility>

namespace velmo_detail {
/// Asks for large pages behind a large allocation that has not been touched yet: the first touch
/// of many small pages costs more than most passes over the data. No effect where the system has
/// none.
void adviseLargePages(void* data, std::size_t byteCount);
} // namespace velmo_detail

/// A growable array of plain values that does not touch memory it is not asked to write.
///
/// std::vector writes zeros in one thread before several threads fill it; on the sizes met here
/// that costs as much as the extraction itself. The capacity is kept when the array shrinks, so an
/// extractor that runs again reuses its pages.
template <class T>
class MbPlainArray
{
  static_assert(std::is_trivially_copyable_v<T> && alignof(T) <= alignof(std::max_align_t));

public:
  MbPlainArray() = default;
  /// `count` values, uninitialised.
  explicit MbPlainArray(std::size_t count) { resizeUninitialized(count); }
  MbPlainArray(std::size_t count, const T& value) { assign(count, value); }
  MbPlainArray(MbPlainArray&& other) noexcept
      : m_data(std::exchange(other.m_data, nullptr)), m_size(std::exchange(other.m_size, 0)),
        m_capacity(std::exchange(other.m_capacity, 0))
  {}
  MbPlainArray& operator=(MbPlainArray&& other) noexcept
  {
    MbPlainArray(std::move(other)).swap(*this);
    return *this;
  }
  MbPlainArray(const MbPlainArray&) = delete;
  MbPlainArray& operator=(const MbPlainArray&) = delete;
  ~MbPlainArray() { std::free(m_data); }

  void swap(MbPlainArray& other) noexcept
  {
    std::swap(m_data, other.m_data);
    std::swap(m_size, other.m_size);
    std::swap(m_capacity, other.m_capacity);
  }

  /// Sets the size; the contents are undefined when the array has to grow.
  /// @throw std::bad_alloc
  void resizeUninitialized(std::size_t count)
  {
    if (count > m_capacity) {
      release();
      m_data = allocate(count);
      m_capacity = count;
    }
    m_size = count;
  }

  /// Sets the size and keeps the values that both sizes hold; new ones are uninitialised.
  /// @throw std::bad_alloc
  void resize(std::size_t count)
  {
    if (count > m_capacity) {
      std::size_t capacity = m_capacity + m_capacity / 2;
      if (capacity < count) capacity = count;
      if (capacity > kMaximum) throw std::bad_alloc();
      void* grown = std::realloc(static_cast<void*>(m_data), capacity * sizeof(T));
      if (!grown) throw std::bad_alloc();
      m_data = static_cast<T*>(grown);
      m_capacity = capacity;
    }
    m_size = count;
  }

  /// `count` zeros, which large arrays get from the system page by page when they are touched.
  /// @throw std::bad_alloc
  void resizeZeroed(std::size_t count)
  {
    release();
    if (count > kMaximum) throw std::bad_alloc();
    if (count == 0) return;
    m_data = static_cast<T*>(std::calloc(count, sizeof(T)));
    if (!m_data) throw std::bad_alloc();
    velmo_detail::adviseLargePages(m_data, count * sizeof(T));
    m_size = m_capacity = count;
  }

  void assign(std::size_t count, const T& value)
  {
    resizeUninitialized(count);
    for (std::size_t i = 0; i < count; ++i)
      m_data[i] = value;
  }

  void push_back(const T& value)
  {
    const T copy = value; // `value` may live in this array
    resize(m_size + 1);
    m_data[m_size - 1] = copy;
  }

  /// Forgets the values, keeps the memory.
  void clear() { m_size = 0; }
  /// Forgets the values and gives the memory back.
  void release()
  {
    std::free(m_data);
    m_data = nullptr;
    m_size = m_capacity = 0;
  }

  T* data() { return m_data; }
  const T* data() const { return m_data; }
  std::size_t size() const { return m_size; }
  std::size_t capacity() const { return m_capacity; }
  bool empty() const { return m_size == 0; }
  T& operator[](std::size_t i) { return m_data[i]; }
  const T& operator[](std::size_t i) const { return m_data[i]; }
  T* begin() { return m_data; }
  T* end() { return m_data + m_size; }
  const T* begin() const { return m_data; }
  const T* end() const { return m_data + m_size; }
  std::span<T> span() { return {m_data, m_size}; }
  std::span<const T> span() const { return {m_data, m_size}; }

private:
  static constexpr std::size_t kMaximum = static_cast<std::size_t>(-1) / 2 / sizeof(T);

  static T* allocate(std::size_t count)
  {
    if (count > kMaximum) throw std::bad_alloc();
    void* data = std::malloc(count * sizeof(T));
    if (!data) throw std::bad_alloc();
    velmo_detail::adviseLargePages(data, count * sizeof(T));
    return static_cast<T*>(data);
  }

  T* m_data = nullptr;
  std::size_t m_size = 0;
  std::size_t m_capacity = 0;
};

/// The array's short name within the library.
template <class T>
using MxArray = MbPlainArray<T>;
