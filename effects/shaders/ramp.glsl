// Shared by the stylize, two-tone and split-toning looks: the frame's luma
// stretched into a range, then bent by two rows of the contrast ramp.
uniform sampler2D g_sImageTexture;
uniform sampler2D g_sContrastTexture;
uniform vec4 g_fvClipping;
uniform vec4 g_fvController;
uniform mat4 u_mat_yuv2rgb;
varying vec2 g_vTexCoord;

float RampLuma(float y) {
  vec4 c = g_fvClipping;
  y = clamp(y - c.x, 0.0, c.y - c.x) * (c.w - c.z) / (c.y - c.x) + c.z;
  y = texture2D(g_sContrastTexture, vec2(y, g_fvController.x)).z;
  return texture2D(g_sContrastTexture, vec2(y, g_fvController.y)).y;
}
