#include <velmo/mesh/MxShapeFunctions.h>

MxShapePlace shapeCorner(MiCellShape linear, std::size_t corner)
{
  MxShapePlace place;
  if (linear == MiCellShape::Line)
    place.x[0] = static_cast<double>(corner);
  else
    visitFixedShape(linear, [&]<MiCellShape Shape>() { place.x = kShapeNodes<Shape>.at[corner]; });
  return place;
}

void appendShapeValues(MiCellShape shape, const MxShapePlace& place, std::vector<double>& values)
{
  const MxQuotient r[3] = {
      {place.x[0], place.scale}, {place.x[1], place.scale}, {place.x[2], place.scale}};
  const auto append = [&]<MiCellShape Shape>() {
    MxQuotient weights[kMostShapeNodes];
    shapeWeights<Shape>(r, weights);
    for (std::size_t n = 0; n < cellShapeFacts(Shape).nodeCount; ++n)
      values.push_back(weights[n].value());
  };
  if (shape == MiCellShape::QuadraticLine)
    append.operator()<MiCellShape::QuadraticLine>();
  else
    visitFixedShape(shape, append);
}
