#include <velmo/toolkit/shapes/TkVertexProperty.h>

MO_NODE_SOURCE(TkVertexProperty, SoVertexProperty)

TkVertexProperty::TkVertexProperty()
{
  SO_NODE_CONSTRUCTOR(TkVertexProperty);
  SO_NODE_ADD_EMPTY_MFIELD(tangent);
  SO_NODE_ADD_FIELD(tangentBinding, (OVERALL));
  // The enumeration's values come with the parent's field data.
  SO_NODE_SET_SF_ENUM_TYPE(tangentBinding, Binding);
}
