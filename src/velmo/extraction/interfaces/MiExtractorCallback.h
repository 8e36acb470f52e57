#pragma once

#include <cstddef>
#include <exception>
#include <string>

/// Told how an extraction gets on. Called in the thread that runs the extraction, never in its
/// helpers.
class MiExtractorCallback
{
public:
  virtual ~MiExtractorCallback() = default;
  /// An extractor, by its class name, begins a job of `phaseCount` phases.
  virtual void beginExtract(const std::string& name, std::size_t phaseCount) = 0;
  virtual void endExtract() = 0;
  /// A phase of `stepCount` steps begins.
  virtual void beginPhase(const std::string& name, std::size_t stepCount) = 0;
  virtual void endPhase() = 0;
  /// `stepsDone` of the phase's steps are done. False cancels the extraction, which then ends with
  /// MiCancellationException.
  virtual bool endStep(std::size_t stepsDone) = 0;
  /// Seconds between two calls of endStep, at the least.
  virtual double getEndStepCallPeriod() const { return 0.3; }
};

/// An extraction ended because its callback asked for it.
class MiCancellationException : public std::exception
{
public:
  const char* what() const noexcept override { return "extraction cancelled"; }
};
