#pragma once

#include <velmo/mesh/MeXMesh.h>
#include <velmo/render/MdMesh.h>
#include <velmo/render/MxSurfaceSceneGraph.h>

#include <Inventor/SbVec3f.h>

template <class Shown>
class MxStructuredView;

/// Draws an extracted surface: its faces, and their edges and points where the draw style says so.
///
/// The faces are wound counter-clockwise seen from outside, each has its own normal, and both sides
/// are lit. An application that wants smooth shading or one lit side puts an SoShapeHints above the
/// representation (a crease angle; vertex ordering COUNTERCLOCKWISE and shape type SOLID). Surfaces
/// that are smooth by nature are shaded so of themselves.
class MdSurfaceMesh final : public MdIndexedMesh
{
public:
  /// @param parent  gets the separator "SurfaceMesh_Display"
  explicit MdSurfaceMesh(SoGroup* parent);
  ~MdSurfaceMesh() override;

  /// @param colorSets  values on the surface, borrowed; null for a set that is missing
  /// @param callback   told of the work when it lasts, and may cancel it; null for nobody
  /// @param keep       holds surface and sets while they are drawn; null when they are sure to stay
  /// @throw std::bad_alloc, std::length_error, MiCancellationException
  void set(SoState* state, const MeXSurfaceMeshUnstructured& surface, const ColorSets& colorSets,
           MiExtractorCallback* callback = nullptr, const MxRefCounted* keep = nullptr);
  /// Surfaces numbered (i, j), extracted ones or an application's, whose nodes have finite places.
  /// Values are numbered as nodes and cells are, I fastest. What is drawn are points of the
  /// builder's own and an index list that is made once for the counts; dead cells are drawn, with a
  /// warning. Picks have no detail.
  void set(SoState* state, const MiSurfaceMeshRegular& surface, const ColorSets& colorSets,
           MiExtractorCallback* callback = nullptr, const MxRefCounted* keep = nullptr);
  void set(SoState* state, const MiSurfaceMeshRectilinear& surface, const ColorSets& colorSets,
           MiExtractorCallback* callback = nullptr, const MxRefCounted* keep = nullptr);
  void set(SoState* state, const MiSurfaceMeshCurvilinear& surface, const ColorSets& colorSets,
           MiExtractorCallback* callback = nullptr, const MxRefCounted* keep = nullptr);
  template <class Surface>
  void set(SoState* state, const Surface& surface, const MeXDataSetI<double>* colorSet,
           MiExtractorCallback* callback = nullptr, const MxRefCounted* keep = nullptr)
  {
    set(state, surface, ColorSets{colorSet}, callback, keep);
  }

  void allowSinglePassOutline(bool allow);
  /// One normal for the whole surface, until it is cleared; zero for those of the data set, or
  /// computed ones.
  void setOverallNormal(const SbVec3f& normal);
  /// Normals of any length, one per node or one per cell, until the surface is cleared; null for
  /// computed ones. Copied, once a stamp: to be called after set, at each traversal. Normals that
  /// do not fit the surface are left out, with a warning.
  void setNormalDataSet(const MeXDataSetI<MbVec3d>* normals);
  /// The surface has no creases: it gets a normal a node, whatever the crease angle. False by
  /// default; takes effect with the next fill.
  void setSmooth(bool smooth) { m_isSmooth = smooth; }
  void rayPick(SoRayPickAction* action) override;

private:
  template <class Surface>
  void setInternalSurfaceMesh(SoState* state, const Surface& surface, const ColorSets& colorSets,
                              MiExtractorCallback* callback, const MxRefCounted* keep);
  void afterFill(SoState* state) override;
  MxSurfaceSceneGraph& surfaceGraph() const;

  const MeXSurfaceMeshUnstructured* m_surface = nullptr; // what is drawn
  std::unique_ptr<MxStructuredView<MeXSurfaceMeshUnstructured>> m_internal;
  bool m_isSmooth = false;
  std::uint64_t m_unfitNormals = MxTimeStamp::kNone; // of a set that was told of
  MxArray<MbVec3f> m_normals;                        // read by the scene graph in place
};
