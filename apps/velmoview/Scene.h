#pragma once

#include <velmoview/Camera.h>
#include <velmoview/Coloring.h>

#include <velmo/extraction/interfaces/MiMesh.h>
#include <velmo/mesh/MbTessellator.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <memory>
#include <string>
#include <vector>

class MiCellFilter;
class MoMeshRepresentation;
class SoGroup;
class SoPerspectiveCamera;
class SoSeparator;

namespace velmoview {

class ExtractionTimer;
class ProgressBar;

/// What the command line asks to draw, or what is drawn of such a mesh when it asks for nothing.
std::vector<RepresentationRequest> requestsFor(const Model& model, const Options& options);

/// One representation of the scene, and how long it took.
struct Drawn
{
  RepresentationRequest request;
  SoGroup* group = nullptr;             ///< of its own; owned by the scene graph
  MoMeshRepresentation* node = nullptr; ///< in the group
  std::unique_ptr<ExtractionTimer> timer;
  double extractMs = 0, reextractMs = 0, buildMs = 0;
  bool measuredAgain = false;

  /// What it extracted; none when there is nothing.
  std::vector<const MiMesh*> meshes() const;
  /// There is no cell or point to draw.
  bool isEmpty() const;
};

/// The scene graph of a model: camera, lights, the mesh with its data and appearance, and the
/// representations. Made and used between start and stop of the library.
class Scene
{
public:
  /// @param model  borrowed
  /// @param bar    shows how far extractions are; borrowed, may be null
  /// @throw UsageError when an array does not exist or does not fit; see also checkFits
  Scene(const Model& model, const Options& options, ProgressBar* bar = nullptr);
  ~Scene();
  Scene(const Scene&) = delete;
  Scene& operator=(const Scene&) = delete;

  /// Extracts and builds every representation, one after the other.
  /// @param again  measures also what a changed argument costs on the mesh now known
  void extract(bool again);

  /// Aims the camera at what was extracted.
  void aim();

  SoSeparator* root() const { return m_root; }
  const std::vector<Drawn>& drawn() const { return m_drawn; }

private:
  void addLights(SoGroup& root, const ViewAxes& axes);
  void addAppearance(SoGroup& root);
  void addCellFilter(SoGroup& group, CellChoice choice);
  void addRepresentations(SoGroup& root);
  double traverse(Drawn& drawn);

  const Model& m_model;
  const Options& m_options;
  ProgressBar* m_bar;
  Coloring m_coloring;
  ViewAxes m_axes;
  PictureMargins m_margins;
  MbVec3d m_shift; ///< moved to the origin, so that a mesh far away does not tremble
  std::vector<std::unique_ptr<MiCellFilter>> m_filters;
  MbUniformTessellator m_tessellator;
  SoRef<SoSeparator> m_root;
  SoPerspectiveCamera* m_camera = nullptr;
  std::vector<Drawn> m_drawn;
};

} // namespace velmoview
