#pragma once

#include <string>

#include "Image.h"

namespace pe::cli {

struct Rgb {
  uint8_t r, g, b;
};

// A built-in 5 x 7 font: digits, letters (lower case drawn as upper case),
// blank and _ - . : ( ); anything else draws as '?'.
constexpr int kGlyphWidth = 5;
constexpr int kGlyphHeight = 7;
bool HasGlyph(char c);

// Text at (x, y), its top left corner, each font pixel a scale x scale square,
// one blank column between glyphs; clipped to the image.
void DrawText(RgbImage* image, int x, int y, const std::string& text, int scale, Rgb colour);
int TextWidth(const std::string& text, int scale);

void FillRect(RgbImage* image, int x, int y, int w, int h, Rgb colour);

// Copies src into dst at (x, y), clipped.
void Blit(RgbImage* dst, const RgbImage& src, int x, int y);

// Shrinks by a whole factor, averaging each factor x factor block.
RgbImage BoxDownscale(const RgbImage& image, int factor);

// The built-in test picture: colour bars, grey and colour ramps, and fine
// detail (line pairs, a zone plate, checkerboards) down to single pixels.
RgbImage TestChart(int width, int height);

}  // namespace pe::cli
