#include <velmo/io/MbMeshFile.h>
#include <velmo/io/MxFileWriter.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

MxFileWriter::MxFileWriter(const std::string& path) : m_path(path), m_target(path)
{
  struct stat facts = {};
  const bool exists = ::stat(path.c_str(), &facts) == 0;
  if (exists && !S_ISREG(facts.st_mode)) {
    m_file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (m_file < 0) fail();
    return;
  }
  if (exists) {
    // Moving a file over another one asks for the folder's permission only.
    if (::access(path.c_str(), W_OK) != 0) fail();
    std::error_code ignored;
    const std::filesystem::path target = std::filesystem::canonical(path, ignored);
    if (!target.empty()) m_target = target.string();
  }
  m_temporary = m_target + "." + std::to_string(::getpid()) + ".part";
  m_file = ::open(m_temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (m_file >= 0) return;
  m_temporary.clear();
  fail();
}

MxFileWriter::~MxFileWriter()
{
  if (m_file >= 0) ::close(m_file);
  if (!m_temporary.empty()) ::unlink(m_temporary.c_str());
}

void MxFileWriter::fail() const
{
  throw MbMeshFileError(m_path, "",
                        std::string("cannot be written (") + std::strerror(errno) + ")");
}

void MxFileWriter::write(const void* bytes, std::size_t count)
{
  writeAt(m_position, bytes, count);
  m_position += count;
}

void MxFileWriter::writeAt(std::size_t position, const void* bytes, std::size_t count)
{
  const auto* from = static_cast<const char*>(bytes);
  while (count > 0) {
    const ssize_t written = ::pwrite(m_file, from, count, static_cast<off_t>(position));
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail();
    from += written;
    position += static_cast<std::size_t>(written);
    count -= static_cast<std::size_t>(written);
  }
}

void MxFileWriter::commit()
{
  const int file = std::exchange(m_file, -1);
  if (::close(file) != 0) fail();
  if (m_temporary.empty()) return;
  if (::rename(m_temporary.c_str(), m_target.c_str()) != 0) fail();
  m_temporary.clear();
}
