#pragma once

// CPU models of the geometry and pattern looks: the fisheye mapping, the dot
// screen, the mirror fold and the luminance bloom, each restated from the
// looks' definitions and sampled with GL's rules (TextureModel).

#include <functional>

#include "TextureModel.h"
#include "YuvModel.h"

namespace pe {
namespace ref {

// Fisheye about (cx, cy) in picture units at a distortion level.
struct Fisheye {
  double cx, cy, level;
  // The source position, in picture units, that output position (u, v)
  // shows.
  void Map(double u, double v, double* su, double* sv) const;
  // A preview frame in a source texture allocW wide (rows padded to 32).
  Nv21 Preview(const Nv21& frame, int allocW) const;
  // A still sampled from its whole Y and chroma planes.
  Nv21 Still(const Nv21& still) const;
};

// Dot screen: cells of dot pixels, each showing its centre's colour through
// one tile of the mask.
struct Dots {
  double dot;
  const TextureModel* mask;  // repeat set
  Nv21 Preview(const Nv21& frame, int allocW) const;
  Nv21 Still(const Nv21& still) const;

 private:
  Nv21 Run(const Nv21& frame, int allocW) const;
};

// Mirror fold of one block (or a whole preview): texture coordinates are
// (x + 0.5) / allocW and (y + 0.5) / texH within the block.
Nv21 MirrorPreview(const Nv21& frame, int allocW, bool landscape);
// A still folded block by block, blocks of procW x procH placed from the
// origin, a last column narrower than 32-pixel multiples widened and moved to
// the right edge.
Nv21 MirrorStill(const Nv21& still, int procW, int procH, bool landscape);

// Bloom: the colour times 3.5 times its luminance.
Shade BloomShade();

// Compare leaving out pixels for which skip says so (and chroma pairs that
// hold one of them).
Diff CompareExcept(const Nv21& a, const Nv21& b, const std::function<bool(int x, int y)>& skip);

}  // namespace ref
}  // namespace pe
