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

void main()
{
  vec4 view = gl_ModelViewMatrix * gl_Vertex;
  gl_Position = gl_ProjectionMatrix * view;
  gl_ClipVertex = view;
  gl_TexCoord[0] = gl_MultiTexCoord0;

  vec4 halfSquare = vec4(0.5 * edgeLengthReference, 0.5 * edgeLengthReference, 0.0, 0.0);
  vec2 diagonal = pixelOf(view + halfSquare) - pixelOf(view - halfSquare);
  float d = dot(diagonal, diagonal) / (fadingEdgePixelLength * fadingEdgePixelLength);

  vec4 color = vec4(gl_Color.rgb, gl_Color.a * exp2(-2.0 / d));
  gl_FrontColor = color;
  gl_BackColor = color;
}
