#version 100
precision highp float;

uniform sampler2D s_texture0;
uniform float u_fGaussian[15];
uniform vec2 u_fPixelShift[14];
varying vec2 v_textureCoord;

// One direction of the separable blur, on the raw YUV samples. Weight i goes
// with the i-th tap in the shift table's order and the centre takes weight 5,
// so the weights land on taps shifted from their own offsets; the look is
// built on that pairing.
void main() {
  vec4 sum = u_fGaussian[5] * texture2D(s_texture0, v_textureCoord);
  for (int i = 0; i < 5; ++i)
    sum += u_fGaussian[i] * texture2D(s_texture0, v_textureCoord + u_fPixelShift[i]);
  for (int i = 5; i < 14; ++i)
    sum += u_fGaussian[i + 1] * texture2D(s_texture0, v_textureCoord + u_fPixelShift[i]);
  gl_FragColor = sum;
}
