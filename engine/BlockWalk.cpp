#include "BlockWalk.h"

#include <algorithm>
#include <climits>
#include <cmath>

namespace pe {

bool TexelAligned(float s0, float t0, float s1, float t1, unsigned texW, unsigned texH, unsigned vw,
                  unsigned vh) {
  auto whole = [](double v) { return std::fabs(v - std::round(v)) < 1e-3; };
  const double w = std::fabs(static_cast<double>(s1) - s0) * texW;
  const double h = std::fabs(static_cast<double>(t1) - t0) * texH;
  return std::fabs(w - vw) < 1e-3 && std::fabs(h - vh) < 1e-3 &&
         whole(static_cast<double>(std::min(s0, s1)) * texW) &&
         whole(static_cast<double>(std::min(t0, t1)) * texH);
}

bool WholeTexelSteps(unsigned texW, unsigned texH, unsigned vw, unsigned vh) {
  return vw && vh && texW % vw == 0 && texH % vh == 0;
}

BlockWalk::BlockWalk(unsigned imgW, unsigned imgH, unsigned procW, unsigned procH, unsigned allocW,
                     int overlapX, int overlapY)
    : m_imgW(imgW),
      m_imgH(imgH),
      m_procW(procW),
      m_procH(procH),
      m_allocW(allocW),
      m_overlapX(overlapX),
      m_overlapY(overlapY) {
  const unsigned rows = procH ? (imgH + procH - 1) / procH : 0;
  const unsigned cols = procW ? (imgW + procW - 1) / procW : 0;
  m_maxRuns = rows * cols;
}

BlockRect BlockWalk::Place() {
  BlockRect b{};
  unsigned w = m_startX + m_procW > m_imgW ? m_imgW - m_startX : m_procW;
  if (w % 32 != 0) {
    w = (w + 31) / 32 * 32;
    m_startX = m_imgW >= w ? m_imgW - w : 0;
  }
  const unsigned h = m_startY + m_procH > m_imgH ? m_imgH - m_startY : m_procH;
  b.x = m_startX;
  b.y = m_startY;
  b.w = w;
  b.h = h;
  b.s1 = m_allocW ? static_cast<float>(w) / static_cast<float>(m_allocW) : 0.f;
  b.t1 = m_procH ? static_cast<float>(h) / static_cast<float>(m_procH) : 0.f;
  return b;
}

void BlockWalk::Advance() {
  m_startX += m_procW - m_overlapX;
  if (m_startX >= m_imgW) {
    m_startX = 0;
    m_startY += m_procH - m_overlapY;
  }
  if (m_startY >= m_imgH) {
    m_startX = 0;
    m_startY = 0;
  }
}

CropBlockWalk::CropBlockWalk(unsigned imgW, unsigned imgH, unsigned procW, unsigned procH,
                             unsigned allocW, const float crop[4])
    : m_imgW(imgW), m_imgH(imgH), m_procW(procW), m_procH(procH), m_allocW(allocW) {
  for (int i = 0; i < 4; ++i) m_crop[i] = crop[i];
  m_rows = procH ? (imgH + procH - 1) / procH : 0;
  m_cols = procW ? (imgW + procW - 1) / procW : 0;
}

namespace {

// One axis of a crop block: a block n pixels long reads the source from
// `exact` at `scale` source pixels per output pixel. Returns the fetched
// origin and length, cut to the buffer (limit) and the picture; near is the
// exact origin's offset into the fetched span. Unstretched, the block reads
// whole pixels from the truncated origin; stretched, it reads between pixels,
// so the fetch keeps a border on both sides, starts on an even pixel (chroma
// pairs) and is as long as the copy routine fills exactly (align).
struct Span {
  long start, length;
  float near;
};

Span CropSpan(double exact, unsigned n, float scale, long align, long limit, long picture,
              bool evenStart) {
  long start = static_cast<long>(exact);
  if (evenStart && start % 2) ++start;
  long length = (static_cast<long>(n * scale) + align - 1) / align * align;
  float near = 0.f;
  if (scale < 1.f) {
    constexpr long kBorder = 2;
    start = std::max(0L, start - kBorder) & ~1L;
    near = static_cast<float>(exact - static_cast<double>(start));
    const long reach =
        static_cast<long>(std::ceil(near + n * static_cast<double>(scale))) + kBorder;
    const long a = std::max(align, 2L);
    length = (reach + a - 1) / a * a;
  }
  return Span{start, std::min({length, limit, picture - start}), near};
}

}  // namespace

CropBlock CropBlockWalk::Place(unsigned run) const {
  CropBlock b{};
  if (!m_cols || !m_rows) return b;
  const unsigned x0 = run % m_cols * m_procW;
  const unsigned y0 = run / m_cols * m_procH;
  const unsigned w = (std::min(m_procW, m_imgW - x0) + 31) / 32 * 32;
  const unsigned h = std::min(m_procH, m_imgH - y0);
  const float xc = m_crop[0], yc = m_crop[1], wc = m_crop[2], hc = m_crop[3];
  // x stays even so the source's chroma pairs stay aligned; a rectangle
  // wider than the block buffer or past the picture never reaches the still's
  // copy routine.
  const Span sx = CropSpan(static_cast<double>(m_imgW) * xc + static_cast<double>(x0) * wc, w, wc,
                           32, static_cast<long>(m_allocW), static_cast<long>(m_imgW), true);
  const Span sy = CropSpan(static_cast<double>(m_imgH) * yc + static_cast<double>(y0) * hc, h, hc,
                           1, static_cast<long>(m_procH), static_cast<long>(m_imgH), false);
  b.out = BlockRect{x0, y0, w, h, 0.f, 0.f};
  b.out.s0 = m_allocW ? sx.near / m_allocW : 0.f;
  b.out.t0 = m_procH ? sy.near / m_procH : 0.f;
  b.out.s1 = b.out.s0 + (m_allocW ? wc * w / m_allocW : 0.f);
  b.out.t1 = b.out.t0 + (m_procH ? hc * h / m_procH : 0.f);
  if (sx.start < 0 || sy.start < 0 || sx.length <= 0 || sy.length <= 0) return b;
  b.sx = static_cast<unsigned>(sx.start);
  b.sy = static_cast<unsigned>(sy.start);
  b.sw = static_cast<unsigned>(sx.length);
  b.sh = static_cast<unsigned>(sy.length);
  return b;
}

DotGridWalk::DotGridWalk(unsigned imgW, unsigned imgH, double dot)
    : m_imgW(imgW), m_imgH(imgH), m_dot(std::max(dot, 1.0)) {
  // Sixteen dots a block, but never a block so small that tiny dots multiply
  // the runs.
  m_edge = std::max(16.0 * m_dot, 32.0);
  m_margin = static_cast<unsigned>(m_dot / 2) + 2;
  // Holds a block (at most the edge plus 2) with both margins and the
  // rounding of the fetch to 32.
  m_n = (static_cast<unsigned>(m_edge + m_dot) + 95) & ~31u;
  m_cols = static_cast<unsigned>(std::ceil(imgW / m_edge));
  m_rows = static_cast<unsigned>(std::ceil(imgH / m_edge));
}

unsigned DotGridWalk::Edge(unsigned i, unsigned count, unsigned size) const {
  if (i >= count) return size;
  // The grid line nearest to the multiple of the block edge, moved to the
  // next even pixel so that chroma pairs stay whole.
  const unsigned e = (static_cast<unsigned>(i * m_edge + 0.5) + 1) & ~1u;
  return std::min(e, size);
}

DotBlock DotGridWalk::Place(unsigned run) const {
  DotBlock b{};
  if (!m_cols || !m_rows || run >= MaxRuns()) return b;
  const unsigned c = run % m_cols, r = run / m_cols;
  b.x = Edge(c, m_cols, m_imgW);
  b.y = Edge(r, m_rows, m_imgH);
  b.w = Edge(c + 1, m_cols, m_imgW) - b.x;
  b.h = Edge(r + 1, m_rows, m_imgH) - b.y;
  if (b.Empty()) return b;
  // Fetched widths are multiples of 32, as the still's copy routine fills
  // whole groups of pixels and pads the rest of the buffer with each row's
  // last pixel; at the right edge the rectangle moves left instead.
  auto fetch = [this](unsigned start, unsigned len, unsigned size, unsigned round, unsigned* from,
                      unsigned* count) {
    *from = (start > m_margin ? start - m_margin : 0) & ~1u;
    const unsigned end = std::min(size, start + len + m_margin);
    *count = std::min((end - *from + round - 1) / round * round, m_n);
    if (*count > size) {
      *from = 0;
      *count = size;
    } else if (*from + *count > size) {
      *from = size - *count;
    }
  };
  fetch(b.x, b.w, m_imgW, 32, &b.fx, &b.fw);
  fetch(b.y, b.h, m_imgH, 2, &b.fy, &b.fh);
  auto cells = [this](unsigned start, unsigned len, unsigned* first, unsigned* count) {
    *first = static_cast<unsigned>((start + 0.5) / m_dot);
    const unsigned last = static_cast<unsigned>((start + len - 0.5) / m_dot);
    *count = last - *first + 1;
  };
  cells(b.x, b.w, &b.cellX, &b.cellsW);
  cells(b.y, b.h, &b.cellY, &b.cellsH);
  return b;
}

ApronBlockWalk::ApronBlockWalk(unsigned imgW, unsigned imgH, unsigned texW, unsigned texH,
                               unsigned allocW, const float crop[4])
    : m_imgW(imgW),
      m_imgH(imgH),
      m_texW(texW),
      m_texH(texH),
      m_allocW(allocW),
      m_coreW(static_cast<int>(texW) - static_cast<int>(kTrim)),
      m_coreH(static_cast<int>(texH) - static_cast<int>(kTrim)) {
  // The crop comes from the caller: anything but fractions of the picture
  // stands for the whole of it, so no product below can overflow.
  static const float kWhole[4] = {0, 0, 1, 1};
  for (int i = 0; i < 4; ++i)
    m_crop[i] = std::isfinite(crop[i]) && crop[i] >= 0 && crop[i] <= 1 ? crop[i] : kWhole[i];
  if (!Valid()) return;
  m_cols = (imgW + m_coreW - 1) / m_coreW;
  m_rows = (imgH + m_coreH - 1) / m_coreH;
}

float ApronBlockWalk::StepX() const {
  return m_crop[2] * (static_cast<float>(m_imgW) / m_texW) / static_cast<float>(m_coreW);
}

float ApronBlockWalk::StepY() const {
  return m_crop[3] * (static_cast<float>(m_imgH) / m_texH) / static_cast<float>(m_coreH);
}

ApronBlock ApronBlockWalk::Place(unsigned run) const {
  ApronBlock b{};
  if (!m_cols || !m_rows) return b;
  const long W = m_imgW, H = m_imgH;
  b.bx = run % m_cols * m_coreW;
  b.by = run / m_cols * m_coreH;
  b.bw = std::min<unsigned>(m_coreW, m_imgW - b.bx);
  b.bh = std::min<unsigned>(m_coreH, m_imgH - b.by);
  const long coreW = static_cast<long>(b.bw * m_crop[2]);
  const long coreH = static_cast<long>(b.bh * m_crop[3]);

  const long fx = static_cast<long>(W * m_crop[0] + b.bx * m_crop[2]);
  const long x0 = fx < static_cast<long>(kApron) + 1 ? 0 : (fx - kApron) & ~31L;
  long fw = (fx - x0 + coreW + kApron + 31) & ~31L;
  if (fx + fw > W) fw = W - x0;

  const long fy = static_cast<long>(H * m_crop[1] + b.by * m_crop[3]);
  const long y0 = fy < static_cast<long>(kApron) + 1 ? 0 : fy - kApron;
  const long fh = coreH + 2 * fy + kApron - 1 - y0 >= H ? H - y0 : fy + kApron + coreH - y0;

  // A crop reaching past the picture, or a rectangle wider than the block
  // buffer, must not reach the still's copy routine.
  b.x0 = static_cast<unsigned>(std::max(0L, std::min(x0, W)));
  b.y0 = static_cast<unsigned>(std::max(0L, std::min(y0, H)));
  b.fw = static_cast<unsigned>(std::max(0L, std::min({fw, static_cast<long>(m_allocW), W - x0})));
  b.fh = static_cast<unsigned>(std::max(0L, std::min({fh, static_cast<long>(m_texH), H - y0})));
  b.left = static_cast<unsigned>(std::max(0L, fx - x0));
  b.top = static_cast<unsigned>(std::max(0L, fy - y0));
  b.coreW = static_cast<unsigned>(std::max(0L, coreW));
  b.coreH = static_cast<unsigned>(std::max(0L, coreH));
  return b;
}

int OverlapBlockWalk::Overlap(float step, unsigned proc, bool even) {
  const int half = static_cast<int>(std::ceil(step * 5 * static_cast<float>(proc)));
  return 2 * (even ? (half + 1) & ~1 : half);
}

OverlapBlockWalk::OverlapBlockWalk(unsigned imgW, unsigned imgH, unsigned procW, unsigned procH,
                                   unsigned allocW)
    : m_procW(procW),
      m_procH(procH),
      m_stepX(procW ? static_cast<float>(imgW) / procW * (1.f / procW) : 0.f),
      m_stepY(procH ? static_cast<float>(imgH) / procH * (1.f / procH) : 0.f),
      m_overlapX(Overlap(m_stepX, procW, true)),
      m_overlapY(Overlap(m_stepY, procH, false)),
      m_walk(imgW, imgH, procW, procH, allocW, m_overlapX, m_overlapY) {
  if (!Valid()) return;
  const float cols = std::ceil(static_cast<float>(imgW) / static_cast<float>(procW - m_overlapX));
  const float rows = std::ceil(static_cast<float>(imgH) / static_cast<float>(procH - m_overlapY));
  m_maxRuns = static_cast<unsigned>(cols) * static_cast<unsigned>(rows);
}

namespace {

// A reach in blur pixels as whole rows, held to what an int takes.
int ReachRows(float reachY) {
  return static_cast<int>(std::ceil(std::min(std::max(0.f, reachY), 1e6f)));
}

}  // namespace

BlurWindows BlurWindowsFor(const float blurCoord[8], unsigned blurW, unsigned blurH, float reachY) {
  // One axis's span [from, to) in blur pixels of the coordinates the mix
  // reads, widened by margin and held to the blur; the whole blur where the
  // coordinates give nothing to go by.
  auto span = [blurCoord](int axis, unsigned blur, int margin, int* out) {
    float lo = blurCoord[axis], hi = lo;
    for (int i = 1; i < 4; ++i) {
      lo = std::min(lo, blurCoord[2 * i + axis]);
      hi = std::max(hi, blurCoord[2 * i + axis]);
    }
    const double from = std::floor(static_cast<double>(lo) * blur) - margin;
    const double to = std::ceil(static_cast<double>(hi) * blur) + margin;
    out[0] = 0;
    out[1] = static_cast<int>(blur);
    if (!(from < to) || to <= 0 || from >= blur) return;
    out[0] = static_cast<int>(std::max(0.0, from));
    out[1] = static_cast<int>(std::min(static_cast<double>(blur), to)) - out[0];
  };
  const int reach = 1 + ReachRows(reachY);
  int x[2], y[2], ya[2];
  span(0, blurW, 1, x);
  span(1, blurH, 1, y);
  span(1, blurH, 1 + reach, ya);
  return BlurWindows{{x[0], y[0], x[1], y[1]}, {x[0], ya[0], x[1], ya[1]}};
}

namespace {

// Rows of a reduced pass that share one cut: fewer draws, a little less left
// out near the sharp area's top and bottom.
constexpr int kBandRows = 16;

// The columns [x0, x1) a band of a pass leaves out; none when empty.
struct Cut {
  int x0 = 0, x1 = 0;
  bool Empty() const { return x0 >= x1; }
};

// The pass's window cut into its bands' rectangles; bands cut alike whole
// merge into one rectangle.
std::vector<PassRect> Rects(const int window[4], const std::vector<Cut>& cuts) {
  std::vector<PassRect> out;
  const int wx0 = window[0], wx1 = window[0] + window[2];
  const int wy0 = window[1], wy1 = window[1] + window[3];
  for (int b = 0; b * kBandRows < wy1; ++b) {
    const int y0 = std::max(wy0, b * kBandRows), y1 = std::min(wy1, (b + 1) * kBandRows);
    if (y0 >= y1) continue;
    const Cut c = b < static_cast<int>(cuts.size()) ? cuts[b] : Cut();
    const int x0 = std::max(wx0, c.x0), x1 = std::min(wx1, c.x1);
    if (x0 >= x1) {
      if (!out.empty() && out.back().x == wx0 && out.back().w == wx1 - wx0 &&
          out.back().y + out.back().h == y0)
        out.back().h += y1 - y0;
      else
        out.push_back({wx0, y0, wx1 - wx0, y1 - y0});
      continue;
    }
    if (x0 > wx0) out.push_back({wx0, y0, x0 - wx0, y1 - y0});
    if (x1 < wx1) out.push_back({x1, y0, wx1 - x1, y1 - y0});
  }
  return out;
}

}  // namespace

BlurRects BlurRectsFor(const float posCoord[8], const float blurCoord[8], unsigned blurW,
                       unsigned blurH, float reachY, const int acrossWindow[4],
                       const int downWindow[4], const SharpSpan& sharp) {
  const int bands = (static_cast<int>(blurH) + kBandRows - 1) / kBandRows;
  std::vector<Cut> down(static_cast<size_t>(bands));
  // The mix's position as an affine function of its blur coordinate, per
  // axis (s: corners 0 and 4, t: corners 3 and 1).
  const double bs0 = blurCoord[0], bs1 = blurCoord[4], bt0 = blurCoord[3], bt1 = blurCoord[1];
  const double ps0 = posCoord[0], ps1 = posCoord[4], pt0 = posCoord[3], pt1 = posCoord[1];
  const bool mapped = bs1 != bs0 && bt1 != bt0 && std::isfinite(bs0 + bs1 + bt0 + bt1) &&
                      std::isfinite(ps0 + ps1 + pt0 + pt1) && blurW && blurH;
  for (int b = 0; mapped && b < bands; ++b) {
    // Texel row j is read by blur coordinates in [(j - 0.5) / H, (j + 1.5) / H);
    // a texel more on each side for rounding.
    const double t0 = (b * kBandRows - 1.5) / blurH;
    const double t1 = (std::min<int>(blurH, (b + 1) * kBandRows) + 1.5) / blurH;
    const double ya = pt0 + (t0 - bt0) * (pt1 - pt0) / (bt1 - bt0);
    const double yb = pt0 + (t1 - bt0) * (pt1 - pt0) / (bt1 - bt0);
    float x0, x1;
    if (!sharp(static_cast<float>(std::min(ya, yb)), static_cast<float>(std::max(ya, yb)), &x0,
               &x1))
      continue;
    const double sa = bs0 + (x0 - ps0) * (bs1 - bs0) / (ps1 - ps0);
    const double sb = bs0 + (x1 - ps0) * (bs1 - bs0) / (ps1 - ps0);
    // Columns whose readers, with the same margin, all lie within [sa, sb].
    const double from = std::ceil(std::min(sa, sb) * blurW + 1.5);
    const double to = std::floor(std::max(sa, sb) * blurW - 2.5) + 1;
    if (!(from < to)) continue;
    down[b] = {static_cast<int>(std::max(from, -1.0)),
               static_cast<int>(std::min(to, static_cast<double>(blurW) + 1))};
  }
  // The across pass keeps every texel the down pass's drawn taps reach (taps
  // beyond an edge are clamped to it, within reach too): a band may leave
  // out only what all down bands within reach leave out, less a column on
  // each side for the down pass's filter across.
  const int reach = 2 + ReachRows(reachY);
  std::vector<Cut> across(static_cast<size_t>(bands));
  for (int b = 0; b < bands; ++b) {
    const int first = std::max(0, (b * kBandRows - reach) / kBandRows);
    const int last = std::min(bands - 1, ((b + 1) * kBandRows - 1 + reach) / kBandRows);
    Cut c{INT_MIN, INT_MAX};
    for (int d = first; d <= last; ++d) {
      c.x0 = std::max(c.x0, down[d].x0);
      c.x1 = std::min(c.x1, down[d].x1);
    }
    if (!c.Empty()) across[b] = {c.x0 + 1, c.x1 - 1};
  }
  return {Rects(acrossWindow, across), Rects(downWindow, down)};
}

}  // namespace pe
