#include <tests/representations/SkinScene.h>
#include <tests/support/Background.h>
#include <tests/support/MeshZoo.h>

#include <gmock/gmock.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <unistd.h>

using testing::SizeIs;

namespace {

using Line = std::map<std::string, std::string>;

/// The lines of the log that a run writes, by their keys.
class Log
{
public:
  Log() { std::remove(m_path.c_str()); }
  ~Log() { std::remove(m_path.c_str()); }
  const char* path() const { return m_path.c_str(); }
  std::vector<Line> lines() const
  {
    std::ifstream in(m_path);
    std::vector<Line> lines;
    for (std::string text; std::getline(in, text);) {
      std::istringstream words(text);
      std::string word;
      words >> word;
      EXPECT_EQ(word, "velmo-profile");
      Line line;
      while (words >> word)
        line[word.substr(0, word.find('='))] = word.substr(word.find('=') + 1);
      lines.push_back(line);
    }
    return lines;
  }

private:
  std::string m_path = testing::TempDir() + "velmo_profile_" + std::to_string(::getpid()) + ".log";
};

} // namespace

TEST(MdProfilingTool, WritesALineForEachExtractionAndForNothingElse)
{
  const Log log;
  for (const bool background : {false, true}) {
    SCOPED_TRACE(background ? "in the background" : "at once");
    std::remove(log.path());
    const ScopedVariable profile("VELMORA_PROFILE", log.path());
    const ScopedVariable asynchronous("VELMO_ASYNC_PROCESSING", background ? "1" : "0");
    const Row row;
    SkinScene scene;
    scene.skin->setName("hull");
    scene.mesh->setMesh(row.mesh.get());
    scene.set->setScalarSet(&row.perNode);
    const auto settle = [&] { ::settle(*scene.node, [&] { scene.traverse(3); }); };
    settle();
    EXPECT_EQ(scene.counter.count, 1) << "the user's callback is called in turn";
    ASSERT_THAT(log.lines(), SizeIs(1));
    const Line line = log.lines()[0];
    const auto expect = [&](const char* key, const std::string& value) {
      EXPECT_EQ(line.count(key) ? line.at(key) : "missing", value) << key;
    };
    expect("node", "hull");
    expect("type", "MoMeshSkin");
    expect("extractor", "MiSkinExtractUnstructured");
    expect("mesh", "VOLUME_MESH_UNSTRUCTURED");
    expect("in_nodes", "20");
    expect("in_cells", "4");
    expect("out", "SURFACE_MESH_UNSTRUCTURED");
    expect("out_nodes", "20");
    expect("out_cells", "18");
    expect("thread", background ? "background" : "traversal");
    expect("result", "done");
    expect("action", "SoCallbackAction");
    for (const char* key : {"extract_ms", "build_ms", "traverse_ms"}) {
      ASSERT_TRUE(line.count(key)) << key;
      EXPECT_GE(std::stod(line.at(key)), 0) << key;
    }

    scene.counter.stop = true;
    scene.skin->maxCellRanges = 1;
    scene.traverse();
    scene.node->waitForExtraction();
    scene.counter.stop = false;
    settle();
    const auto lines = log.lines();
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_EQ(lines[1].at("result"), "stopped");
    EXPECT_EQ(lines[1].at("out"), "UNDEFINED_MESH");
    EXPECT_EQ(lines[1].at("out_cells"), "0");
    EXPECT_EQ(lines[1].at("out_nodes"), "0");
    EXPECT_EQ(lines[2].at("out_cells"), "10");
  }
}

TEST(MdProfilingTool, IsOffUnlessThePreferenceAsks)
{
  const Log log;
  const Row row;
  for (const char* off : {"0", "false", ""}) {
    const ScopedVariable profile("VELMORA_PROFILE", off);
    SkinScene scene;
    scene.mesh->setMesh(row.mesh.get());
    testing::internal::CaptureStderr();
    scene.traverse();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << off;
  }
  const ScopedVariable profile("VELMORA_PROFILE", "true");
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  testing::internal::CaptureStderr();
  scene.traverse();
  EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::StartsWith("velmo-profile node=- "));
}
