// How long extractions go without asking their callback, and how long a cancel takes.
//
//     poll_bench [--edge CELLS] [--threads N,M] [--only TEXT] [--cancels N]
//
// For every extractor on a mesh of CELLS^3 cells (200): the seconds that it takes, how often it
// asks, the longest time between two questions, in which phase that was and how much of it the
// thread was at work (the rest is other programs' or the waiting for other threads), and the
// longest time from a cancel, asked for at N moments (4) spread over the extraction, to its
// exception.

#include <benchmarks/Meter.h>

#include <tests/support/ExtractorCases.h>

#include <tbb/global_control.h>

#include <algorithm>
#include <sstream>

namespace {

/// The processor time of the calling thread.
double threadSeconds()
{
  timespec time{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

class Gaps final : public MiExtractorCallback
{
public:
  void beginExtract(const std::string& name, std::size_t) override
  {
    m_last = bench::now();
    m_lastWork = threadSeconds();
    m_phase = name;
  }
  void endExtract() override { look("the end of " + m_phase); }
  void beginPhase(const std::string& name, std::size_t) override
  {
    look("before " + name);
    m_phase = name;
  }
  void endPhase() override { look(m_phase); }
  bool endStep(std::size_t) override
  {
    ++count;
    look(m_phase);
    return bench::now() < stopAt;
  }
  double getEndStepCallPeriod() const override { return 0; }

  double longest = 0, longestWork = 0, stopAt = 1e300;
  std::size_t count = 0;
  std::string where;

private:
  void look(const std::string& phase)
  {
    const double now = bench::now(), work = threadSeconds();
    longest = std::max(longest, now - m_last);
    if (work - m_lastWork > longestWork) {
      longestWork = work - m_lastWork;
      where = phase;
    }
    m_last = now;
    m_lastWork = work;
  }

  double m_last = 0, m_lastWork = 0;
  std::string m_phase;
};

void measure(const cases::Case& row, const MiMesh& mesh, std::size_t threads, int cancels)
{
  const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
  for (int variant = 0; variant < (row.hasVariants ? 3 : 1); ++variant) {
    // Variants follow each other in one extractor: the later ones know more.
    const auto prepare = [&] {
      cases::Job job = row.make(mesh, threads > 1);
      for (int v = 0; v < variant; ++v)
        job.extract(v, nullptr);
      return job;
    };
    Gaps gaps;
    const cases::Job job = prepare();
    job.extractor->setCallback(&gaps);
    const double begin = bench::now();
    job.extract(variant, nullptr);
    const double all = bench::now() - begin;

    double latency = 0;
    int caught = 0;
    for (int n = 0; n < cancels; ++n) {
      const cases::Job other = prepare();
      Gaps stop;
      other.extractor->setCallback(&stop);
      stop.stopAt = bench::now() + all * (n + 0.5) / cancels;
      try {
        other.extract(variant, nullptr);
      } catch (const MiCancellationException&) {
        ++caught;
        latency = std::max(latency, bench::now() - stop.stopAt);
      }
    }
    std::printf("%-48s %zu thread%s, call %d: %7.1f ms, %6zu questions, longest gap %6.1f ms, at "
                "work %6.1f ms (%s), "
                "%d of %d cancels within %6.1f ms\n",
                row.name.c_str(), threads, threads > 1 ? "s" : "", variant + 1, 1e3 * all,
                gaps.count, 1e3 * gaps.longest, 1e3 * gaps.longestWork, gaps.where.c_str(), caught,
                cancels, 1e3 * latency);
    std::fflush(stdout);
  }
}

} // namespace

int main(int argc, char** argv)
{
  std::size_t edge = 200;
  std::vector<std::size_t> threads{1, 2};
  std::string only;
  int cancels = 4;
  for (int n = 1; n + 1 < argc; n += 2) {
    const std::string name = argv[n], value = argv[n + 1];
    if (name == "--edge") edge = std::stoul(value);
    if (name == "--only") only = value;
    if (name == "--cancels") cancels = std::stoi(value);
    if (name != "--threads") continue;
    threads.clear();
    std::istringstream list(value);
    for (std::string one; std::getline(list, one, ',');)
      threads.push_back(std::stoul(one));
  }
  const cases::Table table(edge);
  std::shared_ptr<const MiMesh> mesh;
  for (const cases::Case& row : table.all()) {
    if (row.name.find(only) == std::string::npos) continue;
    mesh = nullptr;
    mesh = row.makeMesh();
    for (const std::size_t count : threads)
      measure(row, *mesh, count, cancels);
  }
}
