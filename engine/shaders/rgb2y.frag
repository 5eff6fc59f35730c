#version 100
precision highp float;

uniform sampler2D s_texture0;
uniform vec2 u_shift[4];
uniform vec4 u_vec_rgb2y;
varying vec2 v_textureCoord;

// One output texel packs the luma of four neighbouring pixels of a row.
void main() {
  float y1 = dot(u_vec_rgb2y, texture2D(s_texture0, v_textureCoord + u_shift[0]));
  float y2 = dot(u_vec_rgb2y, texture2D(s_texture0, v_textureCoord + u_shift[1]));
  float y3 = dot(u_vec_rgb2y, texture2D(s_texture0, v_textureCoord + u_shift[2]));
  float y4 = dot(u_vec_rgb2y, texture2D(s_texture0, v_textureCoord + u_shift[3]));
  gl_FragColor = vec4(y1, y2, y3, y4);
}
