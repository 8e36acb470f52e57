#pragma once

#include <utility>

/// Holds a reference to a node, path or anything else that counts its references with ref() and
/// unref(). Converts to the plain pointer, as the toolkit's calls want it.
template <class T>
class SoRef
{
public:
  SoRef() = default;
  explicit SoRef(T* object) : m_object(object)
  {
    if (m_object) m_object->ref();
  }
  SoRef(const SoRef& other) : SoRef(other.m_object) {}
  SoRef(SoRef&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
  SoRef& operator=(SoRef other) noexcept
  {
    std::swap(m_object, other.m_object);
    return *this;
  }
  ~SoRef()
  {
    if (m_object) m_object->unref();
  }

  /// Lets go of the present object and holds this one.
  void reset(T* object = nullptr) { *this = SoRef(object); }

  T* get() const { return m_object; }
  T* operator->() const { return m_object; }
  T& operator*() const { return *m_object; }
  operator T*() const { return m_object; }

private:
  T* m_object = nullptr;
};
