// Times the skin of the standard meshes with one thread and with two.
//
//   skin_bench [--quick] [--only SUBSTRING] [--runs N] [--threads N] [--ids32] [--phases]
//
// One line per mesh and thread count: median and best time of an extraction from a new mesh object,
// with the check of the mesh, and the check alone; the processor time of all threads together,
// which other programs disturb less; faces, nodes, area, enclosed volume (1 for all meshes); the
// growth of the resident set at its peak, output included. --phases adds the processor time of each
// phase.

#include "BenchOptions.h"
#include "SurfaceMeasures.h"
#include "Workloads.h"

#include <velmo/extraction/algorithms/check/MxMeshCheck.h>
#include <velmo/extraction/extractors/MiSkinExtract.h>
#include <velmo/mesh/MbMesh.h>

#include <tbb/global_control.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <malloc.h>
#include <string>

namespace {

using bench::measure;
using bench::Measures;
using bench::now;
using bench::Options;
using bench::PhaseTimes;
using bench::processorSeconds;
using bench::resetPeak;
using bench::statusMb;

struct Run
{
  double total = 0, check = 0, processor = 0;
  Measures measures;
};

/// One extraction from a new mesh object.
template <class Extractor, class MakeMesh>
Run runOnce(const MakeMesh& makeMesh, bool parallel, PhaseTimes* phases)
{
  const auto mesh = makeMesh();
  Run run;
  {
    MxExtractionMonitor monitor(nullptr, "", 0);
    const double begin = now();
    (void)checkMesh(*mesh, parallel, monitor);
    run.check = now() - begin;
  }
  const double begin = now(), processorBegin = processorSeconds();
  const auto extractor = Extractor::getNewInstance(*mesh, parallel);
  extractor->setCallback(phases);
  const MeXSurfaceMeshUnstructured& surface = extractor->extractSkin(nullptr);
  run.total = now() - begin;
  run.processor = processorSeconds() - processorBegin;
  run.measures = measure(surface);
  return run;
}

template <class Extractor, class MakeMesh>
void time(const char* name, std::size_t cellCount, const Options& options, const MakeMesh& makeMesh)
{
  for (const std::size_t threads : options.threads) {
    const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
    std::vector<double> totals, checks, processor;
    PhaseTimes phases;
    Measures measures;
    double growth = 0;
    for (int run = 0; run < options.runs; ++run) {
      ::malloc_trim(0);
      resetPeak();
      const double before = statusMb("VmRSS:");
      const Run one = runOnce<Extractor>(makeMesh, threads > 1, options.phases ? &phases : nullptr);
      growth = std::max(growth, statusMb("VmHWM:") - before);
      totals.push_back(one.total);
      checks.push_back(one.check);
      processor.push_back(one.processor);
      measures = one.measures;
    }
    std::sort(totals.begin(), totals.end());
    std::sort(checks.begin(), checks.end());
    std::sort(processor.begin(), processor.end());
    const std::size_t middle = totals.size() / 2;
    std::printf("%-8s %zu threads  %8.1f ms (best %7.1f)  processor %7.1f (best %7.1f)  check "
                "%6.1f ms  %7zu faces %7zu nodes  "
                "area %.9f  volume %.9f  +%.0f MB, %.0f B/cell\n",
                name, threads, totals[middle] * 1e3, totals[0] * 1e3, processor[middle] * 1e3,
                processor[0] * 1e3, checks[middle] * 1e3, measures.faces, measures.nodes,
                measures.area, measures.volume, growth,
                growth * 1048576 / static_cast<double>(cellCount));
    for (const auto& [phase, seconds] : phases.times)
      std::printf("    %-24s %8.1f ms\n", phase.c_str(), seconds * 1e3);
    std::fflush(stdout);
  }
}

void timeCells(const char* name, const Options& options,
               const std::function<bench::CellArrays()>& make)
{
  if (!options.wants(name)) return;
  const bench::CellArrays arrays = make();
  if (options.ids32) {
    const std::vector<std::int32_t> connectivity(arrays.connectivity.begin(),
                                                 arrays.connectivity.end());
    const std::vector<std::int32_t> offsets(arrays.offsets.begin(), arrays.offsets.end());
    time<MiSkinExtractUnstructured>(name, arrays.cellCount(), options, [&] {
      return std::make_unique<MbVolumeMeshUnstructured>(
          MbTopologyI(arrays.types, offsets, connectivity), arrays.points);
    });
    return;
  }
  time<MiSkinExtractUnstructured>(name, arrays.cellCount(), options, [&] {
    return std::make_unique<MbVolumeMeshUnstructured>(
        MbTopologyI(arrays.types, arrays.offsets, arrays.connectivity), arrays.points);
  });
}

void timeCurvilinear(const Options& options, std::size_t n)
{
  if (!options.wants("curv")) return;
  const std::vector<double> points = bench::latticePoints(n);
  time<MiSkinExtractIjk>("curv", n * n * n, options, [&] {
    return std::make_unique<MbVolumeMeshCurvilinear>(MbTopologyIjk({n, n, n}), points);
  });
}

} // namespace

int main(int argc, char** argv)
{
  const auto read = bench::readOptions(argc, argv, "skin_bench", true);
  if (!read) return 2;
  const Options& options = *read;
  const bench::Sizes sizes = options.quick ? bench::kQuickSizes : bench::kFullSizes;
  timeCells("hex", options, [&] { return bench::makeHex(sizes.hex); });
  timeCells("tet", options, [&] { return bench::makeTet(sizes.tet); });
  timeCells("tetshuf", options, [&] { return bench::makeShuffledTet(sizes.tetshuf); });
  timeCells("mixed", options, [&] { return bench::makeMixed(sizes.mixed); });
  timeCurvilinear(options, sizes.curv);
  return 0;
}
