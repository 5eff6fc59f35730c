#version 100
precision highp float;

uniform sampler2D g_sMaskTexture;
uniform vec4 g_fvSplitTones;
#ifdef CAPTURE
varying vec2 v_globalTexCoord;
#elif defined(TONE_PAIR)
uniform vec4 u_crop;
#endif

void main() {
#if defined(TONE_PAIR) && !defined(CAPTURE)
  vec2 p = g_vTexCoord * u_crop.zw + u_crop.xy;
#else
  vec2 p = g_vTexCoord;
#endif
  vec4 src = texture2D(g_sImageTexture, p);
#ifdef TONE_PAIR
  // Shadows take one chroma pair, highlights the other, by the weight the
  // ramp's entry holds.
  vec4 entry = RampEntry(src.x);
  src.x = RampValue(entry.xy);
  src.zy = mix(g_fvSplitTones.zw, g_fvSplitTones.xy, RampValue(entry.zw));
#else
  src.x = RampLuma(src.x);
  // Chroma tilted along one axis by luma; the incoming deviation is halved.
  src.yz -= 0.5;
  src.y += g_fvController.z * (src.x - 0.5);
  src.z -= g_fvController.z * (src.x - 0.5);
  src.yz = 0.5 * src.yz + 0.5;
#endif
  vec4 rgb = u_mat_yuv2rgb * src;
#ifdef CAPTURE
  vec4 mask = texture2D(g_sMaskTexture, v_globalTexCoord);
#else
  vec4 mask = texture2D(g_sMaskTexture, g_vTexCoord);
#endif
  gl_FragColor = (mask * g_fvController.w) * rgb;
}
