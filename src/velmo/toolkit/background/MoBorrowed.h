#pragma once

namespace velmo_detail {
/// Stops the background work that reads an object and waits for its end. Null is none.
void stopReadersOf(const void* object);
} // namespace velmo_detail

/// A node's pointer to an object of the application, null for none.
///
/// Before it lets go of the object, because it is given another one or goes itself, it stops the
/// background work that reads the object, and waits for that: a few milliseconds where something
/// runs, nothing otherwise. Afterwards the application may delete the object.
template <class T>
class MoBorrowed
{
public:
  MoBorrowed() = default;
  ~MoBorrowed() { velmo_detail::stopReadersOf(m_identity); }
  MoBorrowed(const MoBorrowed&) = default;
  MoBorrowed& operator=(const MoBorrowed& other) { return set(other.m_object, other.m_identity); }
  /// Also the object that it has already counts as given anew.
  MoBorrowed& operator=(T* object) { return set(object, dynamic_cast<const void*>(object)); }
  operator T*() const { return m_object; }

private:
  MoBorrowed& set(T* object, const void* identity)
  {
    velmo_detail::stopReadersOf(m_identity);
    m_object = object;
    m_identity = identity;
    return *this;
  }

  T* m_object = nullptr;
  const void* m_identity = nullptr; ///< of the complete object; kept, since asking needs it alive
};
