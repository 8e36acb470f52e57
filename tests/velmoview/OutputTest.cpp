#include "RunProgram.h"

#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <map>
#include <sys/resource.h>
#include <velmo/picture/MbPng.h>

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;

namespace {

/// A folder that is gone with the object, with all that was written there.
class Outputs : public testing::Test
{
protected:
  Outputs() { fs::create_directories(m_folder); }
  ~Outputs() override { fs::remove_all(m_folder); }

  std::string path(const std::string& name) const { return (m_folder / name).string(); }
  std::string put(const std::string& name, const std::string& text) const
  {
    std::ofstream(path(name), std::ios::binary) << text;
    return path(name);
  }
  /// Every file's bytes by its name.
  std::map<std::string, std::string> contents() const
  {
    std::map<std::string, std::string> all;
    for (const auto& entry : fs::recursive_directory_iterator(m_folder)) {
      if (!entry.is_regular_file()) continue;
      std::ifstream file(entry.path(), std::ios::binary);
      all[entry.path().string()] = {std::istreambuf_iterator<char>(file), {}};
    }
    return all;
  }

  const fs::path m_folder =
      fs::path(testing::TempDir()) / ("velmoview_outputs_" + std::to_string(::getpid()));
};

const std::string kPngHead = "\x89PNG\r\n\x1a\n";

} // namespace

TEST_F(Outputs, AFileThatIsReadIsNeverWritten)
{
  const std::string cubes = put("cubes.vtk", twoCubes());
  // A series of two steps, the second in two pieces.
  ASSERT_EQ(runProgram({cubes, "--save-mesh", path("first.vtu")}).code, 0);
  fs::copy_file(path("first.vtu"), path("a.vtu"));
  fs::copy_file(path("first.vtu"), path("b.vtu"));
  put("second.pvtu", "<VTKFile type=\"PUnstructuredGrid\"><PUnstructuredGrid>"
                     "<Piece Source=\"a.vtu\"/><Piece Source=\"b.vtu\"/>"
                     "</PUnstructuredGrid></VTKFile>");
  const std::string series =
      put("run.pvd", "<VTKFile type=\"Collection\"><Collection>"
                     "<DataSet timestep=\"0\" file=\"first.vtu\"/>"
                     "<DataSet timestep=\"1\" file=\"second.pvtu\"/></Collection></VTKFile>");
  const std::string deck = put("deck.inp", "*INCLUDE, INPUT=nodes.txt\n*ELEMENT, TYPE=C3D4\n"
                                           "1, 1, 2, 3, 4\n");
  put("nodes.txt", "*NODE\n1, 0, 0, 0\n2, 1, 0, 0\n3, 0, 1, 0\n4, 0, 0, 1\n");
  fs::create_symlink("cubes.vtk", path("link.png"));
  fs::create_hard_link(cubes, path("hard.png"));
  fs::copy_file(cubes, path("mesh.png"));
  fs::copy_file(cubes, path("out-1-skin.vtp"));
  fs::create_directory(path("inner"));
  const std::string there = path("inner/../");

  const std::vector<std::string> cases[] = {
      {cubes, "--report", cubes},
      {cubes, "--output", path("link.png")},
      {cubes, "--output", path("hard.png")},
      {path("link.png"), "--report", path("hard.png")},
      {path("mesh.png"), "--output", there + "mesh.png"},
      {path("out-1-skin.vtp"), "--save", path("out")},
      {path("out-1-skin.vtp"), "--save", there + "out"},
      {series, "--report", series},
      {series, "--time", "1", "--save-mesh", path("b.vtu")},
      {series, "--time", "1", "--report", path("second.pvtu")},
      {series, "--time", "1", "--save-mesh", path("first.vtu")}, // of a step that is not read
      {series, "--time", "0", "--report", path("second.pvtu")},
      {path("second.pvtu"), "--save-mesh", there + "a.vtu"},
      {deck, "--report", path("nodes.txt")},
  };
  const auto before = contents();
  for (const auto& arguments : cases) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const Outcome outcome = runProgram(arguments);
    EXPECT_EQ(outcome.code, 2);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr(arguments[arguments.size() - 2]),
                                   HasSubstr("would overwrite"), HasSubstr("is read")));
    EXPECT_TRUE(contents() == before) << contents().size() << " files";
  }
  // Other files of these folders may be written.
  EXPECT_EQ(runProgram({series, "--time", "0", "--save-mesh", path("b.vtu")}).code, 0);
}

TEST_F(Outputs, NoFileIsWrittenTwice)
{
  const std::string cubes = put("cubes.vtk", twoCubes());
  fs::create_directory(path("inner"));
  for (const auto& [one, other] :
       {std::pair<std::vector<std::string>, std::vector<std::string>>{
            {"--output", path("same.png")}, {"--report", path("inner/../same.png")}},
        {{"--save", path("s")}, {"--save-mesh", path("s-1-skin.vtp")}}})
  {
    std::vector<std::string> arguments{cubes};
    arguments.insert(arguments.end(), one.begin(), one.end());
    arguments.insert(arguments.end(), other.begin(), other.end());
    const Outcome outcome = runProgram(arguments);
    EXPECT_EQ(outcome.code, 2);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr(one[0]), HasSubstr(other[0]), HasSubstr("both")));
  }
  EXPECT_EQ(contents().size(), 1u) << "the mesh";
  EXPECT_EQ(
      runProgram({cubes, "--size", "40x30", "--output", "/dev/null", "--report", "/dev/null"}).code,
      0);
}

TEST_F(Outputs, APictureGoesToTheStandardOutputAlone)
{
  const std::string cubes = put("cubes.vtk", twoCubes(true)); // which warns
  const std::vector<std::string> how{cubes, "--size", "60x40", "--report", path("r.json")};
  std::vector<std::string> toFile = how, toOut = how;
  toFile.insert(toFile.end(), {"--output", path("p.png")});
  toOut.insert(toOut.end(), {"--output", "-"});
  const Outcome file = runProgram(toFile), out = runProgram(toOut);
  EXPECT_EQ(file.code, 0);
  EXPECT_EQ(file.out, "");
  EXPECT_EQ(out.code, 0);
  EXPECT_TRUE(out.out.starts_with(kPngHead));
  EXPECT_TRUE(out.out == contents()[path("p.png")]);
  EXPECT_THAT(out.err, HasSubstr("warning"));

  std::ostringstream full, err;
  full.setstate(std::ios::failbit);
  EXPECT_EQ(velmoview::run(toOut, full, err), 1);
  EXPECT_THAT(err.str(), HasSubstr("the standard output cannot be written"));
}

TEST_F(Outputs, APictureThatCannotBeWrittenKeepsTheOldOne)
{
  const MbImage image{64, 64, std::vector<std::uint8_t>(64 * 64 * 4, 7)};
  put("old.png", "old picture");
  rlimit before{};
  ::getrlimit(RLIMIT_FSIZE, &before);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit small{50, before.rlim_max};
  ::setrlimit(RLIMIT_FSIZE, &small);
  std::string error;
  const bool written = mbWritePng(path("old.png"), image, error);
  ::setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_FALSE(written);
  EXPECT_EQ(error, path("old.png") + ": cannot be written (File too large)");
  EXPECT_EQ(contents().size(), 1u);
  EXPECT_EQ(contents()[path("old.png")], "old picture");

  if (!fs::is_character_file("/dev/full")) GTEST_SKIP() << "there is no /dev/full";
  const std::string cubes = put("cubes.vtk", twoCubes());
  for (const char* option : {"--output", "--report"}) {
    const Outcome outcome = runProgram({cubes, "--size", "60x40", option, "/dev/full"});
    EXPECT_EQ(outcome.code, 1) << option;
    EXPECT_EQ(outcome.err, "velmoview: /dev/full: cannot be written (No space left on device)\n");
  }
}
