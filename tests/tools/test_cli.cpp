// The tool's own pieces (colour conversion against the reference model, image file
// round trips, option parsing, the test chart), then the commands end to end
// against a stand-in service: what reaches the service, what comes back out,
// and how failures are reported.

#include <gtest/gtest.h>
#include <posteffect/IPostEffect.h>
#include <unistd.h>
#include <utils/String8.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <set>
#include <sstream>

#include "ColorConvert.h"
#include "CommandSupport.h"
#include "Commands.h"
#include "Drawing.h"
#include "ImageIO.h"
#include "TestEnv.h"
#include "TextureModel.h"

// Exiv2 0.27's interface is built on std::auto_ptr.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <exiv2/exiv2.hpp>

namespace pe::cli {
namespace {

using test::ReadFile;

// Every byte is the documented formula rounded half away from zero, for
// every chroma pair (and luma across them) and a spread of colours; cutting
// and growing on the way is the same as converting the cut or grown picture.
TEST(ColorConvert, RoundsEveryValueAsTheFormulaAndCutsOrGrowsWithoutChangingIt) {
  auto byte = [](double v) { return static_cast<int>(std::clamp(std::lround(v), 0L, 255L)); };
  Nv21Frame all(512, 512);
  for (int y = 0; y < 512; ++y)
    for (int x = 0; x < 512; ++x) {
      all.Y()[y * 512 + x] = static_cast<uint8_t>(x * 7 + y * 13);
      all.VU()[y / 2 * 512 + (x & ~1)] = static_cast<uint8_t>(y / 2);  // V
      all.VU()[y / 2 * 512 + (x | 1)] = static_cast<uint8_t>(x / 2);   // U
    }
  const RgbImage rgb = Nv21ToRgb(all);
  int wrong = 0;
  for (int y = 0; y < 512; ++y)
    for (int x = 0; x < 512; ++x) {
      const double l = all.Y()[y * 512 + x], v = y / 2 - 127.5, u = x / 2 - 127.5;
      const uint8_t* p = rgb.At(x, y);
      wrong += p[0] != byte(l + 1.402 * v) || p[1] != byte(l - 0.714 * v - 0.344 * u) ||
               p[2] != byte(l + 1.772 * u);
    }
  EXPECT_EQ(wrong, 0);

  RgbImage colours(600, 400);
  for (size_t i = 0; i < colours.rgb.size(); ++i)
    colours.rgb[i] = static_cast<uint8_t>((i * 2654435761u) >> 13);
  // A black block's chroma is 127.5 exactly: it rounds up.
  for (int y = 0; y < 2; ++y) std::memset(colours.At(0, y), 0, 6);
  const Nv21Frame frame = RgbToNv21(colours);
  for (int i = 0; i < 600 * 400; ++i) {
    const uint8_t* p = colours.rgb.data() + 3 * i;
    wrong += frame.Y()[i] != byte(0.299 * p[0] + 0.587 * p[1] + 0.114 * p[2]);
  }
  for (int y = 0; y < 400; y += 2)
    for (int x = 0; x < 600; x += 2) {
      double c[3] = {};
      for (int k = 0; k < 3; ++k)
        c[k] = (colours.At(x, y)[k] + colours.At(x + 1, y)[k] + colours.At(x, y + 1)[k] +
                colours.At(x + 1, y + 1)[k]) /
               4.0;
      const uint8_t* vu = frame.VU() + y / 2 * 600 + x;
      wrong += vu[0] != byte(0.5 * c[0] - 0.4186829 * c[1] - 0.0813089 * c[2] + 127.5) ||
               vu[1] != byte(-0.168727 * c[0] - 0.33126147 * c[1] + 0.5 * c[2] + 127.5);
    }
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(frame.VU()[0], 128);

  // Grown by 13 columns and 3 rows (even), then cut back; cut to 100 x 60.
  RgbImage odd(587, 397);
  for (int y = 0; y < 397; ++y) std::memcpy(odd.At(0, y), colours.At(0, y), 587 * 3);
  RgbImage grown(600, 400);
  for (int y = 0; y < 400; ++y)
    for (int x = 0; x < 600; ++x)
      std::memcpy(grown.At(x, y), odd.At(std::min(x, 586), std::min(y, 396)), 3);
  EXPECT_EQ(RgbToNv21(odd, 600, 400).data, RgbToNv21(grown).data);
  const RgbImage back = Nv21ToRgb(RgbToNv21(grown), 587, 397);
  const RgbImage whole = Nv21ToRgb(RgbToNv21(grown));
  ASSERT_EQ(back.width * back.height, 587 * 397);
  for (int y = 0; y < 397; ++y)
    ASSERT_EQ(std::memcmp(back.At(0, y), whole.At(0, y), 587 * 3), 0) << y;
  const Nv21Frame cut = RgbToNv21(colours, 100, 60);
  for (int y = 0; y < 60; ++y)
    ASSERT_EQ(std::memcmp(cut.Y() + y * 100, frame.Y() + y * 600, 100), 0) << y;
}

// Both directions against the reference model of the library's own
// conversions, which the tool's must agree with.
TEST(ColorConvert, MatchesTheReferenceModelBothWays) {
  const RgbImage chart = TestChart(320, 180);
  ref::Nv21 nv21(320, 180);
  nv21.data = RgbToNv21(chart).data;
  const ref::Diff d = ref::Compare(nv21, ref::Render(320, 180, [&](int x, int y) {
                                     const uint8_t* p = chart.At(x, y);
                                     return ref::Rgb{p[0] / 255.f, p[1] / 255.f, p[2] / 255.f};
                                   }));
  EXPECT_LE(std::max(d.maxY, d.maxUV), 1) << "at " << d.worstX << "," << d.worstY;

  const ref::Nv21 frame = ref::MakeFrame(64, 48, 3);
  Nv21Frame in(64, 48);
  in.data = frame.data;
  const RgbImage rgb = Nv21ToRgb(in);
  float worst = 0;
  ref::RoundTrip(frame, [&](int x, int y, ref::Rgb p) {
    const ref::Rgb q = ref::Quantise(p);
    const uint8_t* t = rgb.At(x, y);
    worst = std::max({worst, std::fabs(t[0] - q.r * 255), std::fabs(t[1] - q.g * 255),
                      std::fabs(t[2] - q.b * 255)});
    return p;
  });
  EXPECT_LE(worst, 1.f);
}

// Tests run in a scratch directory of their own.
class ImageFiles : public ::testing::Test {
 protected:
  void SetUp() override { std::filesystem::current_path(dir_.path()); }
  void TearDown() override { std::filesystem::current_path(cwd_); }
  std::vector<std::string> Files() const { return test::ListDir(dir_.path()); }
  const std::filesystem::path cwd_ = std::filesystem::current_path();
  test::TempDir dir_;
};

TEST_F(ImageFiles, PngRoundTripsExactlyAndJpegClosely) {
  const RgbImage img = TestChart(320, 180);
  std::string error;
  RgbImage png, jpg;
  ASSERT_TRUE(WriteImageFile("a.png", img, &error)) << error;
  ASSERT_TRUE(ReadPng("a.png", &png, &error)) << error;
  EXPECT_EQ(png.width * 1000 + png.height, 320180);
  EXPECT_EQ(png.rgb, img.rgb);

  ASSERT_TRUE(WriteImageFile("a.jpeg", img, &error)) << error;
  ASSERT_TRUE(ReadJpeg("a.jpeg", &jpg, &error)) << error;
  ASSERT_EQ(jpg.rgb.size(), img.rgb.size());
  double sq = 0;
  for (size_t i = 0; i < img.rgb.size(); ++i) sq += std::pow(jpg.rgb[i] - img.rgb[i], 2.0);
  EXPECT_GT(10 * std::log10(255.0 * 255.0 / (sq / img.rgb.size())), 30.0);  // PSNR
  EXPECT_EQ(Files().size(), 2u);  // no temporary files left over
}

TEST_F(ImageFiles, OutputAppearsOnlyWhenCommitted) {
  std::string error;
  for (bool commit : {false, true}) {
    AtomicFile f("out.png");
    ASSERT_TRUE(f.Open(&error));
    std::fputs("partial", f.stream());
    EXPECT_NE(access("out.png", F_OK), 0);
    EXPECT_TRUE(!commit || f.Commit(&error)) << error;
  }
  EXPECT_EQ(Files(), std::vector<std::string>{"out.png"});
}

// The generic parsers; each command's own rules are in Commands.RefusalsAre...
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

  test::ScopedEnv display("POSTEFFECT_DISPLAY", "720x1280");
  int w = 0, h = 0;
  DisplaySize(&w, &h);
  EXPECT_EQ(w * 10000 + h, 12800720);  // landscape order, as the library keeps it
}

TEST(Previews, CapturesSitBehindTheLargestCommonPreviewThatFits) {
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
  EXPECT_TRUE(c.At(7, 7)[0] == 0 && c.At(7, 12)[0] == 255);
  EXPECT_EQ(TestChart(1280, 720).rgb, c.rgb);
}

// A stand-in service that logs the calls it gets. Frames it processes get
// their luma inverted; effect 0 passes untouched and 17, 18 are refused, as by
// a build without them. It reads frames through the descriptor and writes
// them back at base + offset: a frame handed over inconsistently comes back
// wrong.
struct FakeState {
  std::string log;
  char effect = '0';
  int w = 0, h = 0, processed = 0, captureResult = 0;
  std::set<long> offsets;
  bool previewing = false, refuseAll = false;
} fake;

class FakePostEffect : public IPostEffect {
 public:
  int start() override { return Log("start"); }
  int stop() override { return Log("stop"); }
  int startPreview(int w, int h) override {
    fake.w = w, fake.h = h, fake.previewing = true;
    return Log("startPreview(" + SizeText(w, h) + ")");
  }
  int handlePreview(int fd, void* base, int offset) override {
    Log("handlePreview");
    if (!fake.previewing) return PE_RESULT_NOT_PREVIEWING;
    if (fake.refuseAll || fake.effect == 'I' || fake.effect == 'J')
      return PE_RESULT_PREVIEW_START_FAILED;
    return Process(fd, base, offset, fake.w, fake.h);
  }
  int stopPreview() override { return fake.previewing = false, Log("stopPreview"); }
  int handleCapture(int w, int h, int fd, void* base, long yOffset, long uvOffset) override {
    Log("handleCapture(" + SizeText(w, h) + "," + std::to_string(yOffset) + "," +
        std::to_string(uvOffset) + ")");
    return fake.captureResult ? fake.captureResult : Process(fd, base, yOffset, w, h);
  }
  int setParameters(const android::String8& params) override {
    const std::string p = params.c_str();
    fake.effect = p.rfind("GPU-effect=", 0) == 0 ? p[11] : '?';
    return Log("setParameters(" + p + ")");
  }
  int setCrop(int x, int y, int w, int h) override {
    return Log("setCrop(" + QuadText({x, y, w, h}) + ")");
  }
  static int Log(const std::string& call) { return fake.log += call + " ", 0; }

 private:
  static int Process(int fd, void* base, long offset, int w, int h) {
    std::vector<uint8_t> frame(Nv21Frame::Bytes(w, h));
    if (pread(fd, frame.data(), frame.size(), offset) != static_cast<ssize_t>(frame.size()))
      return PE_RESULT_CAPTURE_FAILED;
    fake.offsets.insert(offset);
    for (int i = 0; fake.effect != '0' && i < w * h; ++i) frame[i] ^= 0xFF;
    fake.processed += fake.effect != '0';
    std::memcpy(static_cast<uint8_t*>(base) + offset, frame.data(), frame.size());
    return 0;
  }
};

int Count(const std::string& text, const std::string& word) {
  int n = 0;
  for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) ++n;
  return n;
}

std::string InvertLuma(std::string frame, int w, int h) {
  for (int i = 0; i < w * h; ++i) frame[i] = static_cast<char>(frame[i] ^ 0xFF);
  return frame;
}

struct Result {
  int rc;
  std::string out, err;
};

// Commands must leave the scratch directory as they found it when they fail.
class Commands : public ImageFiles {
 protected:
  void SetUp() override {
    ImageFiles::SetUp();
    fake = FakeState();
  }

  // The words of line as the command's arguments, input on its stdin.
  Result Cli(const std::string& line, std::string input = "") {
    std::vector<std::string> args;
    std::istringstream words(line);
    for (std::string w; words >> w;) args.push_back(w);
    std::FILE* in = fmemopen(input.data(), input.size(), "r");
    char *out = nullptr, *err = nullptr;
    size_t outBytes = 0, errBytes = 0;
    std::FILE* outFile = open_memstream(&out, &outBytes);
    std::FILE* errFile = open_memstream(&err, &errBytes);
    const Backend backend{
        []() -> IPostEffect* { return FakePostEffect::Log("new"), new FakePostEffect; },
        [](IPostEffect* p) { FakePostEffect::Log("delete"), delete p; }};
    const int rc = pe::cli::Run(args, Context{backend, in, outFile, errFile, false});
    for (std::FILE* f : {in, outFile, errFile}) std::fclose(f);
    Result r{rc, std::string(out, outBytes), std::string(err, errBytes)};
    std::free(out);
    std::free(err);
    // Every service made was stopped and given back.
    EXPECT_EQ(Count(fake.log, "new "), Count(fake.log, "delete ")) << fake.log;
    EXPECT_EQ(Count(fake.log, "start "), Count(fake.log, "stop ")) << fake.log;
    return r;
  }
};

TEST_F(Commands, ApplyHandsAPreviewFrameOverThroughSharedMemory) {
  const Nv21Frame chart = RgbToNv21(TestChart(64, 48));  // a distinct value in every byte
  const std::string in(chart.data.begin(), chart.data.end());
  dir_.Put("in.nv21", in);
  const Result r = Cli("apply --effect vignette --size 64x48 in.nv21 out.yuv");
  ASSERT_EQ(r.rc, 0) << r.err;
  EXPECT_EQ(r.err, "");
  // Positions default to the display centre and an edge point to its right;
  // no crop is handed over unless asked.
  EXPECT_EQ(fake.log,
            "new start setParameters(GPU-effect=4;GE-param0=50,0,0,0;GE-param1=960,540,1632,540) "
            "startPreview(64x48) handlePreview stopPreview stop delete ");
  EXPECT_EQ(ReadFile("out.yuv"), InvertLuma(in, 64, 48));
}

TEST_F(Commands, ApplyCapturesLargePicturesBehindAPreviewSizedService) {
  // No input: the test chart, big enough to be a still.
  const Result r = Cli("apply --effect 1 --param0 3 --crop 10,20,800,600 --size 1600x1200 s.nv21");
  ASSERT_EQ(r.rc, 0) << r.err;
  // The chroma right behind the luma.
  EXPECT_EQ(fake.log,
            "new start setParameters(GPU-effect=1;GE-param0=3,0,0,0;GE-param1=0,0,0,0) "
            "setCrop(10,20,800,600) startPreview(1280x720) handleCapture(1600x1200,0,1920000) "
            "stopPreview stop delete ");
  const Nv21Frame chart = RgbToNv21(TestChart(1600, 1200));
  const std::string in(chart.data.begin(), chart.data.end());
  EXPECT_TRUE(ReadFile("s.nv21") == InvertLuma(in, 1600, 1200));
}

// Any size comes out at its own size, as the same picture padded by hand
// (last column and row repeated) and cropped back: the chroma of the blocks
// at the edges shows what filled the padding.
TEST_F(Commands, PicturesKeepTheirSizeThroughEdgePadding) {
  for (const Size size : {Size{37, 23}, Size{40, 24}}) {
    SCOPED_TRACE(SizeText(size.width, size.height));
    const RgbImage chart = TestChart(size.width, size.height);
    const int pw = (size.width + 15) / 16 * 16, ph = (size.height + 1) / 2 * 2;
    RgbImage padded(pw, ph);
    for (int y = 0; y < ph; ++y)
      for (int x = 0; x < pw; ++x)
        std::memcpy(padded.At(x, y),
                    chart.At(std::min(x, size.width - 1), std::min(y, size.height - 1)), 3);
    std::string error;
    ASSERT_TRUE(WriteImageFile("in.png", chart, &error) &&
                WriteImageFile("padded.png", padded, &error))
        << error;
    ASSERT_EQ(Cli("apply --effect 4 in.png out.png").rc, 0);
    EXPECT_EQ(SizeText(fake.w, fake.h), SizeText(pw, ph));
    ASSERT_EQ(Cli("apply --effect 4 padded.png padded-out.png").rc, 0);
    RgbImage out, byHand;
    ASSERT_TRUE(ReadPng("out.png", &out, &error) && ReadPng("padded-out.png", &byHand, &error));
    ASSERT_EQ(SizeText(out.width, out.height), SizeText(size.width, size.height));
    for (int y = 0; y < size.height; ++y)
      ASSERT_EQ(0, std::memcmp(out.At(0, y), byHand.At(0, y), size.width * 3)) << "row " << y;
  }
}

Exiv2::Image::AutoPtr OpenPicture(const std::string& path) {
  Exiv2::Image::AutoPtr image = Exiv2::ImageFactory::open(path);
  image->readMetadata();
  return image;
}

// A phone's picture stored turned (EXIF orientation 6) with camera, date,
// GPS, a thumbnail and a colour profile, as JPEG and as PNG (with a text
// chunk): the effect sees it upright, and the output is upright with all of
// it but the stale thumbnail.
TEST_F(Commands, TurnedPhotosComeOutUprightWithTheirMetadata) {
  RgbImage stored(48, 32);  // grey, with a red top left quarter as stored
  for (int y = 0; y < 32; ++y)
    for (int x = 0; x < 48; ++x)
      std::memcpy(stored.At(x, y), x < 24 && y < 16 ? "\xff\0\0" : "\x80\x80\x80", 3);
  std::vector<uint8_t> icc(132, 7), thumb;
  icc[0] = icc[1] = icc[2] = 0, icc[3] = 132;  // a profile's length leads it
  std::string error;
  ASSERT_TRUE(EncodeJpeg(RgbImage(8, 8), 80, &thumb, &error));
  const std::pair<const char*, const char*> kTags[] = {
      {"Exif.Image.Make", "TestCam"},
      {"Exif.Image.Model", "Phone 9"},
      {"Exif.Photo.DateTimeOriginal", "2024:05:06 07:08:09"},
      {"Exif.GPSInfo.GPSLatitude", "48/1 51/1 24/1"}};
  for (const char* ext : {"jpg", "png"}) {
    SCOPED_TRACE(ext);
    std::vector<uint8_t> bytes;
    ASSERT_TRUE(*ext == 'j'
                    ? EncodeJpeg(stored, 95, &bytes, &error)
                    : EncodePng(stored, false, {{0, "Author", "me", "", ""}}, &bytes, &error));
    Exiv2::Image::AutoPtr in = Exiv2::ImageFactory::open(bytes.data(), bytes.size());
    Exiv2::ExifData exif;
    for (const auto& [key, value] : kTags) exif[key] = value;
    exif["Exif.Image.Orientation"] = uint16_t{6};
    exif["Exif.Photo.PixelXDimension"] = uint32_t{48};
    Exiv2::ExifThumb(exif).setJpegThumbnail(thumb.data(), thumb.size());
    in->setExifData(exif);
    Exiv2::DataBuf profile(icc.data(), icc.size());
    in->setIccProfile(profile);
    in->writeMetadata();
    in->io().open();
    Exiv2::DataBuf written = in->io().read(in->io().size());
    dir_.Put(std::string("phone.") + ext,
             std::string(written.pData_, written.pData_ + written.size_));

    const std::string out = std::string("out.") + ext;
    const Result r = Cli("apply --effect 0 phone." + std::string(ext) + " " + out);
    ASSERT_EQ(r.rc, 0) << r.err;
    EXPECT_EQ(r.err, "");
    RgbImage shown;
    ASSERT_TRUE(*ext == 'j' ? ReadJpeg(out, &shown, &error) : ReadPng(out, &shown, &error));
    ASSERT_EQ(SizeText(shown.width, shown.height), "32x48");
    // Turned a quarter clockwise, the stored top left is shown top right.
    EXPECT_GT(shown.At(28, 4)[0] - shown.At(28, 4)[1], 200);
    EXPECT_LT(std::abs(shown.At(4, 4)[0] - shown.At(4, 4)[1]), 8);

    Exiv2::Image::AutoPtr o = OpenPicture(out);
    const Exiv2::ExifData& kept = o->exifData();
    for (const auto& [key, value] : kTags) {
      const auto it = kept.findKey(Exiv2::ExifKey(key));
      ASSERT_NE(it, kept.end()) << key;
      EXPECT_EQ(it->value().toString(), value) << key;
    }
    EXPECT_EQ(kept.findKey(Exiv2::ExifKey("Exif.Image.Orientation"))->toLong(), 1);
    EXPECT_EQ(kept.findKey(Exiv2::ExifKey("Exif.Photo.PixelXDimension"))->toLong(), 32);
    EXPECT_EQ(Exiv2::ExifThumbC(kept).copy().size_, 0);
    ASSERT_TRUE(o->iccProfileDefined());
    EXPECT_EQ(std::vector<uint8_t>(o->iccProfile()->pData_, o->iccProfile()->pData_ + 132), icc);
    if (*ext == 'p') {
      ASSERT_TRUE(ReadFileBytes(out, &bytes, &error));
      const std::vector<PngText> texts = ReadPngTexts(bytes);
      EXPECT_TRUE(std::any_of(texts.begin(), texts.end(), [](const PngText& t) {
        return t.key == "Author" && t.text == "me";
      }));
    }
  }
}

// A directory of pictures through one service object: a broken one is
// named, every other written, and the exit says that one failed.
TEST_F(Commands, ManyPicturesGoThroughOneServiceAndABrokenOneIsNamed) {
  std::filesystem::create_directories("in/sub");
  std::filesystem::create_directory("out");
  std::string error;
  ASSERT_TRUE(WriteImageFile("in/a.png", TestChart(40, 30), &error) &&
              WriteImageFile("in/b.jpg", TestChart(64, 48), &error));
  dir_.Put("in/broken.png", "not a picture");
  dir_.Put("in/notes.txt", "left out");
  Result r = Cli("apply --effect 1 in out/");
  EXPECT_EQ(r.rc, kExitFailure);
  EXPECT_EQ(Count(fake.log, "new "), 1) << fake.log;
  EXPECT_EQ(fake.processed, 2);
  EXPECT_EQ(test::ListDir("out"), (std::vector<std::string>{"a.png", "b.jpg"}));
  EXPECT_NE(r.err.find("'in/broken.png' is not a valid PNG"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("left out 2 entries"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("2 done, 1 failed\n"), std::string::npos) << r.err;
  RgbImage a;
  ASSERT_TRUE(ReadPng("out/a.png", &a, &error));
  EXPECT_EQ(SizeText(a.width, a.height), "40x30");

  // Another type asked for; an output that would replace its own input.
  r = Cli("apply --effect 1 --format png in/b.jpg in/a.png in");
  EXPECT_EQ(r.rc, kExitFailure);
  EXPECT_NE(r.err.find("'in/a.png': its output would replace it"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("1 done, 1 failed"), std::string::npos) << r.err;
  EXPECT_TRUE(ReadPng("in/b.png", &a, &error)) << error;
}

TEST_F(Commands, RefusalsAreOneLineNamingTheCauseAndLeaveNoOutput) {
  std::string error;
  ASSERT_TRUE(WriteImageFile("cut.jpg", TestChart(64, 48), &error));
  const std::string jpeg = ReadFile("cut.jpg");
  dir_.Put("cut.jpg", jpeg.substr(0, jpeg.size() / 2));
  dir_.Put("text.png", "hello");
  dir_.Put("short.nv21", std::string(100, '\0'));
  const std::vector<std::string> inputs = Files();
  struct Case {
    const char* line;
    const char* mention;
    int rc = kExitUsage, captureResult = 0;
  };
  const Case cases[] = {
      {"frobnicate", "unknown command 'frobnicate'"},
      {"apply o.png", "apply: --effect is required"},
      {"apply --effect A o.png", "unknown effect 'A'"},
      {"apply --effect 4 --param0 1,x o.png", "--param0: expected 1 to 4"},
      {"apply --effect 4 --param1 1,2,3 o.png", "--param1: expected four"},
      {"apply --effect 4 --crop 0,0,0,5 o.png", "--crop: expected x,y,w,h"},
      {"apply --effect 4 --crop -1,0,5,5 o.png", "--crop: expected x,y,w,h"},
      {"apply --effect 4 --mode video o.png", "--mode: expected preview or capture"},
      {"apply --effect 4 --size 641x480 o.png", "--size: expected an even size"},
      {"apply --effect 4 --size 16386x2 o.png", "--size: expected an even size"},
      {"apply --effect 4 --mode preview --preview-size 64x48 o.png", "--preview-size is for"},
      {"apply --effect 4 in.nv21 o.png", "raw NV21 input 'in.nv21' needs --size"},
      {"apply --effect 4 --size 64x64 in.jpg o.png", "--size applies to raw"},
      {"apply --effect 4 in.png o.bmp", "unsupported output type 'o.bmp'"},
      {"apply --effect 4 a.png b.png c.png", "too many files: 'c.png'"},
      {"apply --effect 4 a.png none/", "no directory 'none/' to write into"},
      {"apply --effect 4 --format png a.png o.jpg", "--format is for pictures written into"},
      {"gallery --size 64x48 o.nv21", "gallery: unsupported output type"},
      {"stream --effect 4", "stream: --size WxH is required"},
      {"stream --size 31x16 --effect 4", "--size: expected an even size"},
      {"stream --size 4098x64 --effect 4", "larger than a preview can be"},
      {"stream --size 32x16 --effect 4 f.nv21", "unexpected argument 'f.nv21'"},
      // Found out once the picture is known.
      {"apply --effect 1 --crop 0,0,2000,10 o.png", "outside the 1280x720 picture"},
      {"apply --effect 1 --mode preview --size 4098x64 o.png", "use --mode capture"},
      {"apply --effect 1 --preview-size 1280x720 --size 640x480 o.png", "does not fit in the 640"},
      // Failures while working.
      {"apply --effect 1 missing.png o.png", "cannot open 'missing.png': No such file",
       kExitFailure},
      {"apply --effect 1 cut.jpg o.png", "'cut.jpg' is not a valid JPEG", kExitFailure},
      {"apply --effect 1 text.png o.png", "'text.png' is not a valid PNG", kExitFailure},
      {"apply --effect 1 --size 16x16 short.nv21 o.png",
       "100 bytes, but one 16x16 NV21 frame is 384", kExitFailure},
      {"apply --effect I o.png", "effect 17 (Sketch): result 2", kExitFailure},
      {"apply --effect 2 --mode capture --size 640x480 o.png", "result 3 (capture failed)",
       kExitFailure, PE_RESULT_CAPTURE_FAILED},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    fake = FakeState();
    fake.captureResult = c.captureResult;
    const Result r = Cli(c.line);
    EXPECT_EQ(r.rc, c.rc);
    EXPECT_EQ(Count(r.err, "\n"), 1) << r.err;
    EXPECT_EQ(r.err.rfind("posteffect: ", 0), 0u);
    EXPECT_NE(r.err.find(c.mention), std::string::npos) << r.err;
    EXPECT_EQ(Files(), inputs);
  }
}

TEST_F(Commands, StreamPassesEveryFrameThroughARingOfSharedSlotsAndNamesAShortOne) {
  const int frames = 5;
  std::string input(frames * 768, '\0'), expected;  // of 32x16
  for (size_t i = 0; i < input.size(); ++i) input[i] = static_cast<char>(i * 7 + i / 768 * 13);
  for (int i = 0; i < frames; ++i) expected += InvertLuma(input.substr(i * 768, 768), 32, 16);
  Result r = Cli("stream --size 32x16 --effect B", input);
  ASSERT_EQ(r.rc, 0) << r.err;
  EXPECT_TRUE(r.out == expected);
  EXPECT_EQ(fake.effect, 'B');
  EXPECT_EQ(fake.processed, frames);
  EXPECT_EQ(fake.offsets.size(), 3u);
  EXPECT_NE(r.err.find("5 frames of 32x16"), std::string::npos) << r.err;

  r = Cli("stream --size 32x16 --effect B", input + std::string(100, '\x40'));
  EXPECT_EQ(r.rc, kExitFailure);
  EXPECT_TRUE(r.out == expected);  // the whole frames went through
  ASSERT_EQ(Count(r.err, "\n"), 1) << r.err;
  EXPECT_NE(r.err.find("stdin ended inside frame 6: 100 of 768 bytes"), std::string::npos) << r.err;
}

TEST_F(Commands, GalleryTilesEveryEffectTheLibraryAccepts) {
  const Result r = Cli("gallery all.png");
  ASSERT_EQ(r.rc, 0) << r.err;
  EXPECT_EQ(Count(r.err, "\n"), 1) << r.err;
  EXPECT_NE(r.err.find("refuses: 17 (Sketch), 18 (Color Sketch)"), std::string::npos) << r.err;
  EXPECT_EQ(fake.processed, 16);  // 1..16; effect 0 passes untouched
  EXPECT_EQ(fake.w, 640);         // the 1280x720 chart halved
  // A whole-frame crop would pull a tile's row padding into the crop-aware looks.
  EXPECT_EQ(fake.log.find("setCrop"), std::string::npos) << fake.log;

  RgbImage sheet;
  std::string error;
  ASSERT_TRUE(ReadPng("all.png", &sheet, &error)) << error;
  // 17 tiles of 640x360 under 22-pixel labels, four to a row, 8-pixel gaps.
  EXPECT_EQ(sheet.width, 4 * (640 + 8) + 8);
  EXPECT_EQ(sheet.height, 5 * (360 + 22 + 8) + 8);
  // The first tile is the picture itself, the second the processed one.
  const RgbImage chart = BoxDownscale(TestChart(1280, 720), 2);
  const uint8_t* white = chart.At(40, 100);
  EXPECT_LE(std::abs(sheet.At(8 + 40, 8 + 22 + 100)[1] - white[1]), 2);
  EXPECT_GE(std::abs(sheet.At(8 + 648 + 40, 8 + 22 + 100)[1] - white[1]), 200);

  fake.refuseAll = true;  // nothing to tile: an error, not an empty sheet
  EXPECT_EQ(Cli("gallery none.png").rc, 1);
  EXPECT_NE(access("none.png", F_OK), 0);
}

TEST_F(Commands, ListShowsEveryEffectWithItsCharacterAndWhatTheLibraryRefuses) {
  const Result r = Cli("list");
  ASSERT_EQ(r.rc, 0);
  EXPECT_NE(r.out.find("10  B    Whiteboard"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("18  J    Color Sketch"), std::string::npos);
  // The probe marks 17 and 18, and only them, as refused.
  const size_t mark = r.out.find("(refused"), second = r.out.find("(refused", mark + 1);
  EXPECT_TRUE(mark > r.out.find("17  I") && mark < r.out.find("18  J")) << r.out;
  EXPECT_TRUE(second > r.out.find("18  J") && second != std::string::npos) << r.out;
  EXPECT_EQ(Cli("stream --help").out.rfind("usage: posteffect stream", 0), 0u);
}

}  // namespace
}  // namespace pe::cli
