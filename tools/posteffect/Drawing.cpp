#include "Drawing.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>

namespace pe::cli {

namespace {

struct Glyph {
  char c;
  uint8_t rows[kGlyphHeight];  // bit 4 is the leftmost column
};

constexpr Glyph kFont[] = {
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}},
    {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}},
    {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}},
    {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}},
    {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}},
    {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {'A', {0x0E, 0x11, 0x11, 0x11, 0x1F, 0x11, 0x11}},
    {'B', {0x1E, 0x11, 0x11, 0x1E, 0x11, 0x11, 0x1E}},
    {'C', {0x0E, 0x11, 0x10, 0x10, 0x10, 0x11, 0x0E}},
    {'D', {0x1C, 0x12, 0x11, 0x11, 0x11, 0x12, 0x1C}},
    {'E', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x1F}},
    {'F', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x10}},
    {'G', {0x0E, 0x11, 0x10, 0x17, 0x11, 0x11, 0x0F}},
    {'H', {0x11, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'I', {0x0E, 0x04, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'J', {0x07, 0x02, 0x02, 0x02, 0x02, 0x12, 0x0C}},
    {'K', {0x11, 0x12, 0x14, 0x18, 0x14, 0x12, 0x11}},
    {'L', {0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x1F}},
    {'M', {0x11, 0x1B, 0x15, 0x15, 0x11, 0x11, 0x11}},
    {'N', {0x11, 0x11, 0x19, 0x15, 0x13, 0x11, 0x11}},
    {'O', {0x0E, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}},
    {'P', {0x1E, 0x11, 0x11, 0x1E, 0x10, 0x10, 0x10}},
    {'Q', {0x0E, 0x11, 0x11, 0x11, 0x15, 0x12, 0x0D}},
    {'R', {0x1E, 0x11, 0x11, 0x1E, 0x14, 0x12, 0x11}},
    {'S', {0x0F, 0x10, 0x10, 0x0E, 0x01, 0x01, 0x1E}},
    {'T', {0x1F, 0x04, 0x04, 0x04, 0x04, 0x04, 0x04}},
    {'U', {0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}},
    {'V', {0x11, 0x11, 0x11, 0x11, 0x11, 0x0A, 0x04}},
    {'W', {0x11, 0x11, 0x11, 0x15, 0x15, 0x15, 0x0A}},
    {'X', {0x11, 0x11, 0x0A, 0x04, 0x0A, 0x11, 0x11}},
    {'Y', {0x11, 0x11, 0x11, 0x0A, 0x04, 0x04, 0x04}},
    {'Z', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x10, 0x1F}},
    {' ', {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}},
    {'_', {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x1F}},
    {'-', {0x00, 0x00, 0x00, 0x1F, 0x00, 0x00, 0x00}},
    {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}},
    {':', {0x00, 0x0C, 0x0C, 0x00, 0x0C, 0x0C, 0x00}},
    {'(', {0x02, 0x04, 0x08, 0x08, 0x08, 0x04, 0x02}},
    {')', {0x08, 0x04, 0x02, 0x02, 0x02, 0x04, 0x08}},
    {'?', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x00, 0x04}},
};

const Glyph* FindGlyph(char c) {
  const char upper = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  for (const Glyph& g : kFont)
    if (g.c == upper) return &g;
  return nullptr;
}

void Put(RgbImage* image, int x, int y, Rgb c) {
  if (x < 0 || y < 0 || x >= image->width || y >= image->height) return;
  uint8_t* p = image->At(x, y);
  p[0] = c.r;
  p[1] = c.g;
  p[2] = c.b;
}

uint8_t Level(int i, int n) { return static_cast<uint8_t>(n > 1 ? i * 255 / (n - 1) : 0); }

}  // namespace

bool HasGlyph(char c) { return FindGlyph(c) != nullptr; }

int TextWidth(const std::string& text, int scale) {
  return text.empty() ? 0 : static_cast<int>(text.size()) * (kGlyphWidth + 1) * scale - scale;
}

void DrawText(RgbImage* image, int x, int y, const std::string& text, int scale, Rgb colour) {
  for (size_t i = 0; i < text.size(); ++i) {
    const Glyph* g = FindGlyph(text[i]);
    if (!g) g = FindGlyph('?');
    const int gx = x + static_cast<int>(i) * (kGlyphWidth + 1) * scale;
    for (int row = 0; row < kGlyphHeight; ++row)
      for (int col = 0; col < kGlyphWidth; ++col)
        if (g->rows[row] & (0x10 >> col))
          FillRect(image, gx + col * scale, y + row * scale, scale, scale, colour);
  }
}

void FillRect(RgbImage* image, int x, int y, int w, int h, Rgb colour) {
  const int x0 = std::max(x, 0), y0 = std::max(y, 0);
  const int x1 = std::min(x + w, image->width), y1 = std::min(y + h, image->height);
  for (int yy = y0; yy < y1; ++yy)
    for (int xx = x0; xx < x1; ++xx) Put(image, xx, yy, colour);
}

void Blit(RgbImage* dst, const RgbImage& src, int x, int y) {
  for (int sy = 0; sy < src.height; ++sy) {
    const int dy = y + sy;
    if (dy < 0 || dy >= dst->height) continue;
    const int sx0 = std::max(0, -x);
    const int sx1 = std::min(src.width, dst->width - x);
    if (sx1 <= sx0) continue;
    std::memcpy(dst->At(x + sx0, dy), src.At(sx0, sy), static_cast<size_t>(sx1 - sx0) * 3);
  }
}

RgbImage BoxDownscale(const RgbImage& image, int factor) {
  if (factor <= 1) return image;
  RgbImage out(image.width / factor, image.height / factor);
  const int area = factor * factor;
  for (int y = 0; y < out.height; ++y) {
    for (int x = 0; x < out.width; ++x) {
      int sum[3] = {0, 0, 0};
      for (int dy = 0; dy < factor; ++dy)
        for (int dx = 0; dx < factor; ++dx)
          for (int c = 0; c < 3; ++c) sum[c] += image.At(x * factor + dx, y * factor + dy)[c];
      for (int c = 0; c < 3; ++c)
        out.At(x, y)[c] = static_cast<uint8_t>((sum[c] + area / 2) / area);
    }
  }
  return out;
}

RgbImage TestChart(int width, int height) {
  RgbImage chart(width, height);
  const int barsEnd = height * 40 / 100;
  const int greyEnd = height * 55 / 100;
  const int colourEnd = height * 70 / 100;

  static const Rgb kBars[] = {{255, 255, 255}, {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                              {255, 0, 255},   {255, 0, 0},   {0, 0, 255},   {0, 0, 0}};
  for (int i = 0; i < 8; ++i)
    FillRect(&chart, width * i / 8, 0, width * (i + 1) / 8 - width * i / 8, barsEnd, kBars[i]);

  for (int x = 0; x < width; ++x) {
    const uint8_t v = Level(x, width);
    FillRect(&chart, x, barsEnd, 1, greyEnd - barsEnd, Rgb{v, v, v});
    const int band = (colourEnd - greyEnd) / 3;
    FillRect(&chart, x, greyEnd, 1, band, Rgb{v, 0, 0});
    FillRect(&chart, x, greyEnd + band, 1, band, Rgb{0, v, 0});
    FillRect(&chart, x, greyEnd + 2 * band, 1, colourEnd - greyEnd - 2 * band, Rgb{0, 0, v});
  }

  // Detail row: four cells side by side.
  const int cellH = height - colourEnd;
  const int cellW = width / 4;
  auto cellX = [&](int i) { return i * cellW; };
  const Rgb black{0, 0, 0}, white{255, 255, 255};
  for (int y = colourEnd; y < height; ++y) {
    const int ly = y - colourEnd;
    for (int x = 0; x < width; ++x) {
      const int cell = std::min(x / cellW, 3);
      const int lx = x - cellX(cell);
      const int w = cell == 3 ? width - cellX(3) : cellW;
      bool on = false;
      if (cell == 0) {  // vertical lines 1, 2 and 4 pixels wide, in three bands
        const int period = 2 << std::min(ly * 3 / cellH, 2);
        on = (lx % period) < period / 2;
      } else if (cell == 1) {  // horizontal lines, bands side by side
        const int period = 2 << std::min(lx * 3 / w, 2);
        on = (ly % period) < period / 2;
      } else if (cell == 2) {  // zone plate: rings reaching one cycle per 2 pixels at its rim
        const double r = std::min(w, cellH) / 2.0;
        const double dx = lx + 0.5 - w / 2.0, dy = ly + 0.5 - cellH / 2.0;
        const double rr = dx * dx + dy * dy;
        const uint8_t v = rr > r * r ? 128
                                     : static_cast<uint8_t>(std::lround(
                                           127.5 + 127.5 * std::cos(M_PI * rr / (2.0 * r))));
        Put(&chart, x, y, Rgb{v, v, v});
        continue;
      } else {  // checkerboards of 1, 2, 4 and 8 pixel squares in quadrants
        const int quadrant = (lx * 2 / w) + 2 * (ly * 2 / cellH);
        const int square = 1 << quadrant;
        on = ((lx / square) + (ly / square)) % 2 == 0;
      }
      Put(&chart, x, y, on ? white : black);
    }
  }

  const int scale = std::max(1, height / 240);
  const std::string label = "TEST CHART " + std::to_string(width) + "x" + std::to_string(height);
  DrawText(&chart, 2 * scale, 2 * scale, label, scale, Rgb{0, 0, 0});
  return chart;
}

}  // namespace pe::cli
