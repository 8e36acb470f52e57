#version 150 compatibility

// Fades edges that are short on the screen. A square of the size of a typical edge stands at the
// vertex; the smaller it is in pixels, the more transparent the vertex becomes.

uniform float fadingEdgePixelLength; // edges of about this length begin to fade
uniform float edgeLengthReference;   // length of a typical edge, in the units of the mesh
uniform vec2 viewportSize;           // in pixels

vec2 pixelOf(vec4 viewPosition)
{
  vec4 clip = gl_ProjectionMatrix * viewPosition;
  return viewportSize * (clip.xy / clip.w + 1.0) * 0.5;
}

// How much larger the view shows the units of the mesh.
float viewScale()
{
  mat3 turn = mat3(gl_ModelViewMatrix);
  return pow(abs(dot(cross(turn[0], turn[1]), turn[2])), 1.0 / 3.0);
}

void main()
{
  vec4 view = gl_ModelViewMatrix * gl_Vertex;
  gl_Position = gl_ProjectionMatrix * view;
  gl_ClipVertex = view;
  gl_TexCoord[0] = gl_TextureMatrix[0] * gl_MultiTexCoord0;

  float halfSide = 0.5 * edgeLengthReference * viewScale();
  vec4 halfSquare = vec4(halfSide, halfSide, 0.0, 0.0);
  vec2 diagonal = pixelOf(view + halfSquare) - pixelOf(view - halfSquare);
  float d = dot(diagonal, diagonal) / (fadingEdgePixelLength * fadingEdgePixelLength);

  vec4 color = vec4(gl_Color.rgb, gl_Color.a * exp2(-2.0 / max(d, 1e-6)));
  gl_FrontColor = color;
  gl_BackColor = color;
}
