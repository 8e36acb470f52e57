#include <velmoview/representations/Representation.h>

namespace velmoview {

extern const RepresentationRow kSkinRow;
extern const RepresentationRow kIsosurfaceRow, kPlaneRow, kSphereRow, kCylinderRow;

namespace {

constexpr const RepresentationRow* kTable[] = {
    &kSkinRow, &kIsosurfaceRow, &kPlaneRow, &kSphereRow, &kCylinderRow,
};

} // namespace

std::span<const RepresentationRow* const> representationTable()
{
  return kTable;
}

} // namespace velmoview
