#pragma once

#include <velmo/extraction/interfaces/MeshType.h>
#include <velmo/toolkit/classes/MoReplacedElement.h>

#include <cstdint>

class MiMesh;
class MoMeshRepresentation;

/// What MoMeshElement carries.
struct MoMeshElementValues
{
  const MiMesh* mesh = nullptr;
  MeshType type = UNDEFINED_MESH;
  std::uint64_t timeStamp = ~std::uint64_t{0};
  MoMeshRepresentation* connectedRepresentation = nullptr;

  friend bool operator==(const MoMeshElementValues&, const MoMeshElementValues&) = default;
};

/// The mesh that representations extract from.
class MoMeshElement : public MoReplacedElement<MoMeshElement, MoMeshElementValues>
{
  MO_ELEMENT_HEADER(MoMeshElement);
  friend class MoReplacedElement<MoMeshElement, MoMeshElementValues>;

public:
  static void set(SoState* state, SoNode* node, MeshType type, const MiMesh* mesh,
                  MoMeshRepresentation* connectedRepresentation, std::uint64_t timeStamp);
  /// Null and UNDEFINED_MESH when there is none; the stamp is left alone in a state without this
  /// element.
  static const MiMesh* getMesh(SoState* state, MeshType& type, std::uint64_t& timeStamp);
  /// The representation whose result is the mesh, null for an application's mesh.
  static MoMeshRepresentation* getConnectedRepresentation(SoState* state, MeshType& type);

  std::uint64_t getTimeStamp() const { return m_values.timeStamp; }

  /// Also the node must be the same, untouched.
  SbBool matches(const SoElement* other) const override;

protected:
  ~MoMeshElement() override = default;
};
