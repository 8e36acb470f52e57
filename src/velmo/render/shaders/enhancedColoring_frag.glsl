#version 130

// Interpolates the values at the vertices of a polygon with the barycentric coordinates of Meyer,
// Lee, Barr and Desbrun (Generalized barycentric coordinates on irregular polygons, 2002), and
// gives the result its colour. NUMVERTICES is the size of the largest polygon, NUMLEVELS and
// NUMCOLORS those of the colour mapping's tables.

uniform sampler2D FSIndices;
uniform sampler2D FSVertices;
uniform sampler2D FSValues;
uniform float MaxTextureSize;
uniform int TotalNumIndices;
uniform int TotalNumVertices;

uniform float ColorMapLevels[NUMLEVELS];
uniform vec4 ColorMapValues[NUMCOLORS];
uniform int UseLevel; // one colour from level to level; otherwise colours belong to levels
uniform int MinThresholdEnable;
uniform int MaxThresholdEnable;
uniform float MinThresholdValue;
uniform float MaxThresholdValue;
uniform vec4 MinThresholdColor;
uniform vec4 MaxThresholdColor;
uniform int UndefinedEnable;
uniform vec4 UndefinedColor;

flat in ivec2 polygon;
flat in float unitScale;
in vec3 inPolygon;
in vec3 lighting;

ivec2 texelOf(int number)
{
  int width = int(MaxTextureSize);
  return ivec2(number % width, number / width);
}

ivec2 texelOfVertex(int place)
{
  int entry = clamp(polygon.x + place, 0, TotalNumIndices - 1);
  int number = int(texelFetch(FSIndices, texelOf(entry), 0).r);
  return texelOf(clamp(number, 0, TotalNumVertices - 1));
}

// The least sine that two sides may enclose: the two ends of a side on which the point lies then
// keep their proportion.
float cotangent(vec3 one, vec3 other)
{
  return dot(one, other) / max(length(cross(one, other)), 1e-6);
}

float valueHere()
{
  vec3 origin = texelFetch(FSVertices, texelOfVertex(0), 0).rgb;
  vec3 before = (texelFetch(FSVertices, texelOfVertex(polygon.y - 1), 0).rgb - origin) * unitScale -
                inPolygon;
  vec3 here = -inPolygon;
  float weights = 0.0, weighted = 0.0, sum = 0.0;
  float first = texelFetch(FSValues, texelOfVertex(0), 0).r;
  float least = first, most = first;
  for (int i = 0; i < NUMVERTICES; ++i) {
    if (i == polygon.y) break;
    int next = i + 1 < polygon.y ? i + 1 : 0;
    vec3 after =
        (texelFetch(FSVertices, texelOfVertex(next), 0).rgb - origin) * unitScale - inPolygon;
    float value = texelFetch(FSValues, texelOfVertex(i), 0).r;
    if (isnan(value)) return value; // the bounds below may be compiled to what loses it
    float distance2 = dot(here, here);
    if (distance2 < 1e-6) return value;
    float weight =
        (cotangent(-here, after - here) + cotangent(-here, before - here)) / distance2;
    weights += weight;
    weighted += weight * value;
    sum += value;
    least = min(least, value);
    most = max(most, value);
    before = here;
    here = after;
  }
  // Only outside the polygon (a pixel on its border) and in hollow ones can weights be negative.
  float value = abs(weights) > 1e-20 ? weighted / weights : sum / float(polygon.y);
  return value < least ? least : value > most ? most : value;
}

vec4 colorOf(float value)
{
  if (isnan(value)) return UndefinedEnable != 0 ? UndefinedColor : ColorMapValues[NUMCOLORS - 1];
  if (MinThresholdEnable != 0 && value < MinThresholdValue) return MinThresholdColor;
  if (MaxThresholdEnable != 0 && value > MaxThresholdValue) return MaxThresholdColor;
  // The first level above the value.
  int next = 0;
#ifdef UNSORTED
  while (next < NUMLEVELS && !(ColorMapLevels[next] > value)) ++next;
#else
  int end = NUMLEVELS;
  while (next < end) {
    int middle = (next + end) / 2;
    if (ColorMapLevels[middle] > value)
      end = middle;
    else
      next = middle + 1;
  }
#endif
  if (UseLevel != 0) return ColorMapValues[clamp(next - 1, 0, NUMCOLORS - 1)];
  if (next == 0) return ColorMapValues[0];
  if (next == NUMLEVELS) return ColorMapValues[NUMCOLORS - 1];
  float low = ColorMapLevels[next - 1];
  return mix(ColorMapValues[next - 1], ColorMapValues[next],
             (value - low) / (ColorMapLevels[next] - low));
}

void main()
{
  gl_FragColor = colorOf(valueHere()) * vec4(lighting, 1.0);
}
