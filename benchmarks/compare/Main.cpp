// Runs the standard workloads with our library and with the peer toolkit side by side.

#include "Contest.h"
#include "Measure.h"

#include <velmo/extraction/interfaces/MiVelmo.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>

namespace {

constexpr int kUsageError = 2;

struct Options : ContestSettings
{
  std::string json = "compare.json";
};

void printUsage(std::FILE* to)
{
  std::fputs("usage: velmo_compare [--quick] [--only SUBSTRING] [--runs N] [--json FILE]\n"
             "  --quick           small meshes, to see that everything works\n"
             "  --only SUBSTRING  the cases whose name contains it\n"
             "  --runs N          timed runs of each side, 1 to 1000 (5)\n"
             "  --json FILE       where the figures go (compare.json)\n"
             "  --help            this text\n"
             "cases:",
             to);
  for (const Case& contest : comparisonCases())
    std::fprintf(to, " %s", contest.name);
  std::fputs("\nEnds with 1 when results do not agree or an extraction was skipped, 2 on bad "
             "options.\n",
             to);
}

[[noreturn]] void refuse(const std::string& message)
{
  std::fprintf(stderr, "velmo_compare: %s\n", message.c_str());
  printUsage(stderr);
  std::exit(kUsageError);
}

Options parseOptions(int argc, char** argv)
{
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    const auto value = [&]() -> std::string {
      if (i + 1 >= argc || !*argv[i + 1]) refuse(option + " needs a value");
      return argv[++i];
    };
    if (option == "--help") {
      printUsage(stdout);
      std::exit(0);
    } else if (option == "--quick") {
      options.quick = true;
    } else if (option == "--only") {
      options.only = value();
    } else if (option == "--json") {
      options.json = value();
    } else if (option == "--runs") {
      const std::string text = value();
      char* end = nullptr;
      const long runs = std::strtol(text.c_str(), &end, 10);
      if (*end || runs < 1 || runs > 1000)
        refuse("--runs takes a number from 1 to 1000, not '" + text + "'");
      options.runs = static_cast<int>(runs);
    } else {
      refuse("no option '" + option + "'");
    }
  }
  return options;
}

Bandwidths measureBandwidths(bool quick)
{
  // Three arrays that no cache holds.
  const std::size_t count = std::size_t{quick ? 8u : 32u} << 20;
  Bandwidths bandwidths;
  for (const int threads : {1, 2}) {
    bandwidths[threads] = triadBandwidth(threads, count);
    std::printf("triad with %d thread%s: %.1f GB/s\n", threads, threads > 1 ? "s" : "",
                1e-9 * bandwidths[threads]);
  }
  return bandwidths;
}

int compareAll(const Options& options)
{
  std::vector<const Case*> chosen;
  for (const Case& contest : comparisonCases())
    if (std::strstr(contest.name, options.only.c_str())) chosen.push_back(&contest);
  if (chosen.empty()) refuse("no case contains '" + options.only + "'");

  std::printf("%s\nours against %s; %s sizes, medians of %d runs\n", machineDescription().c_str(),
              peerDescription().c_str(), options.quick ? "quick" : "full", options.runs);
  const Bandwidths bandwidths = measureBandwidths(options.quick);
  std::printf("\n");
  printTableHead();

  std::vector<ReportRow> rows;
  std::unique_ptr<CaseMesh> mesh;
  std::string meshName;
  for (const Case* contest : chosen) {
    if (meshName != contest->mesh) {
      mesh.reset(); // one mesh at a time: the full ones are large
      meshName = contest->mesh;
      mesh = std::make_unique<CaseMesh>(meshName,
                                        options.quick ? bench::kQuickSizes : bench::kFullSizes);
    }
    for (ReportRow& row : runCase(*contest, mesh->view(), options.runs, bandwidths))
      rows.push_back(std::move(row));
  }
  std::printf("\n");
  printThreadGains(rows);

  int faults = 0;
  for (const ReportRow& row : rows) {
    if (row.agree == false) ++faults;
    if (row.extractions != row.expectedExtractions) {
      std::fprintf(stderr, "%s, %d threads: %zu extractions where %zu were asked for\n",
                   row.caseName.c_str(), row.threads, row.extractions, row.expectedExtractions);
      ++faults;
    }
  }
  if (!writeJson(options.json, rows)) {
    std::fprintf(stderr, "velmo_compare: cannot write '%s'\n", options.json.c_str());
    ++faults;
  } else {
    std::printf("figures in %s\n", options.json.c_str());
  }
  return faults == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
  const Options options = parseOptions(argc, argv);
  MiVelmo::init();
  int status = 1;
  try {
    status = compareAll(options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "velmo_compare: %s\n", error.what());
  }
  MiVelmo::finish();
  return status;
}
