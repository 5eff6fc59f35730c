#version 100
precision highp float;

uniform sampler2D s_texture0;
uniform vec2 u_shift[2];
varying vec2 v_textureCoord;

// Each sample lands on the corner of a 2x2 pixel group, so linear filtering
// averages the group; one texel holds V, U for two such groups.
void main() {
  vec4 color1 = texture2D(s_texture0, v_textureCoord + u_shift[0]);
  vec4 color2 = texture2D(s_texture0, v_textureCoord + u_shift[1]);
  color1.a = 1.0;
  color2.a = 1.0;
  gl_FragColor = vec4(dot(kRgbToV, color1), dot(kRgbToU, color1), dot(kRgbToV, color2),
                      dot(kRgbToU, color2));
}
