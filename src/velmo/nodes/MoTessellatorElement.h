#pragma once

#include <velmo/toolkit/classes/MoReplacedElement.h>

#include <cstdint>

class MiTessellator;

/// What MoTessellatorElement carries.
struct MoTessellatorElementValues
{
  MiTessellator* tessellator = nullptr;
  std::uint64_t tessellatorTimeStamp = ~std::uint64_t{0}; ///< its own, when it was set
  std::uint64_t nodeTimeStamp = ~std::uint64_t{0};

  friend bool operator==(const MoTessellatorElementValues&,
                         const MoTessellatorElementValues&) = default;
};

/// The tessellator of the representations below.
class MoTessellatorElement
    : public MoReplacedElement<MoTessellatorElement, MoTessellatorElementValues>
{
  MO_ELEMENT_HEADER(MoTessellatorElement);
  friend class MoReplacedElement<MoTessellatorElement, MoTessellatorElementValues>;

public:
  /// Also keeps the tessellator's present stamp.
  static void set(SoState* state, SoNode* node, MiTessellator* tessellator,
                  std::uint64_t nodeTimeStamp);
  /// Null and all ones when there is none. Two stamps tell a change: this one, and the
  /// tessellator's own.
  static MiTessellator* getTessellator(SoState* state, std::uint64_t& nodeTimeStamp);

  /// The tessellator's own stamp when it was set, all ones for none.
  std::uint64_t getTimeStamp() const { return m_values.tessellatorTimeStamp; }

protected:
  ~MoTessellatorElement() override = default;
};
