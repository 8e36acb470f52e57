#define GL_GLEXT_PROTOTYPES 1

#include <velmo/toolkit/shapes/MxGlBuffer.h>

#include <Inventor/system/gl.h>

void MxGlBuffer::release()
{
  if (m_buffer) glDeleteBuffers(1, &m_buffer);
  m_buffer = 0;
  m_byteCount = m_itemCount = 0;
  m_keys = {};
  m_binding = -1;
}

void MxGlBuffer::makeCurrent(unsigned target)
{
  if (!m_buffer) glGenBuffers(1, &m_buffer);
  glBindBuffer(target, m_buffer);
}

void MxGlBuffer::setSize(unsigned target, std::size_t byteCount)
{
  if (byteCount == m_byteCount) return;
  glBufferData(target, static_cast<GLsizeiptr>(byteCount), nullptr, GL_STATIC_DRAW);
  m_byteCount = byteCount;
}

void* MxGlBuffer::map(unsigned target)
{
  return glMapBufferRange(target, 0, static_cast<GLsizeiptr>(m_byteCount),
                          GL_MAP_WRITE_BIT | GL_MAP_INVALIDATE_BUFFER_BIT);
}

void MxGlBuffer::unmap(unsigned target)
{
  // The contents can be lost while they are mapped, when the screen changes its mode.
  if (!glUnmapBuffer(target)) m_binding = -1;
}

void MxGlBuffer::write(unsigned target, const void* data)
{
  glBufferSubData(target, 0, static_cast<GLsizeiptr>(m_byteCount), data);
}
