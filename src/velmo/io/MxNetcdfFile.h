#pragma once

#include <velmo/io/MxFileArray.h>
#include <velmo/io/MxFileBytes.h>

#include <initializer_list>
#include <mutex>
#include <string>
#include <vector>

/// The dimensions and variables of a netCDF file. Every function refuses what does not fit with an
/// MbMeshFileError.
///
/// The library has no thread safety: one file is open at a time, others wait.
class MxNetcdfFile
{
public:
  /// Stands for the file in place of a variable.
  static constexpr const char* kGlobal = "";

  explicit MxNetcdfFile(const MxFileBytes& file);
  ~MxNetcdfFile();
  MxNetcdfFile(const MxNetcdfFile&) = delete;
  MxNetcdfFile& operator=(const MxNetcdfFile&) = delete;

  [[noreturn]] void fail(const std::string& problem) const { m_file.fail("", problem); }

  const MxFileBytes& getBytes() const { return m_file; }
  const std::string& getPath() const { return m_file.getPath(); }

  /// 0 for a dimension that is not there.
  std::size_t dimension(const std::string& name) const;
  bool hasVariable(const std::string& name) const;
  /// An attribute; empty when it is not there or no text.
  std::string text(const std::string& variable, const char* attribute) const;
  /// A variable of `count` texts, without blanks at their end.
  std::vector<std::string> texts(const std::string& variable, std::size_t count) const;
  /// Float32 for a variable of floats, Float64 for others.
  MiScalarType realType(const std::string& variable) const;
  /// Part of a variable as Float32, Float64 or Int64.
  MxFileArray read(const std::string& variable, std::initializer_list<std::size_t> start,
                   std::initializer_list<std::size_t> count, MiScalarType type) const;
  /// Refuses a count that the file cannot hold.
  void checkFits(std::size_t count, std::size_t bytesEach, const std::string& what) const;
  /// Refuses a count of things that each have a name in the file.
  void checkNamed(std::size_t count, const std::string& what) const;

private:
  int variable(const std::string& name) const;
  void check(int status, const std::string& what) const;
  [[noreturn]] void refuse(std::size_t count, const std::string& what) const;

  const MxFileBytes& m_file;
  const std::unique_lock<std::mutex> m_lock;
  int m_id = -1;
  bool m_packed = false;
};
