#include <velmoview/Saving.h>

#include <velmoview/Outputs.h>
#include <velmoview/representations/Representation.h>
#include <velmoview/Scene.h>

namespace velmoview {

namespace {

std::vector<MbNamedArray> namedArrays(const Model& model)
{
  std::vector<MbNamedArray> arrays;
  for (const ModelArray& array : model.arrays)
    arrays.push_back({array.name, array.binding, array.components, array.values, nullptr});
  return arrays;
}

MbSaveOptions saveOptions(const Model& model, const Options& options)
{
  return {.compress = options.compress, .parallel = !options.serial, .time = model.time};
}

} // namespace

std::vector<std::string> saveInput(const Model& model, const Options& options)
{
  return mbSaveMesh(*model.mesh, namedArrays(model), options.saveMesh, saveOptions(model, options));
}

std::vector<std::string> saveDrawn(const Scene& scene, const Model& model, const Options& options)
{
  const std::vector<MbNamedArray> arrays = namedArrays(model);
  std::vector<std::string> notes;
  std::size_t number = 0;
  for (const Drawn& drawn : scene.drawn()) {
    const RepresentationRequest& request = drawn.request;
    const std::string path = savedPath(options, request, ++number);
    for (const std::string& note : mbSaveExtracted(request.what->savedParts(*drawn.node), arrays,
                                                   path, saveOptions(model, options)))
      notes.push_back(path + ": " + note);
  }
  return notes;
}

} // namespace velmoview
