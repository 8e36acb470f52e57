#pragma once

#include <velmo/render/MdLineMesh.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <memory>
#include <vector>

class SoGroup;

/// Draws several sets of extracted lines, each by a builder of its own in their order.
class MdLineMeshes
{
public:
  /// @param parent  gets the group of the builders, before its other children
  explicit MdLineMeshes(SoGroup* parent);
  ~MdLineMeshes();
  MdLineMeshes(const MdLineMeshes&) = delete;
  MdLineMeshes& operator=(const MdLineMeshes&) = delete;

  std::size_t size() const { return m_builders.size(); }
  MdLineMesh& operator[](std::size_t index) const { return *m_builders[index]; }
  /// Adds empty builders or drops the last ones.
  void resize(std::size_t count);
  void clear() { resize(0); }
  void rayPick(SoRayPickAction* action);

private:
  SoRef<SoGroup> m_group;
  std::vector<std::unique_ptr<MdLineMesh>> m_builders;
};
