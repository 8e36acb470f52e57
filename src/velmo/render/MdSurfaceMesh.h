#pragma once

#include <velmo/mesh/MeXMesh.h>
#include <velmo/render/MdMesh.h>
#include <velmo/render/MxSurfaceSceneGraph.h>

#include <Inventor/SbVec3f.h>

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

  /// @param colorSets  values on the surface, borrowed; null for a set that is missing
  /// @param keep       holds surface and sets while they are drawn; null when they are sure to stay
  void set(SoState* state, const MeXSurfaceMeshUnstructured& surface, const ColorSets& colorSets,
           const MxRefCounted* keep = nullptr);
  void set(SoState* state, const MeXSurfaceMeshUnstructured& surface,
           const MeXDataSetI<double>* colorSet, const MxRefCounted* keep = nullptr);

  void allowSinglePassOutline(bool allow);
  /// One normal for the whole surface, until it is cleared; zero for computed normals.
  void setOverallNormal(const SbVec3f& normal);
  /// The surface has no creases: it gets a normal a node, whatever the crease angle. False by
  /// default; takes effect with the next fill.
  void setSmooth(bool smooth) { m_isSmooth = smooth; }
  void rayPick(SoRayPickAction* action) override;

private:
  void afterFill(SoState* state) override;
  MxSurfaceSceneGraph& surfaceGraph() const;

  const MeXSurfaceMeshUnstructured* m_surface = nullptr;
  bool m_isSmooth = false;
  MxArray<MbVec3f> m_normals; // read by the scene graph in place
};
