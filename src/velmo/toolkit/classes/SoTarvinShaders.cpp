#include <velmo/toolkit/classes/SoTarvinShaders.h>

#include <velmo/toolkit/classes/MxEmbeddedText.h>
#include <velmo/toolkit/classes/MxTextRegistry.h>

void SoTarvinShaders::init()
{
  for (std::size_t i = 0; i < kVelmoShaderTextsCount; ++i)
    MxTextRegistry::addInMemoryTextFile(kVelmoShaderTexts[i].name, kVelmoShaderTexts[i].text);
}
