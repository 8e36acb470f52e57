#pragma once

#include <velmo/representation/MdMeshSurfaceOf.h>

#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/nodes/SoShapeHints.h>
#include <Inventor/SbVec3f.h>

inline MbVec3d mdVector(const SbVec3f& v)
{
  return {v[0], v[1], v[2]};
}

/// The shape hints that every slice begins with. The crease angle stays that of the application.
inline void mdAddSliceHints(SoSeparator* hiddenRoot)
{
  auto* hints = new SoShapeHints;
  hints->vertexOrdering = SoShapeHints::COUNTERCLOCKWISE;
  hints->shapeType = SoShapeHints::UNKNOWN_SHAPE_TYPE;
  hints->faceType = SoShapeHints::CONVEX;
  hints->creaseAngle.setIgnored(TRUE);
  hiddenRoot->insertChild(hints, 0);
}
