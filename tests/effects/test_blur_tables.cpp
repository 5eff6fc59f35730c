#include <gtest/gtest.h>
#include <posteffect/Globals.h>

#include "BlockWalk.h"
#include "GEBlurPasses.h"

// The GL layer reads the manager's display and context; there is no manager.
EGLDisplay g_eglDisplay = EGL_NO_DISPLAY;
EGLContext g_eglContext = EGL_NO_CONTEXT;

namespace {

using namespace pe::blur;
using pe::TexelAligned;

// Rows whose values are known by heart check the generated table's formula,
// rounding and offset order.
TEST(BlurTables, GaussianRowsAndStrengthMapping) {
  const struct {
    int row;
    float centre, one, two;
  } kKnown[] = {{1, 0.919218f, 0.040388f, 0.000003f},
                {2, 0.663815f, 0.165524f, 0.002566f},
                {4, 0.398942f, 0.241971f, 0.053991f},
                {7, 0.249339f, 0.205101f, 0.114156f},
                {14, 0.134598f, 0.127325f, 0.107778f}};
  for (const auto& k : kKnown) {
    const float* g = GaussianRow(k.row);
    const float want[5] = {k.two, k.one, k.centre, k.one, k.two};
    for (int i = 0; i < 5; ++i)
      EXPECT_FLOAT_EQ(g[5 + i], want[i]) << "row " << k.row << " tap " << i;
  }
  EXPECT_TRUE(std::equal(kSketchKernel, kSketchKernel + kTaps, GaussianRow(14)));
  EXPECT_EQ(GaussianRow(0), GaussianRow(1));
  // p0 / 7 picks rows 2 ... 14; anything else is row 1.
  const int kRows[][2] = {{13, 1}, {14, 2}, {100, 14}, {105, 1}, {-20, 1}};
  for (const auto& r : kRows) EXPECT_EQ(StrengthRow(r[0]), r[1]) << r[0];
  EXPECT_FLOAT_EQ(StrengthMix(0), 0.f);
  EXPECT_FLOAT_EQ(StrengthMix(30), 0.4f);
  EXPECT_FLOAT_EQ(StrengthMix(75), 1.f);
}

// The mix reads the sharp picture unfiltered only where each pixel meets one
// texel at its centre: the valid columns of a padded row, t flipped; not one
// pixel short, half a texel off, or zoomed.
TEST(BlurTables, TexelAlignedOnlyOneToOne) {
  const float kW = 720.f / 736;
  EXPECT_TRUE(TexelAligned(0, 0, kW, 1, 736, 480, 720, 480));
  EXPECT_TRUE(TexelAligned(0, 1, 1, 0, 736, 480, 736, 480));
  EXPECT_FALSE(TexelAligned(0, 0, kW, 1, 736, 480, 719, 480));
  EXPECT_FALSE(TexelAligned(0.5f / 736, 0, kW + 0.5f / 736, 1, 736, 480, 720, 480));
  EXPECT_FALSE(TexelAligned(0.25f, 0.25f, 0.75f, 0.75f, 736, 480, 736, 480));
}

// A kernel one viewport pixel wide reads texel centres when that pixel is a
// whole number of texels: across and down each on its own, and no viewport.
TEST(BlurTables, KernelStepsInWholeTexelsOnly) {
  const struct {
    unsigned vw, vh;
    bool whole;
  } kCases[] = {{1280, 720, true},  {160, 120, true},   {1, 1, true},    {720, 720, false},
                {1280, 700, false}, {1281, 720, false}, {0, 720, false}, {1280, 0, false}};
  for (const auto& c : kCases)
    EXPECT_EQ(pe::WholeTexelSteps(1280, 720, c.vw, c.vh), c.whole) << c.vw << "x" << c.vh;
}

}  // namespace
