#version 100
precision highp float;

uniform sampler2D s_texture0;
uniform mat4 u_mat_yuv2rgb;
uniform vec4 u_crop;
varying vec2 v_texCoord;

// One texel a dot: the picture reduced and turned into RGB in one go.
void main() {
  vec2 pick = v_texCoord * u_crop.zw + u_crop.xy;
  gl_FragColor = u_mat_yuv2rgb * texture2D(s_texture0, pick);
}
