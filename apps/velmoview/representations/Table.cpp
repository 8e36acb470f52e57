#include <velmoview/representations/Representation.h>

namespace velmoview {

extern const RepresentationRow kSkinRow;

namespace {

constexpr const RepresentationRow* kTable[] = {
    &kSkinRow,
};

} // namespace

std::span<const RepresentationRow* const> representationTable()
{
  return kTable;
}

} // namespace velmoview
