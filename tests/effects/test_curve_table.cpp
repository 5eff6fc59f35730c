#include <gtest/gtest.h>
#include <posteffect/Globals.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "CurveTable.h"
#include "DrawPass.h"
#include "EffectShaders.h"
#include "GLFbo.h"
#include "GlContext.h"

namespace {

// A curve with a cliff at each end, where a level read from the wrong entry
// shows most: red jumps from 0 to 255 over the first texel step, blue over
// the last, green is the identity.
std::vector<unsigned char> CliffCurve() {
  std::vector<unsigned char> rgb(256 * 3);
  for (int i = 0; i < 256; ++i) {
    rgb[3 * i] = i == 0 ? 0 : 255;
    rgb[3 * i + 1] = static_cast<unsigned char>(i);
    rgb[3 * i + 2] = i == 255 ? 255 : 0;
  }
  return rgb;
}

// The curve read with linear filtering at level x, edges clamped.
double CurveAt(const std::vector<unsigned char>& rgb, int channel, double x) {
  const double u = std::min(std::max(x * 256 - 0.5, 0.0), 255.0);
  const int i = static_cast<int>(u), j = std::min(i + 1, 255);
  return rgb[3 * i + channel] + (u - i) * (rgb[3 * j + channel] - rgb[3 * i + channel]);
}

std::vector<unsigned char> Read(GLTexture* tex, int w, int h) {
  GLFbo fbo;
  EXPECT_TRUE(fbo.Init() && fbo.SetColorAttachment(tex) && fbo.Bind());
  std::vector<unsigned char> px(static_cast<size_t>(w) * h * 4);
  glReadPixels(0, 0, w, h, GL_RGBA, GL_UNSIGNED_BYTE, px.data());
  return px;
}

// Reads the table at levels from -0.5 to 1.5, one per pixel, as a look does.
const char kProbe[] =
    "#version 100\nprecision highp float;\nuniform sampler2D s_texture0;\n"
    "varying vec2 v_texCoord;\n"
    "void main() { gl_FragColor = CurveTableAt(s_texture0, v_texCoord.x * 2.0 - 0.5); }\n";
const GLProgDesc kProbeDesc = {kShader_bypass_vert,
                               kProbe,
                               kShader_curve_table_glsl,
                               kSourceLocations,
                               3,
                               nullptr,
                               0,
                               nullptr,
                               0};

// The table holds the curve at k / 65535 in entry k, 256 to a row, and a
// lookup finds the entry of its level, the curve's ends outside [0, 1]. The
// tolerance covers the filter's 8-bit weights on the cliffs.
TEST(CurveTable, EntriesAndLookupsFollowTheCurve) {
  pe::test::GlContext gl;
  ASSERT_TRUE(gl.ok());
  g_eglDisplay = gl.display();
  g_eglContext = gl.context();
  const std::vector<unsigned char> rgb = CliffCurve();
  GLTexture curve, table;
  ASSERT_TRUE(curve.Init(GL_RGB, GL_UNSIGNED_BYTE, 256, 1, 0) &&
              curve.UpdateNormalTexture(rgb.data(), 256, 1) &&
              curve.SetSampling(GL_CLAMP_TO_EDGE, GL_LINEAR));
  GLTexture* curves[] = {&curve};
  GLTexture* tables[] = {&table};
  ASSERT_EQ(pe::DrawCurveTables(nullptr, curves, tables, 1), nullptr);

  const std::vector<unsigned char> entries = Read(&table, 256, 256);
  for (int k = 0; k < 65536; k += 7)
    for (int c = 0; c < 3; ++c)
      ASSERT_NEAR(entries[4 * k + c], CurveAt(rgb, c, k / 65535.0), 2.0) << "entry " << k;

  constexpr int kProbes = 2048;
  GLProgEffect probe(kProbeDesc, false);
  GLTexture out;
  GLFbo fbo;
  ASSERT_TRUE(probe.Load() && out.Init(GL_RGBA, GL_UNSIGNED_BYTE, kProbes, 1, 0) && fbo.Init() &&
              fbo.SetColorAttachment(&out));
  probe.SetTextures(GLProgram::SAMPLER_INPUT_TEX, &table);
  ASSERT_TRUE(pe::DrawPass(&fbo, kProbes, 1, &probe, kQuadTexCoords));
  const std::vector<unsigned char> got = Read(&out, kProbes, 1);
  for (int i = 0; i < kProbes; ++i) {
    const double x = (i + 0.5) / kProbes * 2.0 - 0.5;
    for (int c = 0; c < 3; ++c)
      ASSERT_NEAR(got[4 * i + c], CurveAt(rgb, c, x), 2.0) << "level " << x << " channel " << c;
  }
}

}  // namespace
