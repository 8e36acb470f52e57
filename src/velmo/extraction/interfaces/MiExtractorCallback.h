#pragma once

#include <cstddef>
#include <exception>
#include <string>

/// Told how an extraction gets on, and asked whether it shall go on.
///
/// Every extraction that has something to do calls beginExtract, for each phase beginPhase and
/// endPhase, and endExtract, also when it fails or is cancelled. Phases come one after the other;
/// an extraction may skip some of those that it promised. Within a phase the numbers of endStep
/// never fall, and do not pass the phase's count. One that finds its last result still good calls
/// nothing. The functions must not throw.
///
/// *Threads*: all calls of one extraction come from the thread that asked for it, one at a time,
/// never from the threads that help it. That is the thread that traverses the scene, or a worker
/// thread where a representation extracts in the background. Given to several extractors that run
/// at the same time, a callback is called by each of their threads.
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
  /// MiCancellationException as soon as its threads have finished what they have in hand.
  virtual bool endStep(std::size_t stepsDone) = 0;
  /// Seconds within which endStep is called again; asked anew after each call. Extractions look at
  /// the clock between small pieces of their work, and call when more than half of the period has
  /// passed. Zero asks for a call after each piece.
  virtual double getEndStepCallPeriod() const { return 0.3; }
};

/// An extraction ended because its callback asked for it.
class MiCancellationException : public std::exception
{
public:
  const char* what() const noexcept override { return "extraction cancelled"; }
};
