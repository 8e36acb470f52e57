#pragma once

#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/extraction/interfaces/MiExtractorCallback.h>
#include <velmo/extraction/interfaces/MiTessellator.h>
#include <velmo/mesh/MeXLineMeshes.h>
#include <velmo/mesh/MeXMesh.h>

#include <memory>
#include <string>
#include <vector>

/// What all extractors can do: report progress and warnings, and map data sets onto what they
/// extracted.
///
/// An extractor is made for one mesh, which it borrows. Asked again with equal stamps and arguments
/// it returns the same objects with the same stamps at no cost. A result whose cells are those of
/// the one before, while only its points moved, keeps the stamp of its topology.
///
/// *Failure*: an extraction that throws leaves an empty result; the next one starts afresh and
/// gives what it would have given. What it shares with other extractors of the mesh is kept only
/// when it was finished.
///
/// *Threads*: used from one thread at a time, which may be another one for each extraction. Several
/// extractors of one mesh may work at the same time. The mesh, the sets, the filter and the
/// tessellator are read by several threads at once and must not change meanwhile. An extraction may
/// write over the results of the last one: who goes on reading those, in another thread or later,
/// holds them (holdResults).
class MiExtractor
{
public:
  virtual ~MiExtractor() = default;

  /// Who hears of progress and may cancel; borrowed, null for nobody. A set function tells of its
  /// work as of an extraction of one phase when it takes longer than a tenth of a second.
  virtual void setCallback(MiExtractorCallback* callback) = 0;

  /// Holds all that the extractor has given out and not taken back by a later extraction: meshes,
  /// and the sets mapped onto them. As long as the handle lives they stay where they are and as
  /// they are, whatever the extractor does, and when it is gone. Several handles may be held.
  /// *Threads*: called as the extractor's other functions are; the handle and what it holds may be
  /// used and let go in any thread.
  virtual std::shared_ptr<const void> holdResults() const = 0;

  /// What the last extraction had to leave out (broken cells, unknown shapes), one sentence each;
  /// empty when all went well. Not repeated while the mesh's stamps stay the same.
  virtual const std::vector<std::string>& getWarnings() const = 0;
};

/// An extractor of surfaces, with the edges and points that are drawn on them.
///
/// The set functions map a data set of the source mesh onto the last extracted surface (lines,
/// points). They return null when the set's numbering, binding and size do not fit the mesh;
/// otherwise a set that stays valid until the extractor has extracted anew or the source set
/// changed and was mapped again, and longer for those who hold it (holdResults). They throw
/// std::bad_alloc and MiCancellationException.
class MiSurfaceExtractor : public MiExtractor
{
public:
  /// The last extracted surface, null before the first extraction.
  virtual const MeXSurfaceMeshUnstructured* getSurface() const = 0;
  virtual const MeXDataSetI<double>* extractScalarSet(const MiTypedDataSet<double>& set) = 0;
  virtual const MeXDataSetI<MbVec3d>* extractVec3Set(const MiTypedDataSet<MbVec3d>& set) = 0;
  virtual const MeXDataSetI<std::string>*
  extractStringSet(const MiTypedDataSet<std::string>& set) = 0;
  virtual const MeXDataSetI<double>* extractLineScalarSet(const MiTypedDataSet<double>& set) = 0;
  virtual const MeXDataSetI<double>* extractPointsScalarSet(const MiTypedDataSet<double>& set) = 0;
};

/// An extractor of lines, with the points that are drawn on them; as MiSurfaceExtractor.
class MiLineExtractor : public MiExtractor
{
public:
  /// The last extracted lines, null before the first extraction.
  virtual const MeXLineMeshUnstructured* getLines() const = 0;
  virtual const MeXDataSetI<double>* extractScalarSet(const MiTypedDataSet<double>& set) = 0;
  virtual const MeXDataSetI<MbVec3d>* extractVec3Set(const MiTypedDataSet<MbVec3d>& set) = 0;
  virtual const MeXDataSetI<std::string>*
  extractStringSet(const MiTypedDataSet<std::string>& set) = 0;
  virtual const MeXDataSetI<double>* extractPointsScalarSet(const MiTypedDataSet<double>& set) = 0;
};

/// An extractor of several sets of lines that are drawn apart.
///
/// The set functions map a data set of the source mesh onto line set `index` of the last
/// extraction, as MiSurfaceExtractor does. Lines that run through several cells have the values of
/// cells at their nodes: each node that of the cell into which the line goes on.
class MiMultiLineExtractor : public MiExtractor
{
public:
  /// The line sets of the last extraction; empty before the first. The list is the extractor's and
  /// changes with the next extraction; its line sets may be held, or shared by copying the list.
  virtual const MeXLineMeshes& getLines() const = 0;
  virtual const MeXDataSetI<double>* extractScalarSet(std::size_t index,
                                                      const MiTypedDataSet<double>& set) = 0;
  virtual const MeXDataSetI<MbVec3d>* extractVec3Set(std::size_t index,
                                                     const MiTypedDataSet<MbVec3d>& set) = 0;
  virtual const MeXDataSetI<std::string>*
  extractStringSet(std::size_t index, const MiTypedDataSet<std::string>& set) = 0;
};

/// Makes extractors of one class for one kind of mesh.
template <class Extractor, class Mesh>
struct MiExtractorMaker
{
  /// @param mesh         borrowed, outlives the extractor
  /// @param parallel     several threads may work
  /// @param tessellator  refines higher-order cells, null for none; borrowed, outlives the
  ///                     extractor
  static std::unique_ptr<Extractor> getNewInstance(const Mesh& mesh, bool parallel,
                                                   const MiTessellator* tessellator = nullptr);
};

/// A base of extractor classes: one getNewInstance for each kind of mesh that the class serves.
template <class Extractor, class... Meshes>
struct MiExtractorMakers : MiExtractorMaker<Extractor, Meshes>...
{
  using MiExtractorMaker<Extractor, Meshes>::getNewInstance...;
};

/// The makers of classes for the grids whose cells and nodes are numbered (i, j, k).
template <class Extractor>
using MiIjkExtractorMakers =
    MiExtractorMakers<Extractor, MiVolumeMeshVertexHexahedronIjk, MiVolumeMeshRegular,
                      MiVolumeMeshRectilinear, MiVolumeMeshCurvilinear>;
