#include <gtest/gtest.h>

#include <vector>

#include "BlockWalk.h"

namespace {

std::vector<pe::BlockRect> Walk(unsigned W, unsigned H, unsigned pw, unsigned ph) {
  pe::BlockWalk walk(W, H, pw, ph, (pw + 31) / 32 * 32);
  std::vector<pe::BlockRect> out;
  for (unsigned run = 0; run < walk.MaxRuns(); ++run) {
    out.push_back(walk.Place());
    walk.Advance();
  }
  return out;
}

TEST(BlockWalk, ExactAndDoubleWidthStills) {
  auto one = Walk(1280, 720, 1280, 720);
  ASSERT_EQ(one.size(), 1u);
  EXPECT_EQ(one[0].x, 0u);
  EXPECT_EQ(one[0].w, 1280u);
  EXPECT_FLOAT_EQ(one[0].s1, 1.f);
  EXPECT_FLOAT_EQ(one[0].t1, 1.f);

  auto two = Walk(2560, 720, 1280, 720);
  ASSERT_EQ(two.size(), 2u);
  EXPECT_EQ(two[1].x, 1280u);
  EXPECT_EQ(two[1].w, 1280u);
}

TEST(BlockWalk, FourThousandByThreeThousandInPreviewBlocksCoversEveryPixelOnce) {
  auto blocks = Walk(4000, 3000, 1280, 720);
  ASSERT_EQ(blocks.size(), 20u);  // 4 columns x 5 rows
  std::vector<int> cover(4000 * 3000, 0);
  for (const auto& b : blocks) {
    ASSERT_LE(b.x + b.w, 4000u);
    ASSERT_LE(b.y + b.h, 3000u);
    EXPECT_EQ(b.w % 32, 0u);
    for (unsigned y = b.y; y < b.y + b.h; ++y)
      for (unsigned x = b.x; x < b.x + b.w; ++x) ++cover[y * 4000 + x];
  }
  for (size_t i = 0; i < cover.size(); ++i) ASSERT_EQ(cover[i], 1) << "pixel " << i;
  // The last column is 160 wide; the last row 120 high with t scaled to it.
  EXPECT_EQ(blocks[3].x, 3840u);
  EXPECT_EQ(blocks[3].w, 160u);
  EXPECT_FLOAT_EQ(blocks[3].s1, 160.f / 1280.f);
  EXPECT_EQ(blocks[19].h, 120u);
  EXPECT_FLOAT_EQ(blocks[19].t1, 120.f / 720.f);
}

TEST(BlockWalk, ARaggedLastColumnIsRoundedAndMovedToTheRightEdge) {
  auto blocks = Walk(1380, 720, 1280, 720);  // leaves a 100-pixel column
  ASSERT_EQ(blocks.size(), 2u);
  EXPECT_EQ(blocks[1].w, 128u);
  EXPECT_EQ(blocks[1].x, 1380u - 128u);
}

TEST(BlockWalk, SourceWidthNotAMultipleOf32MovesTheFirstBlockOfEachRow) {
  // A 720-wide source: the full-width block is widened to 736 and moved to
  // the right edge, and the row continues from there.
  auto blocks = Walk(4000, 960, 720, 480);
  ASSERT_EQ(blocks.size(), 12u);  // 6 columns x 2 rows counted up front
  EXPECT_EQ(blocks[0].x, 4000u - 736u);
  EXPECT_EQ(blocks[0].w, 736u);
  EXPECT_FLOAT_EQ(blocks[0].s1, 1.f);
  EXPECT_EQ(blocks[1].w, 32u);  // 3984 + 720 > 4000: 16 columns, rounded
  EXPECT_EQ(blocks[1].x, 4000u - 32u);
  EXPECT_EQ(blocks[2].y, 480u);  // the next row starts
  EXPECT_EQ(blocks[2].x, 4000u - 736u);
  EXPECT_EQ(blocks[4].y, 0u);  // past the bottom: the walk wraps to the top
}

TEST(BlockWalk, OverlapsStepByTheSourceLessTheOverlap) {
  pe::BlockWalk walk(2000, 1000, 640, 480, 640, 64, 32);
  EXPECT_EQ(walk.MaxRuns(), 4u * 3u);
  walk.Place();
  walk.Advance();
  EXPECT_EQ(walk.StartX(), 576u);
  walk.Advance();
  walk.Advance();
  walk.Advance();  // 2304 >= 2000: next row
  EXPECT_EQ(walk.StartX(), 0u);
  EXPECT_EQ(walk.StartY(), 448u);
}

TEST(BlockWalk, StillNarrowerThanOneRoundedBlockStartsAtZero) {
  auto blocks = Walk(100, 50, 1280, 720);
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(blocks[0].x, 0u);
  EXPECT_EQ(blocks[0].w, 128u);  // callers clip the copy to the still
  EXPECT_EQ(blocks[0].h, 50u);
}

}  // namespace
