#pragma once

#include <velmo/extraction/extractors/MiExtractor.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>

/// A row of the table of extractors: the name of the interface's class, and what implements it for
/// the kinds of mesh that it serves.
template <template <class Interface, MeshType K> class Implementation>
struct MxExtractorRow
{
  const char* name;

  template <class Interface, class Mesh>
  using Type = Implementation<Interface, meshTypeOf<Mesh>(MxAllKinds{})>;
};

/// The table of extractors; a row stands beside each implementation.
template <class Extractor>
inline constexpr int kExtractorRow = 0;

template <class Extractor, class Mesh>
std::unique_ptr<Extractor>
MiExtractorMaker<Extractor, Mesh>::getNewInstance(const Mesh& mesh, bool parallel,
                                                  const MiTessellator* tessellator)
{
  constexpr auto row = kExtractorRow<Extractor>;
  return std::make_unique<typename decltype(row)::template Type<Extractor, Mesh>>(
      mesh, parallel, tessellator, row.name);
}
