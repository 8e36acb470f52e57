#include <velmo/base/MxFileWriter.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace fs = std::filesystem;

namespace {

/// As many symbolic links as the system follows.
constexpr int kMostLinks = 40;

/// What a path means behind symbolic links, which may lead to a file that does not exist yet; none
/// for a descriptor of a process, whatever that is open on: /dev/stdout is /proc/self/fd/1.
std::optional<std::string> resolved(const std::string& path)
{
  fs::path at = path;
  std::error_code error;
  for (int links = 0; links < kMostLinks; ++links) {
    const fs::path named = at.parent_path();
    const fs::path folder = fs::canonical(named.empty() ? "." : named, error);
    if (error) break; // opening it will tell why
    if (folder.string().starts_with("/proc/")) return {};
    at = folder / at.filename();
    if (!fs::is_symlink(at, error)) break;
    const fs::path next = fs::read_symlink(at, error);
    if (error) break;
    at = folder / next;
  }
  return at.string();
}

/// @return false, with the reason in errno, when not all could be written
bool writeAll(int file, std::size_t position, const char* from, std::size_t count, bool inPlace)
{
  while (count > 0) {
    const ssize_t written = inPlace ? ::pwrite(file, from, count, static_cast<off_t>(position))
                                    : ::write(file, from, count);
    if (written < 0 && errno == EINTR) continue;
    if (written == 0) errno = EIO;
    if (written <= 0) return false;
    from += written;
    position += static_cast<std::size_t>(written);
    count -= static_cast<std::size_t>(written);
  }
  return true;
}

} // namespace

MxFileWriter::MxFileWriter(const std::string& path) : m_path(path)
{
  const std::optional<std::string> target = resolved(path);
  struct stat facts = {};
  const bool exists = ::stat(path.c_str(), &facts) == 0;
  if (!exists && errno != ENOENT) fail();
  if (exists && S_ISDIR(facts.st_mode)) {
    errno = EISDIR;
    fail();
  }
  // Moving a file over another one asks for the folder's permission only.
  if (exists && ::access(path.c_str(), W_OK) != 0) fail();
  if (!target || (exists && !S_ISREG(facts.st_mode))) {
    if (!exists) fail();
    openSpool();
  } else {
    openTemporary(*target, exists ? facts.st_mode & 07777 : 0);
  }
}

MxFileWriter::~MxFileWriter()
{
  if (m_file >= 0) ::close(m_file);
  if (!m_temporary.empty()) ::unlink(m_temporary.c_str());
}

/// @param mode  of the file that is there; 0: there is none
void MxFileWriter::openTemporary(const std::string& target, unsigned mode)
{
  const fs::path place = target;
  // The end of a name has to fit behind it.
  const std::string name = place.filename().string().substr(0, 200);
  for (int number = 1; m_file < 0; ++number) {
    const fs::path beside = place.parent_path() / (name + "." + std::to_string(::getpid()) + "-" +
                                                   std::to_string(number) + ".part");
    m_file = ::open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (m_file < 0 && errno != EEXIST) fail();
    if (m_file >= 0) m_temporary = beside.string();
  }
  m_target = target;
  // Whoever could not read the old file shall not read the new one.
  if (mode) static_cast<void>(::fchmod(m_file, mode));
}

/// A file without a name: pipes cannot be written to in any order, and nothing is sent on before
/// everything is there.
void MxFileWriter::openSpool()
{
  std::error_code ignored;
  std::string name = (fs::temp_directory_path(ignored) / "velmo-XXXXXX").string();
  m_file = ::mkostemp(name.data(), O_CLOEXEC);
  if (m_file < 0) fail();
  ::unlink(name.c_str());
}

void MxFileWriter::fail() const
{
  throw MxWriteError(m_path, std::string("cannot be written (") + std::strerror(errno) + ")");
}

void MxFileWriter::write(const void* bytes, std::size_t count)
{
  writeAt(m_position, bytes, count);
  m_position += count;
}

void MxFileWriter::writeAt(std::size_t position, const void* bytes, std::size_t count)
{
  if (!writeAll(m_file, position, static_cast<const char*>(bytes), count, true)) fail();
}

void MxFileWriter::commit()
{
  if (m_target.empty()) return copySpool();
  closeFile();
  if (::rename(m_temporary.c_str(), m_target.c_str()) != 0) fail();
  m_temporary.clear();
}

void MxFileWriter::copySpool()
{
  const int spool = std::exchange(m_file, -1);
  struct Closer
  {
    int file;
    ~Closer() { ::close(file); }
  } const closer{spool};
  // Behind what a redirected output has already.
  m_file = ::open(m_path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC | O_NOCTTY);
  if (m_file < 0) fail();
  std::array<char, 1 << 16> buffer;
  for (std::size_t at = 0; at < m_position;) {
    const ssize_t count = ::pread(spool, buffer.data(), buffer.size(), static_cast<off_t>(at));
    if (count < 0 && errno == EINTR) continue;
    if (count == 0) errno = EIO;
    if (count <= 0) fail();
    const auto got = static_cast<std::size_t>(count);
    if (!writeAll(m_file, 0, buffer.data(), got, false)) fail();
    at += got;
  }
  closeFile();
}

void MxFileWriter::closeFile()
{
  // Some file systems tell only here that there is no space left.
  if (::close(std::exchange(m_file, -1)) != 0) fail();
}

void mxWriteFile(const std::string& path, const void* bytes, std::size_t count)
{
  MxFileWriter file(path);
  file.write(bytes, count);
  file.commit();
}
