#pragma once

#include <cstddef>

/// Base64 as a stream of bytes. Padding in the middle is allowed: a header may have been encoded on
/// its own. Blanks between the groups are skipped.
class MxBase64Stream
{
public:
  MxBase64Stream(const char* begin, const char* end) : m_at(begin), m_end(end) {}

  /// @return the number of bytes read, fewer than `count` at the end or at a foreign character
  std::size_t read(std::byte* to, std::size_t count, bool parallel);

  /// Characters that are left, blanks included.
  std::size_t left() const { return static_cast<std::size_t>(m_end - m_at); }

private:
  bool fill();
  bool readClean(std::byte* to, std::size_t groups, bool parallel);

  const char* m_at;
  const char* m_end;
  std::byte m_pending[3] = {};
  std::size_t m_held = 0, m_next = 0;
};
