#include <velmo/toolkit/shapes/TkShaderObject.h>

#include <velmo/toolkit/classes/MxTextRegistry.h>

#include <Inventor/actions/SoGLRenderAction.h>
#include <Inventor/elements/SoLightElement.h>
#include <Inventor/elements/SoViewportRegionElement.h>
#include <Inventor/nodes/SoShaderParameter.h>

#include <algorithm>
#include <cstring>

MO_NODE_SOURCE(TkVertexShader, SoVertexShader)
MO_NODE_SOURCE(TkFragmentShader, SoFragmentShader)

namespace {
auto findDefine(auto& defines, const std::string& name)
{
  return std::find_if(defines.begin(), defines.end(),
                      [&](const auto& define) { return define.first == name; });
}

template <class Parameter, class Value>
void follow(SoNode* node, const char* name, const Value& value)
{
  if (!node || !node->isOfType(Parameter::getClassTypeId())) return;
  auto* parameter = static_cast<Parameter*>(node);
  if (parameter->name.getValue() != name || parameter->value.getValue() == value) return;
  // Not a change of the scene: nobody above hears of it.
  const SbBool notifying = parameter->enableNotify(FALSE);
  parameter->value = value;
  parameter->enableNotify(notifying);
}

// The values are read when the whole program has been put together.
void followState(SoState* state, SoShaderObject& object)
{
  const SbVec2s size = SoViewportRegionElement::get(state).getViewportSizePixels();
  const int lights = std::min(SoLightElement::getLights(state).getLength(), 8);
  for (int i = 0; i < object.parameter.getNum(); ++i) {
    follow<SoShaderParameter2f>(object.parameter[i], "viewportSize", SbVec2f(size[0], size[1]));
    follow<SoShaderParameter1i>(object.parameter[i], "lightCount", std::int32_t{lights});
  }
}
} // namespace

bool TkShaderDefines::set(const std::string& name, const std::string& value)
{
  const auto found = findDefine(m_defines, name);
  if (found == m_defines.end()) {
    m_defines.emplace_back(name, value);
    return true;
  }
  if (found->second == value) return false;
  found->second = value;
  return true;
}

bool TkShaderDefines::remove(const std::string& name)
{
  const auto found = findDefine(m_defines, name);
  if (found == m_defines.end()) return false;
  m_defines.erase(found);
  return true;
}

std::string TkShaderDefines::applyTo(const char* text) const
{
  std::string lines;
  for (const auto& [name, value] : m_defines)
    lines += "#define " + name + ' ' + value + '\n';
  const char* version = std::strstr(text, "#version");
  if (!version) return lines + text;
  const char* lineEnd = std::strchr(version, '\n');
  if (!lineEnd) return std::string(text) + '\n' + lines;
  return std::string(text, lineEnd + 1) + lines + (lineEnd + 1);
}

template <class Base>
void TkShaderObject<Base>::GLRender(SoGLRenderAction* action)
{
  const char* text = this->sourceType.getValue() == SoShaderObject::FILENAME
                         ? MxTextRegistry::find(this->sourceProgram.getValue().getString())
                         : nullptr;
  if (!text) {
    Base::GLRender(action);
    return;
  }
  followState(action->getState(), *this);
  // The toolkit compiles when its source is stale, from what the fields say at that moment; the
  // name is put back so that applications and files keep seeing it. Nothing outside hears of
  // either.
  const SbBool notifying = this->enableNotify(FALSE);
  const SbString name = this->sourceProgram.getValue();
  this->sourceType = SoShaderObject::GLSL_PROGRAM;
  this->sourceProgram = m_defines.applyTo(text).c_str();
  Base::GLRender(action);
  this->sourceProgram = name;
  this->sourceType = SoShaderObject::FILENAME;
  this->enableNotify(notifying);
}

TkVertexShader::TkVertexShader()
{
  SO_NODE_CONSTRUCTOR(TkVertexShader);
}

TkFragmentShader::TkFragmentShader()
{
  SO_NODE_CONSTRUCTOR(TkFragmentShader);
}
