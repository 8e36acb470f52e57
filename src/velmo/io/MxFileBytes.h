#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// A file's bytes, mapped for reading, and the place to complain about them.
///
/// *Threads*: the bytes may be read from several threads at once. The file must not be shortened
/// by someone else meanwhile.
class MxFileBytes : public std::enable_shared_from_this<MxFileBytes>
{
public:
  /// @throw MbMeshFileError when the path cannot be opened or is no ordinary file
  explicit MxFileBytes(const std::string& path);
  /// A file that another one names.
  MxFileBytes(const std::string& path, const MxFileBytes& namedBy);
  ~MxFileBytes();
  MxFileBytes(const MxFileBytes&) = delete;
  MxFileBytes& operator=(const MxFileBytes&) = delete;

  const std::string& getPath() const { return m_path; }
  /// The paths of this file and of all that belong to it: opened because it, or one of them, names
  /// them, or added. For the thread that reads.
  const std::vector<std::string>& getFamily() const { return *m_family; }
  /// Adds a file that is named but not opened.
  void addToFamily(const std::string& path) const { m_family->push_back(path); }
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
  void open();

  std::string m_path;
  std::shared_ptr<std::vector<std::string>> m_family;
  const char* m_data = "";
  std::size_t m_size = 0;
};
