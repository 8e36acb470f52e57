#pragma once

#include <velmo/extraction/interfaces/MeshType.h>
#include <velmo/extraction/interfaces/MiDataSet.h>

class MiExtractor;
class MiMesh;
class SoRayPickAction;
class SoState;

/// What a representation node delegates to: the part of it that depends on the kind of the mesh.
/// Owned by the node, replaced when the kind changes. *Threads*: the traversing thread's.
class MdMeshRepresentation
{
public:
  virtual ~MdMeshRepresentation() = default;

  /// Null before the first extraction.
  virtual MiExtractor* getExtractor() = 0;
  /// The kind of mesh that this object extracts from.
  virtual MeshType getMeshType() const = 0;
  virtual void rayPick(SoRayPickAction* action) = 0;
  /// Extracts when something changed and hands the result to the builders.
  virtual void doExtract(SoState* state, const MiMesh* mesh) = 0;
  /// A set of the source mesh on the extracted mesh; null where it does not fit.
  virtual const MiTypedDataSet<double>* extractScalarSet(const MiTypedDataSet<double>* set) = 0;
  virtual void clear() = 0;
  /// Clears unless the results are in use; false then, and nothing has changed.
  virtual bool tryClear() = 0;
  /// The mesh of the last extraction and its kind; null and UNDEFINED_MESH without one.
  virtual const MiMesh* getExtractedMesh(MeshType& type) = 0;
  virtual const MiTypedDataSet<double>* extractScalarSet(SoState* state, unsigned long id) = 0;
  virtual const MiTypedDataSet<MbVec3d>* extractVec3Set(SoState* state, unsigned long id) = 0;
  /// As extractScalarSet.
  virtual const MiTypedDataSet<MbVec3d>* extractVec3Set(const MiTypedDataSet<MbVec3d>* set) = 0;
  /// An extraction runs in the background, or its result waits for the next traversal.
  virtual bool isExtracting() const { return false; }
  /// Waits for the end of what runs in the background.
  virtual void waitForExtraction() {}
  /// Extractions run in the background from now on, where they can.
  virtual void setAsynchronous(bool) {}
};
