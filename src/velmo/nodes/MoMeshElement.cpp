#include <velmo/nodes/MoMeshElement.h>

MO_ELEMENT_SOURCE(MoMeshElement, SoReplacedElement)

void MoMeshElement::set(SoState* state, SoNode* node, MeshType type, const MiMesh* mesh,
                        MoMeshRepresentation* connectedRepresentation, std::uint64_t timeStamp)
{
  if (auto* values = write(state, node)) *values = {mesh, type, timeStamp, connectedRepresentation};
}

const MiMesh* MoMeshElement::getMesh(SoState* state, MeshType& type, std::uint64_t& timeStamp)
{
  type = UNDEFINED_MESH;
  const auto* values = read(state);
  if (!values) return nullptr;
  type = values->type;
  timeStamp = values->timeStamp;
  return values->mesh;
}

MoMeshRepresentation* MoMeshElement::getConnectedRepresentation(SoState* state, MeshType& type)
{
  type = UNDEFINED_MESH;
  const auto* values = read(state);
  if (!values) return nullptr;
  type = values->type;
  return values->connectedRepresentation;
}

SbBool MoMeshElement::matches(const SoElement* other) const
{
  return MoReplacedElement::matches(other) && SoReplacedElement::matches(other);
}
