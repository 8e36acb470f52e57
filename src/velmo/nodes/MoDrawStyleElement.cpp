#include <velmo/nodes/MoDrawStyleElement.h>

#include <velmo/nodes/MoDrawStyle.h>

MO_ELEMENT_SOURCE(MoDrawStyleElement, SoReplacedElement)

void MoDrawStyleElement::set(SoState* state, MoDrawStyle* node)
{
  set(state, node, node->displayFaces.getValue(), node->displayEdges.getValue(),
      node->displayPoints.getValue(), node->fadingThreshold.getValue());
}

void MoDrawStyleElement::set(SoState* state, SoNode* node, bool faces, bool edges, bool points,
                             float fadingThreshold)
{
  if (auto* values = write(state, node)) *values = {faces, edges, points, fadingThreshold, true};
}

bool MoDrawStyleElement::getDrawStyle(SoState* state, bool& faces, bool& edges, bool& points)
{
  const auto* found = read(state);
  const MoDrawStyleElementValues values = found ? *found : MoDrawStyleElementValues{};
  faces = values.faces;
  edges = values.edges;
  points = values.points;
  return values.isSet;
}

float MoDrawStyleElement::getFadingThreshold(SoState* state)
{
  const auto* values = read(state);
  return values ? values->fadingThreshold : MoDrawStyleElementValues{}.fadingThreshold;
}

void MoDrawStyleElement::getDefault(bool& faces, bool& edges, bool& points, float& fadingThreshold)
{
  const MoDrawStyleElementValues values;
  faces = values.faces;
  edges = values.edges;
  points = values.points;
  fadingThreshold = values.fadingThreshold;
}
