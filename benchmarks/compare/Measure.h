#pragma once

#include "Job.h"

#include <string>
#include <vector>

double median(std::vector<double> values);

/// What one run of a job took.
struct RunResult
{
  double seconds = 0;      ///< dragging: the median of the steps
  double buildSeconds = 0; ///< dragging: of the first extraction
  double meshCheckSeconds = 0;
  double peakMb = 0;   ///< peak resident set during the run; 0 where the system does not tell
  double growthMb = 0; ///< the same over the resident set before the run
  std::size_t extractions = 0, expectedExtractions = 1;
  CheckValues check;
};

/// Runs a new job, and its steps, with that many threads; its output is looked at and freed outside
/// the timed part.
RunResult measureRun(JobMaker make, const MeshArrays& mesh, const Task& task, int threads);

/// Bytes a second that a triad a = b + s * c moves with that many threads, the median of some
/// rounds over arrays of `count` doubles.
double triadBandwidth(int threads, std::size_t count);

/// The processor's name and the number of its cores that this process may use.
std::string machineDescription();
