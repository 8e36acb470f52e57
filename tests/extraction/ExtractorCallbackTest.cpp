#include <tests/support/ExtractorCases.h>
#include <tests/support/SlowSet.h>
#include <velmo/extraction/algorithms/map/MxNodeNormals.h>
#include <velmo/extraction/extractors/MiPointProbe.h>
#include <velmo/extraction/interfaces/MxAbortableCallback.h>
#include <velmo/extraction/interfaces/MxExtractionMonitor.h>

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

namespace {

constexpr std::size_t kNever = static_cast<std::size_t>(-1);

/// Checks that calls come in their order, and stops at a poll.
class Watcher : public MiExtractorCallback
{
public:
  explicit Watcher(std::size_t stop = kNever) : stopAt(stop) {}

  void beginExtract(const std::string& name, std::size_t count) override
  {
    expectThread();
    EXPECT_FALSE(m_inExtract);
    EXPECT_NE(name, "");
    m_inExtract = true;
    m_promised = count;
    m_phases = 0;
    ++extractCount;
  }
  void endExtract() override
  {
    expectThread();
    EXPECT_TRUE(m_inExtract && !m_inPhase);
    EXPECT_LE(m_phases, m_promised);
    m_inExtract = false;
  }
  void beginPhase(const std::string& name, std::size_t count) override
  {
    expectThread();
    EXPECT_TRUE(m_inExtract && !m_inPhase);
    EXPECT_NE(name, "");
    m_inPhase = true;
    m_count = count;
    m_done = 0;
    ++m_phases;
  }
  void endPhase() override
  {
    expectThread();
    EXPECT_TRUE(m_inPhase);
    m_inPhase = false;
  }
  bool endStep(std::size_t done) override
  {
    expectThread();
    EXPECT_TRUE(m_inExtract);
    EXPECT_LT(pollCount, stopAt) << "asked again after it said stop";
    EXPECT_GE(done, m_done);
    EXPECT_LE(done, m_count);
    m_done = done;
    return ++pollCount < stopAt;
  }
  double getEndStepCallPeriod() const override { return 0; }

  void expectOver() const { EXPECT_FALSE(m_inExtract || m_inPhase); }

  const std::size_t stopAt;
  std::size_t pollCount = 0, extractCount = 0;

private:
  void expectThread() const { EXPECT_EQ(std::this_thread::get_id(), m_thread); }

  const std::thread::id m_thread = std::this_thread::get_id();
  bool m_inExtract = false, m_inPhase = false;
  std::size_t m_promised = 0, m_phases = 0, m_count = 0, m_done = 0;
};

const cases::Table& table()
{
  static const cases::Table made(22, true);
  return made;
}

class EveryExtractor : public testing::TestWithParam<std::size_t>
{
protected:
  const cases::Case& row = table().all()[GetParam()];
  std::unique_ptr<MiMesh> mesh = row.makeMesh();
};

std::string bytesOf(const cases::Job& job, int variant)
{
  std::string bytes;
  job.extract(variant, &bytes);
  return bytes;
}

} // namespace

TEST_P(EveryExtractor, TellsInOrderAndGivesTheSameBytesAfterACancelAnywhere)
{
  for (const bool parallel : {false, true}) {
    const cases::Job job = row.make(*mesh, parallel);
    // The third time that a cut is dragged it has made its structures for it.
    for (int variant = 0; variant < (row.hasVariants ? 3 : 1); ++variant) {
      const std::string expected = bytesOf(row.make(*mesh, false), variant);
      EXPECT_GT(expected.size(), 1000u);
      Watcher all;
      const cases::Job quiet = row.make(*mesh, parallel);
      quiet.extractor->setCallback(&all);
      quiet.extract(variant, nullptr);
      all.expectOver();
      const std::size_t count = all.extractCount;
      EXPECT_GE(count, 1u);
      quiet.extract(variant, nullptr);
      EXPECT_EQ(all.extractCount, count) << "nothing is extracted twice";

      bool first = true;
      for (const std::size_t stop : {std::size_t{1}, std::size_t{2}, all.pollCount / 3,
                                     all.pollCount * 2 / 3, all.pollCount - 1})
      {
        Watcher watcher(std::max<std::size_t>(stop, 1));
        job.extractor->setCallback(&watcher);
        try {
          job.extract(variant, nullptr);
          EXPECT_FALSE(first) << "not cancelled at its first question";
        } catch (const MiCancellationException&) {
          const auto* surfaces = dynamic_cast<MiSurfaceExtractor*>(job.extractor.get());
          if (surfaces && surfaces->getSurface() && watcher.extractCount == 1) {
            EXPECT_EQ(surfaces->getSurface()->topology.getCellCount(), 0u);
          }
          if (const auto* lines = dynamic_cast<MiMultiLineExtractor*>(job.extractor.get())) {
            EXPECT_TRUE(lines->getLines().empty());
          }
        }
        watcher.expectOver();
        first = false;
      }
      job.extractor->setCallback(nullptr);
      EXPECT_EQ(bytesOf(job, variant), expected) << parallel << " " << variant;
    }
  }
}

TEST_P(EveryExtractor, GivesTheSameBytesByVirtualCalls)
{
  const std::string expected = bytesOf(row.make(*mesh, true), 0);
  mesh = zoo::procedural(std::move(mesh));
  EXPECT_EQ(bytesOf(row.make(*mesh, true), 0), expected);
}

TEST_P(EveryExtractor, MapsSetsOfNodesAndCellsAndRefusesThoseThatDoNotFit)
{
  const auto field = [](const MbVec3d& p) { return p.x + 10 * p.y + 100 * p.z; };
  const auto nodes = zoo::nodeSet(*mesh, field);
  const auto vectors = zoo::vectorSet(*mesh, [](const MbVec3d& p) {
    return MbVec3d{p.z, p.x, p.y};
  });
  const auto cells = zoo::cellNumbers(*mesh);
  const std::size_t nodeCount = zoo::nodePlaces(*mesh).size();
  const MbScalardSetI tooShort("s", MiDataBinding::PerNode, std::vector<double>(nodeCount - 1));
  // Of as many values as there are nodes, numbered as those of no mesh or of no mesh so long.
  const MbScalardSetIj strange("ij", MiDataBinding::PerNode, nodeCount, 1,
                               std::vector<double>(nodeCount));
  // Of the right size along I alone.
  std::unique_ptr<MbScalardSetIj> tooLong;
  if (const auto* sheet = dynamic_cast<const MiScalardSetIj*>(nodes.get()))
    tooLong = std::make_unique<MbScalardSetIj>(
        "j", MiDataBinding::PerNode, sheet->getSizeI(), sheet->getSizeJ() + 1,
        std::vector<double>(sheet->getSizeI() * (sheet->getSizeJ() + 1)));
  const auto expectField = [&](const auto& at, const MeXDataSetI<double>* mapped,
                               const MeXDataSetI<MbVec3d>* mappedVectors) {
    ASSERT_TRUE(mapped && mappedVectors);
    ASSERT_EQ(mapped->getSize(), at.geometry.getNodeCount());
    ASSERT_EQ(mappedVectors->getSize(), mapped->getSize());
    for (std::size_t n = 0; n < mapped->getSize(); ++n) {
      const MbVec3d p = at.geometry.getNode(n);
      ASSERT_NEAR(mapped->values[n], field(p), 1e-5 * (1 + std::abs(field(p))));
      ASSERT_LT(length(mappedVectors->values[n] - MbVec3d{p.z, p.x, p.y}), 1e-5 * (1 + length(p)));
    }
  };
  const auto expectCells = [](const MeXDataSetI<double>* mapped, const auto& expected) {
    ASSERT_NE(mapped, nullptr);
    ASSERT_EQ(mapped->getSize(), expected.size());
    for (std::size_t c = 0; c < mapped->getSize(); ++c)
      ASSERT_EQ(mapped->values[c], expected[c]);
  };
  const cases::Job job = row.make(*mesh, true);
  const auto check = [&](auto& extractor, const auto& extracted) {
    EXPECT_EQ(extractor.extractScalarSet(*nodes), nullptr) << "nothing is extracted yet";
    job.extract(0, nullptr);
    expectField(*extracted(), extractor.extractScalarSet(*nodes),
                extractor.extractVec3Set(*vectors));
    expectCells(extractor.extractScalarSet(*cells), extracted()->provenance.cells);
    EXPECT_EQ(extractor.extractScalarSet(*nodes), extractor.extractScalarSet(*nodes)) << "once";
    EXPECT_EQ(extractor.extractScalarSet(tooShort), nullptr);
    EXPECT_EQ(extractor.extractScalarSet(strange), nullptr);
    if (tooLong) {
      EXPECT_EQ(extractor.extractScalarSet(*tooLong), nullptr);
    }
  };
  if (auto* surfaces = dynamic_cast<MiSurfaceExtractor*>(job.extractor.get()))
    check(*surfaces, [&] { return surfaces->getSurface(); });
  else if (auto* lines = dynamic_cast<MiLineExtractor*>(job.extractor.get()))
    check(*lines, [&] { return lines->getLines(); });
  auto* several = dynamic_cast<MiMultiLineExtractor*>(job.extractor.get());
  if (!several) return;
  job.extract(0, nullptr);
  for (std::size_t l = 0; l < several->getLines().size(); ++l) {
    const MeXLineMeshUnstructured& line = several->getLines()[l];
    expectField(line, several->extractScalarSet(l, *nodes), several->extractVec3Set(l, *vectors));
    expectCells(several->extractScalarSet(l, *cells), line.provenance.nodeCells);
    if (line.topology.getCellCount() > 0) {
      EXPECT_EQ(several->extractScalarSet(l, *cells)->getBinding(), MiDataBinding::PerNode);
    }
  }
  EXPECT_EQ(several->extractScalarSet(several->getLines().size(), *nodes), nullptr);
  EXPECT_EQ(several->extractScalarSet(0, tooShort), nullptr);
  EXPECT_EQ(several->extractScalarSet(0, strange), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Cases, EveryExtractor,
                         testing::Range<std::size_t>(0, table().all().size()),
                         [](const auto& info) {
                           std::string name = table().all()[info.param].name;
                           std::replace_if(
                               name.begin(), name.end(),
                               [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); },
                               '_');
                           return name;
                         });

TEST(ExtractorCallback, HeldResultsAreLeftAlone)
{
  constexpr std::size_t kLine = 4; // of nine isolines and more streamlines, not the shortest
  const cases::Table small(12);
  for (const cases::Case& row : small.all()) {
    if (!row.hasVariants) continue;
    SCOPED_TRACE(row.name);
    const auto mesh = row.makeMesh();
    const cases::Job job = row.make(*mesh, true);
    const auto* surfaces = dynamic_cast<MiSurfaceExtractor*>(job.extractor.get());
    const auto* lines = dynamic_cast<MiMultiLineExtractor*>(job.extractor.get());
    const auto present = [&] {
      return surfaces ? laws::bytesOf(*surfaces->getSurface())
                      : laws::bytesOf(lines->getLines()[kLine]);
    };
    job.extract(0, nullptr);
    const std::string bytes = present();
    const MeXSurfaceMeshUnstructured* surface = surfaces ? surfaces->getSurface() : nullptr;
    const MeXLineMeshUnstructured* line = lines ? &lines->getLines()[kLine] : nullptr;
    const auto held = [&] { return surface ? laws::bytesOf(*surface) : laws::bytesOf(*line); };
    const std::shared_ptr<const void> hold = job.extractor->holdResults();
    // Read while others are extracted.
    auto reader = std::async(std::launch::async, [&] {
      bool same = true;
      for (int n = 0; n < 5; ++n)
        same &= bytes == held();
      return same;
    });
    for (const int variant : {1, 2})
      job.extract(variant, nullptr);
    EXPECT_TRUE(reader.get());
    EXPECT_NE(present(), bytes);
    Watcher watcher(1);
    job.extractor->setCallback(&watcher);
    EXPECT_THROW(job.extract(0, nullptr), MiCancellationException);
    EXPECT_EQ(held(), bytes);
  }
}

TEST(ExtractorCallback, MappedSetsStayWhileTheyAreHeld)
{
  const auto mesh = zoo::blockOf(MiCellShape::Hexahedron, {3, 3, 3});
  const auto extractor = MiSkinExtractUnstructured::getNewInstance(*mesh, false);
  extractor->extractSkin(nullptr);
  MbScalardSetI set("n", MiDataBinding::PerNode, std::vector<double>(64, 1.0));
  const auto* mapped = extractor->extractScalarSet(set);
  auto hold = extractor->holdResults();
  set.setValues(std::vector<double>(64, 2.0));
  const auto* again = extractor->extractScalarSet(set);
  EXPECT_NE(again, mapped);
  EXPECT_EQ(again->values[0], 2.0);
  mesh->touchTopology();
  extractor->extractSkin(nullptr);
  EXPECT_EQ(mapped->values, MbValueVector<double>(56, 1.0));

  // A surface that nobody holds any more is used again.
  const auto* second = extractor->getSurface();
  hold = extractor->holdResults();
  mesh->touchTopology();
  const auto* third = &extractor->extractSkin(nullptr);
  EXPECT_NE(third, second);
  hold = extractor->holdResults();
  mesh->touchTopology();
  EXPECT_EQ(&extractor->extractSkin(nullptr), second);
  hold.reset();
  mesh->touchTopology();
  EXPECT_EQ(&extractor->extractSkin(nullptr), second) << "without a holder in place";
}

TEST(ExtractorCallback, LongMappingsAreToldOfAndCancelled)
{
  SlowSet set(101 * 101);
  const auto mesh = zoo::sheet(SURFACE_MESH_UNSTRUCTURED, {100, 100, 0});
  const auto extractor = MiSurfaceExtractUnstructured::getNewInstance(
      zoo::as<SURFACE_MESH_UNSTRUCTURED>(*mesh), false);
  extractor->extractSurface(nullptr);
  Watcher watcher(1);
  extractor->setCallback(&watcher);
  EXPECT_NE(extractor->extractScalarSet(set), nullptr);
  EXPECT_EQ(watcher.extractCount, 0u) << "short";
  set.milliseconds = 20;
  EXPECT_THROW(extractor->extractScalarSet(set), MiCancellationException);
  EXPECT_EQ(watcher.extractCount, 1u);
  watcher.expectOver();
  extractor->setCallback(nullptr);
  EXPECT_NE(extractor->extractScalarSet(set), nullptr);
}

TEST(ExtractorCallback, ProbesAndNormalsAreCancelledAndWorkAgain)
{
  class Abort final : public MxAbortableCallback
  {
  public:
    void beginExtract(const std::string&, std::size_t) override {}
    void endExtract() override {}
    void beginPhase(const std::string&, std::size_t) override {}
    void endPhase() override {}
    bool endStep(std::size_t) override { return true; }
  } abort;
  abort.requestAbort();
  const auto mesh = zoo::blockOf(MiCellShape::Hexahedron, {10, 10, 10});
  const MbScalardSetI set("n", MiDataBinding::PerCell, std::vector<double>(1000, 2.0));
  const MbVec3d inside{5.1, 2.6, 1.3};
  for (const bool parallel : {false, true}) {
    const auto probe = MiPointProbeUnstructured::getNewInstance(*mesh, parallel);
    probe->setCallback(&abort);
    EXPECT_THROW(probe->locate(inside, 0, nullptr), MiCancellationException);
    EXPECT_FALSE(probe->isFound());
    double value = 0;
    const std::span<const MbVec3d> points(&inside, 1);
    EXPECT_THROW(probe->getValues(points, nullptr, set, {&value, 1}), MiCancellationException);
    probe->setCallback(nullptr);
    EXPECT_TRUE(probe->locate(inside, 0, nullptr));
    EXPECT_EQ(probe->getValues(points, nullptr, set, {&value, 1}), 1u);
    EXPECT_EQ(value, 2);
    probe->setCallback(&abort);
    EXPECT_TRUE(probe->locate(inside, 0, nullptr)) << "there is nothing to prepare";

    const auto skin = MiSkinExtractUnstructured::getNewInstance(*mesh, parallel);
    skin->extractSkin(nullptr);
    MxArray<MbVec3f> normals;
    {
      MxExtractionMonitor monitor(&abort, "normals");
      EXPECT_THROW(nodeNormals(*skin->getSurface(), parallel, normals), MiCancellationException);
    }
    nodeNormals(*skin->getSurface(), parallel, normals);
    EXPECT_EQ(normals.size(), 602u);
  }
}

TEST(ExtractorCallback, ACallbackMayExtractItself)
{
  // What it does is not polled by the extraction that it was called from.
  const auto outer = zoo::blockOf(MiCellShape::Hexahedron, {20, 20, 20});
  const auto inner = zoo::blockOf(MiCellShape::Hexahedron, {20, 20, 20});
  class Nested : public Watcher
  {
  public:
    explicit Nested(const MiVolumeMeshUnstructured& mesh) : m_mesh(mesh) {}
    bool endStep(std::size_t done) override
    {
      EXPECT_FALSE(m_busy);
      m_busy = true;
      MiSkinExtractUnstructured::getNewInstance(m_mesh, true)->extractSkin(nullptr);
      m_busy = false;
      return Watcher::endStep(done);
    }

  private:
    const MiVolumeMeshUnstructured& m_mesh;
    bool m_busy = false;
  } nested(*inner);
  const auto extractor = MiSkinExtractUnstructured::getNewInstance(*outer, true);
  extractor->setCallback(&nested);
  EXPECT_EQ(extractor->extractSkin(nullptr).topology.getCellCount(), 2400u);
  EXPECT_GT(nested.pollCount, 3u);
}

TEST(ExtractorCallback, ExtractorsOfOneMeshWorkAtTheSameTime)
{
  // They share what they find out about the mesh.
  const cases::Table many(16);
  for (const char* name : {"VOLUME_MESH_UNSTRUCTURED plane", "VOLUME_MESH_CURVILINEAR isosurface",
                           "streamlines VOLUME_MESH_UNSTRUCTURED"})
  {
    const auto row = std::find_if(many.all().begin(), many.all().end(),
                                  [&](const auto& each) { return each.name == name; });
    ASSERT_NE(row, many.all().end());
    const auto mesh = row->makeMesh();
    std::vector<std::string> expected;
    for (int variant = 0; variant < 4; ++variant)
      expected.push_back(bytesOf(row->make(*mesh, false), variant));
    std::vector<std::thread> threads;
    std::atomic<int> wrong = 0;
    for (int t = 0; t < 4; ++t)
      threads.emplace_back([&, t] {
        const cases::Job job = row->make(*mesh, t % 2 == 0);
        for (int round = 0; round < 6; ++round) {
          Watcher watcher(round % 3 == 2 ? 4 : kNever);
          job.extractor->setCallback(&watcher);
          const int variant = (round + t) % 4;
          try {
            if (bytesOf(job, variant) != expected[static_cast<std::size_t>(variant)]) ++wrong;
          } catch (const MiCancellationException&) {
          }
        }
      });
    for (std::thread& thread : threads)
      thread.join();
    EXPECT_EQ(wrong, 0) << name;
  }
}
