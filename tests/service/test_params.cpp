#include <android/log.h>
#include <camera/CameraParameters.h>
#include <gtest/gtest.h>
#include <posteffect/GECameraParameters.h>
#include <utils/String8.h>

#include <array>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include "LogCapture.h"

namespace {

using android::GECameraParameters;
using Quad = std::array<int, 4>;

constexpr char kEffectLog[] = "[GECameraParameters::getGPUEffect] ";
constexpr char kParamLog[] = "[GECameraParameters::getGPUEffectParam] ";

int EffectOf(const std::string& flattened, bool* found) {
  GECameraParameters p(android::String8(flattened.c_str()));
  int effect = 1234;
  *found = p.getGPUEffect(&effect);
  return effect;
}

TEST(GPUEffect, FirstCharacterSelectsTheNumberBSkipsAAndOthersGiveMinusOne) {
  pe::test::LogCapture log;
  const std::string valid = "0123456789BCDEFGHIJ";
  std::vector<std::pair<std::string, int>> cases = {{"12", 1}, {"Jfoo;y=2", 18}};
  for (size_t i = 0; i < valid.size(); ++i) cases.push_back({valid.substr(i, 1), i});
  for (const char* v : {"A", ":", "@", "a", "b", "j", "K", " 4", "-1", ""})
    cases.push_back({v, -1});
  for (const auto& [value, effect] : cases) {
    bool found = false;
    EXPECT_EQ(EffectOf("x=1;GPU-effect=" + value, &found), effect) << '"' << value << '"';
    EXPECT_TRUE(found) << '"' << value << '"';
  }
  EXPECT_EQ(log.Count(std::string(kEffectLog) + "invalid value", ""), 10);
}

TEST(GPUEffect, LogsTheNameBetweenEnterAndLeave) {
  pe::test::LogCapture log;
  bool found = false;
  EffectOf("GPU-effect=J", &found);
  EffectOf("GPU-effect=B", &found);
  std::vector<std::string> text;
  for (const auto& l : log.Lines()) {
    EXPECT_EQ(l.tag, "");
    EXPECT_EQ(l.priority, ANDROID_LOG_DEBUG);
    text.push_back(l.text);
  }
  const std::string p = kEffectLog;
  EXPECT_EQ(text, (std::vector<std::string>{p + "enter", p + "Color Sketch", p + "leave",
                                            p + "enter", p + "Whiteboard", p + "leave"}));
}

// The caller's parameter set is read when asked, not copied.
TEST(GPUEffect, MissingKeyOrNullOutputFailsAndLaterChangesAreSeen) {
  pe::test::LogCapture log;
  android::CameraParameters params(android::String8("GE-param0=1,2,3,4"));
  GECameraParameters p(params);
  int effect = 1234;
  EXPECT_FALSE(p.getGPUEffect(&effect));
  EXPECT_EQ(effect, -1);
  EXPECT_TRUE(log.Contains(std::string(kEffectLog) + "leave. no key GPU-effect"));
  params.set(GECameraParameters::KEY_GPU_EFFECT, "9");
  EXPECT_TRUE(p.getGPUEffect(&effect));
  EXPECT_EQ(effect, 9);
  EXPECT_FALSE(p.getGPUEffect(nullptr));
  EXPECT_TRUE(log.Contains(std::string(kEffectLog) + "null pnEffectNo, leave"));
}

struct QuadCase {
  const char* value;
  bool ok;
  Quad expected;
};

class EffectParam : public ::testing::TestWithParam<QuadCase> {};

TEST_P(EffectParam, ParsesFourNumbersOrWritesNothing) {
  const QuadCase& c = GetParam();
  pe::test::LogCapture log;
  GECameraParameters p(android::String8((std::string("GE-param1=") + c.value).c_str()));
  Quad out = {-7, -7, -7, -7};
  EXPECT_EQ(p.getGPUEffectParam(1, &out[0], &out[1], &out[2], &out[3]), c.ok);
  const Quad untouched = {-7, -7, -7, -7};
  EXPECT_EQ(out, c.ok ? c.expected : untouched);
  EXPECT_EQ(log.Count(std::string(kParamLog) + "parse_params format error", ""), c.ok ? 0 : 1);
}

INSTANTIATE_TEST_SUITE_P(
    Values, EffectParam,
    ::testing::Values(QuadCase{"10,20,300,400", true, {10, 20, 300, 400}},
                      QuadCase{"1,2,3,4xyz", true, {1, 2, 3, 4}},
                      QuadCase{"1,2,3,4,5", true, {1, 2, 3, 4}},
                      // strtol skips leading blanks and takes a sign.
                      QuadCase{"-5, 6, 7, 8", true, {-5, 6, 7, 8}},
                      QuadCase{"+5,\t-6,\n7,  +8", true, {5, -6, 7, 8}},
                      // An empty number reads as 0, as strtol reads it.
                      QuadCase{",,,", true, {0, 0, 0, 0}}, QuadCase{"1,2,3,", true, {1, 2, 3, 0}},
                      QuadCase{"1,2,3,x", true, {1, 2, 3, 0}},
                      // Out-of-range numbers saturate to the int range.
                      QuadCase{"99999999999999999999,-99999999999,2147483648,-2147483649",
                               true,
                               {INT_MAX, INT_MIN, INT_MAX, INT_MIN}},
                      QuadCase{"2147483647,-2147483648,0,-0", true, {INT_MAX, INT_MIN, 0, 0}},
                      QuadCase{"1,2,3", false, {}}, QuadCase{"1 2 3 4", false, {}},
                      QuadCase{"1,2 ,3,4", false, {}}, QuadCase{"1,,3", false, {}},
                      QuadCase{"1.5,2,3,4", false, {}}, QuadCase{"0x10,2,3,4", false, {}},
                      QuadCase{"", false, {}}, QuadCase{"garbage", false, {}},
                      QuadCase{"99999999999999999999", false, {}}));

TEST(EffectParamIndex, SelectsTheKeyRefusesOthersAndSkipsNullOutputs) {
  pe::test::LogCapture log;
  GECameraParameters p(android::String8("GE-param0=0,0,0,0;GE-param1=1,1,1,1;GE-param3=3,4,5,6"));
  for (int i : {0, 1}) {
    Quad out = {-1, -1, -1, -1};
    EXPECT_TRUE(p.getGPUEffectParam(i, &out[0], &out[1], &out[2], &out[3]));
    EXPECT_EQ(out, (Quad{i, i, i, i}));
  }
  for (int bad : {-1, 4, INT_MIN, INT_MAX, 2}) {
    Quad out = {-7, -7, -7, -7};
    EXPECT_FALSE(p.getGPUEffectParam(bad, &out[0], &out[1], &out[2], &out[3]));
    EXPECT_EQ(out, (Quad{-7, -7, -7, -7}));
    EXPECT_TRUE(log.Contains(std::string(kParamLog) +
                             (bad == 2 ? "leave. no key GE-param2"
                                       : "nIdx " + std::to_string(bad) + " out of range, return")));
  }
  int b = 0, d = 0;
  EXPECT_TRUE(p.getGPUEffectParam(3, nullptr, &b, nullptr, &d));
  EXPECT_EQ(b * 10 + d, 46);
}

}  // namespace
