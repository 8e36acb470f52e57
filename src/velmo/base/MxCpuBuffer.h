#pragma once

#include <velmo/base/MxArray.h>

/// Memory that extraction hands to the scene graph, of a type that the receiver finds by a
/// downcast.
class MxBuffer
{
public:
  virtual ~MxBuffer() = default;
  virtual std::size_t getByteCount() const = 0;
};

/// The coordinates or the index list of an extracted mesh: filled by an extractor, read in place by
/// the scene graph. *Ownership*: the extracted mesh's; it stays alive and unchanged until the next
/// extraction of the same extractor.
template <class T>
class MxCpuBuffer final : public MxBuffer
{
public:
  std::size_t getByteCount() const override { return array.size() * sizeof(T); }

  MxArray<T> array;
};
