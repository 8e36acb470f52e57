#include <velmoview/Fits.h>

#include <velmoview/Probes.h>
#include <velmoview/representations/Representation.h>

namespace velmoview {

namespace {

constexpr std::uint32_t kUnstructured = kindBit(VOLUME_MESH_UNSTRUCTURED) |
                                        kindBit(SURFACE_MESH_UNSTRUCTURED) |
                                        kindBit(LINE_MESH_UNSTRUCTURED);

/// What a mesh is, in words.
std::string wordsFor(MeshType kind)
{
  const std::uint32_t bit = kindBit(kind);
  if (bit & kLineKinds) return "a line mesh";
  if (bit & kSurfaceKinds) return "a surface mesh";
  if (bit & kUnstructured) return "a volume mesh without I, J and K";
  return "a grid";
}

/// What an option that serves these kinds needs, told to someone who has a mesh of another kind.
std::string needOf(std::uint32_t kinds, MeshType had)
{
  if (kinds & kUnstructured & kVolumeKinds) return "a volume mesh";
  if (kinds & kVolumeKinds) return kindBit(had) & kVolumeKinds ? "a grid" : "a grid of volumes";
  if (kinds & kSurfaceKinds) return "a surface mesh";
  return "a line mesh";
}

/// How a grid of cells with eight corners each becomes one that shares nodes.
std::string waySharing(const Model& model, const Options& options)
{
  if (options.vertex) return "leave out --vertex";
  if (!options.demo.empty()) return "--demo reservoir is the same grid with shared nodes";
  return model.format == "grdecl" ? "give --shared-nodes" : "";
}

/// What the user can do instead.
std::string adviceFor(const RepresentationRow& row, const Model& model, const Options& options)
{
  const bool needsGrid = !(row.kinds & kUnstructured);
  if (needsGrid && model.kind == VOLUME_MESH_UNSTRUCTURED && options.demo.empty()) {
    const bool isOfHexahedra = model.shapes.size() == 1 && model.shapes[0].first == "hexahedron";
    return isOfHexahedra ? "give --ijk NI,NJ,NK to read its hexahedra as one"
                         : "--ijk NI,NJ,NK makes one of a file that holds hexahedra only";
  }
  std::string others;
  for (const RepresentationRow* other : representationTable())
    if (other->serves(model.kind))
      others += (others.empty() ? "" : ", ") + std::string(other->option);
  return "it takes " + others;
}

[[noreturn]] void refuse(const std::string& option, const std::string& need,
                         const std::string& what, const std::string& advice = {})
{
  throw UsageError(option + " needs " + need + ", and " + what +
                   (advice.empty() ? "" : "; " + advice));
}

[[noreturn]] void refuseUnshared(const std::string& option, const Model& model,
                                 const Options& options)
{
  refuse(option, "cells that share nodes", "those of " + model.source + " have eight corners each",
         waySharing(model, options));
}

std::string itIs(const Model& model)
{
  return model.source + " is " + wordsFor(model.kind);
}

void checkKind(const RepresentationRow& row, const Model& model, const Options& options)
{
  if (row.serves(model.kind)) return;
  if (model.kind == VOLUME_MESH_VERTEX_HEXAHEDRON_IJK && (row.kinds & kVolumeKinds))
    refuseUnshared(row.option, model, options);
  refuse(row.option, needOf(row.kinds, model.kind), itIs(model), adviceFor(row, model, options));
}

void checkCellRange(const Model& model, const Options& options)
{
  if (!options.cellRange) return;
  const CellRange& range = *options.cellRange;
  const std::size_t indices = model.dims.empty() ? 1 : model.dims.size();
  if (range.lower.size() != indices)
    throw UsageError(std::string("--cell-range takes ") +
                     (indices == 3 ? "I,J,K,I,J,K" : "MIN,MAX") + " for this mesh: the cells of " +
                     model.source + " have " + std::to_string(indices) +
                     (indices == 1 ? " index" : " indices"));
  for (std::size_t axis = 0; axis < indices; ++axis) {
    const std::size_t count = model.dims.empty() ? model.cells : model.dims[axis];
    if (range.lower[axis] >= count)
      throw UsageError("--cell-range takes cells of the mesh: it has " + std::to_string(count) +
                       " along that index, and they count from 0, so there is no " +
                       std::to_string(range.lower[axis]));
  }
}

} // namespace

void checkFits(const Model& model, const Options& options,
               std::span<const RepresentationRequest> requests)
{
  if (options.sharedNodes && model.format != "grdecl")
    refuse("--shared-nodes", "a corner-point grid (.grdecl)",
           model.source + " is of the format " + model.format);
  if (options.tessellate > 0 && model.kind >= 0 && !(kindBit(model.kind) & kUnstructured))
    refuse("--tessellate", "cells with nodes in the middle of their edges", itIs(model));
  if (options.enhanced && kindBit(model.kind) & kLineKinds)
    refuse("--enhanced", "a mesh with faces", itIs(model));
  for (const RepresentationRequest& request : requests) {
    checkKind(*request.row, model, options);
    request.what->check({model, options});
  }
  checkCellRange(model, options);
  if (options.probes.empty() || canProbe(model.kind)) return;
  if (model.kind == VOLUME_MESH_VERTEX_HEXAHEDRON_IJK) refuseUnshared("--probe", model, options);
  refuse("--probe", "a volume mesh or a surface mesh", itIs(model));
}

} // namespace velmoview
