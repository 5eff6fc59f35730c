// Shared by the stylize, two-tone and split-toning looks: the frame's luma
// stretched into a range, then bent by two rows of the contrast ramp. That
// curve is drawn per luma level when the look is made (ramp_table.frag), and
// g_sContrastTexture holds it: 256 levels in one row, the bent luma in x and
// y (high and low byte), the tone pair's weight in z and w.
uniform sampler2D g_sImageTexture;
uniform sampler2D g_sContrastTexture;
uniform vec4 g_fvClipping;
uniform vec4 g_fvController;
uniform mat4 u_mat_yuv2rgb;
varying vec2 g_vTexCoord;

// Luma in [c.x, c.y] mapped linearly onto [c.z, c.w], clamped outside.
float RampRange(float y) {
  vec4 c = g_fvClipping;
  return clamp(y - c.x, 0.0, c.y - c.x) * (c.w - c.z) / (c.y - c.x) + c.z;
}

vec4 RampEntry(float y) {
  // The range is folded into the entries. The stretched luma still names the
  // row read, one and the same, so the range stays the program's input.
  return texture2D(g_sContrastTexture, vec2(y * (255.0 / 256.0) + 0.5 / 256.0, RampRange(y)));
}

float RampValue(vec2 highLow) {
  return dot(highLow, vec2(65280.0 / 65535.0, 255.0 / 65535.0));
}

float RampLuma(float y) {
  return RampValue(RampEntry(y).xy);
}
