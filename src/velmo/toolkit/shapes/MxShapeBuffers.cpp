#define GL_GLEXT_PROTOTYPES 1

#include <velmo/toolkit/shapes/MxShapeBuffers.h>

#include <cstring>
#include <Inventor/system/gl.h>

void MxShapeBuffers::release()
{
  for (MxGlBuffer& stream : m_streams)
    stream.release();
}

bool MxShapeBuffers::holds(const MxShapeData& data) const
{
  const MxGlBuffer& stream = m_streams[Positions];
  return !stream.isEmpty() && stream.keys()[0] == data.positions.key &&
         (!hasCorners() || stream.keys()[1] == data.topology);
}

unsigned MxShapeBuffers::arrayTarget()
{
  return GL_ARRAY_BUFFER;
}

unsigned MxShapeBuffers::elementTarget()
{
  return GL_ELEMENT_ARRAY_BUFFER;
}

void MxShapeBuffers::useColors()
{
  glColorPointer(4, GL_UNSIGNED_BYTE, 0, atStart());
  glEnableClientState(GL_COLOR_ARRAY);
}

void MxShapeBuffers::useCoordinates()
{
  glTexCoordPointer(2, GL_FLOAT, 0, atStart());
  glEnableClientState(GL_TEXTURE_COORD_ARRAY);
}

void MxShapeBuffers::usePositions()
{
  glVertexPointer(3, GL_FLOAT, 0, atStart());
  glEnableClientState(GL_VERTEX_ARRAY);
}

bool MxShapeBuffers::takeElements(MxGlBuffer& stream, const MxGlBuffer::Keys& keys,
                                  const MxArray<std::uint32_t>& elements)
{
  return stream.update<std::uint32_t>(
      GL_ELEMENT_ARRAY_BUFFER, elements.size(), keys, 0, [&](std::uint32_t* out) {
        std::memcpy(out, elements.data(), elements.size() * sizeof(std::uint32_t));
      });
}

void MxShapeBuffers::drawCurrentElements(unsigned mode, std::size_t count)
{
  if (count > 0) glDrawElements(mode, static_cast<GLsizei>(count), GL_UNSIGNED_INT, atStart());
}
