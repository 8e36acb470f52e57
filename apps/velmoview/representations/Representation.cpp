#include <velmoview/representations/Representation.h>

#include <velmoview/Arrays.h>

#include <velmo/nodes/MoScalarSet.h>

#include <nlohmann/json.hpp>

namespace velmoview {

Stage::Stage(const Subject& subject, SoGroup& group, int setCount)
    : m_subject(subject), m_group(group), m_setCount(setCount), m_isColored(setCount > 0)
{}

int Stage::addScalarSet(const ModelArray& array)
{
  auto* node = new MoScalarSet;
  node->setScalarSet(&scalarsOf(m_subject.model, array));
  m_group.addChild(node);
  return m_setCount++;
}

nlohmann::ordered_json Representation::arguments() const
{
  return nlohmann::ordered_json::object();
}

std::vector<const MiMesh*> Representation::extracted(const MoMeshRepresentation& node) const
{
  MeshType kind = UNDEFINED_MESH;
  const MiMesh* mesh = node.getExtractedMesh(kind);
  return mesh ? std::vector<const MiMesh*>{mesh} : std::vector<const MiMesh*>{};
}

std::vector<MbExtractedPart> Representation::savedParts(const MoMeshRepresentation& node) const
{
  std::vector<MbExtractedPart> parts;
  for (const MiMesh* mesh : extracted(node))
    parts.push_back({mesh, {}});
  return parts;
}

MbNamedArray ownArray(const char* name, MiDataBinding binding, std::span<const double> values)
{
  const auto owner = std::make_shared<const std::vector<double>>(values.begin(), values.end());
  return {name, binding, 1, MiArrayView(std::span<const double>(*owner)), owner};
}

} // namespace velmoview
