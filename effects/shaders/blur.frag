#version 100
precision highp float;

// The library defines TAPS for each pass; on its own the shader is the full
// kernel's.
#ifndef TAPS
#define TAPS 15
#endif
uniform sampler2D s_texture0;
uniform float u_fGaussian[TAPS];
uniform vec2 u_fPixelShift[TAPS];
varying vec2 v_textureCoord;

// One direction of the separable blur on the raw YUV samples: TAPS weighted
// fetches around the fragment, each offset by its shift, in the order the
// weights have always met their taps.
void main() {
  vec4 sum = vec4(0.0);
  for (int i = 0; i < TAPS; ++i)
    sum += u_fGaussian[i] * texture2D(s_texture0, v_textureCoord + u_fPixelShift[i]);
  gl_FragColor = sum;
}
