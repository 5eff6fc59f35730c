#version 100
precision highp float;

uniform sampler2D s_texture0;
uniform mat4 u_mat_yuv2rgb;
uniform vec2 u_center;
uniform vec2 u_fRadius;
uniform float u_fScreenRatio;
uniform float u_fStrength;
varying vec2 v_texCoord;
#ifdef CAPTURE
varying vec2 v_globalTexCoord;
#else
uniform vec4 u_crop;
#endif

void main() {
#ifdef CAPTURE
  vec4 p = u_mat_yuv2rgb * texture2D(s_texture0, v_texCoord);
  vec2 s = v_globalTexCoord - u_center - 0.5;
#else
  vec2 pick = v_texCoord * u_crop.zw + u_crop.xy;
  vec4 p = u_mat_yuv2rgb * texture2D(s_texture0, pick);
  vec2 s = v_texCoord - u_center - 0.5;
#endif
  s.y = s.y / u_fScreenRatio;
  float w = smoothstep(u_fRadius.x, u_fRadius.y, length(s));
#ifdef CAPTURE
  gl_FragColor = p * vec4(1.0 - w, 1.0 - w, 1.0 - w, 1.0);
#else
  gl_FragColor = p * (1.0 - w);
#endif
}
