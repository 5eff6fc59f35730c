#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "LookModels.h"
#include "PublicService.h"

namespace pe {
namespace test {
namespace {

using ref::Nv21;
using ref::RampLook;
using ref::RampModel;

struct Look {
  const char* name;
  char code;
  RampLook look;
};
const Look kLooks[] = {
    {"Maple", 'C', RampLook::kMaple},       {"Nash", 'D', RampLook::kNash},
    {"TwoToneV", 'E', RampLook::kTwoToneV}, {"TwoToneH", 'F', RampLook::kTwoToneH},
    {"ToneCM", 'G', RampLook::kToneCM},     {"ToneSC", 'H', RampLook::kToneSC},
};
void PrintTo(const Look& l, std::ostream* os) { *os << l.name; }

std::string Select(char code, int p0) {
  return std::string("GPU-effect=") + code + ";GE-param0=" + std::to_string(p0) + ",0,0,0";
}

class RampPreview : public PublicService,
                    public ::testing::WithParamInterface<std::tuple<Look, Size>> {};

// p0 = 30 puts CM's tones between two sets and stores a strength elsewhere.
TEST_P(RampPreview, MatchesTheModel) {
  const Look look = std::get<0>(GetParam());
  const Size size = std::get<1>(GetParam());
  const RampModel model(look.look, size.w, size.h, 30);
  ASSERT_TRUE(model.Loaded());
  ASSERT_EQ(Params(Select(look.code, 30)), 0);
  ASSERT_EQ(m_fx->startPreview(size.w, size.h), 0);
  SharedNv21 shm(size.w, size.h);
  const Nv21 frame = ref::MakeFrame(size.w, size.h, 7);
  ExpectWithin(ref::Compare(Preview(shm, frame), model.Preview(frame)), 3);
}

INSTANTIATE_TEST_SUITE_P(Looks, RampPreview,
                         ::testing::Combine(::testing::ValuesIn(kLooks),
                                            ::testing::ValuesIn(kPreviewSizes)),
                         [](const ::testing::TestParamInfo<std::tuple<Look, Size>>& info) {
                           return std::string(std::get<0>(info.param).name) + "_" +
                                  Name(std::get<1>(info.param));
                         });

using RampLooks = PublicService;

// A still larger than the preview is walked in blocks; masks lie over the
// whole picture, and a crop zooms only the looks whose walk honours it.
// One still at 4000x3000 goes through the crop-aware walk, the others at
// less.
TEST_F(RampLooks, CaptureMatchesTheWholeStill) {
  const float quarter[4] = {0.25f, 0.25f, 0.5f, 0.5f};
  const struct {
    Look look;
    bool crop;
    int W;
  } kRuns[] = {{kLooks[2], true, 2000}, {kLooks[1], false, 2000}, {kLooks[4], true, 4000}};
  for (const auto& run : kRuns) {
    SCOPED_TRACE(run.look.name);
    const int W = run.W, H = W * 3 / 4;
    ASSERT_EQ(Params(Select(run.look.code, 60)), 0);
    ASSERT_EQ(m_fx->startPreview(1280, 720), 0);
    ASSERT_EQ(m_fx->setCrop(run.crop ? W / 4 : 0, run.crop ? H / 4 : 0, run.crop ? W / 2 : 0,
                            run.crop ? H / 2 : 0),
              0);
    SharedNv21 shm(W, H);
    const Nv21 still = ref::MakeFrame(W, H, 9);
    ASSERT_EQ(Capture(shm, still), 0);
    const RampModel model(run.look.look, 1280, 720, 60);
    ExpectWithin(ref::Compare(shm.Get(), model.Capture(still, run.crop ? quarter : nullptr)), 3);
  }
}

// CM's p0 walks the tone pair (positions 24 and 25 meet, 100 is 99); the
// other looks keep p0 as a strength nothing reads.
TEST_F(RampLooks, OnlyTheTonePairMovesWithParam0) {
  ASSERT_EQ(m_fx->startPreview(320, 240), 0);
  SharedNv21 shm(320, 240);
  const Nv21 frame = ref::MakeFrame(320, 240, 3);
  auto render = [&](char code, int p0) {
    EXPECT_EQ(Params(Select(code, p0)), 0);
    return Preview(shm, frame);
  };
  EXPECT_EQ(render('G', 24).data, render('G', 25).data);
  EXPECT_EQ(render('G', 99).data, render('G', 100).data);
  EXPECT_GE(ref::Compare(render('G', 0), render('G', 50)).maxUV, 20) << "tones should move";
  for (char code : {'C', 'D', 'E', 'F', 'H'})
    EXPECT_EQ(render(code, 0).data, render(code, 100).data) << code;
}

}  // namespace
}  // namespace test
}  // namespace pe
