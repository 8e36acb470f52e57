#pragma once

#include <velmo/toolkit/classes/MoClassMacros.h>

#include <Inventor/fields/SoSFEnum.h>
#include <Inventor/nodes/SoTexture2.h>

#include <span>
#include <vector>

class SoGLImage;

/// A texture that keeps its image as it is: any size, with the filters that it names. The toolkit's
/// own scales images to powers of two and blends neighbouring texels. It is clamped to its edge
/// texels in both directions.
///
/// Instead of the image it may hold single-precision numbers for a shader program (setFloats): they
/// arrive there bit by bit, and shapes draw as if their texture unit were empty.
class TkTexture2 : public SoTexture2
{
  typedef SoTexture2 inherited;
  MO_NODE_HEADER(TkTexture2);

public:
  /// The values of the graphics library.
  enum Filter
  {
    NEAREST = 9728,
    LINEAR = 9729
  };

  TkTexture2();
  void GLRender(SoGLRenderAction* action) override;

  SoSFEnum minFilter; ///< default NEAREST
  SoSFEnum magFilter; ///< default NEAREST

  /// Numbers in the place of the image, from row to row; the last row may be short.
  /// @param values      borrowed until others are set; none brings the image back
  /// @param components  1 or 3 numbers a texel
  /// @param width       texels a row, at most; a single row is as long as it has to be
  void setFloats(std::span<const float> values, int components, int width);
  bool holdsFloats() const { return !m_floats.empty(); }

protected:
  ~TkTexture2() override;

private:
  // The texture object of a context, and the content that it was made of.
  struct Made
  {
    int context;
    SbUniqueId content;
    SoGLImage* image;
  };
  SoGLImage* imageFor(SoState* state);
  SoGLImage* makeImage(SoState* state) const;
  bool uploadBytes() const;
  bool uploadFloats(SoState* state) const;
  bool isTransparent() const;

  std::vector<Made> m_made;
  std::span<const float> m_floats;
  int m_components = 1;
  int m_width = 1;
};
