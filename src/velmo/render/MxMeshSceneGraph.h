#pragma once

#include <velmo/base/MxTimeStamp.h>
#include <velmo/colormapping/MiColorMapping.h>
#include <velmo/mesh/MeXDataSetI.h>
#include <velmo/mesh/MeXGeometry.h>
#include <velmo/mesh/MeXTopology.h>
#include <velmo/render/MxStyledIndexedShapeGraph.h>
#include <velmo/render/MxTextureContouring.h>
#include <velmo/toolkit/shapes/SoBBox.h>

#include <Inventor/nodes/SoShaderParameter.h>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class SoRayPickAction;
class SoShaderProgram;
class SoState;

/// Turns one extracted mesh into the nodes that draw it, and keeps them consistent with the state.
///
/// Under the root stand an SoBBox, the separator "MainStyle" with the graph that holds the arrays,
/// and the switch "ExtraStyles" with what is drawn on top. Coordinates and indices are attached in
/// place: they outlive the next fill or clear. *Threads*: the traversing thread's.
class MxMeshSceneGraph
{
public:
  using ColorSets = std::vector<const MeXDataSetI<double>*>;

  /// How often each part has been filled since the graph was made.
  struct FillCounts
  {
    std::size_t indices = 0;
    std::size_t geometry = 0;
    std::size_t colors = 0;
    std::size_t tangents = 0;
  };

  virtual ~MxMeshSceneGraph();
  MxMeshSceneGraph(const MxMeshSceneGraph&) = delete;
  MxMeshSceneGraph& operator=(const MxMeshSceneGraph&) = delete;

  /// Shows what the draw style of the state says; whether that is anything.
  virtual bool isEnabled(SoState* state);
  virtual void clear();
  /// Replaces the details of picks that ended here. Point sets have none.
  virtual void setDetails(SoRayPickAction* action, const MoMeshRepresentationDetail* mesh);
  /// Whether what is drawn now would fade when it gets small on the screen.
  virtual bool requireFading() const = 0;

  void fillGeometry(const MeXGeometryI& geometry);
  /// Colours by the first set through the colour mapping of the state, or by all sets through the
  /// combined one.
  void fillColors(SoState* state, const ColorSets& sets);
  /// Copies the tangents, unless they are those of the last fill.
  /// @param tangents  null for none, which warns
  void fillTangents(const MeXDataSetI<MbVec3d>* tangents);
  /// Brings material and level texture up to date.
  /// @return whether the colours have to be filled again
  bool setMaterial(SoState* state, const MiScalarColorMapping* mapping);

  /// Faces and edges may be drawn in one pass, unless the user's preference
  /// VELMORA_USE_SINGLEPASS_OUTLINE forbids it.
  void allowSinglePassOutline(bool allow);
  /// Whether values colour anything that is shown.
  bool isContouring() const;
  /// Null for a graph that was made without fading.
  SoShaderProgram* getFadingShaderProgram() const;
  void resetFading();
  /// Fades edges and points that get small on the screen, where such are shown.
  /// @param pixelLength      edges of about this length begin to fade; 0 for none
  /// @param referenceLength  asked for the length of a typical edge when it is not known; 0 where
  ///                         there is none
  void updateFading(float pixelLength, const std::function<double()>& referenceLength);
  void setLinePattern(unsigned short pattern);
  /// Edges and points are drawn by somebody else.
  void setIgnoreExtraStyle(bool ignore) { m_ignoreExtraStyle = ignore; }
  bool isIgnoringExtraStyle() const { return m_ignoreExtraStyle; }

  const FillCounts& getFillCounts() const { return m_fillCounts; }

protected:
  /// @param root    gets three children
  /// @param fading  put a fading shader in front of the extra styles
  MxMeshSceneGraph(SoSeparator* root, bool fading);

  /// Takes over the graphs; `main` is the one that receives the arrays.
  void setGraphs(std::unique_ptr<MxStyledShapeGraph> faces,
                 std::unique_ptr<MxStyledIndexedShapeGraph> edges,
                 std::unique_ptr<MxStyledShapeGraph> points, MxStyledShapeGraph* main);

  MxStyledShapeGraph& getMainGraph() const { return *m_main; }
  MxStyledShapeGraph& getFaces() const { return *m_faces; }
  MxStyledIndexedShapeGraph& getEdges() const { return *m_edges; }
  MxStyledShapeGraph& getPoints() const { return *m_points; }
  SoSeparator* getMainStyle() const { return m_mainStyle; }
  SoSwitch* getExtraStyles() const { return m_extraStyles; }
  bool isSinglePassOutlineAllowed() const { return m_singlePassOutline; }
  // Of the last setMaterial.
  bool isEnhancedColoringWanted() const { return m_enhancedColoring; }
  float getOpacity() const { return m_opacity; }
  const std::optional<SbColorRGBA>& getUndefinedColor() const { return m_undefinedColor; }
  void showExtraStyles(bool show);
  /// A named separator behind the extra styles that exist.
  SoSeparator* addExtraStyle(const char* name);

  FillCounts m_fillCounts;

private:
  void addFadingShader();
  void updateBox(const MeXGeometryI& geometry);
  bool fillMappedColors(const ColorSets& sets, const MiScalarColorMapping* mapping,
                        const MiCombineColorMapping* combined);

  bool m_ignoreExtraStyle = false;
  MxStyledShapeGraph* m_main = nullptr;
  std::unique_ptr<MxStyledShapeGraph> m_faces;
  std::unique_ptr<MxStyledIndexedShapeGraph> m_edges;
  std::unique_ptr<MxStyledShapeGraph> m_points;
  SoRef<SoSeparator> m_mainStyle;
  SoRef<SoSwitch> m_extraStyles;
  bool m_hasMaterial = false;
  float m_opacity = 1.0f;
  std::optional<SbColorRGBA> m_undefinedColor;
  bool m_enhancedColoring = false;
  bool m_singlePassOutline = false;
  std::vector<MbVec3f> m_tangents;
  std::uint64_t m_tangentsStamp = MxTimeStamp::kNone;
  std::vector<std::uint32_t> m_colors;
  std::vector<SbVec2f> m_textureCoordinates;
  SoRef<SoShaderParameter1f> m_edgeLengthReference;
  SoRef<SoShaderParameter1f> m_fadingEdgePixelLength;
  SoRef<SoBBox> m_box;
  std::unique_ptr<MxTextureContouring> m_contouring;
};

/// A graph whose cells are given by an index list.
class MxUnstrMeshSceneGraph : public MxMeshSceneGraph
{
public:
  void setDetails(SoRayPickAction* action, const MoMeshRepresentationDetail* mesh) override;
  void fillIndices(const MeXTopologyExplicitI& topology)
  {
    fillIndices(topology, topology.getBuffer());
  }
  /// @param topology  of the cells; dead ones among them cause a warning
  /// @param indices   their index list, an MxCpuBuffer<int>
  void fillIndices(const MiTopologyI& topology, const MxBuffer* indices);

protected:
  using MxMeshSceneGraph::MxMeshSceneGraph;
};
