// One program per format, which differ in nothing but the files that they start from: libFuzzer
// changes those, and each change is read as velmoview would read it.

#include <velmo/io/MbMeshFile.h>

#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
  static const int s_file = memfd_create("mesh", 0);
  static const std::string s_path = "/proc/self/fd/" + std::to_string(s_file);
  if (ftruncate(s_file, 0) != 0 || pwrite(s_file, data, size, 0) != static_cast<ssize_t>(size))
    return 0;
  for (const bool shared : {false, true}) {
    MbMeshFileOptions options;
    options.parallel = false;
    options.sharedNodes = shared;
    try {
      MbMeshFile::read(s_path, options);
    } catch (const MbMeshFileError&) {
      break;
    } catch (const std::bad_alloc&) {
      break;
    }
  }
  return 0;
}
