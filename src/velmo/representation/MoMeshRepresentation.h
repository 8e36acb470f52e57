#pragma once

#include <velmo/extraction/interfaces/MeshType.h>
#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/representation/MoMeshBaseRepresentation.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <Inventor/fields/SoSFBool.h>
#include <Inventor/fields/SoSFInt32.h>

#include <cstdint>
#include <memory>
#include <vector>

class MdMeshRepresentation;
class MdProfilingTool;
class MdUserExtractorCallback;
class MdWarnings;
class MiExtractor;
class MiExtractorCallback;
class MiMesh;
class MiTessellator;
class MoCellPick;
class MoMeshDetail;
class MxAttributesManager;
class MxConnection;
class SoFieldSensor;
class SoSensor;
class SoState;

/// The base of everything that is extracted from the mesh in the state and drawn: first it
/// extracts, where something changed, then it draws what was built.
///
/// A failure while extracting is posted (SoMemoryError for memory, SoError for anything else),
/// leaves this representation empty, and the traversal goes on; the next traversal tries again. An
/// extraction that its callback stopped leaves it empty without a post.
///
/// With the preference VELMO_ASYNC_PROCESSING, skins and slabs extract in the background. A
/// traversal then draws what was extracted last, nothing at first, and starts or aborts the
/// extraction as its inputs ask for; when it has ended, the node is touched and the next traversal
/// draws the result. A failure is posted then; an extraction that its callback stopped leaves what
/// was there, and the next traversal tries again. A node that is met twice in a traversal, with
/// different inputs, never gets to an end: use two nodes. An extraction reads mesh, sets, filter
/// and tessellator by concurrent const calls. They may be deleted as soon as no node refers to
/// them; before their content is changed, call stopExtractions().
class MoMeshRepresentation : public MoMeshBaseRepresentation
{
  MO_NODE_ABSTRACT_HEADER(MoMeshRepresentation);

public:
  /// Which scalar set of the state colours the representation, counted from 0; 0 by default.
  SoSFInt32 colorScalarSetId;
  /// Extraction may use several threads; TRUE by default. A change throws the results away.
  SoSFBool parallel;

  void doAction(SoAction* action) override;
  /// Also gives the picked points of this representation their details: for this node a
  /// MoMeshDetail, for the picked shape a MoFaceDetail or MoLineDetail that names the picked cell.
  /// Across connections, both speak of the mesh that the first representation extracts from.
  void rayPick(SoRayPickAction* action) override;

  /// Throws away what was extracted and built; the next traversal extracts again.
  virtual void clear();
  /// Who hears of the extraction's progress and may cancel it; borrowed, null for nobody. From the
  /// return of this call on, the callback before it is called no more.
  ///
  /// *Threads*: an extraction in the background calls it from the worker. It must not touch the
  /// scene then, nor wait for the traversing thread.
  virtual void setExtractorCallback(MiExtractorCallback* callback);
  virtual void setExtractorCallback(MiExtractorCallback& callback);

  // Sets for what takes its mesh from here. Where this representation takes its own mesh from
  // another one, the set is one of the mesh that the first of them extracts from; null while one
  // of them has extracted something else since.

  /// A scalar set of the source mesh on the extracted mesh; null where it does not fit, or the
  /// extractor's callback cancels a long mapping. Valid until the next extraction.
  virtual const MiTypedDataSet<double>* extractScalarSet(const MiTypedDataSet<double>* set);
  /// Brings the results up to date with the state of the action.
  virtual void doExtract(SoAction* action) = 0;
  /// The set with this id in the state, on the extracted mesh; null where there is none of that
  /// numbering, or after a cancel.
  virtual const MiDataSetI<double>* extractScalarSetI(SoState* state, unsigned long id);
  virtual const MiDataSetIj<double>* extractScalarSetIj(SoState* state, unsigned long id);
  virtual const MiDataSetI<MbVec3d>* extractVec3SetI(SoState* state, unsigned long id);
  virtual const MiDataSetIj<MbVec3d>* extractVec3SetIj(SoState* state, unsigned long id);

  /// Changes with every result: when it is thrown away, and when there is another one.
  std::uint64_t getTimeStamp() const { return m_timeStamp; }
  /// What the last extraction produced and its kind; null and UNDEFINED_MESH when there is nothing.
  /// Valid until the next extraction.
  const MiMesh* getExtractedMesh(MeshType& type) const;
  bool isUsingTessellator() const { return m_isUsingTessellator; }
  MiExtractorCallback* getExtractorCallback() const { return m_callback; }

  /// An extraction runs in the background, or its result waits for the next traversal.
  bool isExtracting() const;
  /// Waits for the end of an extraction in the background, whose result the next traversal draws. A
  /// program that wants a complete picture traverses and waits until nothing is extracting.
  void waitForExtraction();
  /// Ends all extractions in the background; they begin anew with the next traversal. To be called
  /// before the content of a mesh, set or filter in use is changed in place.
  static void stopExtractions();

  /// Nothing has been extracted from the present mesh so far, but something will be: by this
  /// representation, or by one that its mesh comes from.
  bool isResultOnItsWay() const;
  /// What ties this representation to the nodes that publish its result.
  const std::shared_ptr<MxConnection>& getConnection() const { return m_connection; }

  // For the implementations of representations, during doExtract.

  /// Empties what is drawn and nothing else; cheap when it is empty.
  virtual void clearBuilders() {}

  /// The mesh to extract from; null when there is none, or when what is drawn stays (keepsPicture).
  const MiMesh* getMeshFromState(SoState* state, MeshType& type);
  /// The last getMeshFromState gave no mesh because the old results cannot be thrown away now, or
  /// because its source has not extracted the next one yet.
  bool keepsPicture() const { return m_keepsPicture; }
  /// @param keepResults  a changed tessellator does not throw the results away
  const MiTessellator* getTessellatorFromState(SoState* state, bool keepResults);
  /// The sets that colour what is drawn, in the order of their ids; null for a set that is missing.
  /// Empty when nothing displayed is coloured by values.
  std::vector<const MiTypedDataSet<double>*> getColorSetFromState(SoState* state, MeshType kind);
  MdMeshRepresentation& getImplementation() const { return *m_implementation; }
  /// @param implementation  null for none
  void setImplementation(std::unique_ptr<MdMeshRepresentation> implementation);
  MxAttributesManager& getAttributesManager() const { return *m_attributes; }
  MdWarnings& getWarnings() const { return *m_warnings; }
  /// What extractors are given as their callback; never deleted while an extraction may use it.
  MdUserExtractorCallback& getUserCallback() const { return *m_userCallback; }
  /// Who hears of building what is drawn, when that lasts; null for nobody. The log of extractions
  /// does not.
  MdUserExtractorCallback* getBuildCallback() const;
  /// What the representation produced is another object.
  void renewTimeStamp();
  /// The detail that picks of this representation carry, null before the first mesh.
  MoMeshDetail* getMeshDetail() const { return m_detail.get(); }

protected:
  MoMeshRepresentation();
  ~MoMeshRepresentation() override;

private:
  /// The representation that the mesh came from when it was looked at last.
  struct Source
  {
    std::shared_ptr<MxConnection> connection; ///< null for an application's mesh
    std::uint64_t stamp = 0;                  ///< of the result that was looked at
  };

  static void clearCB(void* self, SoSensor* sensor);
  void extractAndTraverse(SoAction* action);
  void tellConnected(SoAction* action);
  bool dropResults();
  void emptyWithoutMesh();
  void takeSource(MoMeshRepresentation* source);
  MoMeshRepresentation* getSource() const;
  bool isExtractedFrom(const MoMeshRepresentation& other) const;
  void describeMesh(const MoMeshRepresentation* source, const MiMesh* mesh, MeshType type);
  void nameFirstMesh(MoCellPick& pick) const;
  const MiTypedDataSet<double>* mapScalarSet(const MiTypedDataSet<double>* set) const;
  const MiTypedDataSet<double>* mapScalarSet(SoState* state, unsigned long id) const;
  const MiTypedDataSet<MbVec3d>* mapVec3Set(SoState* state, unsigned long id) const;

  std::unique_ptr<MdMeshRepresentation> m_implementation;
  MiExtractorCallback* m_callback = nullptr;
  SoRef<MdUserExtractorCallback> m_userCallback;
  std::unique_ptr<MdProfilingTool> m_profiling; // only when the preference asks for it
  std::unique_ptr<SoFieldSensor> m_parallelSensor;
  std::unique_ptr<MoMeshDetail> m_detail;
  std::unique_ptr<MxAttributesManager> m_attributes;
  std::unique_ptr<MdWarnings> m_warnings;
  std::shared_ptr<MxConnection> m_connection;
  Source m_source;
  std::uint64_t m_timeStamp, m_toldStamp;
  bool m_isResultKnown = false; ///< to those connected: they may show something of it
  bool m_isUsingTessellator = false;
  bool m_keepsPicture = false;
};
