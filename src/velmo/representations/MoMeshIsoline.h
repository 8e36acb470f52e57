#pragma once

#include <velmo/representation/MoMeshLineRepresentation.h>

#include <Inventor/fields/SoMFFloat.h>
#include <Inventor/fields/SoSFInt32.h>
#include <Inventor/fields/SoSFUShort.h>

#include <memory>

class MdLineMeshes;
class MiIsolineExtractIj;
class MiIsolineExtractUnstructured;

/// Draws, on a surface mesh, the lines along which a scalar set takes each of several values: the
/// border between the nodes below a value and those that reach it.
///
/// Every `majorPeriod`-th line is a major one with a line pattern of its own. A mesh of another
/// kind, or the lack of a set with values per node, is told by a warning and nothing is drawn. In a
/// MoDrawStyle, lines are the edges.
class MoMeshIsoline : public MoMeshLineRepresentation
{
  MO_NODE_HEADER(MoMeshIsoline);

public:
  /// The values whose lines are drawn, in drawing order; none by default.
  SoMFFloat isovalues;
  /// Which scalar set of the state takes the values, counted from 0; 0 by default. Independent of
  /// the set that colours the lines.
  SoSFInt32 isoScalarSetId;
  /// Every N-th line, by this number, is a major one; 0 makes all major. 3 by default.
  SoSFUShort majorPeriod;
  /// The index in `isovalues` of a major line; the others follow in both directions. 0 by default.
  SoSFUShort firstMajor;
  /// The pattern of major lines, a bit for each of 16 pixels; 0xFFFF, solid, by default.
  SoSFUShort majorLinePattern;
  /// The pattern of the other lines; 0x0F0F, dashed, by default.
  SoSFUShort minorLinePattern;

  MoMeshIsoline();
  void doExtract(SoAction* action) override;

  // The extractor in use, null when there is none or it is of another class. Owned by the node,
  // until its results are thrown away.
  MiIsolineExtractUnstructured* getUnstructuredExtractor() const;
  MiIsolineExtractIj* getIjExtractor() const;

  // For the implementations of representations.
  void clearBuilders() override;
  /// One builder for each line set, in the order of `isovalues`.
  MdLineMeshes& getLineMeshes() const { return *m_lineMeshes; }

protected:
  ~MoMeshIsoline() override;

private:
  std::unique_ptr<MdLineMeshes> m_lineMeshes;
};
