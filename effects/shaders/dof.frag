#version 100
precision highp float;

uniform sampler2D s_texBlur;
uniform sampler2D s_texClear;
uniform mat4 u_mat_yuv2rgb;
uniform vec2 u_center;
uniform vec2 u_distSquare;
uniform float u_fWHRatioSquare;
uniform float u_fMixWeight;
varying vec2 v_textureCoord;
varying vec2 v_blurTexCoord;
#ifdef CAPTURE
varying vec2 v_globalTexCoord;
#else
uniform vec4 u_crop;
#endif

void main() {
#ifdef CAPTURE
  vec4 clear = texture2D(s_texClear, v_textureCoord);
  vec4 blur = texture2D(s_texBlur, v_blurTexCoord);
  vec2 d = v_globalTexCoord - u_center;
#else
  vec4 clear = texture2D(s_texClear, v_textureCoord * u_crop.zw + u_crop.xy);
  vec4 blur = texture2D(s_texBlur, v_blurTexCoord * u_crop.zw + u_crop.xy);
  vec2 d = v_textureCoord - u_center;
#endif
  // Squared distance with y in units of the width, so the sharp area is round.
  float dist = d.x * d.x + d.y * d.y * u_fWHRatioSquare;
  float sw = smoothstep(u_distSquare.x, u_distSquare.y, dist);
  gl_FragColor = u_mat_yuv2rgb * mix(clear, blur, sw * u_fMixWeight);
}
