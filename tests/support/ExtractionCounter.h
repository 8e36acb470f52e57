#pragma once

#include <velmo/extraction/interfaces/MiExtractorCallback.h>

#include <string>
#include <vector>

/// Hears of extractions and their phases, and stops the next one when told to.
class ExtractionCounter final : public MiExtractorCallback
{
public:
  void beginExtract(const std::string& name, std::size_t) override
  {
    ++count;
    names.push_back(name);
  }
  void endExtract() override { ++ended; }
  void beginPhase(const std::string& name, std::size_t) override { phases.push_back(name); }
  void endPhase() override { ++phasesEnded; }
  bool endStep(std::size_t) override { return !stop; }
  double getEndStepCallPeriod() const override { return 0.0; }

  int count = 0, ended = 0, phasesEnded = 0;
  bool stop = false;
  std::vector<std::string> names, phases;
};
