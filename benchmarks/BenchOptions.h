#pragma once

#include "Meter.h"

#include <velmo/extraction/interfaces/MiExtractorCallback.h>

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

/// What the programs that time one algorithm on the standard meshes have in common.
namespace bench {

struct Options
{
  bool quick = false, phases = false, ids32 = false;
  int runs = 5;
  std::string only;
  std::vector<std::size_t> threads{1, 2};

  bool wants(const std::string& name) const { return name.find(only) != std::string::npos; }
};

/// Reads the command line; says how to call `program` where it does not understand.
/// @param takesIds32  whether the program knows --ids32
inline std::optional<Options> readOptions(int argc, char** argv, const char* program,
                                          bool takesIds32)
{
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const bool hasValue = i + 1 < argc;
    if (argument == "--quick")
      options.quick = true;
    else if (argument == "--phases")
      options.phases = true;
    else if (argument == "--ids32" && takesIds32)
      options.ids32 = true;
    else if (argument == "--only" && hasValue)
      options.only = argv[++i];
    else if (argument == "--runs" && hasValue)
      options.runs = std::max(1, std::atoi(argv[++i]));
    else if (argument == "--threads" && hasValue)
      options.threads = {static_cast<std::size_t>(std::max(1, std::atoi(argv[++i])))};
    else {
      std::fprintf(stderr,
                   "usage: %s [--quick] [--only SUBSTRING] [--runs N] [--threads N] [--phases]%s\n",
                   program, takesIds32 ? " [--ids32]" : "");
      return std::nullopt;
    }
  }
  return options;
}

/// Notes the processor time of each phase.
class PhaseTimes final : public MiExtractorCallback
{
public:
  void beginExtract(const std::string&, std::size_t) override { times.clear(); }
  void endExtract() override {}
  void beginPhase(const std::string& name, std::size_t) override
  {
    times.emplace_back(name, processorSeconds());
  }
  void endPhase() override { times.back().second = processorSeconds() - times.back().second; }
  bool endStep(std::size_t) override { return true; }

  std::vector<std::pair<std::string, double>> times;
};

} // namespace bench
