#include "BlockWalk.h"

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

}  // namespace pe
