#include "BlockWalk.h"

#include <algorithm>

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

}  // namespace pe
