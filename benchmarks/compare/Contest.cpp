#include "Contest.h"

#include "Measure.h"

#include <algorithm>
#include <cstdio>

namespace {

/// The runs of one side with one number of threads.
struct Series
{
  std::vector<RunResult> runs;

  double medianOf(double RunResult::*value) const
  {
    std::vector<double> values;
    for (const RunResult& run : runs)
      values.push_back(run.*value);
    return median(values);
  }
  double maximumOf(double RunResult::*value) const
  {
    double maximum = 0;
    for (const RunResult& run : runs)
      maximum = std::max(maximum, run.*value);
    return maximum;
  }
  double minSeconds() const
  {
    return std::min_element(runs.begin(), runs.end(),
                            [](const auto& a, const auto& b) { return a.seconds < b.seconds; })
        ->seconds;
  }
};

/// A filter of the peer in the race, and its times.
struct Rival
{
  const PeerFilter* filter = nullptr;
  double pilotSeconds = 0;
  Series series;
};

/// All that runs with one number of threads.
struct Lane
{
  int threads = 0;
  Series ours;
  Rival whole, part;
  bool agree = true;
};

class Contest
{
public:
  Contest(const Case& contest, const MeshArrays& mesh) : m_case(contest), m_mesh(mesh) {}

  Lane pilot(int threads) const
  {
    Lane lane;
    lane.threads = threads;
    setPeerThreads(threads);
    const RunResult ours = measureRun(m_case.ours, m_mesh, m_case.task, threads);
    for (const PeerFilter& filter : m_case.peers) {
      const RunResult peer = measureRun(filter.make, m_mesh, m_case.task, threads);
      if (filter.wholeWork) compare(lane, ours, peer, filter);
      Rival& rival = filter.wholeWork ? lane.whole : lane.part;
      if (!rival.filter || peer.seconds < rival.pilotSeconds) rival = {&filter, peer.seconds, {}};
    }
    return lane;
  }

  /// One round; who begins changes from round to round.
  void race(Lane& lane, bool oursFirst) const
  {
    setPeerThreads(lane.threads);
    const auto runOurs = [&] {
      lane.ours.runs.push_back(measureRun(m_case.ours, m_mesh, m_case.task, lane.threads));
    };
    if (oursFirst) runOurs();
    for (Rival* rival : {&lane.whole, &lane.part})
      if (rival->filter)
        rival->series.runs.push_back(
            measureRun(rival->filter->make, m_mesh, m_case.task, lane.threads));
    if (!oursFirst) runOurs();
    // Said once is enough.
    if (lane.whole.filter && lane.agree)
      compare(lane, lane.ours.runs.back(), lane.whole.series.runs.back(), *lane.whole.filter);
  }

  ReportRow report(const Lane& lane, const Rival& rival, double bandwidth) const
  {
    ReportRow row;
    row.caseName = m_case.name;
    row.threads = lane.threads;
    row.items = m_mesh.cellCount;
    row.oursSeconds = lane.ours.medianOf(&RunResult::seconds);
    row.oursMinSeconds = lane.ours.minSeconds();
    row.meshCheckSeconds = lane.ours.medianOf(&RunResult::meshCheckSeconds);
    row.peerSeconds = rival.series.medianOf(&RunResult::seconds);
    row.peerMinSeconds = rival.series.minSeconds();
    row.peerFilter = rival.filter->name;
    row.wholeWork = rival.filter->wholeWork;
    row.aim = m_case.aim;
    row.check = lane.ours.runs.front().check;
    row.floorSeconds = m_case.floorBytes(m_mesh, row.check) / bandwidth;
    row.oursPeakMb = lane.ours.maximumOf(&RunResult::peakMb);
    row.oursGrowthMb = lane.ours.maximumOf(&RunResult::growthMb);
    row.peerPeakMb = rival.series.maximumOf(&RunResult::peakMb);
    row.peerGrowthMb = rival.series.maximumOf(&RunResult::growthMb);
    row.runs = lane.ours.runs.size();
    for (const RunResult& run : lane.ours.runs) {
      row.extractions += run.extractions;
      row.expectedExtractions += run.expectedExtractions;
    }
    row.oursBuildSeconds = lane.ours.medianOf(&RunResult::buildSeconds);
    row.peerBuildSeconds = rival.series.medianOf(&RunResult::buildSeconds);
    if (row.wholeWork) row.agree = lane.agree;
    return row;
  }

private:
  void compare(Lane& lane, const RunResult& ours, const RunResult& peer,
               const PeerFilter& filter) const
  {
    const std::string difference =
        disagreement(ours.check, peer.check, m_case.rule, filter.sharesVertices, m_mesh.cellCount);
    if (difference.empty()) return;
    lane.agree = false;
    std::fprintf(stderr, "%s, %d threads: ours and %s do not agree: %s\n", m_case.name,
                 lane.threads, filter.name, difference.c_str());
  }

  const Case& m_case;
  const MeshArrays& m_mesh;
};

} // namespace

std::vector<ReportRow> runCase(const Case& contest, const MeshArrays& mesh, int runs,
                               const Bandwidths& bandwidths)
{
  const Contest race(contest, mesh);
  std::vector<Lane> lanes;
  for (const auto& [threads, bandwidth] : bandwidths)
    lanes.push_back(race.pilot(threads));
  for (int round = 0; round < runs; ++round)
    for (Lane& lane : lanes)
      race.race(lane, round % 2 == 0);

  std::vector<ReportRow> rows;
  for (const Lane& lane : lanes)
    for (const Rival* rival : {&lane.whole, &lane.part})
      if (rival->filter) {
        rows.push_back(race.report(lane, *rival, bandwidths.at(lane.threads)));
        printTableRow(rows.back());
      }
  return rows;
}
