#pragma once

#include <velmo/colormapping/MdLevelColorMapping.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <velmo/toolkit/shapes/TkTexture2.h>

#include <Inventor/SbVec2f.h>

#include <cstdint>
#include <optional>
#include <vector>

/// Draws the bands of a level mapping as a texture of one row of them, so that they stay sharp
/// inside cells.
class MxTextureContouring
{
public:
  ~MxTextureContouring();

  /// How many intervals a texture can show.
  static std::size_t getMostColors();
  /// Makes the texture of a mapping, one texel per interval. For more intervals than it can show
  /// there is none, and a warning, once per mapping and change of it.
  /// @param mapping    borrowed; null for none
  /// @param opacity    multiplies the colours' own
  /// @param undefined  the colour of what is no number; none for that of the last interval
  /// @return true when there is another texture, or none any more
  bool buildTexture(const MdLevelColorMapping* mapping, float opacity,
                    const std::optional<SbColorRGBA>& undefined = {});
  /// Where a value lies along the row, 0 to 1 from the first level to the last and up to 16384
  /// times as far beyond; 0 without a texture.
  float getTextureCoord(double value) const;
  /// The same, off the levels by so much that what is lost on the way to the screen does not show:
  /// the texel there has the colour that the mapping gives.
  SbVec2f getTexturePoint(double value) const;
  /// Where what is no number lies in the texture, which has a second row when that has a colour;
  /// all numbers are in the first row, at 0.
  static SbVec2f undefinedPoint();
  /// Null while there is none.
  TkTexture2* getTexture() const { return m_texture; }

private:
  /// @param margin  of the coordinate, to keep away from the levels
  float alongRow(double value, double margin) const;

  const MdLevelColorMapping* m_mapping = nullptr;
  SoRef<TkTexture2> m_texture;
  std::uint64_t m_timeStamp = ~std::uint64_t{0};
  float m_opacity = 1.0f;
  std::size_t m_mostColors = 0;
  // Of the intervals next to the values outside of the levels.
  double m_widthBelow = 0;
  double m_widthAbove = 0;
  std::optional<SbColorRGBA> m_undefined;
  std::vector<unsigned char> m_image;
};
