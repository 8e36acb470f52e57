#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

/// A file that could not be written. The text is "PATH: cannot be written (REASON)".
class MxWriteError : public std::runtime_error
{
public:
  MxWriteError(const std::string& path, const std::string& problem)
      : std::runtime_error(path + ": " + problem), m_problem(problem)
  {}
  /// The text without the path.
  const std::string& getProblem() const { return m_problem; }

private:
  std::string m_problem;
};

/// A file that appears whole or not at all. It is written beside its place and moved there by
/// `commit`; without that nothing is left of it and what was there stays. A symbolic link stays,
/// and what it leads to is replaced. What is no ordinary file (a device, a pipe, a descriptor such
/// as /dev/stdout) stays too: it is opened by `commit` and gets all bytes one after the other.
///
/// Used by one thread at a time. All functions but the destructor throw MxWriteError when the
/// system refuses.
class MxFileWriter
{
public:
  /// Finds out whether the file can be written: an object that is let go without `commit` changes
  /// nothing.
  explicit MxFileWriter(const std::string& path);
  ~MxFileWriter();
  MxFileWriter(const MxFileWriter&) = delete;
  MxFileWriter& operator=(const MxFileWriter&) = delete;

  void write(const void* bytes, std::size_t count);
  /// Replaces bytes that were written before.
  void writeAt(std::size_t position, const void* bytes, std::size_t count);
  /// Bytes written so far.
  std::size_t position() const { return m_position; }
  /// Nothing else may be called behind it.
  void commit();

private:
  [[noreturn]] void fail() const;
  void openTemporary(const std::string& target, unsigned mode);
  void openSpool();
  void copySpool();
  void closeFile();

  std::string m_path;
  std::string m_target;    ///< what the path means behind symbolic links; empty: no ordinary file
  std::string m_temporary; ///< beside it; empty once it is moved
  int m_file = -1;
  std::size_t m_position = 0;
};

/// Writes a whole file in this way.
/// @throw MxWriteError
void mxWriteFile(const std::string& path, const void* bytes, std::size_t count);
