#version 100
precision highp float;

uniform sampler2D s_texture0;
uniform mat4 u_mat_yuv2rgb;
varying vec2 v_texCoord;

void main() {
  gl_FragColor = u_mat_yuv2rgb * texture2D(s_texture0, v_texCoord);
}
