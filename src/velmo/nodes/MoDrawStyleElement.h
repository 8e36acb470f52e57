#pragma once

#include <velmo/toolkit/classes/MoReplacedElement.h>

class MoDrawStyle;

/// What MoDrawStyleElement carries.
struct MoDrawStyleElementValues
{
  bool faces = true;
  bool edges = false;
  bool points = false;
  float fadingThreshold = 0.0f;
  bool isSet = false; ///< a node has set the element

  friend bool operator==(const MoDrawStyleElementValues&,
                         const MoDrawStyleElementValues&) = default;
};

/// What is drawn of the extracted cells.
class MoDrawStyleElement : public MoReplacedElement<MoDrawStyleElement, MoDrawStyleElementValues>
{
  MO_ELEMENT_HEADER(MoDrawStyleElement);
  friend class MoReplacedElement<MoDrawStyleElement, MoDrawStyleElementValues>;

public:
  static void set(SoState* state, MoDrawStyle* node);
  static void set(SoState* state, SoNode* node, bool faces, bool edges, bool points,
                  float fadingThreshold);
  /// Gives the flags, the defaults where nothing has set them. Returns whether something has.
  static bool getDrawStyle(SoState* state, bool& faces, bool& edges, bool& points);
  static float getFadingThreshold(SoState* state);
  static void getDefault(bool& faces, bool& edges, bool& points, float& fadingThreshold);

protected:
  ~MoDrawStyleElement() override = default;
};
