#include "Report.h"

#include <cstdio>
#include <fstream>

namespace {

/// A number with three digits that matter, "-" for none.
std::string shortNumber(double value)
{
  if (value <= 0) return "-";
  char text[32];
  std::snprintf(text, sizeof text, value >= 100 ? "%.0f" : value >= 10 ? "%.1f" : "%.2f", value);
  return text;
}

std::string milliseconds(double seconds)
{
  return shortNumber(1e3 * seconds);
}

const char* agreement(const ReportRow& row)
{
  return !row.agree ? "-" : *row.agree ? "yes" : "NO";
}

} // namespace

void printTableHead()
{
  std::printf("%-22s %3s %9s %9s %9s %7s %5s %8s %8s %8s %8s %9s %9s %5s %6s  %s\n", "case", "thr",
              "ours ms", "check ms", "peer ms", "ratio", "aim", "floor ms", "x floor", "ours +MB",
              "peer +MB", "build ms", "peer's", "agree", "runs", "peer filter");
}

void printTableRow(const ReportRow& row)
{
  const std::string runs =
      std::to_string(row.extractions) + "/" + std::to_string(row.expectedExtractions);
  std::printf("%-22s %3d %9s %9s %9s %7s %5s %8s %8s %8s %8s %9s %9s %5s %6s  %s%s\n",
              row.caseName.c_str(), row.threads, milliseconds(row.oursSeconds).c_str(),
              milliseconds(row.meshCheckSeconds).c_str(), milliseconds(row.peerSeconds).c_str(),
              shortNumber(row.ratio()).c_str(), row.wholeWork ? shortNumber(row.aim).c_str() : "-",
              milliseconds(row.floorSeconds).c_str(),
              row.floorSeconds > 0 ? shortNumber(row.oursSeconds / row.floorSeconds).c_str() : "-",
              shortNumber(row.oursGrowthMb).c_str(), shortNumber(row.peerGrowthMb).c_str(),
              milliseconds(row.oursBuildSeconds).c_str(),
              milliseconds(row.peerBuildSeconds).c_str(), agreement(row), runs.c_str(),
              row.peerFilter.c_str(), row.wholeWork ? "" : " (part of the work)");
  std::fflush(stdout);
}

void printThreadGains(const std::vector<ReportRow>& rows)
{
  for (const ReportRow& one : rows)
    for (const ReportRow& two : rows)
      if (one.wholeWork && two.wholeWork && one.caseName == two.caseName && one.threads == 1 &&
          two.threads == 2 && one.oursSeconds > 0)
        std::printf("%-22s two threads take %.2f of the time of one (peer %.2f)\n",
                    one.caseName.c_str(), two.oursSeconds / one.oursSeconds,
                    two.peerSeconds / one.peerSeconds);
}

bool writeJson(const std::string& path, const std::vector<ReportRow>& rows)
{
  std::ofstream out(path);
  out.precision(9);
  out << "[";
  const char* separator = "\n";
  for (const ReportRow& row : rows) {
    const auto field = [&](const char* key, const auto& value) {
      out << ", \"" << key << "\": " << value;
    };
    // Sizes are unknown where the system does not tell them.
    const auto size = [&](const char* key, double peakMb, double value) {
      peakMb > 0 ? field(key, value) : field(key, "null");
    };
    out << separator << "  {\"case\": \"" << row.caseName << (row.wholeWork ? "" : " (part)")
        << '"';
    field("threads", row.threads);
    field("items", row.items);
    field("ours_s", row.oursSeconds);
    field("peer_s", row.peerSeconds);
    field("ratio", row.ratio());
    field("peer_filter", '"' + row.peerFilter + '"');
    field("floor_s", row.floorSeconds);
    size("ours_peak_mb", row.oursPeakMb, row.oursPeakMb);
    size("peer_peak_mb", row.peerPeakMb, row.peerPeakMb);
    field("agree", !row.agree ? "null" : *row.agree ? "true" : "false");
    field("whole_work", row.wholeWork ? "true" : "false");
    row.wholeWork ? field("aim", row.aim) : field("aim", "null");
    field("ours_min_s", row.oursMinSeconds);
    field("peer_min_s", row.peerMinSeconds);
    field("mesh_check_s", row.meshCheckSeconds);
    if (row.oursBuildSeconds > 0) {
      field("ours_build_s", row.oursBuildSeconds);
      field("peer_build_s", row.peerBuildSeconds);
    }
    size("ours_growth_mb", row.oursPeakMb, row.oursGrowthMb);
    size("peer_growth_mb", row.peerPeakMb, row.peerGrowthMb);
    field("faces", row.check.faces);
    field("triangles", row.check.triangles);
    field("vertices", row.check.vertices);
    field("area", row.check.area);
    field("volume", row.check.volume);
    field("integral", row.check.fanIntegral);
    field("extractions", row.extractions);
    field("expected_extractions", row.expectedExtractions);
    field("runs", row.runs);
    out << "}";
    separator = ",\n";
  }
  out << "\n]\n";
  out.close();
  return out.good();
}
