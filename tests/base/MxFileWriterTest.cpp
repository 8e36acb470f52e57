#include <velmo/base/MxFileWriter.h>

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;
using testing::HasSubstr;

namespace {

class FileWriter : public testing::Test
{
protected:
  FileWriter() { fs::create_directories(m_folder); }
  ~FileWriter() override { fs::remove_all(m_folder); }

  std::string path(const std::string& name) const { return (m_folder / name).string(); }
  void put(const std::string& name, const std::string& text) const
  {
    std::ofstream(path(name), std::ios::binary) << text;
  }
  std::string get(const std::string& name) const
  {
    std::ifstream file(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::ptrdiff_t fileCount() const { return std::distance(fs::directory_iterator(m_folder), {}); }

  const fs::path m_folder =
      fs::path(testing::TempDir()) / ("velmo_writer_" + std::to_string(::getpid()));
};

/// Writes a text as meshes are written: its beginning is filled in at the end.
void writeNumbered(const std::string& path)
{
  MxFileWriter file(path);
  file.write("__-", 3);
  file.write("body", 4);
  file.writeAt(0, "42", 2);
  EXPECT_EQ(file.position(), 7u);
  file.commit();
}

std::string problemOf(const std::function<void()>& write)
{
  try {
    write();
  } catch (const MxWriteError& error) {
    return error.what();
  }
  return "";
}

std::string readAll(int file)
{
  std::string text;
  char buffer[64];
  for (ssize_t count = 0; (count = ::read(file, buffer, sizeof buffer)) > 0;)
    text.append(buffer, static_cast<std::size_t>(count));
  return text;
}

} // namespace

TEST_F(FileWriter, ReplacesAFileOnlyWhenItIsWhole)
{
  put("old", "old text");
  ::chmod(path("old").c_str(), 0640);
  {
    MxFileWriter file(path("old"));
    file.write("half", 4);
    EXPECT_EQ(get("old"), "old text");
    EXPECT_EQ(fileCount(), 2) << "beside it, so that moving it is no copying";
  }
  EXPECT_EQ(get("old"), "old text");
  EXPECT_EQ(fileCount(), 1);
  writeNumbered(path("old"));
  writeNumbered(path("new"));
  const std::string longest(255, 'n');
  writeNumbered(path(longest));
  for (const std::string& name : {std::string("old"), std::string("new"), longest})
    EXPECT_EQ(get(name), "42-body");
  EXPECT_EQ(fileCount(), 3);
  EXPECT_EQ(fs::status(path("old")).permissions(), static_cast<fs::perms>(0640));
}

TEST_F(FileWriter, FollowsSymbolicLinksAlsoToAFileThatIsNotThereYet)
{
  fs::create_directory(m_folder / "far");
  put("far/file", "old text");
  fs::create_symlink("far/file", path("link"));
  fs::create_symlink("link", path("again"));
  fs::create_symlink("far/none", path("dangling"));
  fs::create_symlink("circle", path("circle"));
  writeNumbered(path("again"));
  writeNumbered(path("dangling"));
  for (const char* link : {"link", "again", "dangling"})
    EXPECT_TRUE(fs::is_symlink(path(link))) << link;
  EXPECT_EQ(get("far/file"), "42-body");
  EXPECT_EQ(get("far/none"), "42-body");
  EXPECT_EQ(fileCount(), 5);
  EXPECT_NE(problemOf([&] { writeNumbered(path("circle")); }), "");
}

TEST_F(FileWriter, WritesToPipesAndDescriptorsAsTheyAre)
{
  ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
  std::string got;
  std::thread reader([&] {
    const int file = ::open(path("pipe").c_str(), O_RDONLY);
    got = readAll(file);
    ::close(file);
  });
  writeNumbered(path("pipe"));
  reader.join();
  EXPECT_EQ(got, "42-body");
  EXPECT_TRUE(fs::is_fifo(path("pipe")));

  // As /dev/stdout is when a shell sent it into a file.
  put("redirected", "before ");
  const int file = ::open(path("redirected").c_str(), O_WRONLY | O_APPEND);
  fs::create_symlink("/proc/self/fd/" + std::to_string(file), path("stdout"));
  writeNumbered(path("stdout"));
  EXPECT_EQ(::write(file, " after", 6), 6);
  ::close(file);
  EXPECT_EQ(get("redirected"), "before 42-body after");
  EXPECT_EQ(fileCount(), 3);
}

TEST_F(FileWriter, AFailureNamesThePathAndKeepsWhatWasThere)
{
  EXPECT_EQ(problemOf([&] { MxFileWriter file(path("no/such")); }),
            path("no/such") + ": cannot be written (No such file or directory)");
  EXPECT_THAT(problemOf([&] { MxFileWriter file(path("")); }), HasSubstr("Is a directory"));
  put("kept", "kept");
  rlimit before{};
  ::getrlimit(RLIMIT_FSIZE, &before);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit small{2000, before.rlim_max};
  ::setrlimit(RLIMIT_FSIZE, &small);
  const std::string large(3000, 'x');
  const std::string problem =
      problemOf([&] { mxWriteFile(path("kept"), large.data(), large.size()); });
  ::setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_THAT(problem, HasSubstr("kept: cannot be written (File too large)"));
  EXPECT_EQ(get("kept"), "kept");
  EXPECT_EQ(fileCount(), 1);
}

TEST_F(FileWriter, AFullDeviceIsToldAndStaysADevice)
{
  if (!fs::is_character_file("/dev/full")) GTEST_SKIP() << "there is no /dev/full";
  fs::create_symlink("/dev/full", path("full"));
  EXPECT_THAT(problemOf([&] { writeNumbered(path("full")); }), HasSubstr("No space left"));
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
  EXPECT_EQ(problemOf([] { writeNumbered("/dev/null"); }), "");
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
}
