#pragma once

#include <velmo/base/MxCpuBuffer.h>
#include <velmo/extraction/interfaces/MbVec3.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/toolkit/classes/SoRef.h>
#include <velmo/toolkit/shapes/SoCpuBufferObject.h>
#include <velmo/toolkit/shapes/TkVertexProperty.h>

#include <Inventor/nodes/SoDrawStyle.h>
#include <Inventor/nodes/SoMaterial.h>
#include <Inventor/nodes/SoSwitch.h>
#include <Inventor/SbColor.h>
#include <Inventor/SbVec2f.h>
#include <Inventor/SbVec3f.h>

#include <cstdint>
#include <vector>

class MoMeshRepresentationDetail;
class SoDetail;
class SoFullPath;
class SoSeparator;
class SoVertexShape;
class TkTexture2;

/// One way to draw extracted primitives: filled, as lines or as points, with a draw style, a
/// uniform colour and a level texture of its own.
///
/// The graphs of one mesh share a vertex property, so coordinates and colours are set once and
/// drawn several times. Arrays are attached in place: they stay alive and unchanged until the next
/// fill or clear.
class MxStyledShapeGraph
{
public:
  /// Transparency that stands for "no material in the state".
  static constexpr float kNoMaterial = -1.0f;

  /// @param parent  gets the nodes; null, like an invisible style, for a placeholder that draws
  ///                nothing
  /// @param style   what the graph draws when enabled
  /// @param shared  whose vertex property to use; null for one of its own
  MxStyledShapeGraph(SoSeparator* parent, SoDrawStyle::Style style,
                     const MxStyledShapeGraph* shared);
  virtual ~MxStyledShapeGraph();
  MxStyledShapeGraph(const MxStyledShapeGraph&) = delete;
  MxStyledShapeGraph& operator=(const MxStyledShapeGraph&) = delete;

  /// Forgets all arrays and the level texture.
  virtual void clear();
  virtual bool isEndingPath(const SoFullPath* path) const;
  /// What a pick of this graph says, a new object; null for nothing of its own.
  virtual SoDetail* createDetail(const SoDetail* detail,
                                 const MoMeshRepresentationDetail* mesh) const;
  /// Whether values colour what is drawn.
  virtual bool isContouringEnabled() const;

  /// Shows or hides the graph; without effect on an invisible style.
  void enable(bool enabled);
  bool isEnabled() const { return m_enabled; }
  /// Draws with whatever style the application has set above.
  void ignoreStyle();

  /// @param buffer  null warns and leaves no vertices
  void setVertices(const MxCpuBuffer<MbVec3f>* buffer);
  /// @param buffer  null warns and leaves no tangents
  void setTangents(const SoCpuBufferObject* buffer, SoVertexProperty::Binding binding);
  /// One normal for all; zero lets the shape compute them.
  void setNormals(const SbVec3f& normal);
  /// @param texture  null for none
  void setTexture(TkTexture2* texture);
  /// Either texture coordinates, one per vertex, or packed colours with their binding, or neither.
  void setColors(const std::vector<SbVec2f>& textureCoordinates,
                 const std::vector<std::uint32_t>& colors, SoVertexProperty::Binding binding);
  /// Takes over the uniform look; true when it is the present one. A graph that is not enabled
  /// takes nothing over.
  bool isCacheValid(MoMaterial::ColoringType coloring, const SbColor& color, float transparency);

  MoMaterial::ColoringType getColoring() const { return m_coloring; }
  TkVertexProperty* getVertexProperty() const { return m_vertexProperty; }

protected:
  /// The vertices were replaced; there are `count` now.
  virtual void verticesChanged(int) {}

  SoDrawStyle* getDrawStyle() const { return m_drawStyle; }
  bool isPlaceholder() const { return m_placeholder; }
  /// The graph's last node, behind those that the base has added.
  void addShape(SoSeparator* parent, SoVertexShape* shape);

private:
  SoRef<TkVertexProperty> m_vertexProperty;
  SoRef<SoDrawStyle> m_drawStyle;
  MoMaterial::ColoringType m_coloring = MoMaterial::COLOR;
  SoRef<SoSwitch> m_uniformColor;
  SoRef<SoMaterial> m_uniformMaterial;
  bool m_enabled = false;
  SoRef<SoSwitch> m_levelTexture;
  SoDrawStyle::Style m_style;
  bool m_placeholder;
};
