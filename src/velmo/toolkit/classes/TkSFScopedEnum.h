#pragma once

#include <Inventor/fields/SoSFEnum.h>

/// An enumerated field whose registered names may carry the scope of their type, as in
/// "MiMesh::DIMENSION_I": what the toolkit writes for such a field, its own reader refuses.
///
/// Names are read with their scope and without it, from files in ASCII and in binary, in set() and
/// in setValue(name); they are written as they are registered. As a type it is the toolkit's, so
/// files describe the field as SFEnum and connections see no difference.
class TkSFScopedEnum : public SoSFEnum
{
public:
  using SoSFEnum::operator=;

protected:
  SbBool findEnumValue(const SbName& name, int& value) override;

private:
  SbBool readValue(SoInput* in) override;
};
