#version 100
precision highp float;

// The ramp looks' luma curve, which is the same for every pixel of a look,
// drawn once per luma level when the look is made: the level stretched into
// a range, then bent by two rows of the contrast ramp; for the tone pair also
// its weight, pow(luma, k.z). Each value is written in 16 bits, high byte
// first. The range and the uniforms come from ramp.glsl; here
// g_sContrastTexture is the ramp itself.
uniform sampler2D g_sLevels;

vec2 Bytes16(float v) {
  float q = floor(clamp(v, 0.0, 1.0) * 65535.0 + 0.5);
  float high = floor(q / 256.0);
  return vec2(high, q - high * 256.0) / 255.0;
}

void main() {
  // The level as the look's source texture gives it.
  float y = RampRange(texture2D(g_sLevels, g_vTexCoord).x);
  y = texture2D(g_sContrastTexture, vec2(y, g_fvController.x)).z;
  float luma = texture2D(g_sContrastTexture, vec2(y, g_fvController.y)).y;
#ifdef TONE_PAIR
  float tone = pow(luma, g_fvController.z);
#else
  float tone = 0.0;
#endif
  gl_FragColor = vec4(Bytes16(luma), Bytes16(tone));
}
