#version 100
precision highp float;

uniform sampler2D s_texture0;
uniform mat4 u_mat_yuv2rgb;
varying vec2 v_texCoord;

// The half at or below 0.5 is shown twice: straight and reflected.
void main() {
  vec2 c = v_texCoord;
#ifdef LANDSCAPE
  if (c.x > 0.5) c.x = 1.0 - c.x;
#else
  if (c.y > 0.5) c.y = 1.0 - c.y;
#endif
  gl_FragColor = u_mat_yuv2rgb * texture2D(s_texture0, c);
}
