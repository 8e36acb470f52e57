#version 130

// Finds the polygon that a vertex is drawn for, and lights it. Every face comes with a normal of
// three numbers: the place of its first entry in the index list, how many vertices it has, and what
// single precision lost of the place.

uniform sampler2D FSIndices;
uniform sampler2D FSVertices;
uniform float MaxTextureSize;
uniform int TotalNumIndices;
uniform int TotalNumVertices;
uniform int lightCount;

flat out ivec2 polygon;   // first entry in the index list, number of vertices
flat out float unitScale; // makes the polygon about as large as 1
out vec3 inPolygon;       // from the first vertex, scaled
out vec3 lighting;

ivec2 texelOf(int number)
{
  int width = int(MaxTextureSize);
  return ivec2(number % width, number / width);
}

vec3 vertexAt(ivec2 face, int place)
{
  int entry = clamp(face.x + place, 0, TotalNumIndices - 1);
  int number = int(texelFetch(FSIndices, texelOf(entry), 0).r);
  return texelFetch(FSVertices, texelOf(clamp(number, 0, TotalNumVertices - 1)), 0).rgb;
}

// Of the first three vertices in a row that span a triangle.
vec3 polygonNormal(ivec2 face, vec3 origin, float scale)
{
  for (int i = 0; i + 2 < face.y; ++i) {
    vec3 corner = (vertexAt(face, i) - origin) * scale;
    vec3 normal = cross((vertexAt(face, i + 1) - origin) * scale - corner,
                        (vertexAt(face, i + 2) - origin) * scale - corner);
    if (length(normal) > 1e-6) return normalize(normal);
  }
  return vec3(0.0, 0.0, 1.0);
}

// As the fixed pipeline lights, with a viewer at infinity, but on the side that the light is on.
vec3 lightOf(int i, vec3 normal, vec3 position)
{
  vec4 from = gl_LightSource[i].position;
  vec3 toLight = from.w == 0.0 ? from.xyz : from.xyz / from.w - position;
  float range = length(toLight);
  toLight /= max(range, 1e-20);
  float strength = 1.0;
  if (from.w != 0.0)
    strength = 1.0 / (gl_LightSource[i].constantAttenuation +
                      range * (gl_LightSource[i].linearAttenuation +
                               range * gl_LightSource[i].quadraticAttenuation));
  if (gl_LightSource[i].spotCutoff <= 90.0) {
    float along = dot(-toLight, normalize(gl_LightSource[i].spotDirection));
    strength *= along < gl_LightSource[i].spotCosCutoff
                    ? 0.0
                    : pow(max(along, 0.0), gl_LightSource[i].spotExponent);
  }
  float cosine = dot(normal, toLight);
  vec3 lit = cosine < 0.0 ? -normal : normal;
  vec3 sum = gl_LightSource[i].ambient.rgb * gl_FrontMaterial.ambient.rgb +
             abs(cosine) * gl_LightSource[i].diffuse.rgb;
  float glance = max(dot(lit, normalize(toLight + vec3(0.0, 0.0, 1.0))), 0.0);
  if (glance > 0.0)
    sum += pow(glance, gl_FrontMaterial.shininess) * gl_LightSource[i].specular.rgb *
           gl_FrontMaterial.specular.rgb;
  return strength * sum;
}

void main()
{
  vec4 view = gl_ModelViewMatrix * gl_Vertex;
  gl_Position = ftransform(); // as the edges on the faces are placed
  gl_ClipVertex = view;

  ivec2 face = ivec2(int(gl_Normal.x) + int(gl_Normal.z), int(gl_Normal.y));
  vec3 origin = vertexAt(face, 0);
  float size = 0.0;
  for (int i = 1; i < face.y; ++i)
    size = max(size, length(vertexAt(face, i) - origin));
  float scale = size > 0.0 ? 1.0 / size : 1.0;
  polygon = face;
  unitScale = scale;
  inPolygon = (gl_Vertex.xyz - origin) * scale;

  vec3 normal = normalize(gl_NormalMatrix * polygonNormal(face, origin, scale));
  lighting = gl_FrontMaterial.emission.rgb +
             gl_LightModel.ambient.rgb * gl_FrontMaterial.ambient.rgb;
  for (int i = 0; i < lightCount; ++i)
    lighting += lightOf(i, normal, view.xyz / view.w);
}
