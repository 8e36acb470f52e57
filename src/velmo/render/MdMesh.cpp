#include <velmo/render/MdMesh.h>

#include <velmo/base/MxTimeStamp.h>
#include <velmo/colormapping/MoColorMappingElement.h>
#include <velmo/colormapping/MoCombineColorMappingElement.h>
#include <velmo/nodes/MoDrawStyleElement.h>
#include <velmo/render/MxEdgeLengthStat.h>
#include <velmo/toolkit/shapes/TkBBoxSeparator.h>

#include <Inventor/elements/SoCacheElement.h>
#include <Inventor/nodes/SoShaderProgram.h>

MdMesh::MdMesh(SoGroup* parent) : m_separator(new TkBBoxSeparator)
{
  parent->addChild(m_separator);
}

MdMesh::~MdMesh() = default;

void MdMesh::setSceneGraph(std::unique_ptr<MxMeshSceneGraph> sceneGraph)
{
  m_sceneGraph = std::move(sceneGraph);
}

const MiMesh* MdMesh::getExtractedMesh(MeshType& type) const
{
  type = m_parts.type;
  return m_parts.mesh;
}

void MdMesh::clear()
{
  if (!m_parts.mesh && !m_filledKeep && m_topologyChanged && m_geometryChanged) return;
  m_parts = {};
  m_colorSets.clear();
  m_keep.reset();
  forgetFill();
}

// Empties the nodes; the next fill fills everything.
void MdMesh::forgetFill()
{
  m_sceneGraph->clear();
  m_topologyStamp = m_geometryStamp = MxTimeStamp::kNone;
  m_indices = nullptr;
  m_valueStamps.clear();
  m_topologyChanged = m_geometryChanged = m_valuesChanged = true;
  m_mappingStamp = m_combinedMappingStamp = MxTimeStamp::kNone;
  m_filledKeep.reset();
}

void MdMesh::rayPick(SoRayPickAction*) {}

bool MdMesh::isFilledFrom(const Parts& parts) const
{
  return m_geometryStamp == parts.geometry->getTimeStamp() &&
         (!parts.topology || (m_topologyStamp == parts.topology->getTimeStamp() &&
                              m_indices == parts.topology->indices().data()));
}

void MdMesh::setParts(SoState* state, const Parts& parts, const ColorSets& colorSets,
                      const MxRefCounted* keep)
{
  m_parts = parts;
  m_colorSets = colorSets;
  m_keep.reset(keep);
  refill(state);
  afterSet(state);
}

void MdMesh::refill(SoState* state)
{
  if (!haveValuesChanged(state)) {
    // Nothing of this mesh is shown now, but the nodes may still point at arrays that the
    // extraction has replaced, and boxes and picks read them.
    if (!m_topologyChanged && !m_geometryChanged && !isFilledFrom(m_parts)) forgetFill();
    return;
  }
  fillPrimitives(state);
  afterFill(state);
  m_topologyChanged = m_geometryChanged = m_valuesChanged = false;
  m_filledKeep = m_keep;
  m_attributes = MdAttributeCache::build(state);
}

bool MdMesh::haveValuesChanged(SoState* state)
{
  if (!m_parts.mesh || !m_sceneGraph->isEnabled(state)) return false;
  // What the last fill depended on, whoever caches this traversal depends on as well.
  if (m_attributes) SoCacheElement::addCacheDependency(state, m_attributes);

  const auto update = [](auto& stamp, const auto& present, bool& changed) {
    if (stamp == present) return;
    stamp = present;
    changed = true;
  };
  if (m_parts.topology) {
    update(m_topologyStamp, m_parts.topology->getTimeStamp(), m_topologyChanged);
    // The same cells may have been written again to another place.
    update(m_indices, m_parts.topology->indices().data(), m_topologyChanged);
  }
  update(m_geometryStamp, m_parts.geometry->getTimeStamp(), m_geometryChanged);

  if (m_valueStamps.size() != m_colorSets.size()) m_valuesChanged = true;
  m_valueStamps.resize(m_colorSets.size(), 0);
  for (std::size_t i = 0; i < m_colorSets.size(); ++i)
    update(m_valueStamps[i], m_colorSets[i] ? m_colorSets[i]->getTimeStamp() : MxTimeStamp::kNone,
           m_valuesChanged);

  const MiScalarColorMapping* mapping = MoColorMappingElement::getColorMapping(state);
  const MiCombineColorMapping* combined = MoCombineColorMappingElement::getColorMapping(state);
  if (m_sceneGraph->setMaterial(state, mapping)) m_valuesChanged = true;
  // Both mappings count: with both in the state, the single one colours and the combined one
  // chooses the sets.
  update(m_mappingStamp, mapping ? mapping->getTimeStamp() : MxTimeStamp::kNone, m_valuesChanged);
  update(m_combinedMappingStamp, combined ? combined->getTimeStamp() : MxTimeStamp::kNone,
         m_valuesChanged);
  return m_topologyChanged || m_geometryChanged || m_valuesChanged;
}

void MdIndexedMesh::setIgnoreExtraStyle(bool ignore)
{
  sceneGraph().setIgnoreExtraStyle(ignore);
}

SoShaderProgram* MdIndexedMesh::getFadingShaderProgram() const
{
  return getSceneGraph().getFadingShaderProgram();
}

void MdIndexedMesh::fillPrimitives(SoState* state)
{
  auto& graph = static_cast<MxUnstrMeshSceneGraph&>(sceneGraph());
  // New indices may name vertices that the old coordinates do not have; nobody looks in between.
  const Parts& parts = getParts();
  if (haveIndicesChanged())
    graph.fillIndices(parts.cells ? *parts.cells : *parts.topology, parts.topology->getBuffer());
  if (hasGeometryChanged()) graph.fillGeometry(*parts.geometry);
  if (haveColorsChanged()) graph.fillColors(state, getColorSets());
}

void MdIndexedMesh::afterSet(SoState* state)
{
  // Of a hundred bins, the one up to which a fifth of the edges lie: most edges are as long, and a
  // few slivers do not count.
  constexpr std::size_t kBins = 100;
  constexpr double kShare = 0.2;
  sceneGraph().updateFading(MoDrawStyleElement::getFadingThreshold(state), [this] {
    const Parts& parts = getParts();
    if (!parts.mesh) return 0.0;
    return MxEdgeLengthStat(*parts.topology, *parts.geometry, parts.type < LINE_MESH_UNSTRUCTURED)
        .lengthAt(kShare, kBins);
  });
}
