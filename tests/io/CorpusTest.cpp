#include <tests/io/TestFiles.h>

#include <gmock/gmock.h>

#include <map>

/// What fuzzing has found worth keeping: each file is read, or refused with a message.
TEST(Corpus, EveryFileIsReadOrRefused)
{
  const std::filesystem::path corpus = VELMO_SOURCE_DIR "/tests/fuzz/corpus";
  std::map<std::string, std::size_t> read, refused;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(corpus)) {
    if (!entry.is_regular_file()) continue;
    SCOPED_TRACE(entry.path());
    const std::string format = entry.path().parent_path().filename().string();
    for (const bool shared : {false, true}) {
      MbMeshFileOptions options;
      options.sharedNodes = shared;
      try {
        describe(MbMeshFile::read(entry.path().string(), options));
        ++read[format];
      } catch (const MbMeshFileError& error) {
        EXPECT_NE(error.getProblem(), "");
        ++refused[format];
      }
    }
  }
  for (const char* format : {"xml", "legacy", "grdecl", "msh", "inp", "exodus"}) {
    SCOPED_TRACE(format);
    EXPECT_GT(read[format] + refused[format], 0u);
  }
  for (const char* format : {"xml", "legacy", "grdecl", "msh", "inp"})
    EXPECT_GT(read[format], 0u) << format;
}
