#pragma once

// Placement of the blocks in which a still larger than the source texture is
// processed. Pure arithmetic, shared by every effect's capture walk.

namespace pe {

struct BlockRect {
  unsigned x, y, w, h;
  float s1, t1;  // far texture coordinates of the block in the source texture
};

class BlockWalk {
 public:
  // imgW x imgH still, procW x procH source texture whose rows are allocW wide.
  BlockWalk(unsigned imgW, unsigned imgH, unsigned procW, unsigned procH, unsigned allocW,
            int overlapX = 0, int overlapY = 0);

  unsigned MaxRuns() const { return m_maxRuns; }
  unsigned StartX() const { return m_startX; }
  unsigned StartY() const { return m_startY; }

  // The block at the current origin. Widths are rounded up to 32 because the
  // block lands in rows padded to 32; a rounded block is moved to end at the
  // right edge, and the walk continues from there.
  BlockRect Place();
  // Steps right by the source width less the overlap, then down.
  void Advance();

 private:
  unsigned m_imgW, m_imgH, m_procW, m_procH, m_allocW;
  int m_overlapX, m_overlapY;
  unsigned m_maxRuns;
  unsigned m_startX = 0, m_startY = 0;
};

}  // namespace pe
