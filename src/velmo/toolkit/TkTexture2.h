#pragma once

#include <velmo/toolkit/MoClassMacros.h>

#include <Inventor/fields/SoSFEnum.h>
#include <Inventor/nodes/SoTexture2.h>

class SoGLImage;

/// A texture that keeps its image as it is: any size, with the filters that it names. The toolkit's
/// own scales images to powers of two and blends neighbouring texels. It is clamped to its edge
/// texels in both directions.
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

protected:
  ~TkTexture2() override;

private:
  SoGLImage* makeImage(SoState* state) const;

  // The texture object of the context and content that it was made for.
  SoGLImage* m_glImage = nullptr;
  int m_context = -1;
  SbUniqueId m_content = 0;
};
