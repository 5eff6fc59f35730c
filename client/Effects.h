#pragma once

#include <array>
#include <string>
#include <vector>

namespace pe::cli {

using Quad = std::array<int, 4>;

// What the tool knows of each effect number the library names.
struct EffectInfo {
  int number;
  char code;         // first character of the "GPU-effect" value
  const char* name;  // as the library names it
  const char* param0;
  const char* param1;
  Quad defaultParam0;
  // How the default second quadruple is placed: as fractions of the display
  // (centre, then a point whose offset from the centre sets a radius or band).
  bool param1IsPosition;
  double defaultEdgeDx, defaultEdgeDy;
  // The values param0 describes; 0..0 where it has none.
  int param0Min, param0Max;
};

const std::vector<EffectInfo>& Effects();
const EffectInfo* FindEffect(int number);

// Accepts a number (0..18), the "GPU-effect" character or a name, in any
// case, with blanks, '-' and '_' ignored ("color sketch", "twotonemask-v").
const EffectInfo* ParseEffect(const std::string& text);

// The display the library maps quadruple 1 from: POSTEFFECT_DISPLAY=WxH,
// else 1920x1080, as the library reads it.
void DisplaySize(int* width, int* height);

// The bound on effect numbers the library accepts: POSTEFFECT_EFFECT_COUNT
// (1..99), else 17, as the library reads it.
unsigned EffectBound();

// Quadruple 1 when the user gives none: the display centre and an edge point.
Quad DefaultParam1(const EffectInfo& effect, int displayWidth, int displayHeight);

}  // namespace pe::cli
