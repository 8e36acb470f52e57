#include <velmo/extraction/interfaces/MxCellShapes.h>

namespace {

// The shapes are numbered below 64.
struct Tables
{
  std::array<MxShapeFaces, 64> linear, whole, flat;
};

constexpr Tables makeTables()
{
  Tables tables;
  for (std::uint8_t number = 0; number < 64; ++number) {
    const auto shape = static_cast<MiCellShape>(number);
    tables.whole[number] = shapeFaces(shape);
    tables.linear[number] = linearShapeFaces(shape);
    tables.flat[number] = flatParts(shape);
  }
  return tables;
}

constexpr Tables kTables = makeTables();

constexpr std::size_t row(MiCellShape shape)
{
  const auto number = static_cast<std::size_t>(shape);
  return number < 64 ? number : 0;
}

} // namespace

const MxShapeFaces& findLinearFaces(MiCellShape shape)
{
  return kTables.linear[row(shape)];
}

const MxShapeFaces& findWholeFaces(MiCellShape shape)
{
  return kTables.whole[row(shape)];
}

const MxShapeFaces& findFlatParts(MiCellShape shape)
{
  return kTables.flat[row(shape)];
}
