#include <velmo/mesh/views/MxCellView.h>

namespace {
// Every kind of the table has a view with all that algorithms ask for.
template <MeshType... Kinds>
constexpr bool allAreViews(MxKinds<Kinds...>)
{
  return (MxCellViewLike<MxCellView<Kinds>> && ...);
}
static_assert(allAreViews(MxAllKinds{}));
} // namespace
