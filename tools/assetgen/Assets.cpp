#include "Assets.h"

#include <cmath>
#include <cstdint>

// Only +, -, *, / and sqrt are used below: they are correctly rounded, so
// the files come out byte for byte the same on every build and machine.

namespace pe::assetgen {

namespace {

struct Rgb {
  double r, g, b;
};

double Clamp01(double x) { return x < 0.0 ? 0.0 : (x > 1.0 ? 1.0 : x); }

double Smoothstep(double e0, double e1, double x) {
  double t = Clamp01((x - e0) / (e1 - e0));
  return t * t * (3.0 - 2.0 * t);
}

// Schlick's bias: monotone on [0, 1], keeps 0 and 1, and Bias(0.5, b) == b;
// b above 0.5 lifts the mid-tones, below 0.5 lowers them.
double Bias(double x, double b) { return x / ((1.0 / b - 2.0) * (1.0 - x) + 1.0); }

// Schlick's gain: an S-curve about 0.5 (more contrast for g above 0.5).
double Gain(double x, double g) {
  return x < 0.5 ? Bias(2.0 * x, 1.0 - g) / 2.0 : 1.0 - Bias(2.0 - 2.0 * x, 1.0 - g) / 2.0;
}

uint8_t ToByte(double v) { return static_cast<uint8_t>(std::lround(Clamp01(v) * 255.0)); }

// Tone tables are sampled at x = input level along a row. The shaders read
// the red result from the third byte and the blue result from the first
// (.b for red, .r for blue), which is also the BMP file's own B, G, R order,
// so the tables look right in an ordinary viewer. fn gets the level x and the
// row's vertical position v (0 at the first stored row) for tables whose rows
// hold different curves.
template <typename Fn>
Bitmap ToneTable(int width, int height, Fn fn) {
  Bitmap bmp(width, height, 24);
  for (int y = 0; y < height; ++y) {
    const double v = (y + 0.5) / height;
    uint8_t* row = bmp.Row(y);
    for (int i = 0; i < width; ++i) {
      const Rgb out = fn(static_cast<double>(i) / (width - 1), v);
      row[3 * i + 0] = ToByte(out.b);
      row[3 * i + 1] = ToByte(out.g);
      row[3 * i + 2] = ToByte(out.r);
    }
  }
  return bmp;
}

constexpr int kCurveWidth = 256;
constexpr int kCurveRows = 4;

// Cross-processed slide film: hard red and green, blue lifted in the shadows
// and held down in the highlights, so shadows go blue and highlights yellow.
// The black-and-white look weighs the green curve most: its firm S-curve is
// what makes that look punchy.
Bitmap CurveCross() {
  return ToneTable(kCurveWidth, kCurveRows, [](double x, double) {
    return Rgb{Gain(x, 0.74), Bias(Gain(x, 0.72), 0.53), 0.10 + 0.78 * Bias(x, 0.44)};
  });
}

Bitmap CurveCold() {
  return ToneTable(kCurveWidth, kCurveRows, [](double x, double) {
    return Rgb{0.92 * Bias(x, 0.42), Bias(x, 0.48), 0.04 + 0.96 * Bias(x, 0.60)};
  });
}

Bitmap CurveWarm() {
  return ToneTable(kCurveWidth, kCurveRows, [](double x, double) {
    return Rgb{0.03 + 0.97 * Bias(x, 0.60), Bias(x, 0.53), 0.90 * Bias(x, 0.40)};
  });
}

// Brown toning with a faded black: red above green above blue at every level.
// Curves act per channel, so colour is muted by flattening them (their slope
// scales the differences between channels) and the S-curve keeps some punch.
Bitmap CurveSepia() {
  return ToneTable(kCurveWidth, kCurveRows, [](double x, double) {
    const double s = Gain(x, 0.62);
    return Rgb{0.20 + 0.76 * s, 0.12 + 0.66 * s, 0.05 + 0.50 * s};
  });
}

// The mask is stretched over the whole frame, so distances are measured in
// the frame's own aspect to keep the darkening round on the picture. 1 at the
// centre, falling smoothly to 0.45 in the corners.
Bitmap VignetteMask(int width, int height, double frameAspect) {
  Bitmap bmp(width, height, 8);
  const double cornerDistance = std::sqrt(frameAspect * frameAspect + 1.0);
  for (int y = 0; y < height; ++y) {
    const double v = 2.0 * (y + 0.5) / height - 1.0;
    uint8_t* row = bmp.Row(y);
    for (int x = 0; x < width; ++x) {
      const double u = (2.0 * (x + 0.5) / width - 1.0) * frameAspect;
      const double d = std::sqrt(u * u + v * v) / cornerDistance;
      row[x] = ToByte(1.0 - 0.55 * Smoothstep(0.35, 1.0, d));
    }
  }
  return bmp;
}

Bitmap MaskVignetteWide() { return VignetteMask(512, 256, 16.0 / 9.0); }
Bitmap MaskVignetteLegacy() { return VignetteMask(512, 512, 4.0 / 3.0); }

// One dot cell per tile (the effect repeats the mask once per cell): a white
// disc on black, anti-aliased by counting covered sub-samples in integers.
// The lattice variant adds quarter discs in the corners, which only join up
// into whole dots where tiles meet. Edge lengths are powers of two so the
// repeat wrap works on any ES 2.0 GPU.
Bitmap DotMask(int tile, int radiusPermille, bool diagonalLattice) {
  constexpr int64_t kSub = 16;         // sub-samples per texel edge
  constexpr int64_t kUnit = 2 * kSub;  // positions in 1/kUnit texel, sub-sample centres odd
  const int64_t half = tile * kSub;
  const int64_t full = 2 * half;
  const int64_t centres[5][2] = {{half, half}, {0, 0}, {full, 0}, {0, full}, {full, full}};
  const int numCentres = diagonalLattice ? 5 : 1;
  const int64_t radius = radiusPermille * tile * kUnit;  // in 1/1000 of a position unit
  const int64_t radiusSq = radius * radius;

  Bitmap bmp(tile, tile, 16);
  for (int j = 0; j < tile; ++j) {
    uint8_t* row = bmp.Row(j);
    for (int i = 0; i < tile; ++i) {
      int64_t covered = 0;
      for (int64_t sy = 0; sy < kSub; ++sy) {
        for (int64_t sx = 0; sx < kSub; ++sx) {
          const int64_t px = i * kUnit + 2 * sx + 1;
          const int64_t py = j * kUnit + 2 * sy + 1;
          for (int c = 0; c < numCentres; ++c) {
            const int64_t dx = px - centres[c][0];
            const int64_t dy = py - centres[c][1];
            if ((dx * dx + dy * dy) * 1000000 <= radiusSq) {
              ++covered;
              break;
            }
          }
        }
      }
      const int64_t n = kSub * kSub;
      const auto r5 = static_cast<uint16_t>((covered * 31 + n / 2) / n);
      const auto g6 = static_cast<uint16_t>((covered * 63 + n / 2) / n);
      // GL reads 5-6-5 as a native (little-endian) short, red in the top bits.
      const auto texel = static_cast<uint16_t>(r5 << 11 | g6 << 5 | r5);
      row[2 * i] = static_cast<uint8_t>(texel);
      row[2 * i + 1] = static_cast<uint8_t>(texel >> 8);
    }
  }
  return bmp;
}

// Masks 1 (small dots) and 2 (large dots) are the ones the effect picks; the
// tile sizes sit near the cell sizes they cover so the sampling neither
// aliases much nor blurs the rim.
Bitmap DotMask0() { return DotMask(32, 380, false); }
Bitmap DotMask1() { return DotMask(32, 440, false); }
Bitmap DotMask2() { return DotMask(64, 460, false); }
Bitmap DotMask3() { return DotMask(64, 300, true); }

// Whiteboard: the shader brightens with pow(x, 0.7) before this curve, so
// paper lands around 0.7..0.85 and goes to white, ink stays near black. The
// linear share keeps some grading in the mid-tones.
Bitmap ContrastCurveSet() {
  return ToneTable(kCurveWidth, kCurveRows, [](double x, double) {
    const double y = 0.88 * Smoothstep(0.26, 0.76, x) + 0.12 * Clamp01(x / 0.76);
    return Rgb{y, y, y};
  });
}

// Rows are looks, picked by the shaders' row constants: v = 0.5 (Maple) sits
// in the middle band, v = 0.9 (Nash) in the top one. Bands are several rows
// tall so the linear filter never mixes two looks at those rows.
constexpr int kRampRows = 16;

Bitmap StylizeColorRamp() {
  return ToneTable(kCurveWidth, kRampRows, [](double x, double v) {
    if (v < 0.3) return Rgb{x, x, x};
    if (v < 0.7)  // autumn: golden mids, warm highlights, firm shadows
      return Rgb{0.05 + 0.93 * Bias(x, 0.58), 0.02 + 0.94 * Bias(Gain(x, 0.56), 0.52),
                 0.84 * Gain(x, 0.62)};
    // teal and amber: blue-green shadows, neutral mids, warm highlights
    return Rgb{Gain(x, 0.62), 0.05 + 0.91 * Bias(x, 0.52), 0.20 + 0.62 * Bias(x, 0.44)};
  });
}

// Luma curves read at rows 0.5 to 1.0 by the stylize, two-tone and toning
// effects: the third byte holds the first lookup, an S-curve that hardens
// with the row, the second byte the second lookup, a slight mid-tone lift.
// The first byte is read by none of them and holds the identity.
Bitmap StylizeContrastRamp() {
  return ToneTable(kCurveWidth, kRampRows, [](double x, double v) {
    return Rgb{Gain(x, 0.5 + 0.25 * v), Bias(x, 0.5 + 0.08 * v), x};
  });
}

// Graduated two-tone masks: rows run along t of the mask, which is the
// frame's height for V and, as H reads its mask transposed, the frame's
// width for H. The shaded side (first stored row: top of the frame for V,
// left for H) fades into white across the middle. The shader multiplies the
// picture's red by the first byte, so bytes are in R, G, B order here. The
// masks vary along t only, so they are kept narrow: H reads its mask down
// the columns, which on a wide mask misses the texture cache at every pixel.
Bitmap TwoToneMask(Rgb shade) {
  Bitmap bmp(32, 256, 24);
  for (int y = 0; y < bmp.height; ++y) {
    const double w = Smoothstep(0.3, 0.7, (y + 0.5) / bmp.height);
    const uint8_t px[3] = {ToByte(shade.r + (1.0 - shade.r) * w),
                           ToByte(shade.g + (1.0 - shade.g) * w),
                           ToByte(shade.b + (1.0 - shade.b) * w)};
    uint8_t* row = bmp.Row(y);
    for (int x = 0; x < bmp.width; ++x)
      for (int c = 0; c < 3; ++c) row[3 * x + c] = px[c];
  }
  return bmp;
}

Bitmap TwoToneMaskV() { return TwoToneMask(Rgb{0.45, 0.60, 0.92}); }  // cool sky
Bitmap TwoToneMaskH() { return TwoToneMask(Rgb{0.95, 0.66, 0.36}); }  // amber side light

}  // namespace

const std::vector<Asset>& Assets() {
  static const std::vector<Asset> kAssets = {
      {"CurveCross.bmp", CurveCross},
      {"CurveCold.bmp", CurveCold},
      {"CurveWarm.bmp", CurveWarm},
      {"CurveSepia.bmp", CurveSepia},
      {"mask_vignette_wide.bmp", MaskVignetteWide},
      {"mask_vignette_legacy.bmp", MaskVignetteLegacy},
      {"dot_mask_0.bmp", DotMask0},
      {"dot_mask_1.bmp", DotMask1},
      {"dot_mask_2.bmp", DotMask2},
      {"dot_mask_3.bmp", DotMask3},
      {"ContrastCurveSet.bmp", ContrastCurveSet},
      {"stylizeColorRamp.bmp", StylizeColorRamp},
      {"stylizeContrastRamp.bmp", StylizeContrastRamp},
      {"twoToneMaskV.bmp", TwoToneMaskV},
      {"twoToneMaskH.bmp", TwoToneMaskH},
  };
  return kAssets;
}

}  // namespace pe::assetgen
