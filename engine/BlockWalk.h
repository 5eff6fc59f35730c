#pragma once

#include <functional>
#include <vector>

// Placement of the blocks in which a still larger than the source texture is
// processed. Pure arithmetic, shared by every effect's capture walk.

namespace pe {

// Whether a draw of a vw x vh viewport over [s0, s1] x [t0, t1] of a
// texW x texH texture meets every texel at its centre, one to one.
bool TexelAligned(float s0, float t0, float s1, float t1, unsigned texW, unsigned texH, unsigned vw,
                  unsigned vh);
// Whether steps of 1 / vw and 1 / vh of a texW x texH texture, a kernel's
// reach of one viewport pixel, are whole texels: taps from a texel centre
// then land on centres too.
bool WholeTexelSteps(unsigned texW, unsigned texH, unsigned vw, unsigned vh);

struct BlockRect {
  unsigned x, y, w, h;
  float s1, t1;  // far texture coordinates of the block in the source texture
  // Near texture coordinates: 0 but where a border was fetched around the
  // block's source.
  float s0 = 0.f, t0 = 0.f;
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

// The crop-aware walk: blocks of the processing size from the picture's
// origin, widths rounded up to 32 without moving the block back (the last
// column may reach past the picture), each fed from the crop's part of the
// picture so that the crop is stretched over the whole output. A stretched
// axis samples between source pixels, so there the source is fetched with a
// small border and the block's coordinates start at the exact, untruncated
// source position: neighbouring blocks then join without a seam.
struct CropBlock {
  BlockRect out;            // where the block goes; s1, t1 scaled by the crop
  unsigned sx, sy, sw, sh;  // the source rectangle the block is filled from
  bool HasSource() const { return sw > 0 && sh > 0; }
};

class CropBlockWalk {
 public:
  // crop: x, y, w, h as fractions of the picture.
  CropBlockWalk(unsigned imgW, unsigned imgH, unsigned procW, unsigned procH, unsigned allocW,
                const float crop[4]);

  unsigned MaxRuns() const { return m_rows * m_cols; }
  // Block number run, left to right, then top to bottom.
  CropBlock Place(unsigned run) const;

 private:
  unsigned m_imgW, m_imgH, m_procW, m_procH, m_allocW;
  float m_crop[4];
  unsigned m_rows, m_cols;
};

// The dot effect's capture walk. Blocks hold about 16 x 16 dots and their
// edges follow the dot grid; each block is rendered from a private buffer of
// n x n pixels that holds the block plus a margin of half a dot on every
// side, so that a dot cut by a block edge still reads its colour from its
// own centre and the grid runs on without a seam. n depends only on the dot
// size, never on the still.
struct DotBlock {
  unsigned x, y, w, h;      // block in the still; x and y even (chroma pairs)
  unsigned fx, fy, fw, fh;  // rectangle of the still fetched to the buffer's top left
  unsigned cellX, cellY;    // first dot cell the block touches
  unsigned cellsW, cellsH;  // dot cells the block touches
  bool Empty() const { return w == 0 || h == 0; }
};

class DotGridWalk {
 public:
  // dot: the dot size in still pixels; below one pixel it is taken as one.
  DotGridWalk(unsigned imgW, unsigned imgH, double dot);

  double Dot() const { return m_dot; }
  // Edge of the private buffer and of the size-down texture.
  unsigned BufferSize() const { return m_n; }
  // Pixels the fetched rectangle reaches past the block on each side; at the
  // still's right and bottom edges the buffer is padded by as many copies of
  // the last column or row.
  unsigned Margin() const { return m_margin; }
  unsigned Rows() const { return m_rows; }
  unsigned Cols() const { return m_cols; }
  unsigned MaxRuns() const { return m_rows * m_cols; }
  // Block number run, left to right, then top to bottom.
  DotBlock Place(unsigned run) const;

 private:
  // Start of block row or column i of count along a side of size.
  unsigned Edge(unsigned i, unsigned count, unsigned size) const;

  unsigned m_imgW, m_imgH;
  double m_dot, m_edge;
  unsigned m_n, m_margin, m_rows, m_cols;
};

// The apron walk: the still is cut into cores of the source size less 192
// pixels, each fetched with up to 64 pixels of picture around it (the apron)
// so that a blur near a core's edge reads real neighbours. Everything is
// placed through the crop (fractions of the picture).
struct ApronBlock {
  unsigned bx, by, bw, bh;  // the core in the picture, written back
  unsigned x0, y0, fw, fh;  // the fetched rectangle of the picture
  unsigned left, top;       // the core's offset inside the fetched rectangle
  unsigned coreW, coreH;    // the core's extent in fetched pixels (scaled by the crop)
};

class ApronBlockWalk {
 public:
  static constexpr unsigned kApron = 64;
  static constexpr unsigned kTrim = 192;

  // texW x texH source texture whose rows are allocW wide; crop as x, y, w, h.
  ApronBlockWalk(unsigned imgW, unsigned imgH, unsigned texW, unsigned texH, unsigned allocW,
                 const float crop[4]);

  // False when the source is too small to hold a core and its apron.
  bool Valid() const { return m_coreW > 0 && m_coreH > 0; }
  unsigned MaxRuns() const { return m_cols * m_rows; }
  // One source pixel of the core in texture units, scaled so that a blur
  // spans the same share of the picture whatever the block size.
  float StepX() const;
  float StepY() const;
  // Block number run, left to right, then top to bottom.
  ApronBlock Place(unsigned run) const;

 private:
  unsigned m_imgW, m_imgH, m_texW, m_texH, m_allocW;
  float m_crop[4];
  int m_coreW, m_coreH;
  unsigned m_cols = 0, m_rows = 0;
};

// The parts of a reduced blur (blurW x blurH) that a block needs, as x, y,
// w, h in its pixels: `down`, what the mix reads, blurCoord being the four
// corners of its coordinates into the blur (s, t pairs), and a texel more on
// each side for the filter; `across`, what the down pass reads for that,
// reachY blur pixels more above and below (its farthest tap), again with a
// texel for the filter. Coordinates that give no span take the whole blur.
struct BlurWindows {
  int down[4];
  int across[4];
};
BlurWindows BlurWindowsFor(const float blurCoord[8], unsigned blurW, unsigned blurH, float reachY);

// Where a mix takes none of the blur: given a span [y0, y1] of its position
// coordinate (the one its weight is computed from), the span [x0, x1] of x
// where the weight is exactly zero for every y of it; false where there is
// none.
using SharpSpan = std::function<bool(float y0, float y1, float* x0, float* x1)>;

// A rectangle of a reduced pass: x, y, w, h in its pixels.
struct PassRect {
  int x, y, w, h;
};

// What the two reduced passes draw when the blur under the mix's sharp area
// is left undrawn: each pass's window (x, y, w, h, as BlurWindows gives) cut
// into bands of rows, each band without the columns that no pixel taking any
// blur reads, through the filter, a texel's margin included; `across` also
// keeps what the down pass's taps (reachY blur pixels) read. posCoord and
// blurCoord: the mix's position and blur coordinates at its quad's corners
// ((s0, t1), (s0, t0), (s1, t0), (s1, t1)). Texels left undrawn keep what
// they held: the mix weighs them by zero.
struct BlurRects {
  std::vector<PassRect> across, down;
};
BlurRects BlurRectsFor(const float posCoord[8], const float blurCoord[8], unsigned blurW,
                       unsigned blurH, float reachY, const int acrossWindow[4],
                       const int downWindow[4], const SharpSpan& sharp);

// The overlap walk: the plain walk stepping by the source size less an
// overlap of five blur steps on each side, steps that keep the blur's share
// of the picture as in preview. The overlap in x is kept even so that the
// discarded half never splits a chroma pair; y needs no such care.
class OverlapBlockWalk {
 public:
  OverlapBlockWalk(unsigned imgW, unsigned imgH, unsigned procW, unsigned procH, unsigned allocW);

  // False when the overlap would swallow a whole block.
  bool Valid() const {
    return m_overlapX < static_cast<int>(m_procW) && m_overlapY < static_cast<int>(m_procH);
  }
  float StepX() const { return m_stepX; }
  float StepY() const { return m_stepY; }
  int HalfOverlapX() const { return m_overlapX / 2; }
  int HalfOverlapY() const { return m_overlapY / 2; }
  int OverlapX() const { return m_overlapX; }
  int OverlapY() const { return m_overlapY; }
  unsigned MaxRuns() const { return m_maxRuns; }
  BlockRect Place() { return m_walk.Place(); }
  void Advance() { m_walk.Advance(); }

 private:
  static int Overlap(float step, unsigned proc, bool even);
  unsigned m_procW, m_procH;
  float m_stepX, m_stepY;
  int m_overlapX, m_overlapY;
  unsigned m_maxRuns = 0;
  BlockWalk m_walk;
};

}  // namespace pe
