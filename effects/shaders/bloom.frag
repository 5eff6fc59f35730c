#version 100
precision highp float;

uniform sampler2D s_texture0;
uniform mat4 u_mat_yuv2rgb;
varying vec2 v_texCoord;

const vec4 kIntensityOffset = vec4(0.0);
const vec4 kIntensityScale = vec4(3.5);

// Gain by the pixel's own luminance: bright areas glow, dark ones sink.
// Alpha is scaled too.
void main() {
  vec4 rgba = u_mat_yuv2rgb * texture2D(s_texture0, v_texCoord);
  float a = dot(rgba.rgb, vec3(0.3, 0.59, 0.11));
  gl_FragColor = rgba * ((vec4(a) + kIntensityOffset) * kIntensityScale);
}
