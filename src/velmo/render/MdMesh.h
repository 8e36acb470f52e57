#pragma once

#include <velmo/extraction/interfaces/MeshType.h>
#include <velmo/extraction/interfaces/MxExtractionMonitor.h>
#include <velmo/render/MxMeshSceneGraph.h>
#include <velmo/representation/caches/MdAttributeCache.h>
#include <velmo/toolkit/classes/MxRefCounted.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <memory>
#include <vector>

class MiMesh;
class SoGroup;
class SoRayPickAction;
class SoSeparator;
class SoState;

/// The builder of one kind of extracted mesh: looks at what changed since the last fill and has its
/// scene graph refill only that.
///
/// Its separator hangs in a group of the representation, whose traversal draws it. *Threads*: the
/// traversing thread's.
class MdMesh
{
public:
  using ColorSets = MxMeshSceneGraph::ColorSets;

  virtual ~MdMesh();
  MdMesh(const MdMesh&) = delete;
  MdMesh& operator=(const MdMesh&) = delete;

  /// The mesh that is drawn and its kind; null and UNDEFINED_MESH for none.
  const MiMesh* getExtractedMesh(MeshType& type) const;
  /// Forgets the mesh and empties the scene graph.
  void clear();
  /// Gives picked points the details of this mesh.
  virtual void rayPick(SoRayPickAction* action);

  SoSeparator* getSeparator() const { return m_separator; }
  const MxMeshSceneGraph& getSceneGraph() const { return *m_sceneGraph; }

protected:
  /// @param parent  gets the builder's separator
  explicit MdMesh(SoGroup* parent);

  /// The arrays that a mesh is made of.
  struct Parts
  {
    const MiMesh* mesh = nullptr;
    MeshType type = UNDEFINED_MESH;
    const MeXTopologyExplicitI* topology = nullptr; ///< null for points
    const MeXGeometryI* geometry = nullptr;
    /// Who tells whether cells are dead, where it is not the topology.
    const MiTopologyI* cells = nullptr;
  };

  /// What a callback is told while a builder fills itself, when that lasts.
  struct Building
  {
    Building(MiExtractorCallback* callback, const char* builder) : monitor(callback, builder)
    {
      monitor.beginPhase("Building", 1);
    }
    MxExtractionMonitor monitor;
  };

  void setSceneGraph(std::unique_ptr<MxMeshSceneGraph> sceneGraph);
  /// Takes a mesh and refills what differs from the last fill.
  /// @param keep  keeps the arrays alive while they are drawn; null when they are sure to stay
  void setParts(SoState* state, const Parts& parts, const ColorSets& colorSets,
                const MxRefCounted* keep);
  virtual void fillPrimitives(SoState* state) = 0;
  /// What else a fill has to do.
  virtual void afterFill(SoState*) {}
  /// What every traversal has to do, with or without a fill.
  virtual void afterSet(SoState*) {}

  MxMeshSceneGraph& sceneGraph() const { return *m_sceneGraph; }
  const Parts& getParts() const { return m_parts; }
  const ColorSets& getColorSets() const { return m_colorSets; }
  bool haveIndicesChanged() const { return m_topologyChanged; }
  bool hasGeometryChanged() const { return m_geometryChanged; }
  bool haveColorsChanged() const { return m_valuesChanged; }

private:
  void refill(SoState* state);
  bool haveValuesChanged(SoState* state);
  bool isFilledFrom(const Parts& parts) const;
  void forgetFill();

  Parts m_parts;
  ColorSets m_colorSets;
  std::uint64_t m_topologyStamp = MxTimeStamp::kNone;
  std::uint64_t m_geometryStamp = MxTimeStamp::kNone;
  const int* m_indices = nullptr; ///< what the nodes point at
  std::vector<std::uint64_t> m_valueStamps;
  bool m_topologyChanged = true;
  bool m_geometryChanged = true;
  bool m_valuesChanged = true;
  std::uint64_t m_mappingStamp = MxTimeStamp::kNone;
  std::uint64_t m_combinedMappingStamp = MxTimeStamp::kNone;
  SoRef<SoSeparator> m_separator;
  SoRef<MdAttributeCache> m_attributes;
  std::unique_ptr<MxMeshSceneGraph> m_sceneGraph;
  SoRef<const MxRefCounted> m_keep;       // holds what m_parts names
  SoRef<const MxRefCounted> m_filledKeep; // holds what the nodes point at
};

/// A builder of meshes whose cells are given by an index list.
class MdIndexedMesh : public MdMesh
{
public:
  /// Edges and points of the draw style are drawn by builders of their own.
  void setIgnoreExtraStyle(bool ignore);
  /// Null where nothing fades.
  SoShaderProgram* getFadingShaderProgram() const;

protected:
  using MdMesh::MdMesh;

  /// Brings the view of a structured mesh up to date; where that is impossible the builder is
  /// cleared, since its nodes may point at arrays of the view.
  template <class View, class Mesh>
  bool updateInternal(View& view, const Mesh& mesh, Building& building)
  {
    bool done = false;
    try {
      done = view.update(mesh, building.monitor);
    } catch (...) {
      clear();
      throw;
    }
    if (!done) clear();
    return done;
  }
  void fillPrimitives(SoState* state) override;
  void afterSet(SoState* state) override;
};
