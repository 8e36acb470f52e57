#version 150 compatibility

// The toolkit sorts transparent shapes itself, so every fragment passes.

void main()
{
  gl_FragColor = gl_Color;
}
