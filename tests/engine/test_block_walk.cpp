#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <tuple>
#include <vector>

#include "BlockWalk.h"

namespace {

// How many placed blocks hold each pixel of a W x H still.
struct Cover {
  Cover(unsigned W, unsigned H) : w(W), h(H), n(static_cast<size_t>(W) * H) {}
  bool In(unsigned x, unsigned y, unsigned bw, unsigned bh) const {
    return x + bw <= w && y + bh <= h;
  }
  void Add(unsigned x, unsigned y, unsigned bw, unsigned bh) {
    ASSERT_TRUE(In(x, y, bw, bh)) << x << "," << y << " " << bw << "x" << bh;
    for (unsigned j = y; j < y + bh; ++j)
      for (unsigned i = x; i < x + bw; ++i) ++n[static_cast<size_t>(j) * w + i];
  }
  bool Once() const { return std::count(n.begin(), n.end(), 1) == static_cast<long>(n.size()); }
  unsigned w, h;
  std::vector<unsigned char> n;
};

// Every block's far texture coordinates are its share of the source.
template <class Kind = pe::BlockWalk>
std::vector<pe::BlockRect> Walk(unsigned W, unsigned H, unsigned pw, unsigned ph) {
  const unsigned allocW = (pw + 31) / 32 * 32;
  Kind walk(W, H, pw, ph, allocW);
  std::vector<pe::BlockRect> out;
  for (unsigned run = 0; run < walk.MaxRuns(); ++run) {
    out.push_back(walk.Place());
    walk.Advance();
    EXPECT_FLOAT_EQ(out.back().s1, static_cast<float>(out.back().w) / allocW);
    EXPECT_FLOAT_EQ(out.back().t1, static_cast<float>(out.back().h) / ph);
  }
  return out;
}

TEST(BlockWalk, RunsAndPlacesOfPlainAndOverlappingWalks) {
  const struct {
    unsigned W, H, pw, ph, runs, index, x, y, w, h;
    bool overlap = false;
  } kCases[] = {
      {1280, 720, 1280, 720, 1, 0, 0, 0, 1280, 720},
      {2560, 720, 1280, 720, 2, 1, 1280, 0, 1280, 720},
      // A ragged last column is rounded to 32 and moved to the right edge.
      {1380, 720, 1280, 720, 2, 1, 1252, 0, 128, 720},
      // Narrower than one rounded block: from 0, callers clip the copy.
      {100, 50, 1280, 720, 1, 0, 0, 0, 128, 50},
      {4000, 3000, 1280, 720, 20, 19, 3840, 2880, 160, 120},
      // A 720-wide block is widened to 736 and moved to the right edge, the
      // row goes on from there, and past the bottom the walk wraps to the top.
      {4000, 960, 720, 480, 12, 0, 3264, 0, 736, 480},
      {4000, 960, 720, 480, 12, 1, 3968, 0, 32, 480},
      {4000, 960, 720, 480, 12, 2, 3264, 480, 736, 480},
      {4000, 960, 720, 480, 12, 4, 3264, 0, 736, 480},
      // Overlapping: steps of 1280 - 32 across and 720 - 42 down.
      {4000, 3000, 1280, 720, 20, 1, 1248, 0, 1280, 720, true},
      {4000, 3000, 1280, 720, 20, 3, 3744, 0, 256, 720, true},
      {4000, 3000, 1280, 720, 20, 4, 0, 678, 1280, 720, true},
      {4000, 3000, 1280, 720, 20, 19, 3744, 2712, 256, 288, true},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(testing::Message() << c.W << "x" << c.H << " block " << c.index);
    const auto blocks =
        c.overlap ? Walk<pe::OverlapBlockWalk>(c.W, c.H, c.pw, c.ph) : Walk(c.W, c.H, c.pw, c.ph);
    ASSERT_EQ(blocks.size(), c.runs);
    const pe::BlockRect& b = blocks[c.index];
    EXPECT_EQ(std::make_tuple(b.x, b.y, b.w, b.h), std::make_tuple(c.x, c.y, c.w, c.h));
  }
  Cover cover(4000, 3000);
  for (const auto& b : Walk(4000, 3000, 1280, 720)) {
    EXPECT_EQ(b.w % 32, 0u);
    cover.Add(b.x, b.y, b.w, b.h);
  }
  EXPECT_TRUE(cover.Once());
}

// The out rectangle and the source rectangle it is filled from.
std::array<unsigned, 8> Rects(const pe::CropBlock& b) {
  return {b.out.x, b.out.y, b.out.w, b.out.h, b.sx, b.sy, b.sw, b.sh};
}
using R = std::array<unsigned, 8>;

TEST(CropBlockWalk, BlocksStayInPlaceAndSourcesFollowTheCrop) {
  const float full[4] = {0, 0, 1, 1};
  const pe::CropBlockWalk walk(4000, 1000, 720, 480, 736, full);
  ASSERT_EQ(walk.MaxRuns(), 6u * 3u);
  // Rounded up, not moved back; the last column reaches past the picture and
  // its source is cut at the picture's edge.
  EXPECT_EQ(Rects(walk.Place(0)), (R{0, 0, 736, 480, 0, 0, 736, 480}));
  EXPECT_EQ(Rects(walk.Place(5)), (R{3600, 0, 416, 480, 3600, 0, 400, 480}));
  EXPECT_EQ(Rects(walk.Place(17)), (R{3600, 960, 416, 40, 3600, 960, 400, 40}));
  EXPECT_FLOAT_EQ(walk.Place(0).out.s1, 1.f);
  EXPECT_FLOAT_EQ(walk.Place(17).out.t1, 40.f / 480.f);

  // Two pixels of border each side for bilinear reads; widths in whole
  // groups of 32 (what the copy routine fills), heights in row pairs.
  const float half[4] = {0.25f, 0.25f, 0.5f, 0.5f};
  const pe::CropBlock b = pe::CropBlockWalk(2560, 1440, 1280, 720, 1280, half).Place(3);
  EXPECT_EQ(Rects(b), (R{1280, 720, 1280, 720, 640 + 640 - 2, 360 + 360 - 2, 672, 364}));
  EXPECT_FLOAT_EQ(b.out.s0, 2.f / 1280);
  EXPECT_FLOAT_EQ(b.out.s1, 2.f / 1280 + 0.5f);
  EXPECT_FLOAT_EQ(b.out.t0, 2.f / 720);
  EXPECT_FLOAT_EQ(b.out.t1, 2.f / 720 + 0.5f);
  // An origin between pixels: the fetch starts on an even pixel and the
  // block's coordinates carry the exact position, so blocks join smoothly.
  const float odd[4] = {0.3f, 0, 0.5f, 1};
  const pe::CropBlock o = pe::CropBlockWalk(1282, 720, 1280, 720, 1280, odd).Place(0);
  EXPECT_EQ(o.sx % 2 + o.sy % 2, 0u);
  EXPECT_NEAR(o.sx + o.out.s0 * 1280, 1282 * 0.3, 1e-3);
  // Crops past the picture or wider than the buffer never fetch outside.
  const float beyond[4] = {1.5f, 0, 1, 1}, wide[4] = {0, 0, 4, 4};
  EXPECT_FALSE(pe::CropBlockWalk(1280, 720, 1280, 720, 1280, beyond).Place(0).HasSource());
  const pe::CropBlock w = pe::CropBlockWalk(5120, 2880, 1280, 720, 1280, wide).Place(0);
  EXPECT_LE(w.sw, 1280u);
  EXPECT_LE(w.sh, 720u);
}

class DotGridWalkCover : public ::testing::TestWithParam<std::tuple<unsigned, unsigned, double>> {};

// Every pixel lies in one block; every dot a block touches is read at its
// centre (with its bilinear neighbour) inside the fetched rectangle, or past
// the still's edge where the copy routine pads; nothing outgrows the buffer.
TEST_P(DotGridWalkCover, EachDotIsReadFromItsCentreInsideTheFetch) {
  const unsigned W = std::get<0>(GetParam()), H = std::get<1>(GetParam());
  const pe::DotGridWalk walk(W, H, std::get<2>(GetParam()));
  const unsigned n = walk.BufferSize();
  const double s = walk.Dot();
  Cover cover(W, H);
  auto reads = [s](unsigned first, unsigned count, unsigned from, unsigned len, unsigned size) {
    for (unsigned k = first; k < first + count; ++k) {
      const double lo = std::floor((k + 0.5) * s - 0.5);
      if ((lo < from && lo >= 0) || (lo + 1 >= from + len && from + len < size)) return false;
    }
    return true;
  };
  for (unsigned run = 0; run < walk.MaxRuns(); ++run) {
    const pe::DotBlock b = walk.Place(run);
    if (b.Empty()) continue;
    ASSERT_EQ(b.x % 2 + b.y % 2, 0u);
    ASSERT_TRUE(cover.In(b.fx, b.fy, b.fw, b.fh));
    ASSERT_TRUE(b.fw % 32 == 0 || b.fw == W) << b.fw;
    ASSERT_LE(std::max({b.fw, b.fh, b.cellsW, b.cellsH}), n);
    ASSERT_TRUE(reads(b.cellX, b.cellsW, b.fx, b.fw, W) && reads(b.cellY, b.cellsH, b.fy, b.fh, H))
        << "block " << run;
    cover.Add(b.x, b.y, b.w, b.h);
  }
  EXPECT_TRUE(cover.Once());
}

INSTANTIATE_TEST_SUITE_P(Stills, DotGridWalkCover,
                         ::testing::Values(std::make_tuple(4000u, 3000u, 72.06),
                                           std::make_tuple(1920u, 1080u, 7.3),
                                           std::make_tuple(640u, 480u, 0.25),
                                           std::make_tuple(500u, 300u, 400.0)));

TEST(DotGridWalk, BlocksFollowTheDotGridAndTheBufferOnlyTheDotSize) {
  const pe::DotGridWalk walk(4000, 3000, 7.3);  // 16 dots = 116.8 pixels
  EXPECT_EQ(walk.Place(1).x, 118u);             // 117, moved to the next even pixel
  EXPECT_EQ(walk.Place(0).w, 118u);
  EXPECT_EQ(walk.Cols(), 35u);
  EXPECT_EQ(pe::DotGridWalk(32000, 24000, 7.3).BufferSize(), walk.BufferSize());
  EXPECT_EQ(walk.BufferSize(), 192u);
}

const float kWhole[4] = {0, 0, 1, 1};

TEST(ApronBlockWalk, CoresTileTheStillAndEachFetchCarriesItsApron) {
  pe::ApronBlockWalk walk(4000, 3000, 1280, 720, 1280, kWhole);
  ASSERT_EQ(walk.MaxRuns(), 24u);  // cores of 1088 x 528: 4 columns x 6 rows
  EXPECT_FLOAT_EQ(walk.StepX(), 4000.f / 1280 / 1088);
  EXPECT_FLOAT_EQ(walk.StepY(), 3000.f / 720 / 528);
  Cover cover(4000, 3000);
  for (unsigned run = 0; run < walk.MaxRuns(); ++run) {
    const pe::ApronBlock b = walk.Place(run);
    cover.Add(b.bx, b.by, b.bw, b.bh);
    // The fetch fits the source and the still, starts on a multiple of 32
    // and holds the core with 64 pixels around it where the picture has them.
    EXPECT_EQ(b.x0 % 32, 0u);
    EXPECT_TRUE(b.fw <= 1280 && b.fh <= 720 && cover.In(b.x0, b.y0, b.fw, b.fh));
    EXPECT_EQ(std::make_tuple(b.x0 + b.left, b.y0 + b.top), std::make_tuple(b.bx, b.by));
    EXPECT_GE(b.left, std::min(b.bx, 64u));
    EXPECT_EQ(b.top, std::min(b.by, 64u));
    EXPECT_GE(b.fw - b.left - b.coreW, std::min(4000 - b.bx - b.bw, 64u));
    EXPECT_GE(b.fh - b.top - b.coreH, std::min(3000 - b.by - b.bh, 64u));
  }
  EXPECT_TRUE(cover.Once());
  const pe::ApronBlock second = walk.Place(1);  // x rounded down to 32, width to 32
  EXPECT_EQ(std::make_tuple(second.x0, second.left, second.fw), std::make_tuple(1024u, 64u, 1216u));
  const pe::ApronBlock last = walk.Place(23);  // cut by the picture's corner
  EXPECT_EQ(std::make_tuple(last.bw, last.bh, last.fw, last.fh),
            std::make_tuple(736u, 360u, 4000u - 3200u, 3000u - 2576u));

  // No room for the apron; a crop that is no fraction of the picture places as the whole.
  EXPECT_FALSE(pe::ApronBlockWalk(4000, 3000, 176, 144, 192, kWhole).Valid());
  EXPECT_EQ(pe::ApronBlockWalk(4000, 3000, 192, 480, 192, kWhole).MaxRuns(), 0u);
  const float wild[4] = {0.f, -3.f, 1e30f, NAN};
  const pe::ApronBlock b = pe::ApronBlockWalk(4000, 3000, 1280, 720, 1280, wild).Place(5);
  EXPECT_EQ(std::make_tuple(b.x0, b.coreH), std::make_tuple(walk.Place(5).x0, 528u));
}

// Each block's reduced passes draw what its mix reads through the filter,
// and the across pass what the down pass's taps reach from there; no more
// than a few texels of slack either side beyond that. Whole and cropped stills.
TEST(ApronBlockWalk, BlurWindowsHoldWhatTheNextPassReads) {
  const float quarter[4] = {0.25f, 0.25f, 0.5f, 0.5f};
  for (const float* crop : {kWhole, quarter}) {
    const pe::ApronBlockWalk walk(4000, 3000, 1280, 720, 1280, crop);
    const unsigned blurW = 640, blurH = 384;
    for (unsigned run = 0; run < walk.MaxRuns(); ++run) {
      const pe::ApronBlock b = walk.Place(run);
      const float reachY = 7 * walk.StepY() * 720 / b.fh * blurH;
      const float s0 = static_cast<float>(b.left) / b.fw, s1 = (b.left + b.coreW) / float(b.fw);
      const float t0 = static_cast<float>(b.top) / b.fh, t1 = (b.top + b.coreH) / float(b.fh);
      const float corners[8] = {s0, t1, s0, t0, s1, t0, s1, t1};
      const pe::BlurWindows w = pe::BlurWindowsFor(corners, blurW, blurH, reachY);
      // The texels [lo, hi] a filtered read of n fragment centres over
      // [start, start + extent) of fetched, plus reach, touches.
      auto touched = [](unsigned n, unsigned start, unsigned extent, unsigned fetched,
                        unsigned blur, float reach) {
        const double a = (start + 0.5 / n * extent) / fetched * blur - 0.5 - reach;
        const double z = (start + (n - 0.5) / n * extent) / fetched * blur - 0.5 + reach;
        return std::make_pair(std::max(0, static_cast<int>(std::floor(a))),
                              std::min(static_cast<int>(blur) - 1, static_cast<int>(z) + 1));
      };
      auto holds = [](const int* win, int axis, std::pair<int, int> t) {
        const int from = win[axis], to = win[axis] + win[axis + 2];
        return from <= t.first && t.second < to && t.first - from <= 3 && to - t.second <= 4;
      };
      const auto x = touched(b.bw, b.left, b.coreW, b.fw, blurW, 0);
      const auto y = touched(b.bh, b.top, b.coreH, b.fh, blurH, 0);
      const auto ya = touched(b.bh, b.top, b.coreH, b.fh, blurH, reachY);
      EXPECT_TRUE(holds(w.down, 0, x) && holds(w.down, 1, y) && holds(w.across, 0, x) &&
                  holds(w.across, 1, ya))
          << "crop " << crop[2] << " block " << run;
    }
  }
  // Coordinates outside the blur, or not numbers, leave it whole.
  const float outside[8] = {1.5f, 2, 1.5f, 1.5f, 2, 1.5f, 2, 2};
  const float nan[8] = {NAN, 0, 0, 0, 1, 0, 1, 1};
  for (const float* c : {outside, nan}) {
    const pe::BlurWindows w = pe::BlurWindowsFor(c, 640, 384, 10);
    EXPECT_EQ(std::vector<int>(w.down, w.down + 4), std::vector<int>({0, 0, 640, 384}));
  }
}

// With the blur under a round sharp area left undrawn, every texel that a
// pixel taking any blur reads through the filter is still drawn by the down
// pass, and every texel the drawn ones' taps reach by the across pass, each
// once and inside its window; a real part is left out, and nothing without a
// sharp area. Previews whole and cropped, and a block of a still.
TEST(BlurRects, DrawWhatPixelsTakingBlurRead) {
  const struct Case {
    const char* what;
    int mixW, mixH;
    float pos[4], blur[4];  // s0, t0, s1, t1
    unsigned blurW, blurH;
    float reachY;
    int across[4], down[4];
  } kCases[] = {
      // clang-format off
      {"preview", 160, 90, {0, 0, 1, 1}, {0, 0, 1, 1}, 80, 48, 4, {0, 0, 80, 48}, {0, 0, 80, 48}},
      {"cropped", 200, 120, {0, 0, 1, 1}, {0.25f, 0.1f, 0.75f, 0.9f}, 128, 128, 6,
       {0, 0, 128, 128}, {0, 0, 128, 128}},
      {"still block", 120, 100, {0.3f, 0.2f, 0.6f, 0.5f}, {0.1f, 0.05f, 0.9f, 0.8f}, 72, 56, 3,
       {4, 2, 64, 52}, {6, 4, 60, 46}},
      // clang-format on
  };
  auto corners = [](const float* c, float* out) {
    const float v[8] = {c[0], c[3], c[0], c[1], c[2], c[1], c[2], c[3]};
    std::copy(v, v + 8, out);
  };
  for (const Case& c : kCases) {
    for (const bool sharpArea : {true, false}) {
      SCOPED_TRACE(std::string(c.what) + (sharpArea ? ", sharp area" : ", none"));
      // Position distance from (cx, cy) below r takes no blur.
      const float cx = (c.pos[0] + c.pos[2]) / 2, cy = (c.pos[1] + c.pos[3]) / 2;
      const float r = sharpArea ? 0.3f * (c.pos[2] - c.pos[0]) : 0.f;
      const pe::SharpSpan sharp = [&](float y0, float y1, float* x0, float* x1) {
        const float dy = std::max(std::fabs(y0 - cy), std::fabs(y1 - cy));
        if (r <= dy) return false;
        *x0 = cx - std::sqrt(r * r - dy * dy);
        *x1 = cx + std::sqrt(r * r - dy * dy);
        return true;
      };
      float pos[8], blur[8];
      corners(c.pos, pos);
      corners(c.blur, blur);
      const pe::BlurRects rects =
          pe::BlurRectsFor(pos, blur, c.blurW, c.blurH, c.reachY, c.across, c.down, sharp);
      // How many rectangles of a pass draw each texel, each inside the window.
      auto drawn = [&](const std::vector<pe::PassRect>& list, const int* win) {
        std::vector<int> n(static_cast<size_t>(c.blurW) * c.blurH);
        for (const pe::PassRect& q : list) {
          EXPECT_TRUE(q.w > 0 && q.h > 0 && q.x >= win[0] && q.y >= win[1] &&
                      q.x + q.w <= win[0] + win[2] && q.y + q.h <= win[1] + win[3]);
          for (int j = q.y; j < q.y + q.h; ++j)
            for (int i = q.x; i < q.x + q.w; ++i) ++n[static_cast<size_t>(j) * c.blurW + i];
        }
        EXPECT_LE(*std::max_element(n.begin(), n.end()), 1);
        return n;
      };
      const std::vector<int> down = drawn(rects.down, c.down);
      const std::vector<int> across = drawn(rects.across, c.across);
      auto at = [&](const std::vector<int>& n, int i, int j) {
        i = std::clamp(i, 0, static_cast<int>(c.blurW) - 1);
        j = std::clamp(j, 0, static_cast<int>(c.blurH) - 1);
        return n[static_cast<size_t>(j) * c.blurW + i];
      };
      auto inside = [](const int* win, int i, int j) {
        return i >= win[0] && i < win[0] + win[2] && j >= win[1] && j < win[1] + win[3];
      };
      int missing = 0;
      for (int y = 0; y < c.mixH; ++y)
        for (int x = 0; x < c.mixW; ++x) {
          const float u = (x + 0.5f) / c.mixW, v = (y + 0.5f) / c.mixH;
          const float px = c.pos[0] + u * (c.pos[2] - c.pos[0]);
          const float py = c.pos[1] + v * (c.pos[3] - c.pos[1]);
          if (std::hypot(px - cx, py - cy) < r) continue;
          const int i = static_cast<int>(
              std::floor((c.blur[0] + u * (c.blur[2] - c.blur[0])) * c.blurW - 0.5f));
          const int j = static_cast<int>(
              std::floor((c.blur[1] + v * (c.blur[3] - c.blur[1])) * c.blurH - 0.5f));
          for (int dj = 0; dj < 2; ++dj)
            for (int di = 0; di < 2; ++di)
              if (inside(c.down, std::clamp(i + di, 0, int(c.blurW) - 1),
                         std::clamp(j + dj, 0, int(c.blurH) - 1)))
                missing += !at(down, i + di, j + dj);
        }
      const int reach = static_cast<int>(std::ceil(c.reachY)) + 1;
      for (int j = 0; j < static_cast<int>(c.blurH); ++j)
        for (int i = 0; i < static_cast<int>(c.blurW); ++i) {
          if (!at(down, i, j)) continue;
          for (int dj = -reach; dj <= reach; ++dj)
            for (int di = 0; di < 2; ++di)
              if (inside(c.across, std::clamp(i + di, 0, int(c.blurW) - 1),
                         std::clamp(j + dj, 0, int(c.blurH) - 1)))
                missing += !at(across, i + di, j + dj);
        }
      EXPECT_EQ(missing, 0);
      const long drawnDown = std::count(down.begin(), down.end(), 1);
      const long window = static_cast<long>(c.down[2]) * c.down[3];
      if (sharpArea)
        EXPECT_LT(drawnDown, window * 19 / 20);
      else
        EXPECT_EQ(rects.down.size(), 1u);
      EXPECT_EQ(drawnDown == window, !sharpArea);
    }
  }
}

TEST(OverlapBlockWalk, FiveStepsEachSideEvenAcrossOnly) {
  const pe::OverlapBlockWalk walk(4000, 3000, 1280, 720, 1280);
  ASSERT_TRUE(walk.Valid());
  EXPECT_EQ(walk.HalfOverlapX(), 16);  // ceil(5 x 3.125)
  EXPECT_EQ(walk.OverlapY(), 42);      // 2 x ceil(5 x 4.17): the odd half stays
  // ceil(5 x 2.9) = 15 across is rounded up to 16; 15 down is kept.
  const pe::OverlapBlockWalk odd(3712, 2160, 1280, 720, 1280);
  EXPECT_EQ(std::make_tuple(odd.HalfOverlapX(), odd.OverlapY()), std::make_tuple(16, 30));
  // An overlap as wide as the block would never advance.
  EXPECT_FALSE(pe::OverlapBlockWalk(4000, 3000, 64, 48, 64).Valid());
}

}  // namespace
