#include <velmoview/representations/Representation.h>

namespace velmoview {

extern const RepresentationRow kSkinRow;
extern const RepresentationRow kSurfaceRow, kLineRow, kIsolinesRow;
extern const RepresentationRow kIsosurfaceRow, kPlaneRow, kSphereRow, kCylinderRow;
extern const RepresentationRow kLogicalSliceRow;
extern const RepresentationRow kInterpolatedSliceRow;
extern const RepresentationRow kSlabRow;

extern const RepresentationRow kStreamlinesRow;

namespace {

constexpr const RepresentationRow* kTable[] = {
    &kSkinRow,  &kSurfaceRow,     &kLineRow,     &kIsolinesRow,     &kIsosurfaceRow,
    &kPlaneRow, &kSphereRow,      &kCylinderRow, &kLogicalSliceRow, &kInterpolatedSliceRow,
    &kSlabRow,  &kStreamlinesRow,
};

} // namespace

std::span<const RepresentationRow* const> representationTable()
{
  return kTable;
}

} // namespace velmoview
