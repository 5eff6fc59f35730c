#include <gtest/gtest.h>
#include <posteffect/Globals.h>

#include <algorithm>
#include <cmath>
#include <vector>

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

// A pass's taps read from one row of texels as a clamped linear sampler
// reads them, at fragment m of a pass drawing [c0, c1] into n fragments from
// window position `first`.
double Sum(const Taps& t, const std::vector<double>& texels, double c0, double c1, int n, int m,
           int first) {
  const double size = static_cast<double>(texels.size());
  const double u = c0 + (m + 0.5) / n * (c1 - c0);
  double sum = 0;
  const int set = t.phases == 2 ? (first + m) % 2 : 0;
  for (int k = set * t.count; k < (set + 1) * t.count; ++k) {
    const double p = (u + t.shift[2 * k]) * size - 0.5;
    const double j = std::floor(p), f = p - j;
    auto at = [&](double i) { return texels[static_cast<size_t>(std::clamp(i, 0.0, size - 1))]; };
    sum += t.weight[k] * (at(j) * (1 - f) + at(j + 1) * f);
  }
  return sum;
}

// Folding gives the plain taps' sum in fewer fetches wherever every fragment
// meets the texels at one phase, and leaves the taps as they are elsewhere.
TEST(BlurTables, FoldedTapsSumAsThePlainOnes) {
  std::vector<double> texels(1280);
  for (size_t i = 0; i < texels.size(); ++i) texels[i] = (i * 7919 % 256) / 255.0;
  const struct {
    const char* what;
    int row;
    double step, c0, c1;
    int fragments, fetches;
  } kCases[] = {
      {"two texels a fragment, half-texel phase", 14, 1.0 / 1280, 0, 1, 640, 8},
      {"one texel a fragment, taps 0.53 apart", 14, 1.0 / 2400, 0, 1, 1280, 5},
      {"four texels a fragment from a crop", 8, 1.0 / 1280, 0.25, 0.75, 160, 8},
      {"row 1: five taps of weight, three texel pairs", 1, 1.0 / 1280, 0, 1, 640, 3},
      {"2.5 texels a fragment: two phases", 14, 1.0 / 1280, 0, 1, 512, 8},
      {"2.25 texels a fragment: not folded", 14, 1.0 / 1280, 0, 0.9, 512, 15},
      {"taps 3.7 texels apart: nothing to share", 14, 3.7 / 1280, 0, 1, 640, 15},
      {"a stride just off whole: not folded", 14, 1.0 / 1280, 0, 0.999, 640, 15},
  };
  const int kOrder[kShifts] = {-5, -4, -3, -2, -1, 1, 2, 3, 4, 5, -6, -7, 6, 7};
  for (const auto& c : kCases) {
    float shifts[2 * kShifts] = {};
    for (int i = 0; i < kShifts; ++i) shifts[2 * i] = static_cast<float>(kOrder[i] * c.step);
    const float* kernel = GaussianRow(c.row);
    const Taps plain = PassTaps(kernel, shifts, 0, 0, 0, 0, 0);
    for (int first = 0; first < 2; ++first) {
      const Taps taps = PassTaps(kernel, shifts, 0, 1280, c.c0, c.c1, c.fragments, first);
      EXPECT_EQ(taps.count, c.fetches) << c.what;
      for (int m = 0; m < c.fragments; m += 7)
        ASSERT_NEAR(Sum(taps, texels, c.c0, c.c1, c.fragments, m, first),
                    Sum(plain, texels, c.c0, c.c1, c.fragments, m, 0), 2e-6)
            << c.what << ", fragment " << m << " from " << first;
    }
  }
}

}  // namespace
