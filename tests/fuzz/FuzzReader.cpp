// One program per format, which differ in nothing but the files that they start from: libFuzzer
// changes those, and each change is read as velmoview would read it, and written as a .vtu.

#include <velmo/io/MbMeshFile.h>
#include <velmo/io/MbMeshSave.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <sys/mman.h>
#include <unistd.h>

namespace {

/// Grids of more nodes and cells than their file has bytes take too long to write.
constexpr std::size_t kMostSaved = 20000;

/// A name that ends as a file of meshes should, of a file that takes everything.
std::string makeSink()
{
  const std::string path = (std::filesystem::temp_directory_path() /
                            ("velmo_fuzz_" + std::to_string(::getpid()) + ".vtu"))
                               .string();
  std::filesystem::remove(path);
  std::filesystem::create_symlink("/dev/null", path);
  static std::string s_path;
  s_path = path;
  std::atexit([] { ::unlink(s_path.c_str()); });
  return path;
}

void save(const MbMeshFile& file)
{
  if (file.getNodeCount() > kMostSaved || file.getCellCount() > kMostSaved) return;
  static const std::string s_sink = makeSink();
  std::vector<MbNamedArray> arrays;
  for (const MbMeshFileArray& array : file.getArrays())
    arrays.push_back({array.name, array.binding, array.components, array.values, nullptr});
  mbSaveMesh(*file.getMesh(), arrays, s_sink, {.parallel = false, .time = file.getTime()});
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
  static const int s_file = memfd_create("mesh", 0);
  static const std::string s_path = "/proc/self/fd/" + std::to_string(s_file);
  if (ftruncate(s_file, 0) != 0 || pwrite(s_file, data, size, 0) != static_cast<ssize_t>(size))
    return 0;
  for (const bool second : {false, true}) {
    MbMeshFileOptions options;
    options.parallel = false;
    options.sharedNodes = second;
    if (second) options.time = 1.5;
    try {
      save(MbMeshFile::read(s_path, options));
    } catch (const MbMeshFileError&) {
    } catch (const std::bad_alloc&) {
      break;
    }
  }
  return 0;
}
