#pragma once

#include <velmo/representation/MoMeshRepresentation.h>

#include <Inventor/fields/SoMFVec3f.h>
#include <Inventor/fields/SoSFDouble.h>
#include <Inventor/fields/SoSFEnum.h>
#include <Inventor/fields/SoSFInt32.h>

class MdLineMeshes;
class MiStreamlineExtractHexahedronIjk;
class MiStreamlineExtractIjk;
class MiStreamlineExtractUnstructured;

/// Draws the paths of particles that are let go at given points and follow a vector field on a
/// volume mesh; lit, where there is light, by their directions.
///
/// Serves unstructured, hexahedron IJK, regular, rectilinear and curvilinear volumes; a mesh of
/// another kind is refused with a warning and nothing is drawn. A line ends where it leaves the
/// mesh or the cells that the filter leaves, at any of the limits, and where it stands still;
/// without a limit of time, length or steps after 10000 steps. MiStreamlineExtract::getEnd tells
/// which of these it was.
class MoMeshStreamline : public MoMeshRepresentation
{
  MO_NODE_HEADER(MoMeshStreamline);

public:
  enum IntegrationDirection
  {
    FORWARD = 0,
    BACKWARD = 1
  };

  /// Which vector set of the state is followed, counted from 0; 0 by default.
  SoSFInt32 vec3SetId;
  /// Where the lines begin, one each, in mesh space; the point (0, 0, 0) by default.
  SoMFVec3f startingPoints;

  // Limits; 0, the default of each, is none.

  /// Of the time from the seed on, in the units of length and speed.
  SoSFDouble maxLifeTime;
  SoSFDouble maxLength;
  /// A line stops where it is slower.
  SoSFDouble minSpeed;
  /// The longest step as a part of the cell's size along the line; 0.3 in single precision by
  /// default.
  SoSFDouble integrationStepLengthFactor;
  SoSFInt32 maxStepNumber;
  /// FORWARD by default.
  SoSFEnum direction;

  MoMeshStreamline();
  void clear() override;
  void doExtract(SoAction* action) override;

  // The extractor in use, null when there is none or it is of another class. Owned by the node,
  // until its results are thrown away.
  MiStreamlineExtractUnstructured* getUnstructuredExtractor() const;
  MiStreamlineExtractHexahedronIjk* getHexahedronIjkExtractor() const;
  /// The same as getHexahedronIjkExtractor.
  MiStreamlineExtractHexahedronIjk* getUnstructuredIjkExtractor() const;
  MiStreamlineExtractIjk* getIjkExtractor() const;

  // For the implementations of representations.
  void clearBuilders() override;
  MdLineMeshes& getLineMeshes() const { return *m_lineMeshes; }

protected:
  ~MoMeshStreamline() override;

private:
  std::unique_ptr<MdLineMeshes> m_lineMeshes;
};
