#pragma once

#include <velmoview/Run.h>

#include <tests/support/RealFiles.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

/// One run of the program in this process.
struct Outcome
{
  int code = 0;
  std::string out, err;

  /// What stands on the standard output, as JSON.
  nlohmann::json report() const { return nlohmann::json::parse(out); }
};

inline Outcome runProgram(const std::vector<std::string>& arguments)
{
  std::ostringstream out, err;
  Outcome outcome;
  outcome.code = velmoview::run(arguments, out, err);
  outcome.out = out.str();
  outcome.err = err.str();
  return outcome;
}

/// The report of a run that must end well.
inline nlohmann::json reportOf(std::vector<std::string> arguments)
{
  arguments.insert(arguments.end(), {"--report", "-"});
  const Outcome outcome = runProgram(arguments);
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  return outcome.code == 0 ? outcome.report() : nlohmann::json();
}

/// A file in the folder of temporary files that is gone with the object; tests that run at the same
/// time have files of their own.
class TemporaryFile
{
public:
  explicit TemporaryFile(const std::string& name, const std::string& contents = {})
      : m_path(std::filesystem::path(testing::TempDir()) /
               ("velmoview_" + std::to_string(::getpid()) + "_" + name))
  {
    if (!contents.empty()) std::ofstream(m_path, std::ios::binary) << contents;
  }
  ~TemporaryFile()
  {
    std::error_code ignored;
    std::filesystem::remove(m_path, ignored);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  std::string path() const { return m_path.string(); }

private:
  std::filesystem::path m_path;
};

/// Two cubes side by side; the second one names a node that does not exist when `broken`.
inline std::string twoCubes(bool broken = false)
{
  std::string text = "# vtk DataFile Version 3.0\ntwo cubes\nASCII\nDATASET UNSTRUCTURED_GRID\n"
                     "POINTS 12 double\n";
  for (int k = 0; k < 2; ++k)
    for (int j = 0; j < 2; ++j)
      for (int i = 0; i < 3; ++i)
        text += std::to_string(i) + " " + std::to_string(j) + " " + std::to_string(k) + "\n";
  text += "CELLS 2 18\n8 0 1 4 3 6 7 10 9\n8 1 2 5 4 7 8 11 ";
  text += broken ? "99" : "10";
  text += "\nCELL_TYPES 2\n12 12\nCELL_DATA 2\nSCALARS id int 1\nLOOKUP_TABLE default\n3 7\n"
          "SCALARS all double 1\nLOOKUP_TABLE default\nnan 1\n"
          "POINT_DATA 12\nSCALARS x float 1\nLOOKUP_TABLE default\n0 1 2 0 1 2 0 1 2 0 1 2\n"
          "VECTORS v double\n";
  for (int n = 0; n < 12; ++n)
    text += "3 4 0\n";
  return text;
}

/// A file of the test data, or nothing when the data is not there.
inline std::string dataFile(const std::string& name)
{
  return dataFolder().empty() ? "" : (dataFolder() / name).string();
}
