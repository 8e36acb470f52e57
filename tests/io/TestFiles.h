#pragma once

#include <tests/support/RealFiles.h>

#include <velmo/io/MbMeshFile.h>
#include <velmo/mesh/MbArray.h>
#include <velmo/mesh/MbMeshDump.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

/// A file that goes away with the object.
class TemporaryFile
{
public:
  explicit TemporaryFile(const std::string& contents)
  {
    static int s_number = 0;
    m_path = (std::filesystem::temp_directory_path() /
              ("velmo_io_" + std::to_string(::getpid()) + "_" + std::to_string(s_number++)))
                 .string();
    write(contents);
  }
  ~TemporaryFile() { std::remove(m_path.c_str()); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  void write(const std::string& contents) const
  {
    // Some file systems wait for the disk when a file is emptied and written again.
    std::remove(m_path.c_str());
    std::ofstream(m_path, std::ios::binary | std::ios::trunc) << contents;
    // Files that fuzzing may start from.
    if (const char* folder = std::getenv("VELMO_KEEP_TEST_FILES"))
      std::ofstream(folder / std::filesystem::path(m_path).filename(), std::ios::binary)
          << contents;
  }
  const std::string& path() const { return m_path; }

private:
  std::string m_path;
};

/// Calls body(file) for every file below a folder that can be read; with and without shared nodes,
/// which matter to corner-point grids.
/// @return how often
template <class Body>
std::size_t forEachReadable(const std::filesystem::path& folder, const Body& body)
{
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    for (const bool sharedNodes : {false, true}) {
      if (!entry.is_regular_file() || (sharedNodes && entry.path().extension() != ".grdecl"))
        continue;
      SCOPED_TRACE(entry.path().string() + (sharedNodes ? ", shared nodes" : ""));
      MbMeshFileOptions options;
      options.sharedNodes = sharedNodes;
      std::optional<MbMeshFile> file;
      try {
        file = MbMeshFile::read(entry.path().string(), options);
      } catch (const MbMeshFileError&) {
        continue; // which files are refused is tested elsewhere
      }
      ++count;
      body(*file);
    }
  }
  return count;
}

inline MbMeshFile readText(const std::string& contents, const MbMeshFileOptions& options = {})
{
  const TemporaryFile file(contents);
  return MbMeshFile::read(file.path(), options);
}

/// The message without the path; empty when the file can be read.
inline std::string errorOf(const std::string& contents, const MbMeshFileOptions& options = {})
{
  try {
    readText(contents, options);
  } catch (const MbMeshFileError& error) {
    return error.getPlace() + ": " + error.getProblem();
  }
  return "";
}

/// The numbers in the file's byte order.
template <class T>
std::string packed(const std::vector<T>& numbers, bool bigEndian)
{
  std::string bytes;
  for (const T& number : numbers) {
    const char* from = reinterpret_cast<const char*>(&number);
    for (std::size_t i = 0; i < sizeof(T); ++i)
      bytes += from[bigEndian ? sizeof(T) - 1 - i : i];
  }
  return bytes;
}

template <class T>
std::string spelled(const std::vector<T>& numbers)
{
  std::string text;
  for (const T& number : numbers) {
    char word[32];
    if constexpr (std::is_floating_point_v<T>)
      std::snprintf(word, sizeof word, "%.17g ", static_cast<double>(number));
    else
      std::snprintf(word, sizeof word, "%lld ", static_cast<long long>(number));
    text += word;
  }
  return text;
}

/// All that a file holds as text, for comparing two readings.
inline std::string describe(const MbMeshFile& file)
{
  std::vector<const MiDataSet*> sets;
  for (const MbMeshFileArray& array : file.getArrays())
    sets.push_back(array.set.get());
  std::ostringstream text;
  mbDump(text, *file.getMesh(), sets);
  return text.str();
}

/// The values of an array of one component; empty when there is none of that name.
inline std::vector<double> valuesOf(const MbMeshFile& file, const std::string& name)
{
  const MbMeshFileArray* array = file.findArray(name);
  std::vector<double> values;
  for (std::size_t i = 0; array && i < array->values.count; ++i)
    values.push_back(mbNumber(array->values, i));
  return values;
}

/// A text, and part of the message with which it is refused; none where it can be read.
struct ErrorCase
{
  std::string text, error;
};

inline void expectErrors(const std::vector<ErrorCase>& cases)
{
  for (const auto& [text, error] : cases) {
    SCOPED_TRACE(text.substr(text.size() > 80 ? text.size() - 80 : 0));
    const std::string found = errorOf(text);
    EXPECT_EQ(found.empty(), error.empty()) << found;
    EXPECT_NE(found.find(error), std::string::npos) << found << " instead of " << error;
  }
}
