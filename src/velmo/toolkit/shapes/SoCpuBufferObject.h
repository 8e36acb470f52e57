#pragma once

#include <velmo/toolkit/classes/MxRefCounted.h>

#include <cstddef>
#include <memory>

/// Bytes in main memory that are handed to the scene graph: somebody else's, seen in place, or its
/// own.
class SoCpuBufferObject : public MxRefCounted
{
public:
  SoCpuBufferObject() = default;
  /// See setBuffer.
  SoCpuBufferObject(void* data, std::size_t byteCount) { setBuffer(data, byteCount); }

  /// Refers to the bytes without copying. *Ownership*: borrowed; they stay alive and unchanged as
  /// long as anything reads this object.
  void setBuffer(void* data, std::size_t byteCount)
  {
    m_owned.reset();
    m_data = data;
    m_byteCount = byteCount;
  }
  /// Makes room of its own, uninitialised. @throw std::bad_alloc
  void allocate(std::size_t byteCount)
  {
    m_owned.reset(new std::byte[byteCount]);
    m_data = m_owned.get();
    m_byteCount = byteCount;
  }
  void clear() { setBuffer(nullptr, 0); }

  void* getData() { return m_data; }
  const void* getData() const { return m_data; }
  std::size_t getSize() const { return m_byteCount; }

protected:
  ~SoCpuBufferObject() override = default;

private:
  void* m_data = nullptr;
  std::size_t m_byteCount = 0;
  std::unique_ptr<std::byte[]> m_owned;
};
