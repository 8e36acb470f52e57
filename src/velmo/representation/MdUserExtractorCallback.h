#pragma once

#include <velmo/extraction/interfaces/MiExtractorCallback.h>
#include <velmo/representation/MoMeshRepresentation.h>
#include <velmo/toolkit/MxRefCounted.h>

/// Hands what an extractor tells on to the callback that the node has at that moment.
class MdUserExtractorCallback final : public MxRefCounted, public MiExtractorCallback
{
public:
  explicit MdUserExtractorCallback(const MoMeshRepresentation& owner) : m_owner(owner) {}

  void beginExtract(const std::string& name, std::size_t phaseCount) override
  {
    if (auto* user = m_owner.getExtractorCallback()) user->beginExtract(name, phaseCount);
  }
  void endExtract() override
  {
    if (auto* user = m_owner.getExtractorCallback()) user->endExtract();
  }
  void beginPhase(const std::string& name, std::size_t stepCount) override
  {
    if (auto* user = m_owner.getExtractorCallback()) user->beginPhase(name, stepCount);
  }
  void endPhase() override
  {
    if (auto* user = m_owner.getExtractorCallback()) user->endPhase();
  }
  bool endStep(std::size_t stepsDone) override
  {
    auto* user = m_owner.getExtractorCallback();
    return !user || user->endStep(stepsDone);
  }
  double getEndStepCallPeriod() const override
  {
    const auto* user = m_owner.getExtractorCallback();
    return user ? user->getEndStepCallPeriod() : MiExtractorCallback::getEndStepCallPeriod();
  }

private:
  ~MdUserExtractorCallback() override = default;

  const MoMeshRepresentation& m_owner;
};
