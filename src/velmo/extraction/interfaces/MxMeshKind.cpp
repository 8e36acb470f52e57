#include <velmo/extraction/interfaces/MxMeshKind.h>

namespace {
template <MeshType... Kinds>
MeshType firstKind(MxKinds<Kinds...>, const MiMesh* mesh)
{
  MeshType found = UNDEFINED_MESH;
  (void)((dynamic_cast<const typename MxMeshKind<Kinds>::Interface*>(mesh) &&
          (found = Kinds, true)) ||
         ...);
  return found;
}
} // namespace

MeshType classifyMesh(const MiMesh* mesh)
{
  return mesh ? firstKind(MxAllKinds{}, mesh) : UNDEFINED_MESH;
}

const char* meshTypeName(MeshType type)
{
  switch (type) {
  case VOLUME_MESH_UNSTRUCTURED:
    return "VOLUME_MESH_UNSTRUCTURED";
  case VOLUME_MESH_HEXAHEDRON_IJK:
    return "VOLUME_MESH_HEXAHEDRON_IJK";
  case VOLUME_MESH_VERTEX_HEXAHEDRON_IJK:
    return "VOLUME_MESH_VERTEX_HEXAHEDRON_IJK";
  case VOLUME_MESH_REGULAR:
    return "VOLUME_MESH_REGULAR";
  case VOLUME_MESH_RECTILINEAR:
    return "VOLUME_MESH_RECTILINEAR";
  case VOLUME_MESH_CURVILINEAR:
    return "VOLUME_MESH_CURVILINEAR";
  case SURFACE_MESH_UNSTRUCTURED:
    return "SURFACE_MESH_UNSTRUCTURED";
  case SURFACE_MESH_REGULAR:
    return "SURFACE_MESH_REGULAR";
  case SURFACE_MESH_RECTILINEAR:
    return "SURFACE_MESH_RECTILINEAR";
  case SURFACE_MESH_CURVILINEAR:
    return "SURFACE_MESH_CURVILINEAR";
  case LINE_MESH_UNSTRUCTURED:
    return "LINE_MESH_UNSTRUCTURED";
  case LINE_MESH_REGULAR:
    return "LINE_MESH_REGULAR";
  case LINE_MESH_CURVILINEAR:
    return "LINE_MESH_CURVILINEAR";
  case UNDEFINED_MESH:
    break;
  }
  return "UNDEFINED_MESH";
}
