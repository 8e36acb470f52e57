#pragma once

#include <velmo/extraction/interfaces/MiExtractorCallback.h>

#include <string>

/// An extractor callback that hands on whatever it is told; those that derive from it add their
/// own.
///
/// @tparam Forwarder  the class that derives from this. Its forward(otherwise, call) returns
///                    call(callback) for the callback to hand on to, `otherwise` when there is none
/// @tparam Base       MiExtractorCallback, or a class between it and this
template <class Forwarder, class Base = MiExtractorCallback>
class MdForwardingCallback : public Base
{
public:
  void beginExtract(const std::string& name, std::size_t phaseCount) override
  {
    tell([&](MiExtractorCallback& callback) { callback.beginExtract(name, phaseCount); });
  }
  void endExtract() override
  {
    tell([](MiExtractorCallback& callback) { callback.endExtract(); });
  }
  void beginPhase(const std::string& name, std::size_t stepCount) override
  {
    tell([&](MiExtractorCallback& callback) { callback.beginPhase(name, stepCount); });
  }
  void endPhase() override
  {
    tell([](MiExtractorCallback& callback) { callback.endPhase(); });
  }
  bool endStep(std::size_t stepsDone) override
  {
    return self().forward(
        true, [=](MiExtractorCallback& callback) { return callback.endStep(stepsDone); });
  }
  double getEndStepCallPeriod() const override
  {
    return self().forward(
        MiExtractorCallback::getEndStepCallPeriod(),
        [](const MiExtractorCallback& callback) { return callback.getEndStepCallPeriod(); });
  }

private:
  template <class Call>
  void tell(const Call& call) const
  {
    self().forward(0, [&](MiExtractorCallback& callback) {
      call(callback);
      return 0;
    });
  }
  const Forwarder& self() const { return static_cast<const Forwarder&>(*this); }
};
