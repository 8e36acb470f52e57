#pragma once

#include <velmo/base/MxArray.h>
#include <velmo/toolkit/shapes/MxFaceTable.h>
#include <velmo/toolkit/shapes/MxShapeData.h>

/// The edges of the faces, each once however many faces share it: two element numbers of the
/// layout an edge, in the order of the lower vertex. The last face decides which corners stand for
/// it; the diagonals of polygons are none of them.
MxArray<std::uint32_t> mxUniqueEdges(const MxFaceTable& faces, std::size_t vertexCount,
                                     MxFaceLayout layout);

/// The edges of one face only, as above.
MxArray<std::uint32_t> mxOpenEdges(const MxFaceTable& faces, std::size_t vertexCount,
                                   MxFaceLayout layout);

/// The vertices that the faces use, each once, as element numbers of the layout; those of the
/// last face.
MxArray<std::uint32_t> mxUsedVertices(const MxFaceTable& faces, std::size_t vertexCount,
                                      MxFaceLayout layout);
