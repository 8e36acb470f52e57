#pragma once

#include <velmoview/Run.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
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

/// A file in the folder of temporary files that is gone with the object.
class TemporaryFile
{
public:
  explicit TemporaryFile(const std::string& name, const std::string& contents = {})
      : m_path(std::filesystem::path(testing::TempDir()) / ("velmoview_" + name))
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

/// A file of the test data, or nothing when the data is not there.
inline std::string dataFile(const std::string& name)
{
  const std::string folder = VELMO_TEST_DATA;
  return folder.empty() || !std::filesystem::exists(folder) ? "" : folder + "/" + name;
}
