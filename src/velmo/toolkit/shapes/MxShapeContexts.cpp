#include <velmo/toolkit/shapes/MxShapeContexts.h>

#include <Inventor/elements/SoEnvironmentElement.h>
#include <Inventor/elements/SoGLMultiTextureImageElement.h>
#include <Inventor/elements/SoGLShaderProgramElement.h>
#include <Inventor/elements/SoLightElement.h>
#include <Inventor/elements/SoMultiTextureEnabledElement.h>
#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoPointLight.h>

#include <algorithm>
#include <map>

std::shared_ptr<MxOutlinePrograms> mxProgramsOf(int context)
{
  static std::map<int, std::weak_ptr<MxOutlinePrograms>> s_programs;
  std::shared_ptr<MxOutlinePrograms> programs = s_programs[context].lock();
  if (!programs) {
    programs = std::make_shared<MxOutlinePrograms>();
    s_programs[context] = programs;
  }
  return programs;
}

bool mxIsDrawing(SoState* state)
{
  return state->isElementEnabled(SoGLShaderProgramElement::getClassStackIndex());
}

bool mxHasBuffers(SoState* state)
{
  int major = 0, minor = 0;
  SoGLCacheContextElement::getOpenGLVersion(state, major, minor);
  return major >= 3;
}

bool mxTextureFits(SoState* state, bool& replacing)
{
  int last = -1;
  const auto* units = SoMultiTextureEnabledElement::getActiveUnits(state, last);
  replacing = false;
  if (!units) return true;
  for (int unit = 1; unit <= last; ++unit)
    if (units[unit] != SoMultiTextureEnabledElement::DISABLED) return false;
  if (last < 0 || units[0] == SoMultiTextureEnabledElement::DISABLED) return true;
  SoMultiTextureImageElement::Model model = SoMultiTextureImageElement::MODULATE;
  SbColor blend;
  SoGLMultiTextureImageElement::get(state, 0, model, blend);
  replacing = model == SoMultiTextureImageElement::REPLACE;
  return units[0] == SoMultiTextureEnabledElement::TEXTURE2D &&
         (replacing || model == SoMultiTextureImageElement::MODULATE);
}

bool mxHasFog(SoState* state)
{
  return SoEnvironmentElement::getFogType(state) != SoEnvironmentElement::NONE;
}

// In the order in which the toolkit numbers the lights of the graphics library.
std::string mxLightsOf(SoState* state)
{
  std::string letters;
  const SoNodeList& lights = SoLightElement::getLights(state);
  for (int i = 0; i < std::min(lights.getLength(), 8); ++i) {
    const SoNode* light = lights[i];
    letters += light->isOfType(SoDirectionalLight::getClassTypeId()) ? 'D'
               : light->isOfType(SoPointLight::getClassTypeId())     ? 'P'
                                                                     : 'S';
  }
  return letters;
}
