#version 100
precision highp float;

uniform sampler2D g_sMaskTexture;
#ifdef CAPTURE
varying vec2 v_globalTexCoord;
#endif

void main() {
  vec4 src = texture2D(g_sImageTexture, g_vTexCoord);
  src.x = RampLuma(src.x);
  vec4 rgb = u_mat_yuv2rgb * src;
#ifdef CAPTURE
  vec2 m = v_globalTexCoord;
#else
  vec2 m = g_vTexCoord;
#endif
#ifdef MASK_TRANSPOSED
  m = m.yx;
#endif
  vec4 mask = texture2D(g_sMaskTexture, m);
  gl_FragColor = vec4(min(mask.xyz * (1.0 + g_fvController.w), vec3(1.0)), 1.0) * rgb;
}
