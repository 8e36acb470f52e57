#pragma once

#include <cstddef>
#include <typeinfo>

/// A dynamic_cast from a base to an interface, for a caller that casts objects of one class again
/// and again: a search through the class's bases is made once, then it is one comparison and an
/// addition, since all complete objects of a class are laid out alike. *Threads*: one.
template <class To, class From>
class MxRepeatedCast
{
public:
  /// Null where dynamic_cast would answer null.
  const To* operator()(const From& from)
  {
    const std::type_info& type = typeid(from);
    if (&type != m_type) {
      const To* to = dynamic_cast<const To*>(&from);
      m_type = &type;
      m_isTo = to != nullptr;
      m_offset = m_isTo ? reinterpret_cast<const char*>(to) - reinterpret_cast<const char*>(&from)
                        : std::ptrdiff_t{0};
      return to;
    }
    return m_isTo ? reinterpret_cast<const To*>(reinterpret_cast<const char*>(&from) + m_offset)
                  : nullptr;
  }

private:
  const std::type_info* m_type = nullptr;
  std::ptrdiff_t m_offset = 0;
  bool m_isTo = false;
};
