#pragma once

#include "CaseMesh.h"
#include "Cases.h"
#include "Report.h"

#include <map>
#include <string>
#include <vector>

/// How a comparison is run.
struct ContestSettings
{
  bool quick = false;
  std::string only;
  int runs = 5;
};

/// Bytes a second, by number of threads.
using Bandwidths = std::map<int, double>;

/// Runs one case on its mesh with one thread and with two: first every filter of the peer and our
/// side once, which warms up, checks the results and finds the fastest filter that does the whole
/// work; then ours, that filter and the fastest of those that do a part, alternately. Prints a row
/// for each of the two and says what does not agree.
std::vector<ReportRow> runCase(const Case& contest, const MeshArrays& mesh, int runs,
                               const Bandwidths& bandwidths);
