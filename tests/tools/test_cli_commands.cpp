// The commands end to end against a stand-in service: what reaches the
// service, what comes back out, and how failures are reported.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <set>

#include "ColorConvert.h"
#include "Commands.h"
#include "Drawing.h"
#include "FakePostEffect.h"
#include "ImageIO.h"
#include "TestUtil.h"

namespace pe::cli {
namespace {

using test::Fake;

std::string ReadStream(std::FILE* f) {
  std::rewind(f);
  std::string s;
  char buf[4096];
  size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) s.append(buf, n);
  return s;
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

int LineCount(const std::string& text) {
  return static_cast<int>(std::count(text.begin(), text.end(), '\n'));
}

struct Result {
  int rc;
  std::string out, err;
};

class Commands : public ::testing::Test {
 protected:
  void SetUp() override { Fake() = test::FakeState(); }

  Result Cli(const std::vector<std::string>& args, const std::string& input = "") {
    std::FILE* in = std::tmpfile();
    std::FILE* out = std::tmpfile();
    std::FILE* err = std::tmpfile();
    std::fwrite(input.data(), 1, input.size(), in);
    std::rewind(in);
    const Context ctx{test::FakePostEffect::Backend(), in, out, err, false};
    Result r{pe::cli::Run(args, ctx), ReadStream(out), ReadStream(err)};
    std::fclose(in);
    std::fclose(out);
    std::fclose(err);
    // Every service made was stopped and given back.
    EXPECT_EQ(Fake().created, Fake().destroyed);
    EXPECT_EQ(Fake().started, Fake().stopped);
    return r;
  }

  std::string Path(const std::string& name) const { return dir_.path() + "/" + name; }

  // A raw frame with a distinct value in every byte position.
  std::string WriteRaw(const std::string& name, int w, int h) {
    const Nv21Frame f = RgbToNv21(TestChart(w, h));
    std::string bytes(f.data.begin(), f.data.end());
    std::ofstream(Path(name), std::ios::binary) << bytes;
    return bytes;
  }

  static std::string InvertLuma(std::string frame, int w, int h) {
    for (int i = 0; i < w * h; ++i) frame[i] = static_cast<char>(frame[i] ^ 0xFF);
    return frame;
  }

  test::TempDir dir_;
};

TEST_F(Commands, ApplyHandsAPreviewFrameOverThroughSharedMemory) {
  const std::string in = WriteRaw("in.nv21", 64, 48);
  const Result r =
      Cli({"apply", "--effect", "vignette", "--size", "64x48", Path("in.nv21"), Path("out.yuv")});
  ASSERT_EQ(r.rc, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(Fake().effect, '4');
  EXPECT_NE(Fake().params.find("GE-param0=50,0,0,0;GE-param1=960,540,"), std::string::npos)
      << Fake().params;
  EXPECT_EQ(Fake().previewW * 100 + Fake().previewH, 6448);
  EXPECT_EQ(Fake().cropW, -1);  // no crop handed over unless asked
  EXPECT_EQ(Fake().framesProcessed, 1);
  EXPECT_EQ(Fake().fdMismatches, 0);
  EXPECT_FALSE(Fake().previewing);
  EXPECT_EQ(ReadFile(Path("out.yuv")), InvertLuma(in, 64, 48));
}

TEST_F(Commands, ApplyCapturesLargePicturesBehindAPreviewSizedService) {
  // No input: the test chart, big enough to be a still.
  Result r = Cli({"apply", "--effect", "1", "--param0", "3", "--crop", "10,20,800,600", "--size",
                  "1600x1200", Path("still.png")});
  ASSERT_EQ(r.rc, 0) << r.err;
  EXPECT_EQ(Fake().previewW * 10000 + Fake().previewH, 12800720);
  EXPECT_EQ(Fake().captureW * 10000 + Fake().captureH, 16001200);
  EXPECT_EQ(Fake().uvOffset, 1600L * 1200);  // chroma right behind luma
  EXPECT_EQ(Fake().cropX * 1000 + Fake().cropH, 10600);
  EXPECT_NE(Fake().params.find("GE-param0=3,0,0,0"), std::string::npos);
  EXPECT_EQ(Fake().fdMismatches, 0);
  RgbImage out;
  std::string error;
  ASSERT_TRUE(ReadPng(Path("still.png"), &out, &error)) << error;
  EXPECT_EQ(out.width * 10000 + out.height, 16001200);

  r = Cli({"apply", "--effect", "1", "--mode", "capture", "--preview-size", "1280x720", "--size",
           "640x480", Path("nofit.png")});
  EXPECT_EQ(r.rc, kExitUsage);
  EXPECT_NE(r.err.find("1280x720 does not fit in the 640x480 picture"), std::string::npos);
}

TEST_F(Commands, PicturesAreCroppedToWholeFramesWithANote) {
  std::string error;
  ASSERT_TRUE(WriteImageFile(Path("odd.png"), TestChart(66, 49), &error));
  const Result r = Cli({"apply", "--effect", "0", Path("odd.png"), Path("out.yuv")});
  ASSERT_EQ(r.rc, 0) << r.err;
  EXPECT_NE(r.err.find("from 66x49 to 64x48"), std::string::npos) << r.err;
  EXPECT_EQ(ReadFile(Path("out.yuv")).size(), 64u * 48 * 3 / 2);
}

TEST_F(Commands, EveryFailureIsOneLineNamingTheCauseAndLeavesNoOutput) {
  WriteRaw("in.nv21", 64, 48);
  std::ofstream(Path("bad.jpg")) << "not a jpeg";
  struct Case {
    std::vector<std::string> args;
    int rc;
    std::string mention;
  };
  const std::string out = Path("out.png");
  const Case cases[] = {
      {{"apply", "--effect", "1", Path("missing.png"), out}, kExitFailure, "missing.png"},
      {{"apply", "--effect", "1", Path("bad.jpg"), out}, kExitFailure, "bad.jpg' is not a valid"},
      {{"apply", "--effect", "1", "--size", "64x64", Path("in.nv21"), out},
       kExitFailure,
       "in.nv21' holds 4608 bytes"},
      {{"apply", "--effect", "1", "--crop", "0,0,2000,10", out},
       kExitUsage,
       "reaches outside the 1280x720 picture"},
      {{"apply", "--effect", "1", "--mode", "preview", "--size", "4098x64", out},
       kExitUsage,
       "use --mode capture"},
      {{"apply", "--effect", "I", out}, kExitFailure, "effect 17 (Sketch): result 2"},
      {{"gallery", "--size", "64x48", Path("in.nv21"), Path("out.nv21")},
       kExitUsage,
       "unsupported output type"},
      {{"frobnicate"}, kExitUsage, "unknown command 'frobnicate'"},
  };
  const std::set<std::string> before = {"in.nv21", "bad.jpg"};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.args));
    const Result r = Cli(c.args);
    EXPECT_EQ(r.rc, c.rc);
    EXPECT_EQ(LineCount(r.err), 1) << r.err;
    EXPECT_EQ(r.err.rfind("posteffect: ", 0), 0u);
    EXPECT_NE(r.err.find(c.mention), std::string::npos) << r.err;
    const std::vector<std::string> files = test::ListDir(dir_.path());
    EXPECT_EQ(std::set<std::string>(files.begin(), files.end()), before);
  }

  // A still the library fails to capture leaves no output either.
  Fake().captureResult = PE_RESULT_CAPTURE_FAILED;
  const Result r = Cli({"apply", "--effect", "2", "--mode", "capture", "--size", "640x480", out});
  EXPECT_EQ(r.rc, kExitFailure);
  EXPECT_NE(r.err.find("result 3 (capture failed)"), std::string::npos) << r.err;
  EXPECT_EQ(test::ListDir(dir_.path()).size(), 2u);
}

TEST_F(Commands, StreamPassesEveryFrameThroughARingOfSharedSlots) {
  const int w = 32, h = 16, frames = 5;
  std::string input, expected;
  for (int i = 0; i < frames; ++i) {
    std::string f(w * h * 3 / 2, '\0');
    for (size_t j = 0; j < f.size(); ++j) f[j] = static_cast<char>(j * 7 + i * 13);
    input += f;
    expected += InvertLuma(f, w, h);
  }
  const Result r = Cli({"stream", "--size", "32x16", "--effect", "B"}, input);
  ASSERT_EQ(r.rc, 0) << r.err;
  EXPECT_TRUE(r.out == expected);
  EXPECT_EQ(Fake().effect, 'B');
  EXPECT_EQ(Fake().framesProcessed, frames);
  EXPECT_EQ(Fake().fdMismatches, 0);
  const std::set<long> slots(Fake().offsets.begin(), Fake().offsets.end());
  EXPECT_EQ(slots.size(), 3u);
  EXPECT_NE(r.err.find("5 frames of 32x16"), std::string::npos) << r.err;
}

TEST_F(Commands, StreamNamesAShortFinalFrame) {
  const size_t frame = 32 * 16 * 3 / 2;
  const Result r =
      Cli({"stream", "--size", "32x16", "--effect", "4"}, std::string(2 * frame + 100, '\x40'));
  EXPECT_EQ(r.rc, kExitFailure);
  EXPECT_EQ(r.out.size(), 2 * frame);  // the whole frames went through
  ASSERT_EQ(LineCount(r.err), 1) << r.err;
  EXPECT_NE(r.err.find("stdin ended inside frame 3: 100 of 768 bytes"), std::string::npos) << r.err;

  EXPECT_EQ(Cli({"stream", "--effect", "4"}).rc, kExitUsage);
  EXPECT_EQ(Cli({"stream", "--size", "31x16", "--effect", "4"}).rc, kExitUsage);
  EXPECT_EQ(Cli({"stream", "--size", "32x16", "--effect", "4", "file.nv21"}).rc, kExitUsage);
}

TEST_F(Commands, GalleryTilesEveryEffectTheLibraryAccepts) {
  const Result r = Cli({"gallery", Path("all.png")});
  ASSERT_EQ(r.rc, 0) << r.err;
  EXPECT_EQ(LineCount(r.err), 1) << r.err;
  EXPECT_NE(r.err.find("refuses: 17 (Sketch), 18 (Color Sketch)"), std::string::npos) << r.err;
  EXPECT_EQ(Fake().framesProcessed, 16);  // 1..16; effect 0 passes untouched
  EXPECT_EQ(Fake().previewW, 640);        // the 1280x720 chart halved

  RgbImage sheet;
  std::string error;
  ASSERT_TRUE(ReadPng(Path("all.png"), &sheet, &error)) << error;
  // 17 tiles of 640x360 under 22-pixel labels, four to a row, 8-pixel gaps.
  EXPECT_EQ(sheet.width, 4 * (640 + 8) + 8);
  EXPECT_EQ(sheet.height, 5 * (360 + 22 + 8) + 8);
  // The first tile is the picture itself, the second the processed one.
  const RgbImage chart = BoxDownscale(TestChart(1280, 720), 2);
  const uint8_t* white = chart.At(40, 100);
  EXPECT_LE(std::abs(sheet.At(8 + 40, 8 + 22 + 100)[1] - white[1]), 2);
  EXPECT_GE(std::abs(sheet.At(8 + 648 + 40, 8 + 22 + 100)[1] - white[1]), 200);
}

TEST_F(Commands, ListShowsEveryEffectWithItsCharacter) {
  const Result r = Cli({"list"});
  ASSERT_EQ(r.rc, 0);
  EXPECT_NE(r.out.find("10  B    Whiteboard"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("18  J    Color Sketch"), std::string::npos);
  EXPECT_EQ(Cli({"stream", "--help"}).out.rfind("usage: posteffect stream", 0), 0u);
}

}  // namespace
}  // namespace pe::cli
