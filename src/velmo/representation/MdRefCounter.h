#pragma once

#include <velmo/toolkit/classes/MxRefCounted.h>

#include <memory>
#include <utility>

/// Keeps what an extraction produced alive for as long as a builder draws from it, or a background
/// task works on it, even when the representation has thrown it away.
class MdRefCounter final : public MxRefCounted
{
public:
  void hold(std::shared_ptr<const void> result) { m_result = std::move(result); }

private:
  ~MdRefCounter() override = default;

  std::shared_ptr<const void> m_result;
};
