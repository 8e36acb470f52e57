#pragma once

#include <velmo/render/MxStyledShapeGraph.h>

class SoIndexedFaceSetOutline;
class SoSFFloat;
class SoIndexedLineSet;
class SoIndexedShape;
class SoPointSet;
class SoState;
class TkShaderProgram;

/// A styled graph whose cells name their vertices in an index list, each cell ending with -1.
class MxStyledIndexedShapeGraph : public MxStyledShapeGraph
{
public:
  /// A placeholder.
  MxStyledIndexedShapeGraph();
  /// @param shape  what draws; null for a placeholder
  MxStyledIndexedShapeGraph(SoSeparator* parent, SoDrawStyle::Style style, SoIndexedShape* shape,
                            const MxStyledIndexedShapeGraph* shared);
  ~MxStyledIndexedShapeGraph() override;

  void clear() override;
  bool isEndingPath(const SoFullPath* path) const override;

  /// @param buffer  null warns and leaves no cells
  void setCoordIndex(const MxCpuBuffer<int>* buffer);
  void setLinePattern(unsigned short pattern);

protected:
  SoIndexedShape* getShape() const { return m_shape; }

private:
  SoRef<SoIndexedShape> m_shape;
};

/// Faces; a graph that shares another's draws the same node again with a style of its own.
class MxStyledIndexedFaceGraph final : public MxStyledIndexedShapeGraph
{
public:
  MxStyledIndexedFaceGraph(SoSeparator* parent, SoDrawStyle::Style style,
                           const MxStyledIndexedFaceGraph* shared);

  void clear() override;
  SoDetail* createDetail(const SoDetail* detail,
                         const MoMeshRepresentationDetail* mesh) const override;
  bool isContouringEnabled() const override;

  /// Lets the shape draw faces and edges in one pass where the state allows it, and tells whether
  /// it does.
  bool enableSinglePassOutline(bool enabled, SoState* state);
  void enableSinglePassFading(bool enabled);
  bool isSinglePassFading() const;
  /// Lets the one-pass outline fade by these values from now on.
  void connectSinglePassFading(SoSFFloat& edgePixelLength, SoSFFloat& edgeLengthReference);
  void bypassOutlineRendering(bool bypassed);
  /// Whether the edges, drawn as lines by a graph that shares this one's shape, lie on its faces.
  /// @param fading  the program that may fade them
  void setEdgesOnFaces(bool on, TkShaderProgram* fading);
  /// Tells the shape that its normals are numbers for this program; null for true normals.
  void setNormalsFor(TkShaderProgram* program, bool transparent);
  /// Brings the shape's own material up to date; true when nothing changed.
  bool updateSinglePassMaterial(SoState* state, bool singlePass);

private:
  SoIndexedFaceSetOutline* getFaceSet() const;
};

/// Lines, and the points of lines.
class MxStyledIndexedLineGraph final : public MxStyledIndexedShapeGraph
{
public:
  MxStyledIndexedLineGraph(SoSeparator* parent, SoDrawStyle::Style style,
                           const MxStyledIndexedLineGraph* shared);

  SoDetail* createDetail(const SoDetail* detail,
                         const MoMeshRepresentationDetail* mesh) const override;
};

/// Points, one per vertex.
class MxStyledPointGraph final : public MxStyledShapeGraph
{
public:
  MxStyledPointGraph(SoSeparator* parent, SoDrawStyle::Style style);
  ~MxStyledPointGraph() override;

  bool isEndingPath(const SoFullPath* path) const override;

private:
  void verticesChanged(int count) override;

  SoRef<SoPointSet> m_shape;
};
