// The tool's own pieces: colour conversion against its formulas, image file
// round trips, option parsing and its messages, the test chart.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>

#include "ColorConvert.h"
#include "Commands.h"
#include "Drawing.h"
#include "ImageIO.h"
#include "TestUtil.h"

namespace pe::cli {
namespace {

RgbImage Flat(int w, int h, uint8_t r, uint8_t g, uint8_t b) {
  RgbImage img(w, h);
  for (size_t i = 0; i < img.rgb.size(); i += 3) {
    img.rgb[i] = r;
    img.rgb[i + 1] = g;
    img.rgb[i + 2] = b;
  }
  return img;
}

TEST(ColorConvert, MatchesTheBt601FullRangeFormulas) {
  const uint8_t colours[][3] = {{255, 255, 255}, {0, 0, 0},       {255, 0, 0},    {0, 255, 0},
                                {0, 0, 255},     {128, 128, 128}, {200, 120, 40}, {13, 77, 240}};
  for (const auto& c : colours) {
    const double r = c[0], g = c[1], b = c[2];
    const Nv21Frame f = RgbToNv21(Flat(4, 2, c[0], c[1], c[2]));
    SCOPED_TRACE(testing::Message() << r << "," << g << "," << b);
    EXPECT_EQ(f.Y()[5], std::lround(0.299 * r + 0.587 * g + 0.114 * b));
    for (int pair = 0; pair < 2; ++pair) {  // V first: NV21
      EXPECT_EQ(f.VU()[2 * pair],
                std::min(255L, std::lround(0.5 * r - 0.4186829 * g - 0.0813089 * b + 127.5)));
      EXPECT_EQ(f.VU()[2 * pair + 1],
                std::min(255L, std::lround(-0.168727 * r - 0.33126147 * g + 0.5 * b + 127.5)));
    }
  }
  // A block takes the chroma of its mean colour: one red pixel in four.
  RgbImage quarter = Flat(2, 2, 0, 0, 0);
  quarter.At(1, 1)[0] = 255;
  EXPECT_EQ(RgbToNv21(quarter).VU()[0], std::lround(0.5 * 63.75 + 127.5));

  // And back, every pixel of the block with the block's sample.
  Nv21Frame f(2, 2);
  std::fill(f.Y(), f.Y() + 4, 100);
  f.VU()[0] = 160;
  f.VU()[1] = 90;
  const RgbImage img = Nv21ToRgb(f);
  const double dv = 160 - 127.5, du = 90 - 127.5;
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(img.rgb[3 * i], std::lround(100 + 1.402 * dv));
    EXPECT_EQ(img.rgb[3 * i + 1], std::lround(100 - 0.714 * dv - 0.344 * du));
    EXPECT_EQ(img.rgb[3 * i + 2], std::lround(100 + 1.772 * du));
  }
}

class ImageFiles : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) { return dir_.path() + "/" + name; }
  test::TempDir dir_;
};

TEST_F(ImageFiles, PngAndRawRoundTripExactlyAndJpegClosely) {
  const RgbImage img = TestChart(320, 180);
  std::string error;
  RgbImage png, jpg;
  Nv21Frame raw;
  ASSERT_TRUE(WriteImageFile(Path("a.png"), img, &error)) << error;
  ASSERT_TRUE(ReadPng(Path("a.png"), &png, &error)) << error;
  EXPECT_EQ(png.width * 1000 + png.height, 320180);
  EXPECT_EQ(png.rgb, img.rgb);

  ASSERT_TRUE(WriteImageFile(Path("a.NV21"), RgbToNv21(img), &error)) << error;
  ASSERT_TRUE(ReadRawNv21(Path("a.NV21"), 320, 180, &raw, &error)) << error;
  EXPECT_EQ(raw.data, RgbToNv21(img).data);

  ASSERT_TRUE(WriteImageFile(Path("a.jpeg"), img, &error)) << error;
  ASSERT_TRUE(ReadJpeg(Path("a.jpeg"), &jpg, &error)) << error;
  ASSERT_EQ(jpg.rgb.size(), img.rgb.size());
  double sq = 0;
  for (size_t i = 0; i < img.rgb.size(); ++i) sq += std::pow(jpg.rgb[i] - img.rgb[i], 2.0);
  EXPECT_GT(10 * std::log10(255.0 * 255.0 / (sq / img.rgb.size())), 30.0);  // PSNR
  EXPECT_EQ(test::ListDir(dir_.path()).size(), 3u);  // no temporary files left over
}

TEST_F(ImageFiles, BadFilesAreRefusedWithAMessageNamingThem) {
  std::string error;
  RgbImage img;
  Nv21Frame frame;
  EXPECT_FALSE(ReadJpeg(Path("missing.jpg"), &img, &error));
  EXPECT_NE(error.find("missing.jpg': No such file"), std::string::npos) << error;

  ASSERT_TRUE(WriteImageFile(Path("good.jpg"), TestChart(64, 48), &error));
  std::ifstream in(Path("good.jpg"), std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), {});
  std::ofstream(Path("cut.jpg"), std::ios::binary) << bytes.substr(0, bytes.size() / 2);
  EXPECT_FALSE(ReadJpeg(Path("cut.jpg"), &img, &error));
  EXPECT_NE(error.find("cut.jpg' is not a valid JPEG"), std::string::npos) << error;

  std::ofstream(Path("text.png")) << "hello";
  EXPECT_FALSE(ReadPng(Path("text.png"), &img, &error));
  EXPECT_NE(error.find("text.png' is not a valid PNG"), std::string::npos) << error;

  std::ofstream(Path("short.nv21"), std::ios::binary) << std::string(100, '\0');
  EXPECT_FALSE(ReadRawNv21(Path("short.nv21"), 16, 16, &frame, &error));
  EXPECT_NE(error.find("holds 100 bytes, but one 16x16 NV21 frame is 384"), std::string::npos)
      << error;
}

TEST_F(ImageFiles, OutputAppearsOnlyWhenCommitted) {
  std::string error;
  {
    AtomicFile f(Path("out.png"));
    ASSERT_TRUE(f.Open(&error));
    std::fputs("partial", f.stream());
    EXPECT_NE(access(Path("out.png").c_str(), F_OK), 0);
  }
  EXPECT_TRUE(test::ListDir(dir_.path()).empty());
  AtomicFile f(Path("out.png"));
  ASSERT_TRUE(f.Open(&error));
  ASSERT_TRUE(f.Commit(&error));
  EXPECT_EQ(test::ListDir(dir_.path()), std::vector<std::string>{"out.png"});
}

TEST(Options, ValuesAcceptOnlyWhatTheySay) {
  Size s;
  EXPECT_TRUE(ParseSize("1280x720", &s) && s.width == 1280 && s.height == 720);
  for (const char* bad :
       {"1280", "x720", "-2x4", "0x4", "12a0x720", "2x2x1", "99999999999x1", " 2x2", "+2x2"})
    EXPECT_FALSE(ParseSize(bad, &s)) << bad;
  std::vector<int> v;
  EXPECT_TRUE(ParseIntList("1,-2,+3,4", 4, 4, &v));
  EXPECT_EQ(v, (std::vector<int>{1, -2, 3, 4}));
  for (const char* bad : {"", "1,,2", "1,2,", "1 ,2", "1,2,3,4,5", "3000000000"})
    EXPECT_FALSE(ParseIntList(bad, 1, 4, &v)) << bad;

  const std::vector<OptionDef> defs = {{"--size", true}, {"--flag", false}};
  ParsedArgs p;
  std::string error;
  ASSERT_TRUE(ParseArgs({"in", "--size=-4x2", "--flag", "--", "--out"}, defs, &p, &error));
  EXPECT_EQ(p.values.at("--size"), "-4x2");
  EXPECT_EQ(p.positional, (std::vector<std::string>{"in", "--out"}));
  const std::pair<std::vector<std::string>, const char*> failures[] = {
      {{"--bogus"}, "unknown option '--bogus'"},
      {{"--size"}, "option --size needs a value"},
      {{"--size", "1x1", "--size=2x2"}, "option --size given twice"},
      {{"--flag=1"}, "option --flag takes no value"}};
  for (const auto& [args, message] : failures) {
    EXPECT_FALSE(ParseArgs(args, defs, &p, &error));
    EXPECT_EQ(error, message);
  }
}

TEST(Options, ApplyRejectsEachBadInputByName) {
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"out.png"}, "--effect is required"},
      {{"--effect", "A", "out.png"}, "unknown effect 'A'"},
      {{"--effect", "4", "--param0", "1,x", "o.png"}, "--param0: expected 1 to 4"},
      {{"--effect", "4", "--param1", "1,2,3", "o.png"}, "--param1: expected four"},
      {{"--effect", "4", "--crop", "0,0,0,5", "o.png"}, "--crop: expected x,y,w,h"},
      {{"--effect", "4", "--mode", "video", "o.png"}, "--mode: expected preview or capture"},
      {{"--effect", "4", "--size", "641x480", "o.png"}, "--size: expected an even size"},
      {{"--effect", "4", "--mode", "preview", "--preview-size", "64x48", "o.png"},
       "--preview-size is for captures"},
      {{"--effect", "4", "in.nv21", "o.png"}, "raw NV21 input 'in.nv21' needs --size"},
      {{"--effect", "4", "--size", "64x64", "in.jpg", "o.png"}, "--size applies to raw"},
      {{"--effect", "4", "in.png", "out.bmp"}, "unsupported output type 'out.bmp'"},
      {{"--effect", "4", "a.png", "b.png", "c.png"}, "too many files: 'c.png'"},
  };
  for (const auto& [args, message] : cases) {
    ApplyOptions o;
    bool help = false;
    std::string error;
    EXPECT_FALSE(ParseApplyOptions(args, &o, &help, &error)) << message;
    EXPECT_EQ(error.rfind(message, 0), 0u) << "got: " << error;
  }
}

TEST(Effects, NumbersCharactersAndNamesSelectTheSameEffect) {
  ASSERT_EQ(Effects().size(), 19u);
  for (const EffectInfo& e : Effects()) {
    // "GPU-effect" skips 'A': 10 is 'B'.
    EXPECT_EQ(e.code, e.number < 10 ? '0' + e.number : 'B' + e.number - 10) << e.name;
    EXPECT_EQ(ParseEffect(std::to_string(e.number)), &e);
    EXPECT_EQ(ParseEffect(std::string(1, e.code)), &e);
    EXPECT_EQ(ParseEffect(e.name), &e);
    for (char c : std::to_string(e.number) + " " + e.name) EXPECT_TRUE(HasGlyph(c)) << c;
  }
  EXPECT_EQ(ParseEffect("12")->number, 12);  // a number, not its first character
  EXPECT_EQ(ParseEffect("color-sketch")->number, 18);
  EXPECT_EQ(ParseEffect("b")->number, 10);
  EXPECT_EQ(ParseEffect("a"), nullptr);
  EXPECT_EQ(ParseEffect("19"), nullptr);

  EffectRequest r{FindEffect(10), {1, -2, 3, 4}, {960, 540, 1344, 540}};
  EXPECT_EQ(ParameterString(r), "GPU-effect=B;GE-param0=1,-2,3,4;GE-param1=960,540,1344,540");
  // Positions default to the display centre and an edge point to its right.
  const Quad vignette = DefaultParam1(*FindEffect(4), 1920, 1080);
  EXPECT_TRUE(vignette[0] == 960 && vignette[1] == 540 && vignette[2] > 960);
  setenv("POSTEFFECT_DISPLAY", "720x1280", 1);
  int w = 0, h = 0;
  DisplaySize(&w, &h);
  unsetenv("POSTEFFECT_DISPLAY");
  EXPECT_EQ(w * 10000 + h, 12800720);  // landscape order, as the library keeps it
}

TEST(Previews, CapturesSitBehindTheLargestCommonPreviewThatFits) {
  EXPECT_EQ(LargestPreviewWithin(4000, 3000).width, 1280);
  EXPECT_EQ(LargestPreviewWithin(720, 1280).height, 480);
  EXPECT_EQ(LargestPreviewWithin(1000, 500).width, 800);
  EXPECT_EQ(LargestPreviewWithin(100, 60).width, 100);
}

TEST(Chart, HasBarsRampsAndSinglePixelDetail) {
  const RgbImage c = TestChart(1280, 720);
  const uint8_t bars[8][3] = {{255, 255, 255}, {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                              {255, 0, 255},   {255, 0, 0},   {0, 0, 255},   {0, 0, 0}};
  for (int i = 0; i < 8; ++i)
    EXPECT_EQ(0, std::memcmp(c.At(i * 160 + 80, 200), bars[i], 3)) << "bar " << i;
  // Grey ramp from black to white, never stepping back.
  EXPECT_EQ(c.At(0, 340)[0] + 255 - c.At(1279, 340)[0], 0);
  for (int x = 1; x < 1280; ++x) {
    ASSERT_GE(c.At(x, 340)[0], c.At(x - 1, 340)[0]);
    ASSERT_EQ(c.At(x, 340)[0], c.At(x, 340)[1]);
  }
  // Single-pixel lines at the top of the detail row.
  for (int x = 0; x < 40; ++x) EXPECT_EQ(c.At(x, 506)[0], x % 2 == 0 ? 255 : 0) << x;
  // The label's first letter, a T, tops the white bar; the chart never changes.
  EXPECT_EQ(c.At(7, 7)[0], 0);
  EXPECT_EQ(c.At(7, 12)[0], 255);
  EXPECT_EQ(TestChart(1280, 720).rgb, c.rgb);
  EXPECT_EQ(TestChart(64, 36).rgb.size(), 64u * 36 * 3);  // small sizes must not fault
}

}  // namespace
}  // namespace pe::cli
