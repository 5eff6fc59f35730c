#include "Effects.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "Options.h"

namespace pe::cli {

namespace {

constexpr Quad kZero = {0, 0, 0, 0};
constexpr const char* kNone = "-";
constexpr const char* kStoredOnly = "strength 0..100 (kept by the library, no visible change)";

std::string Canonical(const std::string& s) {
  std::string out;
  for (unsigned char c : s)
    if (c != ' ' && c != '-' && c != '_') out += static_cast<char>(std::tolower(c));
  return out;
}

}  // namespace

const std::vector<EffectInfo>& Effects() {
  static const std::vector<EffectInfo> kEffects = {
      {0, '0', "Bypass", kNone, kNone, kZero, false, 0, 0, 0, 0},
      {1, '1', "Vintage",
       "film look: 0 cross-processed, 1 cold, 2 warm (each with a vignette), 3 sepia", kNone, kZero,
       false, 0, 0, 0, 3},
      {2,
       '2',
       "DoF",
       "blur strength 0..100 (75 and up blur fully, 100 widest)",
       "centre x,y and a point on the edge of the sharp area",
       {100, 0, 0, 0},
       true,
       0.3,
       0,
       0,
       100},
      {3,
       '3',
       "Distortion",
       "level 0..100: below 33 the centre shrinks, 33 none, above it swells (fisheye)",
       "centre x,y, kept 10%..90% into the picture (the second point is unused)",
       {60, 0, 0, 0},
       true,
       0,
       0,
       0,
       100},
      {4,
       '4',
       "Vignette",
       "edge softness 0..100 (100 hardest)",
       "centre x,y and a point on the circle",
       {50, 0, 0, 0},
       true,
       0.35,
       0,
       0,
       100},
      {5,
       '5',
       "DOTS",
       "dot size 0..100 (1/68 to 1/30 of the height; 51 and up: larger discs)",
       kNone,
       {50, 0, 0, 0},
       false,
       0,
       0,
       0,
       100},
      {6, '6', "Contrast", "0: punchy black and white with a vignette (the one look)", kNone, kZero,
       false, 0, 0, 0, 0},
      {7,
       '7',
       "TS",
       "blur strength 0..100 (75 and up blur fully, 100 widest)",
       "focus x,y (the band is horizontal through it) and a point setting its width",
       {100, 0, 0, 0},
       true,
       0,
       0.35,
       0,
       100},
      {8, '8', "Mirror", "0: top half shown twice (portrait), other values: left half (landscape)",
       kNone, kZero, false, 0, 0, 0, 1},
      {9, '9', "Bloom", kNone, kNone, kZero, false, 0, 0, 0, 0},
      {10, 'B', "Whiteboard", "none (sharpens a photographed page or board, paper to white)", kNone,
       kZero, false, 0, 0, 0, 0},
      {11, 'C', "Stylized_Maple", kStoredOnly, kNone, kZero, false, 0, 0, 0, 100},
      {12, 'D', "Stylized_Nash", kStoredOnly, kNone, kZero, false, 0, 0, 0, 100},
      {13, 'E', "TwoToneMask_V", kStoredOnly, kNone, kZero, false, 0, 0, 0, 100},
      {14, 'F', "TwoToneMask_H", kStoredOnly, kNone, kZero, false, 0, 0, 0, 100},
      {15,
       'G',
       "SplitToning_Mono",
       "tone pair 0..100: blue shadows at 0, teal under warm light at 25 (default), green at "
       "50, sepia at 75, red at 100 (24 = 25, 99 = 100)",
       kNone,
       {25, 0, 0, 0},
       false,
       0,
       0,
       0,
       100},
      {16, 'H', "SplitToning_Color", kStoredOnly, kNone, kZero, false, 0, 0, 0, 100},
      {17, 'I', "Sketch", kNone, kNone, kZero, false, 0, 0, 0, 0},
      {18, 'J', "Color Sketch", kNone, kNone, kZero, false, 0, 0, 0, 0},
  };
  return kEffects;
}

const EffectInfo* FindEffect(int number) {
  for (const EffectInfo& e : Effects())
    if (e.number == number) return &e;
  return nullptr;
}

const EffectInfo* ParseEffect(const std::string& text) {
  if (text.empty()) return nullptr;
  bool digits = true;
  for (unsigned char c : text) digits = digits && std::isdigit(c);
  if (digits) return text.size() <= 2 ? FindEffect(std::atoi(text.c_str())) : nullptr;
  if (text.size() == 1) {
    // The "GPU-effect" characters; 'A' is deliberately not one of them.
    const char c = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    for (const EffectInfo& e : Effects())
      if (e.code == c) return &e;
    return nullptr;
  }
  const std::string want = Canonical(text);
  for (const EffectInfo& e : Effects())
    if (Canonical(e.name) == want) return &e;
  static const struct {
    const char* alias;
    int number;
  } kAliases[] = {{"fisheye", 3}, {"dots", 5}, {"tiltshift", 7}, {"maple", 11}, {"nash", 12}};
  for (const auto& a : kAliases)
    if (want == a.alias) return FindEffect(a.number);
  return nullptr;
}

void DisplaySize(int* width, int* height) {
  // The library reads the same variable; sizes it would refuse leave its default.
  int w = 1920, h = 1080;
  Size env;
  const char* text = std::getenv("POSTEFFECT_DISPLAY");
  if (text && ParseSize(text, &env) && env.width <= 16384 && env.height <= 16384) {
    w = env.width;
    h = env.height;
  }
  // The library keeps the display in landscape order.
  *width = std::max(w, h);
  *height = std::min(w, h);
}

unsigned EffectBound() {
  const char* text = std::getenv("POSTEFFECT_EFFECT_COUNT");
  std::vector<int> n;
  if (text && ParseIntList(text, 1, 1, &n) && n[0] >= 1 && n[0] <= 99)
    return static_cast<unsigned>(n[0]);
  return 17;
}

Quad DefaultParam1(const EffectInfo& effect, int displayWidth, int displayHeight) {
  if (!effect.param1IsPosition) return kZero;
  const int cx = displayWidth / 2;
  const int cy = displayHeight / 2;
  return {cx, cy, cx + static_cast<int>(effect.defaultEdgeDx * displayWidth),
          cy + static_cast<int>(effect.defaultEdgeDy * displayHeight)};
}

}  // namespace pe::cli
