#include "BlockWalk.h"

#include <algorithm>
#include <cmath>

namespace pe {

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

CropBlock CropBlockWalk::Place(unsigned run) const {
  CropBlock b{};
  if (!m_cols || !m_rows) return b;
  const unsigned x0 = run % m_cols * m_procW;
  const unsigned y0 = run / m_cols * m_procH;
  const unsigned w = (std::min(m_procW, m_imgW - x0) + 31) / 32 * 32;
  const unsigned h = std::min(m_procH, m_imgH - y0);
  const float xc = m_crop[0], yc = m_crop[1], wc = m_crop[2], hc = m_crop[3];
  b.out =
      BlockRect{x0, y0, w, h, m_allocW ? wc * w / m_allocW : 0.f, m_procH ? hc * h / m_procH : 0.f};
  // Truncations as the arithmetic has always been done; x is kept even so
  // the chroma pairs of the source stay aligned.
  long sx = static_cast<long>(m_imgW * xc + x0 * wc);
  if (sx % 2) ++sx;
  const long sy = static_cast<long>(m_imgH * yc + y0 * hc);
  long sw = (static_cast<long>(w * wc) + 31) & ~31L;
  long sh = static_cast<long>(h * hc);
  // A crop past the picture or a rectangle wider than the block buffer must
  // not reach the still's copy routine: the rectangle is cut to both.
  sw = std::min({sw, static_cast<long>(m_allocW), static_cast<long>(m_imgW) - sx});
  sh = std::min({sh, static_cast<long>(m_procH), static_cast<long>(m_imgH) - sy});
  if (sx < 0 || sy < 0 || sw <= 0 || sh <= 0) return b;
  b.sx = static_cast<unsigned>(sx);
  b.sy = static_cast<unsigned>(sy);
  b.sw = static_cast<unsigned>(sw);
  b.sh = static_cast<unsigned>(sh);
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

}  // namespace pe
