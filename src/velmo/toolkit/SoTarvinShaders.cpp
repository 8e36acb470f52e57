#include <velmo/toolkit/SoTarvinShaders.h>

#include <velmo/toolkit/MxEmbeddedText.h>
#include <velmo/toolkit/MxTextRegistry.h>

void SoTarvinShaders::init()
{
  for (std::size_t i = 0; i < kVelmoShaderTextsCount; ++i)
    MxTextRegistry::addInMemoryTextFile(kVelmoShaderTexts[i].name, kVelmoShaderTexts[i].text);
}
