#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

/// A file's bytes, mapped for reading, and the place to complain about them.
///
/// *Threads*: the bytes may be read from several threads at once. The file must not be shortened
/// by someone else meanwhile.
class MxFileBytes : public std::enable_shared_from_this<MxFileBytes>
{
public:
  /// @throw MbMeshFileError when the path cannot be opened or is no ordinary file
  explicit MxFileBytes(const std::string& path);
  ~MxFileBytes();
  MxFileBytes(const MxFileBytes&) = delete;
  MxFileBytes& operator=(const MxFileBytes&) = delete;

  const std::string& getPath() const { return m_path; }
  const char* begin() const { return m_data; }
  const char* end() const { return m_data + m_size; }
  std::size_t size() const { return m_size; }
  std::string_view text() const { return {m_data, m_size}; }
  /// What tells the format.
  std::string_view head() const { return text().substr(0, 4096); }

  /// @throw MbMeshFileError always
  [[noreturn]] void fail(const std::string& place, const std::string& problem) const;
  /// Names the line of `where`.
  [[noreturn]] void failAtLine(const char* where, const std::string& problem) const;
  /// Names the offset of `where`.
  [[noreturn]] void failAtByte(const char* where, const std::string& problem) const;

private:
  std::string m_path;
  const char* m_data = "";
  std::size_t m_size = 0;
};
