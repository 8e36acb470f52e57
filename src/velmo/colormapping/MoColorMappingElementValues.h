#pragma once

#include <cstdint>

#include <velmo/base/MxTimeStamp.h>

/// A mapping and the stamp that it had when it was set. Mappings are told apart by their stamps.
template <class Mapping>
struct MoColorMappingElementValues
{
  MoColorMappingElementValues() = default;
  explicit MoColorMappingElementValues(const Mapping* m)
      : mapping(m), timeStamp(m ? m->getTimeStamp() : MxTimeStamp::kNone)
  {}

  const Mapping* mapping = nullptr;
  std::uint64_t timeStamp = MxTimeStamp::kNone;

  bool operator==(const MoColorMappingElementValues& other) const
  {
    return timeStamp == other.timeStamp;
  }
};
