#pragma once

#include <velmo/colormapping/MiColorMapping.h>
#include <velmo/mesh/MeXMesh.h>
#include <velmo/toolkit/classes/SoRef.h>
#include <velmo/toolkit/shapes/MxGlCapabilities.h>

#include <Inventor/nodes/SoSwitch.h>
#include <Inventor/SbVec3f.h>

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

class MdLevelColorMapping;
class MdLinearColorMapping;
class SoGroup;
class SoState;
class TkFragmentShader;
class TkShaderProgram;
class TkTexture2;

/// Colours faces by interpolating node values inside each polygon, a fragment at a time, and
/// mapping the result. Indices, coordinates and values reach the shader program as textures of
/// single-precision numbers; the faces are drawn with normals that name their polygon.
///
/// Arrays of the surface are read in place while this is active. A context that cannot run the
/// program leaves it off and warns once: the faces then show the colours of their vertices.
class MxEnhancedColoring
{
public:
  /// @param parent  gets the switch "EnhancedColoring"
  /// @param maxTextureSize  texels a row of the textures, at most; not for shader programs below 1
  explicit MxEnhancedColoring(SoGroup* parent,
                              int maxTextureSize = MxGlCapabilities::getMaxTextureSize());
  ~MxEnhancedColoring();

  /// Shows the shader colouring, where it can: not for surfaces of triangles only, whose plain
  /// interpolation is the same. What has not changed since the last time is not prepared again.
  /// @param values   one per node of the surface
  /// @param opacity  multiplies that of the mapping's colours
  /// @param undefined  the colour of polygons with a value that is no number; none for the
  ///                   mapping's last one
  /// @return whether it is shown
  bool activate(const MiScalarColorMapping& mapping, const MeXSurfaceMeshUnstructured& surface,
                const MiDataSetI<double>& values, float opacity,
                const std::optional<SbColorRGBA>& undefined = {});
  void deactivate();
  bool isActive() const;

  /// One a face of the index list: (its first entry, its number of vertices, what single precision
  /// loses of the first).
  const std::vector<SbVec3f>& polygonNames() const { return m_polygonNames; }
  TkShaderProgram* getProgram() const { return m_program; }
  /// Whether a colour of the mapping lets something through.
  bool isTransparent() const { return m_transparent; }

private:
  enum Image
  {
    Indices,
    Vertices,
    Values
  };
  struct Stamps
  {
    std::optional<std::uint64_t> topology, geometry, values, mapping;
  };

  void setVertexTextures(const MeXSurfaceMeshUnstructured& surface,
                         const MiDataSetI<double>& values);
  void setFragmentShaderLinearCM(const MdLinearColorMapping& mapping);
  void setFragmentShaderLevelCM(const MdLevelColorMapping& mapping);
  void setFragmentShaderCM(const MiScalarColorMapping& mapping);
  template <class Mapping>
  void setThresholds(const Mapping& mapping);
  void setTables(const std::vector<double>& levels, const std::vector<SbColorRGBA>& colors,
                 bool useLevel);
  void setInteger(const char* name, int value);
  void setNumber(const char* name, float value);
  void setColor(const char* name, const SbColorRGBA& color);
  template <class Parameter>
  Parameter& parameter(const char* name);
  SbColorRGBA faded(const SbColorRGBA& color);
  bool canRun(SoState* state);
  bool refuse();

  SoRef<SoSwitch> m_switch;
  std::array<SoRef<TkTexture2>, 3> m_images;
  std::vector<float> m_indices, m_values;
  SoRef<TkShaderProgram> m_program;
  SoRef<TkFragmentShader> m_fragmentShader;
  std::vector<SbVec3f> m_polygonNames;
  int m_largestPolygon = 0; // NUMVERTICES
  int m_maxTextureSize;
  std::size_t m_tableSize = 0;
  float m_opacity = 1;
  std::optional<SbColorRGBA> m_undefined;
  bool m_transparent = false;
  bool m_warned = false;
  // What the textures and tables were made of.
  Stamps m_stamps;
  const MiScalarColorMapping* m_mapping = nullptr;
};
