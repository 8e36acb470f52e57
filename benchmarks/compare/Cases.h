#pragma once

#include "Peer.h"

#include <span>
#include <vector>

/// One row of the comparison. A new one is a row in the table of Cases.cpp, a JobMaker of ours and
/// a list of the peer's filters.
struct Case
{
  const char* name;
  const char* mesh; ///< a name that makeWorkload knows
  /// How many times faster than the peer we mean to be.
  double aim;
  JobMaker ours;
  std::vector<PeerFilter> peers;
  Task task;
  CheckRule rule;
  /// What must be moved at least once, in bytes.
  double (*floorBytes)(const MeshArrays& mesh, const CheckValues& output);
};

std::span<const Case> comparisonCases();
