#pragma once

#include <cstddef>
#include <string>

/// A file that appears whole or not at all: it is written beside its place and moved there by
/// `commit`; without that nothing is left of it and what was there stays. Something that is no
/// ordinary file, such as /dev/null, is written to as it is.
class MxFileWriter
{
public:
  /// @throw MbMeshFileError, as all functions, when the system refuses
  explicit MxFileWriter(const std::string& path);
  ~MxFileWriter();
  MxFileWriter(const MxFileWriter&) = delete;
  MxFileWriter& operator=(const MxFileWriter&) = delete;

  void write(const void* bytes, std::size_t count);
  /// Replaces bytes that were written before.
  void writeAt(std::size_t position, const void* bytes, std::size_t count);
  /// Bytes written so far.
  std::size_t position() const { return m_position; }
  void commit();

private:
  [[noreturn]] void fail() const;

  std::string m_path;
  std::string m_target;    ///< what the path means behind symbolic links
  std::string m_temporary; ///< empty for what is no ordinary file
  int m_file = -1;
  std::size_t m_position = 0;
};
