#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>
#include <velmo/extraction/interfaces/MeshType.h>
#include <velmo/mesh/MeXDataSetI.h>
#include <velmo/nodes/MoActionNode.h>

#include <Inventor/fields/SoMFInt32.h>
#include <Inventor/fields/SoSFVec3f.h>

#include <cstdint>
#include <memory>

class MiExtractorCallback;
class MiMesh;
class MiPointProbeHexahedronIjk;
class MiPointProbeIj;
class MiPointProbeIjk;
class MiPointProbeUnstructured;
class MxAttributesManager;
class MxNodeSensor;

/// Tells the application the values of data sets at a point of the mesh in the state. Draws
/// nothing.
///
/// A traversal after a change of the node, or after a new callback, finds the cell that holds the
/// point and calls the callback with it and with the values interpolated there; other traversals do
/// nothing. A mesh that was replaced counts as a change, data that changed in place does not:
/// whoever changes it touches the node. A change that the callback makes to the node is kept for
/// the next traversal.
///
/// Serves unstructured meshes of volumes and surfaces, hexahedron IJK meshes, and regular,
/// rectilinear and curvilinear ones of volumes and surfaces; a mesh of another kind is refused with
/// a warning. *Threads*: the callback is called in the traversing thread.
class MoMeshPointProbe : public MoActionNode
{
  MO_NODE_HEADER(MoMeshPointProbe);

public:
  using ScalarResults = MeXDataSetI<double>;
  using VectorResults = MeXDataSetI<MbVec3d>;

  /// What the application does with the values. The results hold one value for each set found, in
  /// the order of the ids, and live for the call only. Where no cell holds the point both are empty
  /// and the ids are all ones.
  class MoProbeCallback
  {
  public:
    virtual ~MoProbeCallback() = default;
    /// Unstructured meshes.
    virtual void motionCallback(std::uint64_t, const ScalarResults&, const VectorResults&) {}
    /// Surfaces with cells numbered (i, j).
    virtual void motionCallback(std::uint64_t, std::uint64_t, const ScalarResults&,
                                const VectorResults&)
    {}
    /// Volumes with cells numbered (i, j, k).
    virtual void motionCallback(std::uint64_t, std::uint64_t, std::uint64_t, const ScalarResults&,
                                const VectorResults&)
    {}
  };

  /// The point, in mesh space; (0, 0, 0) by default.
  SoSFVec3f position;
  /// Which scalar sets of the state are probed, counted from 0; one value, 0, by default. An id
  /// that finds no set is left out.
  SoMFInt32 scalarSetIds;
  /// Which vector sets are probed, likewise.
  SoMFInt32 vectorSetIds;

  MoMeshPointProbe();
  void doAction(SoAction* action) override;

  /// @param callback  borrowed until another is set or it is removed; the next traversal calls it
  void setProbeCallback(MoProbeCallback& callback);
  void removeProbeCallback();
  /// Who hears of what a probe has to prepare on a large mesh, and may cancel it; then nothing is
  /// probed, and the next traversal tries again. Borrowed, null for nobody.
  void setExtractorCallback(MiExtractorCallback* callback) { m_extractorCallback = callback; }
  /// Drops the probe objects, which are made again when they are needed; the next traversal probes.
  void clear();

  // The probe objects, null before their first use. Owned by the node, until the mesh changes.
  MiPointProbeUnstructured* getPointProbeUnstructured() const;
  MiPointProbeHexahedronIjk* getPointProbeHexahedronIjk() const;
  /// The same as getPointProbeHexahedronIjk.
  MiPointProbeHexahedronIjk* getPointProbeUnstructuredIjk() const;
  MiPointProbeIjk* getPointProbeIjk() const;
  MiPointProbeIj* getPointProbeIj() const;

protected:
  ~MoMeshPointProbe() override;

private:
  const MiMesh* getMeshFromState(SoState* state, MeshType& type);
  /// @tparam DataSet  MiDataSetI, MiDataSetIj or MiDataSetIjk
  template <template <class> class DataSet, class Probe, class Mesh>
  void doProbing(SoState* state, std::unique_ptr<Probe>& probe, const Mesh& mesh);

  std::unique_ptr<MiPointProbeUnstructured> m_unstructured;
  std::unique_ptr<MiPointProbeHexahedronIjk> m_hexahedronIjk;
  std::unique_ptr<MiPointProbeIjk> m_ijk;
  std::unique_ptr<MiPointProbeIj> m_ij;
  std::unique_ptr<MxNodeSensor> m_sensor;
  std::unique_ptr<MxAttributesManager> m_attributes;
  MoProbeCallback* m_callback = nullptr;
  MiExtractorCallback* m_extractorCallback = nullptr;
};
