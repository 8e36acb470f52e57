#define GL_GLEXT_PROTOTYPES 1

#include <velmo/toolkit/shapes/MxOutlineProgram.h>

#include <Inventor/errors/SoDebugError.h>
#include <Inventor/system/gl.h>

#include <vector>

namespace {

constexpr const char* kVertexText = R"(
#ifdef EDGES
in vec4 edgeMark;
out vec3 edgeDistance;
#endif
uniform vec4 faceColor;
uniform vec4 edgeColor;
uniform vec2 fading; // edges of about this many pixels begin to fade; length of a typical edge
uniform vec2 viewportSize;

#ifdef TANGENTS
in vec3 tangent;

// A line has normals all around. The one that is nearest to a direction counts.
float facing(vec3 along, vec3 direction)
{
  float cosine = dot(along, direction);
  return sqrt(max(1.0 - cosine * cosine, 0.0));
}
#else
float facing(vec3 normal, vec3 direction)
{
  return dot(normal, direction);
}
#endif

// What light makes of a white surface (diffuse) and what does not depend on its colour (rest).
void shade(vec3 normal, vec3 position, out vec3 rest, out vec3 diffuse)
{
  rest = gl_FrontMaterial.emission.rgb + gl_LightModel.ambient.rgb * gl_FrontMaterial.ambient.rgb;
  diffuse = vec3(0.0);
  vec3 toLight, halfway;
  float cosine, strength, range;
LIGHTING
}

vec4 lit(vec3 rest, vec3 diffuse, vec4 color)
{
  return vec4(clamp(rest + diffuse * color.rgb, 0.0, 1.0), color.a);
}

#ifdef FADING
vec2 pixelOf(vec4 view)
{
  vec4 clip = gl_ProjectionMatrix * view;
  return viewportSize * (clip.xy / clip.w + 1.0) * 0.5;
}
#endif

void main()
{
  gl_Position = ftransform();
  vec4 view = gl_ModelViewMatrix * gl_Vertex;
#ifdef CLIPPED
  gl_ClipVertex = view;
#endif
#ifdef TEXTURED
  gl_TexCoord[0] = gl_TextureMatrix[0] * gl_MultiTexCoord0;
#endif
#ifdef FACE_VALUES
  vec4 face = gl_Color;
#else
  vec4 face = faceColor;
#endif
#ifdef EDGES
  edgeDistance = edgeMark.xyz;
#ifdef EDGE_VALUES
  vec4 edge = gl_Color;
#else
  vec4 edge = edgeColor;
#endif
#endif
#ifdef FADING
  mat3 turn = mat3(gl_ModelViewMatrix);
  float viewScale = pow(abs(dot(cross(turn[0], turn[1]), turn[2])), 1.0 / 3.0);
  vec4 halfSquare = vec4(0.5 * fading.y * viewScale, 0.5 * fading.y * viewScale, 0.0, 0.0);
  vec2 diagonal = pixelOf(view + halfSquare) - pixelOf(view - halfSquare);
  float strength = exp2(-2.0 * fading.x * fading.x / max(dot(diagonal, diagonal), 1e-12));
#ifdef EDGES
  edge.a *= strength;
#else
  face.a *= strength;
#endif
#endif
#ifdef LIT
#ifdef TANGENTS
  vec3 normal = mat3(gl_ModelViewMatrix) * tangent;
  normal /= max(length(normal), 1e-20);
#else
  vec3 normal = normalize(gl_NormalMatrix * gl_Normal);
#endif
  vec3 position = view.xyz / view.w;
  vec3 rest, diffuse;
#if defined(TWO_SIDED) && !defined(EDGES)
  // A line or a point has no back: its normal is turned towards the viewer.
  vec3 toViewer = gl_ProjectionMatrix[3][3] == 0.0 ? -position : vec3(0.0, 0.0, 1.0);
  normal = dot(normal, toViewer) < 0.0 ? -normal : normal;
#endif
  shade(normal, position, rest, diffuse);
  gl_FrontColor = lit(rest, diffuse, face);
#ifdef EDGES
  gl_FrontSecondaryColor = lit(rest, diffuse, edge);
#ifdef TWO_SIDED
  shade(-normal, position, rest, diffuse);
  gl_BackColor = lit(rest, diffuse, face);
  gl_BackSecondaryColor = lit(rest, diffuse, edge);
#endif
#endif
#else
  gl_FrontColor = face;
#ifdef EDGES
  gl_FrontSecondaryColor = edge;
#endif
#endif
}
)";

constexpr const char* kFragmentText = R"(
#ifdef EDGES
in vec3 edgeDistance;
uniform float halfWidth;
#endif
#ifdef TEXTURED
uniform sampler2D image;
#endif

vec4 textured(vec4 color)
{
#ifdef TEXTURED
  vec4 texel = texture2D(image, gl_TexCoord[0].st);
#ifdef REPLACING
  return texel;
#else
  return color * texel;
#endif
#else
  return color;
#endif
}

void main()
{
#ifdef FACE_VALUES
  vec4 face = textured(gl_Color);
#else
  vec4 face = gl_Color;
#endif
#ifdef EDGES
  vec3 dx = dFdx(edgeDistance);
  vec3 dy = dFdy(edgeDistance);
  vec3 pixels = edgeDistance * inversesqrt(max(dx * dx + dy * dy, 1e-16));
  float nearest = min(pixels.x, min(pixels.y, pixels.z));
#ifdef EDGE_VALUES
  vec4 edge = textured(gl_SecondaryColor);
#else
  vec4 edge = gl_SecondaryColor;
#endif
  edge.a *= clamp(halfWidth + 0.5 - nearest, 0.0, 1.0);
#ifdef EDGES_ONLY
  if (edge.a < 1.0 / 512.0) discard;
  gl_FragColor = edge;
#else
  // The edge over the face, both still to be blended over what is behind.
  float under = face.a * (1.0 - edge.a);
  float alpha = edge.a + under;
  gl_FragColor = vec4((edge.rgb * edge.a + face.rgb * under) / max(alpha, 1e-6), alpha);
#endif
#else
#ifdef FADING
  if (face.a < 1.0 / 512.0) discard;
#endif
  gl_FragColor = face;
#endif
}
)";

// As the fixed pipeline, with a viewer at infinity for highlights.
std::string lightText(std::size_t number, char kind, bool specular)
{
  const std::string light = "gl_LightSource[" + std::to_string(number) + "]";
  std::string text;
  if (kind == 'D') {
    text = "  toLight = normalize(" + light + ".position.xyz);\n  strength = 1.0;\n";
  } else {
    text =
        "  toLight = " + light + ".position.xyz / " + light +
        ".position.w - position;\n  range = length(toLight);\n  toLight /= max(range, 1e-20);\n" +
        "  strength = 1.0 / (" + light + ".constantAttenuation + range * (" + light +
        ".linearAttenuation + range * " + light + ".quadraticAttenuation));\n";
  }
  if (kind == 'S')
    text += "  cosine = dot(-toLight, normalize(" + light +
            ".spotDirection));\n  strength *= cosine < " + light +
            ".spotCosCutoff ? 0.0 : pow(max(cosine, 0.0), " + light + ".spotExponent);\n";
  text +=
      "  cosine = facing(normal, toLight);\n  rest += strength * " + light +
      ".ambient.rgb * gl_FrontMaterial.ambient.rgb;\n  diffuse += strength * max(cosine, 0.0) * " +
      light + ".diffuse.rgb;\n";
  if (specular)
    text += "  halfway = normalize(toLight + vec3(0.0, 0.0, 1.0));\n  if (cosine > 0.0) rest += "
            "strength * "
            "pow(max(facing(normal, halfway), 0.0), gl_FrontMaterial.shininess) * " +
            light + ".specular.rgb * gl_FrontMaterial.specular.rgb;\n";
  return text;
}

unsigned compile(unsigned kind, const std::string& text, std::string& log)
{
  const unsigned shader = glCreateShader(kind);
  const char* source = text.c_str();
  glShaderSource(shader, 1, &source, nullptr);
  glCompileShader(shader);
  GLint done = GL_FALSE;
  glGetShaderiv(shader, GL_COMPILE_STATUS, &done);
  if (!done) {
    std::vector<char> reason(4096);
    glGetShaderInfoLog(shader, static_cast<GLsizei>(reason.size()), nullptr, reason.data());
    log += reason.data();
  }
  return shader;
}

} // namespace

void MxOutlinePrograms::release()
{
  for (auto& [key, program] : m_programs)
    if (program.id) glDeleteProgram(program.id);
  m_programs.clear();
}

MxOutlinePrograms::Program MxOutlinePrograms::make(const std::string& options,
                                                   const std::string& lighting)
{
  std::string vertexText = kVertexText;
  const std::string mark = "LIGHTING";
  vertexText.replace(vertexText.find(mark), mark.size(), lighting);
  const std::string head = "#version 130\n" + options;

  std::string log;
  const unsigned vertex = compile(GL_VERTEX_SHADER, head + vertexText, log);
  const unsigned fragment = compile(GL_FRAGMENT_SHADER, head + kFragmentText, log);
  Program program{};
  program.id = glCreateProgram();
  glAttachShader(program.id, vertex);
  glAttachShader(program.id, fragment);
  glBindAttribLocation(program.id, kEdgeAttribute, "edgeMark");
  glBindAttribLocation(program.id, kTangentAttribute, "tangent");
  glLinkProgram(program.id);
  glDeleteShader(vertex);
  glDeleteShader(fragment);
  GLint linked = GL_FALSE;
  glGetProgramiv(program.id, GL_LINK_STATUS, &linked);
  if (!linked) {
    SoDebugError::postWarning("SoIndexedFaceSetOutline::GLRender",
                              "Cannot make the outline program: %s", log.c_str());
    glDeleteProgram(program.id);
    program.id = 0;
    return program;
  }
  program.faceColor = glGetUniformLocation(program.id, "faceColor");
  program.edgeColor = glGetUniformLocation(program.id, "edgeColor");
  program.halfWidth = glGetUniformLocation(program.id, "halfWidth");
  program.fading = glGetUniformLocation(program.id, "fading");
  program.viewport = glGetUniformLocation(program.id, "viewportSize");
  program.image = glGetUniformLocation(program.id, "image");
  return program;
}

bool MxOutlinePrograms::use(const MxOutlineLook& look, const MxOutlineValues& values)
{
  std::string options;
  const auto option = [&](bool on, const char* name) {
    if (on) options += std::string("#define ") + name + "\n";
  };
  option(look.edges, "EDGES");
  option(look.edgesOnly, "EDGES_ONLY");
  option(look.lit, "LIT");
  option(look.tangents, "TANGENTS");
  option(look.lit && look.twoSided, "TWO_SIDED");
  option(look.clipped, "CLIPPED");
  option(look.fading, "FADING");
  option(look.faceValues, "FACE_VALUES");
  option(look.edgeValues, "EDGE_VALUES");
  option(look.textured, "TEXTURED");
  option(look.replacing, "REPLACING");
  std::string lighting;
  if (look.lit)
    for (std::size_t i = 0; i < look.lights.size(); ++i)
      lighting += lightText(i, look.lights[i], look.specular);

  const std::string key = options + look.lights + (look.specular ? "+" : "");
  auto found = m_programs.find(key);
  if (found == m_programs.end()) found = m_programs.emplace(key, make(options, lighting)).first;
  const Program& program = found->second;
  if (!program.id) return false;

  glUseProgram(program.id);
  glUniform4fv(program.faceColor, 1, values.faceColor.data());
  glUniform4fv(program.edgeColor, 1, values.edgeColor.data());
  glUniform1f(program.halfWidth, 0.5f * values.edgeWidth);
  glUniform2f(program.fading, values.fadingEdgePixelLength, values.edgeLengthReference);
  glUniform2fv(program.viewport, 1, values.viewportSize.data());
  glUniform1i(program.image, 0);
  return true;
}

void MxOutlinePrograms::useNone()
{
  glUseProgram(0);
}
