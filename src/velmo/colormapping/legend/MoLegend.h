#pragma once

#include <velmo/colormapping/MiColorMapping.h>
#include <velmo/representation/MoMeshBaseRepresentation.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <Inventor/fields/SoSFBool.h>
#include <Inventor/fields/SoSFColor.h>
#include <Inventor/fields/SoSFDouble.h>
#include <Inventor/fields/SoSFEnum.h>
#include <Inventor/fields/SoSFFloat.h>
#include <Inventor/fields/SoSFInt32.h>
#include <Inventor/fields/SoSFString.h>
#include <Inventor/fields/SoSFUInt32.h>
#include <Inventor/fields/SoSFVec2f.h>
#include <Inventor/SbVec2s.h>

#include <memory>
#include <vector>

class MdLevelColorMapping;
class MdLinearColorMapping;
class MdSurfaceMesh;
class SoCache;
class SoTranslation;

/// A bar of the colours that values have, with a title and numbers beside it, drawn over the scene.
///
/// It shows the colour mapping in front of it, with the colours that surfaces get from that mapping
/// when they are not lit. It stands in coordinates of the viewport, from (0, 0) in the lower left
/// to (1, 1) in the upper right corner, whatever camera, transforms and draw style come before it;
/// put it behind the scene, so that nothing is drawn over it, and outside clipping planes. It has
/// no extent: cameras that view everything do not see it, and picks go through it. It is built anew
/// when a field of its own or the colours change, and only then.
///
/// The defaults are of little use alone: a bar without width, no numbers, and one digit when there
/// are any. The numbers of an upright bar stand to its left, those of a lying one below it, where
/// the title would be too unless it gets another place. A linear mapping's bar reaches as far as
/// its values, also beyond the corners when the range below is the narrower one.
class MoLegend : public MoMeshBaseRepresentation
{
  MO_NODE_HEADER(MoLegend);

public:
  enum Position
  {
    POS_BOTTOM = 0,
    POS_TOP = 1,
    POS_RIGHT = 2,
    POS_LEFT = 3
  };
  enum Notation
  {
    NOTATION_DEFAULT = 0, ///< precision counts significant digits; exponents where needed
    NOTATION_FIXED = 1,   ///< precision counts digits behind the point
    NOTATION_SCIENTIFIC = 2
  };

  SoSFVec2f bottomLeft; ///< corner of the bar, (0, 0) at first
  SoSFVec2f topRight;   ///< the opposite one, (0, 1) at first
  /// The value at the beginning of the bar. While both ends keep their defaults, the range is that
  /// of the mapping.
  SoSFDouble minValue;
  SoSFDouble maxValue;       ///< the value at the end of the bar
  SoSFBool vertical;         ///< values rise upwards; to the right when FALSE, as at first
  SoSFString title;          ///< none when empty, as at first
  SoSFFloat titleFontSize;   ///< in pixels, 10 at first
  SoSFEnum titlePosition;    ///< POS_BOTTOM at first
  SoSFColor titleColor;      ///< (0.8, 0.8, 0.8) at first
  SoSFBool displayValues;    ///< FALSE at first
  SoSFInt32 numValues;       ///< how many numbers, evenly spread; 2 at first, none below 2
  SoSFColor valuesColor;     ///< (0.8, 0.8, 0.8) at first
  SoSFFloat valuesFontSize;  ///< in pixels, 10 at first
  SoSFEnum valueNotation;    ///< NOTATION_DEFAULT at first
  SoSFUInt32 valuePrecision; ///< of the numbers, 0 at first

  MoLegend();

  void doAction(SoAction* action) override;
  void GLRender(SoGLRenderAction* action) override;
  /// Leaves the box alone.
  void getBoundingBox(SoGetBoundingBoxAction* action) override;
  /// Does nothing: picks meet the scene behind the legend.
  void rayPick(SoRayPickAction*) override {}
  void notify(SoNotList* list) override;

protected:
  ~MoLegend() override;

  /// Whether the colour mapping is the one that the bar shows. Where it is not, touches the node
  /// and remembers the present one.
  bool checkCache(SoState* state);
  /// Remembers the colour mapping of the state.
  void buildCache(SoState* state);
  /// Removes bar, title and numbers.
  void clear();
  /// Builds bar, title and numbers for the colour mapping of the state; nothing without one.
  void fillLegend(SoState* state);
  void getLegendRange(const MiScalarColorMapping& mapping, double& min, double& max) const;

private:
  struct Bar;
  struct Range;

  void update(SoState* state);
  void fillLevelCM(SoState* state, const MdLevelColorMapping& mapping);
  void fillLinearCM(SoState* state, const MdLinearColorMapping& mapping);
  void fillPredefCM(SoState* state, const MiScalarColorMapping& mapping);
  void fillCustomCM(SoState* state, const MiScalarColorMapping& mapping);
  Range alongBar(const MiScalarColorMapping& mapping) const;
  void createMesh(SoState* state, const Range& range, const std::vector<double>& positions);
  void drawTitle();
  void drawValues(double min, double max);
  void placeTexts(SoState* state);

  bool m_isStale = true; // a field has changed since the last fill
  std::unique_ptr<Bar> m_bar;
  std::unique_ptr<MdSurfaceMesh> m_barMesh; // its nodes point into the bar
  SoSeparator* m_title;                     // in the hidden root, as the next
  SoSeparator* m_values;
  SoTranslation* m_titlePlace = nullptr;
  std::vector<SoTranslation*> m_valuePlaces;
  SbVec2s m_windowSize{0, 0}; // for which the texts are placed
  SoRef<SoCache> m_cache;
};
