#include <velmoview/Run.h>

#include <velmoview/CheckMesh.h>
#include <velmoview/Demos.h>
#include <velmoview/Fits.h>
#include <velmoview/Info.h>
#include <velmoview/Outputs.h>
#include <velmoview/ProgressBar.h>
#include <velmoview/Reach.h>
#include <velmoview/Report.h>
#include <velmoview/representations/Representation.h>
#include <velmoview/Saving.h>
#include <velmoview/Scene.h>
#include <velmoview/WarningLog.h>

#include <velmo/base/MxFileWriter.h>
#include <velmo/io/MbMeshFile.h>
#include <velmo/nodes/MoVelmo.h>

#include <algorithm>
#include <Inventor/nodes/SoSeparator.h>
#include <iostream>
#include <nlohmann/json.hpp>
#include <ostream>
#include <tbb/global_control.h>
#include <tbb/task_arena.h>
#include <unistd.h>

namespace velmoview {

namespace {

const std::string kOwnName = "velmoview: ";

/// The library is started while one of these lives.
struct Library
{
  Library()
  {
    // Pictures and reports are made once, and have to be complete.
    setenv("VELMO_ASYNC_PROCESSING", "0", 1);
    MoVelmo::init();
  }
  ~Library() { MoVelmo::finish(); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
};

/// Answers that need neither mesh nor library; false when a mesh is to be drawn.
bool answerAtOnce(const Options& options, std::ostream& out)
{
  if (options.help)
    out << helpText();
  else if (options.version)
    out << "velmoview " << VELMOVIEW_VERSION << "\n";
  else if (options.demo == "list")
    out << demoList();
  else if (options.colormap == "list")
    out << colormapList();
  else
    return false;
  return true;
}

/// Something is to be extracted.
bool needsScene(const Options& options)
{
  return !options.output.empty() || !options.report.empty() || !options.save.empty();
}

void checkComplete(const Options& options, const std::ostream& out)
{
  if (options.file.empty() && options.demo.empty())
    throw UsageError("there is nothing to draw: name a mesh FILE, or --demo NAME (--demo list "
                     "lists the built-in ones)");
  if (!needsScene(options) && options.saveMesh.empty() && !options.info && !options.checkMesh)
    throw UsageError("there is no window to draw in: add --output PICTURE.png, or --info for what "
                     "is in the mesh");
  if (options.output == "-" && &out == &std::cout && ::isatty(STDOUT_FILENO))
    throw UsageError("--output - writes the picture to the standard output, and that is a "
                     "terminal: send it to a program or into a file");
  findColormap(options.colormap);
}

void writeReport(const nlohmann::ordered_json& report, const std::string& path, std::ostream& out)
{
  // Names from files may hold any bytes.
  const std::string text =
      report.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
  if (path == "-")
    writeOut(out, text);
  else
    mxWriteFile(path, text.data(), text.size());
}

/// What nobody posts, but who looks at the result should know.
void addOwnWarnings(const Model& model, const Scene& scene, WarningLog& warnings)
{
  for (const std::string& note : model.notes)
    warnings.add(kOwnName + model.source + ": " + note);
  if (scene.drawn().empty())
    warnings.add(kOwnName + model.source +
                 ": nothing is drawn of a mesh of this kind unless it is asked for");
}

/// Tells what drew nothing, and what would draw something.
void addEmpty(const Model& model, const Options& options, const Scene& scene, WarningLog& warnings)
{
  std::optional<Reach> reach;
  for (const Drawn& drawn : scene.drawn()) {
    if (!drawn.isEmpty()) continue;
    if (!reach) reach.emplace(model, options);
    if (reach->isEmpty()) {
      warnings.add(kOwnName + "nothing is drawn: " + reach->whyEmpty());
      return;
    }
    const std::string why = drawn.request.what->whyEmpty(*drawn.node, *reach);
    warnings.add(kOwnName + drawn.request.row->option + " draws nothing" +
                 (why.empty() ? "" : ": " + why));
  }
}

bool drewNothing(const Scene& scene)
{
  return std::any_of(scene.drawn().begin(), scene.drawn().end(),
                     [](const Drawn& drawn) { return drawn.isEmpty(); });
}

/// The scene and what it needs around it.
struct Drawing
{
  Drawing(const Model& model, const Options& options, ProgressBar& bar)
      : scene(model, options, &bar)
  {}
  const Library library;
  WarningLog warnings;
  Scene scene;
};

/// Extracts and draws; true when --strict has nothing to say.
bool draw(Drawing& drawing, const Model& model, const Options& options, RunFacts& facts,
          std::ostream& out, std::ostream& err)
{
  WarningLog& warnings = drawing.warnings;
  Scene& scene = drawing.scene;
  scene.extract(!options.report.empty());
  addOwnWarnings(model, scene, warnings);
  addEmpty(model, options, scene, warnings);
  if (!options.save.empty())
    for (const std::string& note : saveDrawn(scene, model, options))
      warnings.add(kOwnName + note);
  if (!options.output.empty() || !options.picks.empty()) scene.aim();
  facts.picks = pickPixels(scene, model, options);
  if (!options.output.empty()) facts.picture = drawPicture(scene.root(), options, out);
  if (facts.picture && facts.picture->blank && !drewNothing(scene))
    warnings.add(kOwnName + "the picture shows nothing but the background");
  if (!options.report.empty()) facts.badCells = findBadCells(model, !options.serial);
  facts.warnings = warnings.texts();
  for (const std::string& text : facts.warnings) {
    const bool isOwn = text.starts_with(kOwnName);
    err << kOwnName << "warning: " << (isOwn ? text.substr(kOwnName.size()) : text) << "\n";
  }
  if (!options.report.empty())
    writeReport(makeReport(model, options, scene.drawn(), facts), options.report, out);
  return facts.warnings.empty();
}

std::vector<std::string> saveMesh(const Model& model, const Options& options)
{
  try {
    return saveInput(model, options);
  } catch (const MbMeshKindError& error) {
    throw UsageError(std::string("--save-mesh: ") + error.what());
  }
}

int work(const Options& options, std::ostream& out, std::ostream& err)
{
  const Stopwatch reading;
  ProgressBar bar(err);
  bar.begin("reading " + options.file);
  const Model model = options.demo.empty()
                          ? readModel(options, [&bar](double done) { bar.set(done); })
                          : makeDemo(options.demo, options.demoSize);
  bar.finish();
  const std::vector<RepresentationRequest> requests = requestsFor(model, options);
  checkFits(model, options, requests);
  checkOutputs(outputFiles(options, requests), model.files);
  RunFacts facts;
  facts.readMs = reading.milliseconds();
  facts.threads = tbb::this_task_arena::max_concurrency();

  if (!options.info)
    for (const std::string& remark : model.remarks)
      err << kOwnName << model.source << ": " << remark << "\n";

  // Made first: it refuses what does not fit.
  std::optional<Drawing> drawing;
  if (needsScene(options)) drawing.emplace(model, options, bar);

  bool isClean = true, isFaulty = false;
  const auto warn = [&](const std::string& path, const std::string& note) {
    err << kOwnName << "warning: " << path << ": " << note << "\n";
    isClean = false;
  };
  if (!options.saveMesh.empty())
    for (const std::string& note : saveMesh(model, options))
      warn(options.saveMesh, note);
  if (options.info)
    out << infoText(model);
  else if (!needsScene(options))
    for (const std::string& note : model.notes)
      warn(model.source, note);
  if (options.checkMesh) {
    const MeshVerdict verdict = checkMesh(model, !options.serial, &bar);
    out << (options.info ? "\n" : "") << verdict.text;
    isFaulty = verdict.isFaulty;
  }
  if (drawing) isClean = draw(*drawing, model, options, facts, out, err) && isClean;
  writeOut(out, "");
  return isFaulty || (options.strict && !isClean) ? kNotClean : kDone;
}

} // namespace

int run(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
  Options options;
  try {
    options = parseOptions(arguments);
    if (answerAtOnce(options, out)) {
      writeOut(out, "");
      return kDone;
    }
    checkComplete(options, out);
    checkOutputs(outputFiles(options), {{options.file}});
    const int threads = options.serial ? 1 : options.threads;
    if (threads == 0) return work(options, out, err);
    // The limit is for the workers that exist, the arena for those that work here: more than the
    // machine has cores may be asked for.
    const tbb::global_control limit(tbb::global_control::max_allowed_parallelism,
                                    static_cast<std::size_t>(threads));
    tbb::task_arena arena(threads);
    return arena.execute([&] { return work(options, out, err); });
  } catch (const UsageError& e) {
    err << "velmoview: " << e.what() << "\n";
    return kBadUsage;
  } catch (const std::bad_alloc&) {
    err << "velmoview: " << (options.file.empty() ? options.demo : options.file)
        << ": there is not enough memory for it\n";
  } catch (const std::exception& e) {
    err << "velmoview: " << e.what() << "\n";
  }
  return kBadInput;
}

} // namespace velmoview
