#pragma once

#include <velmo/toolkit/classes/MoClassMacros.h>

#include <Inventor/nodes/SoFragmentShader.h>
#include <Inventor/nodes/SoVertexShader.h>

#include <string>
#include <vector>

/// Preprocessor definitions of a shader.
class TkShaderDefines
{
public:
  /// Defines `name` as `value`, instead of what it was before. Returns whether this is a change.
  bool set(const std::string& name, const std::string& value);
  bool remove(const std::string& name);
  bool empty() const { return m_defines.empty(); }
  /// The text with the definitions behind its #version line, or in front when there is none.
  std::string applyTo(const char* text) const;

private:
  std::vector<std::pair<std::string, std::string>> m_defines; // in the order of their first set
};

/// A shader object that also finds its source among the in-memory text files: with sourceType
/// FILENAME, a name that MxTextRegistry knows is never looked for on the disk. Definitions are
/// added to such texts only.
///
/// Two parameters of such texts follow the state, because nothing built in tells them: a
/// SoShaderParameter2f "viewportSize" (in pixels) and a SoShaderParameter1i "lightCount".
template <class Base>
class TkShaderObject : public Base
{
public:
  void setDefine(const char* name, const char* value = "1")
  {
    if (m_defines.set(name, value)) this->sourceProgram.touch(); // a node touch() is not enough
  }
  void removeDefine(const char* name)
  {
    if (m_defines.remove(name)) this->sourceProgram.touch();
  }
  void GLRender(SoGLRenderAction* action) override;

private:
  TkShaderDefines m_defines;
};

class TkVertexShader : public TkShaderObject<SoVertexShader>
{
  typedef TkShaderObject<SoVertexShader> inherited;
  MO_NODE_HEADER(TkVertexShader);

public:
  TkVertexShader();

protected:
  ~TkVertexShader() override = default;
};

class TkFragmentShader : public TkShaderObject<SoFragmentShader>
{
  typedef TkShaderObject<SoFragmentShader> inherited;
  MO_NODE_HEADER(TkFragmentShader);

public:
  TkFragmentShader();

protected:
  ~TkFragmentShader() override = default;
};
