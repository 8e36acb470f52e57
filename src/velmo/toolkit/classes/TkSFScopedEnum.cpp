#include <velmo/toolkit/classes/TkSFScopedEnum.h>

#include <Inventor/errors/SoReadError.h>
#include <Inventor/SoInput.h>

#include <string>
#include <string_view>

namespace {

std::string_view withoutScope(std::string_view name)
{
  const auto colons = name.rfind("::");
  return colons == std::string_view::npos ? name : name.substr(colons + 2);
}

bool readPart(SoInput* in, std::string& name)
{
  SbName part;
  if (!in->read(part, TRUE)) return false;
  name += part.getString();
  return true;
}

// A word that the toolkit reads ends before a colon.
bool readWords(SoInput* in, std::string& name)
{
  if (!readPart(in, name)) return false;
  char c;
  while (in->get(c)) {
    if (c != ':') {
      in->putBack(c);
      break;
    }
    if (!in->get(c) || c != ':') return false;
    name += "::";
    if (!readPart(in, name)) return false;
  }
  return true;
}

} // namespace

SbBool TkSFScopedEnum::findEnumValue(const SbName& name, int& found)
{
  if (SoSFEnum::findEnumValue(name, found)) return TRUE;
  for (int i = 0; i < getNumEnums(); ++i) {
    SbName registered;
    const int candidate = getEnum(i, registered);
    if (withoutScope(registered.getString()) != name.getString()) continue;
    found = candidate;
    return TRUE;
  }
  return FALSE;
}

SbBool TkSFScopedEnum::readValue(SoInput* in)
{
  std::string name;
  if (in->isBinary()) {
    SbString text;
    if (!in->read(text)) return FALSE;
    name = text.getString();
  } else if (!readWords(in, name)) {
    SoReadError::post(in, "Couldn't read enumeration name");
    return FALSE;
  }
  if (findEnumValue(SbName(name.c_str()), value)) return TRUE;
  SoReadError::post(in, "Unknown enumeration value \"%s\"", name.c_str());
  return FALSE;
}
