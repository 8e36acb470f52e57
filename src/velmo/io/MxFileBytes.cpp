#include <velmo/io/MbMeshFile.h>
#include <velmo/io/MxFileBytes.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct Descriptor
{
  explicit Descriptor(const std::string& path) : id(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
  ~Descriptor()
  {
    if (id >= 0) ::close(id);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  const int id;
};

} // namespace

MxFileBytes::MxFileBytes(const std::string& path)
    : m_path(path), m_family(std::make_shared<std::vector<std::string>>(1, path))
{
  open();
}

MxFileBytes::MxFileBytes(const std::string& path, const MxFileBytes& namedBy)
    : m_path(path), m_family(namedBy.m_family)
{
  open();
  m_family->push_back(path);
}

void MxFileBytes::open()
{
  // Asked before opening: opening a pipe would wait for its writer.
  struct stat facts = {};
  if (::stat(m_path.c_str(), &facts) != 0)
    fail("", std::string("cannot be opened (") + std::strerror(errno) + ")");
  if (!S_ISREG(facts.st_mode)) fail("", "is not an ordinary file");
  const Descriptor file(m_path);
  if (file.id < 0 || ::fstat(file.id, &facts) != 0)
    fail("", std::string("cannot be opened (") + std::strerror(errno) + ")");
  if (facts.st_size == 0) return;

  const auto size = static_cast<std::size_t>(facts.st_size);
  void* data = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file.id, 0);
  if (data == MAP_FAILED)
    fail("", std::string("cannot be mapped into memory (") + std::strerror(errno) + ")");
  ::madvise(data, size, MADV_WILLNEED);
  m_data = static_cast<const char*>(data);
  m_size = size;
}

MxFileBytes::~MxFileBytes()
{
  if (m_size > 0) ::munmap(const_cast<char*>(m_data), m_size);
}

void MxFileBytes::fail(const std::string& place, const std::string& problem) const
{
  throw MbMeshFileError(m_path, place, problem);
}

void MxFileBytes::failAtLine(const char* where, const std::string& problem) const
{
  const auto line = 1 + std::count(begin(), std::clamp(where, begin(), end()), '\n');
  fail("line " + std::to_string(line), problem);
}

void MxFileBytes::failAtByte(const char* where, const std::string& problem) const
{
  fail("byte " + std::to_string(where - begin()), problem);
}
