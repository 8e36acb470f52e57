#pragma once

#include <array>
#include <map>
#include <string>

/// What a program of the outline face set has to do. Each combination is a program of its own, so
/// that a picture pays only for what it shows.
struct MxOutlineLook
{
  bool edges = false;     ///< faces with their edges; otherwise lines or points by themselves
  bool edgesOnly = false; ///< with edges: the faces are drawn already
  bool lit = false;
  bool tangents = false; ///< lines are lit by their tangents, not by normals
  bool twoSided = false;
  bool specular = false;
  bool clipped = false; ///< clip planes are on
  bool fading = false;
  bool faceValues = false; ///< faces take the colour array or the current colour
  bool edgeValues = false; ///< edges do
  bool textured = false;   ///< and those get the texture of unit 0 on top
  bool replacing = false;  ///< which replaces their colour
  std::string lights;      ///< one letter a light: Directional, Positional, Spot
};

/// The uniform values of a program.
struct MxOutlineValues
{
  std::array<float, 4> faceColor{1, 1, 1, 1};
  std::array<float, 4> edgeColor{0, 0, 0, 1};
  float edgeWidth = 1;             ///< in pixels
  float fadingEdgePixelLength = 0; ///< edges of about this length begin to fade, in pixels
  float edgeLengthReference = 0;   ///< length of a typical edge, in object space
  std::array<float, 2> viewportSize{1, 1};
};

/// The programs of one graphics context, made when first used.
///
/// They light vertices as the fixed pipeline does and blend the edges over the faces by the
/// distance of the pixel from the nearest edge.
class MxOutlinePrograms
{
public:
  /// Vertex attribute for the marks of edges: one that no built-in attribute shares its place with.
  static constexpr int kEdgeAttribute = 6;
  /// The same for tangents.
  static constexpr int kTangentAttribute = 7;

  MxOutlinePrograms() = default;
  MxOutlinePrograms(const MxOutlinePrograms&) = delete;
  MxOutlinePrograms& operator=(const MxOutlinePrograms&) = delete;
  void release();

  /// Makes a program current.
  /// @return false, and the fixed pipeline stays, when the context cannot do it; the reason is
  ///         posted once
  bool use(const MxOutlineLook& look, const MxOutlineValues& values);
  static void useNone();

private:
  struct Program
  {
    unsigned id = 0;
    int faceColor, edgeColor, halfWidth, fading, viewport, image;
  };
  static Program make(const std::string& options, const std::string& lighting);

  std::map<std::string, Program> m_programs;
};
