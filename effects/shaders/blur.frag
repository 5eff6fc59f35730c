#version 100
precision highp float;

uniform sampler2D s_texture0;
#ifdef PHASE_AXIS
// Two sets of taps: fragments at even window positions along the axis take
// the first TAPS, odd ones the next TAPS.
uniform float u_fGaussian[2 * TAPS];
uniform vec2 u_fPixelShift[2 * TAPS];
#else
uniform float u_fGaussian[TAPS];
uniform vec2 u_fPixelShift[TAPS];
#endif
varying vec2 v_textureCoord;

// One direction of the separable blur on the raw YUV samples: TAPS weighted
// fetches around the fragment, each offset by its shift.
void main() {
  vec4 sum = vec4(0.0);
#ifdef PHASE_AXIS
  float odd = step(0.5, fract(gl_FragCoord.PHASE_AXIS * 0.5));
#endif
  for (int i = 0; i < TAPS; ++i) {
#ifdef PHASE_AXIS
    float w = mix(u_fGaussian[i], u_fGaussian[i + TAPS], odd);
    vec2 shift = mix(u_fPixelShift[i], u_fPixelShift[i + TAPS], odd);
#else
    float w = u_fGaussian[i];
    vec2 shift = u_fPixelShift[i];
#endif
    sum += w * texture2D(s_texture0, v_textureCoord + shift);
  }
  gl_FragColor = sum;
}
