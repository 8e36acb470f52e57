#version 150 compatibility

// The toolkit sorts transparent shapes itself, so every fragment passes that can be seen. Those that
// cannot must not hide what is drawn behind them later.

uniform int coin_texunit0_model; // of the texture in unit 0; 0 without one
uniform sampler2D image;

void main()
{
  vec4 color = gl_Color;
  if (coin_texunit0_model != 0) color *= texture2D(image, gl_TexCoord[0].st);
  if (color.a < 1.0 / 256.0) discard;
  gl_FragColor = color;
}
