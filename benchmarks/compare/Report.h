#pragma once

#include "CheckValues.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

/// One line of the comparison: a case, a number of threads, a filter of the peer. Times are medians
/// in seconds, sizes in MB (2^20 bytes).
struct ReportRow
{
  std::string caseName;
  int threads = 0;
  std::size_t items = 0;
  double oursSeconds = 0, oursMinSeconds = 0, meshCheckSeconds = 0;
  double peerSeconds = 0, peerMinSeconds = 0;
  double oursBuildSeconds = 0, peerBuildSeconds = 0; ///< dragging: the first extraction
  std::string peerFilter;
  bool wholeWork = true;
  double aim = 0; ///< for whole work
  double floorSeconds = 0;
  double oursPeakMb = 0, oursGrowthMb = 0, peerPeakMb = 0, peerGrowthMb = 0;
  CheckValues check; ///< of ours
  std::size_t extractions = 0, expectedExtractions = 0, runs = 0;
  /// Nothing for a part of the work, whose result is not the whole one.
  std::optional<bool> agree;

  double ratio() const { return oursSeconds > 0 ? peerSeconds / oursSeconds : 0; }
};

void printTableHead();
void printTableRow(const ReportRow& row);
/// What two threads gain over one, case by case.
void printThreadGains(const std::vector<ReportRow>& rows);

/// Writes the rows as a JSON list. @return false where the file cannot be written
bool writeJson(const std::string& path, const std::vector<ReportRow>& rows);
