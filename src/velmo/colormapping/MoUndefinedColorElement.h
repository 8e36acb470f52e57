#pragma once

#include <velmo/toolkit/classes/MoReplacedElement.h>

#include <Inventor/SbColorRGBA.h>

#include <optional>

/// Carries the colour of undefined values down the traversal.
class MoUndefinedColorElement
    : public MoReplacedElement<MoUndefinedColorElement, std::optional<SbColorRGBA>>
{
  MO_ELEMENT_HEADER(MoUndefinedColorElement);
  friend class MoReplacedElement<MoUndefinedColorElement, std::optional<SbColorRGBA>>;

public:
  static void set(SoState* state, SoNode* node, const SbColorRGBA& color);
  /// None where nothing has set it: undefined values then have the colour that the mapping answers.
  static std::optional<SbColorRGBA> get(SoState* state);

protected:
  ~MoUndefinedColorElement() override;
};
