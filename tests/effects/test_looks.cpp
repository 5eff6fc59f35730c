#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "LookModels.h"
#include "PublicService.h"

namespace pe {
namespace test {
namespace {

using ref::Expected;
using ref::Nv21;

// "GPU-effect=code", with parameter 0 (and what follows) where p0 is given.
// Without p0, no parameters: negative strengths are values like any other.
constexpr int kNoParam = INT_MIN;
std::string Effect(const std::string& code, int p0 = kNoParam, const char* more = "") {
  std::string s = "GPU-effect=" + code;
  if (p0 != kNoParam) s += ";GE-param0=" + std::to_string(p0) + ",0,0,0" + more;
  return s;
}

// One setting of a look: parameters set in turn ("crop": the middle quarter
// of the frame or still as zoom, "-": none) and the model of what a frame in
// rows allocW wide (a still: its own width) then becomes.
struct Step {
  std::vector<std::string> params;
  std::function<Expected(const Nv21& f, int allocW)> model;
  int tolerance = 3;
  double spare = 0;  // share of the pixels the model may leave out
  int W = 0;         // a still's width, 4:3
};
// A family's steps through w x h previews, and through stills behind them.
struct Plan {
  std::string start;
  std::vector<Step> previews, stills;
};

const float kQuarter[4] = {0.25f, 0.25f, 0.5f, 0.5f};  // "crop"

// A point on the display as a fraction of the preview's side.
float At(int p, int side, int display) {
  return static_cast<float>(Mapped(p, side, display)) / side;
}

// --- Contrast ramp looks: p0 = 30 puts CM's tones between two sets and
// stores a strength elsewhere. A crop zooms only the stills whose walk
// honours it (Nash's, CM's); the crop walk takes one still at full size.
Plan Ramp(int w, int h) {
  auto look = [=](int i, int p0, const float* crop) {
    const ref::RampModel m(static_cast<ref::RampLook>(i), w, h, p0);
    return [=](const Nv21& f, int a) { return m.Apply(f, a, crop); };
  };
  Plan p{Effect("C", 30), {}, {}};
  for (int i = 0; i < 6; ++i)
    p.previews.push_back({{Effect(std::string(1, "CDEFGH"[i]), 30)}, look(i, 30, nullptr)});
  p.stills = {{{Effect("D", 60)}, look(1, 60, nullptr), 3, 0, 2000},
              {{Effect("E", 60), "crop"}, look(2, 60, nullptr), 3, 0, 2000},
              {{Effect("G", 60), "crop"}, look(4, 60, kQuarter), 3, 0, 4000}};
  return p;
}

// --- Tone curves: each look plain, then zoomed, which the colour looks and
// the whiteboard follow and the black and white ignores.
const char* const kVintageCurves[] = {"CurveCross.bmp", "CurveCold.bmp", "CurveWarm.bmp",
                                      "CurveSepia.bmp"};
Plan Curves(int w, int h) {
  // Vintage look 0 ... 3 (the last unmasked), or the grey one.
  auto curve = [=](int look, bool grey, const float* crop) {
    const ref::CurveLook c(kVintageCurves[look], grey, look != 3, w, h);
    return [=](const Nv21& f, int a) { return c.Apply(f, a, crop); };
  };
  // A still through the whiteboard's crop-aware walk.
  auto whiteboard = [=](const float* crop, bool still) {
    return [=](const Nv21& f, int a) {
      return still ? ref::WhiteboardCapture(f, w, h, AllocW(w), crop)
                   : ref::WhiteboardPreview(f, a, crop);
    };
  };
  Plan p{Effect("1"), {}, {}};
  for (const float* crop : {static_cast<const float*>(nullptr), kQuarter}) {
    const char* zoom = crop ? "crop" : "-";
    for (int look = 0; look < 4; ++look)
      p.previews.push_back({{Effect("1", look), zoom}, curve(look, false, crop)});
    p.previews.push_back({{Effect("6"), zoom}, curve(0, true, crop)});
    p.previews.push_back({{Effect("B"), zoom}, whiteboard(crop, false)});
  }
  // At 2000x1500: the plain walk takes a 4000x3000 still in the vignette's
  // test, the crop walk in the ramp looks'. The whiteboard's 1440x1080 ends
  // in blocks whose kernel steps whole texels (160 and 360 of 1280x720).
  static const float kWhole[4] = {0, 0, 1, 1};
  p.stills = {{{Effect("1", 2)}, curve(2, false, nullptr), 3, 0, 2000},
              {{Effect("B")}, whiteboard(kWhole, true), 3, 0, 1440},
              {{"crop"}, whiteboard(kQuarter, true), 3, 0, 2000}};
  return p;
}

// --- Geometry and pattern looks. Stills: 4000x3000 for their own paths,
// smaller for mirror and bloom, whose plain walk the vignette takes whole.
Plan Geometry(int w, int h) {
  auto fish = [](int strength) { return Effect("3", strength, ";GE-param1=700,620,0,0"); };
  auto fisheye = [=](int strength, bool still) {
    auto clamp = [](float v) { return std::fmin(std::fmax(v, 0.1f), 0.9f); };
    const ref::Fisheye e{clamp(At(700, w, 1920)), clamp(At(620, h, 1080)),
                         static_cast<float>(0.6 + strength * 1.2 * 0.01)};
    return [=](const Nv21& f, int a) { return still ? e.Still(f) : e.Preview(f, a); };
  };
  auto dots = [=](int strength, int index) {
    ref::TextureModel mask = ref::TextureModel::FromBmp(
        "dot_mask_" + std::to_string(index) + ".bmp", ref::TextureModel::kRgb565);
    mask.repeat = true;
    const float smallest = h / 68.f, largest = h / 30.f;
    const double dot = smallest + strength * ((largest - smallest) / 100.f);
    return [=](const Nv21& f, int a) {
      return ref::Dots(f, a, static_cast<double>(f.height) / h * dot, mask);
    };
  };
  auto mirror = [=](bool landscape, bool still) {
    return [=](const Nv21& f, int a) {
      return still ? ref::MirrorStill(f, w, h, landscape) : ref::MirrorPreview(f, a, landscape);
    };
  };
  auto bloom = [](const Nv21& f, int) {  // the colour times 3.5 times its luminance
    return ref::RoundTrip(f, [](int, int, ref::Rgb p) {
      const float k = 3.5f * (0.3f * p.r + 0.59f * p.g + 0.11f * p.b);
      return ref::Rgb{p.r * k, p.g * k, p.b * k};
    });
  };
  // Fisheye: the bulge, the expanding branch, the levels either side of 1,
  // the first beyond 2 and one below 0 (which blend both), each switched to while the
  // preview runs. Dots: small ones through
  // mask 1, large ones through mask 2. The mirror's landscape flag comes with
  // the effect's choice, here while the preview runs.
  return {Effect("3"),
          {{{fish(10)}, fisheye(10, false), 3, 0.02},
           {{fish(80)}, fisheye(80, false), 3, 0.02},
           {{fish(33)}, fisheye(33, false), 3, 0.02},    // level 0.996
           {{fish(34)}, fisheye(34, false), 3, 0.02},    // 1.008
           {{fish(117)}, fisheye(117, false), 3, 0.02},  // 2.004
           {{fish(-40)}, fisheye(-40, false), 3, 0.02},  // 0.12
           {{fish(-60)}, fisheye(-60, false), 3, 0.02},  // -0.12: both again
           {{Effect("5", 30)}, dots(30, 1)},
           {{Effect("5", 70)}, dots(70, 2)},
           {{Effect("8", 0)}, mirror(false, false), 2},
           {{Effect("9"), Effect("8", 1)}, mirror(true, false), 2},
           {{Effect("9")}, bloom, 2}},
          {{{fish(80)}, fisheye(80, true), 3, 0.02, 4000},
           {{Effect("5", 70)}, dots(70, 2), 3, 0, 4000},
           // Blocks of dots that end inside a group of four columns.
           {{Effect("5", 30)}, dots(30, 1), 3, 0, 2000},
           {{Effect("8", 0)}, mirror(false, true), 2, 0, 2000},
           {{Effect("9")}, bloom, 2, 0, 2000}}};
}

// --- Reduced-size blur looks 2, 7, I and J: strength, centre and edge point
// as each effect turns them into its blur and mix behind a w x h preview; a
// still through the apron walk (2, 7) or the overlap walk (sketches).
Expected Blurred(int number, int w, int h, const Nv21& f, bool still, int strength = 60) {
  const int a = AllocW(w), W = f.width, H = f.height;
  const bool dof = number == 2;
  const float cx = At(960, w, 1920), cy = At(dof ? 540 : 500, h, 1080);
  const float dx = std::fabs(At(dof ? 1400 : 960, w, 1920) - cx);
  const float dy = std::fabs(At(dof ? 700 : 800, h, 1080) - cy);
  const float crop = static_cast<float>(w) / a;
  ref::BlurSetup setup{ref::GaussianRow(14), w / 4, h * 180 / 768, 1.f / w, 1.f / h};
  ref::Mixer mix = ref::SketchMix(number == 18);
  float blurScale = 1.f;
  if (dof) {
    const float q = std::pow(static_cast<float>(h) / w, 2.f);
    const float ratio = std::pow(static_cast<float>(H) / W, 2.f);
    const bool legacy = std::fabs(q - 0.5625f) < 1e-4f;
    const float r = std::fmax(std::sqrt(dx * dx + dy * dy), legacy ? 0.06f : 0.15f);
    const float R = r + (static_cast<float>(w) / h - 1.f) * dx;
    const float e0 = legacy ? R - 0.075f : R - 0.225f, e1 = legacy ? R + 0.075f : R - 0.075f;
    const int row = strength / 7 >= 2 && strength / 7 <= 14 ? strength / 7 : 1;
    setup = {ref::GaussianRow(row), w / 2, 192 * h / 360, 1.f / w, 1.f / h};
    blurScale = crop;
    mix = ref::FocusMix(
        [=](float gx, float gy) { return (gx - cx) * (gx - cx) + (gy - cy) * (gy - cy) * ratio; },
        e0 * e0, e1 * e1, std::fmin(strength / 75.f, 1.f));
  } else if (number == 7) {
    const float R = std::fmax(dy, 0.1f);
    setup = {ref::GaussianRow(14), w * 320 / 800, 192 * h / 480, 1.f / w, 1.f / h};
    mix = ref::FocusMix([=](float, float gy) { return std::fabs(gy - cy); },
                        (R - 0.075f) * (R - 0.075f), (R + 0.075f) * (R + 0.075f), 1.f);
  }
  if (!still) return ref::PreviewModel(f, a, setup, crop, blurScale, mix);
  return number >= 17 ? ref::OverlapCaptureModel(f, w, h, a, setup, mix)
                      : ref::ApronCaptureModel(f, w, h, setup, mix);
}

// Strength 0 shows the sharp picture; 10 blurs with the narrowest kernel,
// whose taps of no weight are not fetched. Tilt-shift shares depth of field's
// walk, so its still is smaller; the sketches share all but their last pass,
// which the previews cover, so one of them is captured, at 2800x2100: a block
// with neighbours on every side, and an odd half row overlap, which starts
// each block's rows in the other luma half.
Plan Blur(int w, int h) {
  const std::string dof = Effect("2", 60, ";GE-param1=960,540,1400,700");
  const std::string tilt = Effect("7", 100, ";GE-param1=960,500,960,800");
  auto look = [=](int number, bool still, int strength = 60) {
    return [=](const Nv21& f, int) { return Blurred(number, w, h, f, still, strength); };
  };
  auto sharp = [](const Nv21& f, int) { return ref::RoundTrip(f); };
  return {dof,
          {{{dof}, look(2, false), 4},
           {{Effect("2", 0, ";GE-param1=960,540,1400,700")}, sharp, 2},
           {{Effect("2", 10, ";GE-param1=960,540,1400,700")}, look(2, false, 10), 4},
           {{tilt}, look(7, false), 4},
           {{Effect("7", 0, ";GE-param1=960,500,960,800")}, sharp, 2},
           {{Effect("I")}, look(17, false), 4, 0.25},
           {{Effect("J")}, look(18, false), 4, 0.25}},
          {{{dof}, look(2, true), 4, 0, 4000},
           {{tilt}, look(7, true), 4, 0, 2000},
           {{Effect("J")}, look(18, true), 4, 0.25, 3000}}};
}

const struct Family {
  const char* name;
  Plan (*plan)(int w, int h);
} kFamilies[] = {{"Ramp", Ramp}, {"Curves", Curves}, {"Geometry", Geometry}, {"Blur", Blur}};
void PrintTo(const Family& f, std::ostream* os) { *os << f.name; }

// The sketches lie beyond the manager's default bound; the host raises it.
class Looks : public PublicService {
  ScopedEnv m_count{"POSTEFFECT_EFFECT_COUNT", "19"};

 protected:
  void Run(const Plan& plan, int w, int h, bool stills) {
    ASSERT_EQ(Params(plan.start), 0);
    ASSERT_EQ(m_fx->startPreview(w, h), 0);
    for (const Step& step : stills ? plan.stills : plan.previews) {
      const int fw = stills ? step.W : w, fh = stills ? step.W * 3 / 4 : h;
      SCOPED_TRACE(step.params.front());
      for (const std::string& p : step.params) {
        if (p == "-") continue;
        ASSERT_EQ(p == "crop" ? m_fx->setCrop(fw / 4, fh / 4, fw / 2, fh / 2) : Params(p), 0);
      }
      SharedNv21 shm(fw, fh);
      const Nv21 in = ref::MakeFrame(fw, fh, 7);
      ASSERT_EQ(stills ? Capture(shm, in) : 0, 0);
      const ref::Diff d = ref::Compare(stills ? shm.Get() : Preview(shm, in),
                                       step.model(in, stills ? fw : AllocW(w)));
      ExpectWithin(d, step.tolerance);
      EXPECT_LE(d.skipped, static_cast<size_t>(step.spare * fw * fh));
      // Where the overlap is shorter than a kernel's reach, a few pixels next
      // to a seam may fall differently, never many.
      EXPECT_LE(d.seamOff, d.seam / 100) << d.seamOff << " of " << d.seam << " seam pixels differ";
    }
  }
};

class LookPreviews : public Looks,
                     public ::testing::WithParamInterface<std::tuple<Family, Size>> {};
TEST_P(LookPreviews, MatchTheModels) {
  const Size s = std::get<1>(GetParam());
  Run(std::get<0>(GetParam()).plan(s.w, s.h), s.w, s.h, false);
}
INSTANTIATE_TEST_SUITE_P(Families, LookPreviews,
                         ::testing::Combine(::testing::ValuesIn(kFamilies),
                                            ::testing::ValuesIn(kPreviewSizes)),
                         [](const ::testing::TestParamInfo<std::tuple<Family, Size>>& info) {
                           return std::string(std::get<0>(info.param).name) + "_" +
                                  Name(std::get<1>(info.param));
                         });

// Stills larger than the preview are walked in blocks: no seam between them.
class LookStills : public Looks, public ::testing::WithParamInterface<Family> {};
TEST_P(LookStills, MatchTheModels) { Run(GetParam().plan(1280, 720), 1280, 720, true); }
INSTANTIATE_TEST_SUITE_P(Families, LookStills, ::testing::ValuesIn(kFamilies),
                         [](const ::testing::TestParamInfo<Family>& info) {
                           return std::string(info.param.name);
                         });

// A still's planes are read straight into its output where the driver packs
// rows at a pitch, else copied out of the read-back planes: the same bytes
// either way, through each walk (the overlap walk at 2800x2100 starts its
// rows in the other luma half).
TEST_F(Looks, StillsReadTheSameBytesWhicheverWayThePlanesComeBack) {
  ASSERT_EQ(m_fx->startPreview(1280, 720), 0);
  const Nv21 in = ref::MakeFrame(2800, 2100, 5);
  for (const char* effect : {"J", "4", "2"}) {
    ASSERT_EQ(Params(Effect(effect, 60)), 0);
    decltype(in.data) first;
    for (const char* hidden : {"", "GL_NV_pack_subimage"}) {
      ScopedEnv env("POSTEFFECT_HIDE_GL_EXTENSIONS", hidden);
      SharedNv21 shm(2800, 2100);
      ASSERT_EQ(Capture(shm, in), 0);
      const auto out = shm.Get().data;
      if (first.empty()) first = out;
      EXPECT_TRUE(out == first) << effect << " with " << hidden << " hidden";
    }
  }
}

// --- What the models do not cover: choices refused, assets, limits.

// CM's p0 walks the tone pair (positions 24 and 25 meet, 100 is 99); the
// other ramp looks keep p0 as a strength nothing reads.
TEST_F(Looks, OnlyTheTonePairMovesWithParam0) {
  ASSERT_EQ(m_fx->startPreview(320, 240), 0);
  SharedNv21 shm(320, 240);
  const Nv21 frame = ref::MakeFrame(320, 240, 3);
  auto render = [&](const char* code, int p0) {
    EXPECT_EQ(Params(Effect(code, p0)), 0);
    return Preview(shm, frame);
  };
  EXPECT_EQ(render("G", 24).data, render("G", 25).data);
  EXPECT_EQ(render("G", 99).data, render("G", 100).data);
  EXPECT_GE(ref::Compare(render("G", 0), render("G", 50)).maxUV, 20) << "tones should move";
  for (const char* code : {"C", "D", "E", "F", "H"})
    EXPECT_EQ(render(code, 0).data, render(code, 100).data) << code;
}

Nv21 Curve640(const char* curve, bool grey, const Nv21& frame) {
  return ref::CurveLook(curve, grey, true, 640, 480).Apply(frame, 640, nullptr);
}

TEST_F(Looks, UnknownCurveLooksAreRefusedAndTheCurrentLookKept) {
  ASSERT_EQ(m_fx->startPreview(640, 480), 0);
  SharedNv21 shm(640, 480);
  const Nv21 frame = ref::MakeFrame(640, 480, 91);
  const Nv21 warm = Curve640("CurveWarm.bmp", false, frame);
  for (int p0 : {2, 4, -1}) {
    SCOPED_TRACE(p0);
    ASSERT_EQ(Params("GPU-effect=1;GE-param0=" + std::to_string(p0) + ",0,0,0"), 0);
    ExpectWithin(ref::Compare(Preview(shm, frame), warm), 3);
  }
  EXPECT_TRUE(m_log.Contains("wrong param", "GEShaderVintage"));
  ASSERT_EQ(Params(Effect("6", 1)), 0);
  ExpectWithin(ref::Compare(Preview(shm, frame), Curve640("CurveCross.bmp", true, frame)), 3);
  EXPECT_TRUE(m_log.Contains("wrong param", "GEShaderContrast"));
}

TEST_F(Looks, AnOverrideFileWinsAndABrokenOneFallsBackToTheSystemFile) {
  TempDir over;
  ScopedEnv env("POSTEFFECT_OVERRIDE_DIR", over.path());
  // The warm curve standing in for the cross one.
  std::string warm = ReadFile(ref::AssetPath("CurveWarm.bmp"));
  over.Put("CurveCross.bmp", warm);
  ASSERT_EQ(Params("GPU-effect=1"), 0);
  ASSERT_EQ(m_fx->startPreview(640, 480), 0);
  SharedNv21 shm(640, 480);
  const Nv21 frame = ref::MakeFrame(640, 480, 95);
  ExpectWithin(ref::Compare(Preview(shm, frame), Curve640("CurveWarm.bmp", false, frame)), 3);
  warm.resize(200);
  over.Put("CurveCross.bmp", warm);
  // A new effect number is taken at once, so the pair reloads the assets.
  ASSERT_EQ(Params("GPU-effect=6"), 0);
  ASSERT_EQ(Params("GPU-effect=1"), 0);
  ExpectWithin(ref::Compare(Preview(shm, frame), Curve640("CurveCross.bmp", false, frame)), 3);
}

// Bloom reads only each pixel's own texel, so a still's pixels come out the
// same whatever blocks they fall into: a still whose last column and row of
// blocks are cut short (and moved left) matches, byte for byte, the same
// pixels of a still made of whole blocks.
TEST_F(Looks, CutBlocksMatchWholeBlocksExactly) {
  ASSERT_EQ(Params(Effect("9")), 0);
  ASSERT_EQ(m_fx->startPreview(1280, 720), 0);
  const Nv21 whole = ref::MakeFrame(2560, 1440, 17);
  Nv21 cut(2000, 1100);
  // Row r of the small still's planes inside the large one's.
  auto inWhole = [&](const Nv21& w, int r) {
    const int row = r < cut.height ? r : r - cut.height + w.height;
    return w.data.data() + static_cast<size_t>(row) * w.width;
  };
  const int rows = cut.height * 3 / 2;
  for (int r = 0; r < rows; ++r)
    std::copy_n(inWhole(whole, r), cut.width, cut.data.data() + static_cast<size_t>(r) * cut.width);
  SharedNv21 big(2560, 1440), small(2000, 1100);
  ASSERT_EQ(Capture(big, whole), 0);
  ASSERT_EQ(Capture(small, cut), 0);
  const Nv21 bigOut = big.Get(), out = small.Get();
  EXPECT_NE(out.data, cut.data) << "the look left the still alone";
  int differing = 0;
  for (int r = 0; r < rows; ++r)
    differing += !std::equal(inWhole(bigOut, r), inWhole(bigOut, r) + cut.width,
                             out.data.data() + static_cast<size_t>(r) * cut.width);
  EXPECT_EQ(differing, 0) << "rows that differ";
}

// Fisheye's planes and Dot's buffer (sized by its dots) must fit one
// texture; a lowered limit stands in for a still too large for the GPU.
TEST_F(Looks, StillsBeyondTheTextureLimitFailUntouched) {
  ScopedEnv limit("POSTEFFECT_MAX_TEXTURE_SIZE", "512");
  ASSERT_EQ(m_fx->startPreview(1280, 720), 0);
  SharedNv21 big(2560, 1440);
  const Nv21 picture = ref::MakeFrame(2560, 1440, 99);
  for (const std::string& effect : {Effect("3", 0), Effect("5", 100)}) {
    ASSERT_EQ(Params(effect), 0);
    EXPECT_EQ(Capture(big, picture), 3) << effect;
    EXPECT_EQ(big.Get().data, picture.data) << effect;
  }
  EXPECT_EQ(m_log.Count("beyond the largest texture", "GEShaderDot"), 1);
  EXPECT_EQ(m_log.Count("exceeds the largest texture", "GEShaderFisheye"), 1);
}

// Without the host setting the sketches stay behind the manager's bound:
// refused, with the frame and the still left as they were.
class Bound : public PublicService {
  ScopedEnv m_count{"POSTEFFECT_EFFECT_COUNT", nullptr};
};
TEST_F(Bound, SketchesAreRefusedUnlessTheHostRaisesTheBound) {
  for (const char* code : {"I", "J"}) {
    SCOPED_TRACE(code);
    ASSERT_EQ(Params(Effect(code)), 0);
    ASSERT_EQ(m_fx->startPreview(640, 480), 0);
    ExpectRefused();
  }
  EXPECT_TRUE(m_log.Contains("index 17 should less than 17"));
  EXPECT_TRUE(m_log.Contains("index 18 should less than 17"));
}

}  // namespace
}  // namespace test
}  // namespace pe
