#include <android/log.h>
#include <camera/CameraParameters.h>
#include <gtest/gtest.h>
#include <posteffect/GECameraParameters.h>
#include <utils/String8.h>

#include <climits>
#include <string>
#include <utility>
#include <vector>

#include "LogCapture.h"

namespace {

using android::GECameraParameters;
using Quad = std::vector<int>;
const Quad kUntouched(4, -7);

const std::string kEffectLog = "[GECameraParameters::getGPUEffect] ";
const std::string kParamLog = "[GECameraParameters::getGPUEffectParam] ";

TEST(GPUEffect, FirstCharacterSelectsTheNumberBSkipsAAndOthersGiveMinusOne) {
  pe::test::LogCapture log;
  const std::string valid = "0123456789BCDEFGHIJ";
  std::vector<std::pair<std::string, int>> cases = {{"12", 1}, {"Jfoo;y=2", 18}};
  for (size_t i = 0; i < valid.size(); ++i) cases.push_back({valid.substr(i, 1), i});
  for (const char* v : {"A", ":", "@", "a", "b", "j", "K", " 4", "-1", ""})
    cases.push_back({v, -1});
  for (const auto& [value, effect] : cases) {
    GECameraParameters p(android::String8(("x=1;GPU-effect=" + value).c_str()));
    int got = 1234;
    EXPECT_TRUE(p.getGPUEffect(&got)) << '"' << value << '"';
    EXPECT_EQ(got, effect) << '"' << value << '"';
  }
  EXPECT_EQ(log.Count(kEffectLog + "invalid value", ""), 10);
}

TEST(GPUEffect, LogsTheNameBetweenEnterAndLeave) {
  pe::test::LogCapture log;
  int effect = 0;
  for (const char* v : {"GPU-effect=J", "GPU-effect=B"})
    GECameraParameters(android::String8(v)).getGPUEffect(&effect);
  std::vector<std::string> text;
  for (const auto& l : log.Lines())
    text.push_back(l.tag + (l.priority == ANDROID_LOG_DEBUG ? "D " : "? ") + l.text);
  const std::string p = "D " + kEffectLog;
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
  EXPECT_TRUE(log.Contains(kEffectLog + "leave. no key GPU-effect"));
  params.set(GECameraParameters::KEY_GPU_EFFECT, "9");
  EXPECT_TRUE(p.getGPUEffect(&effect));
  EXPECT_EQ(effect, 9);
  EXPECT_FALSE(p.getGPUEffect(nullptr));
  EXPECT_TRUE(log.Contains(kEffectLog + "null pnEffectNo, leave"));
}

// A value and the four numbers it gives; refused values give none.
using QuadCase = std::pair<std::string, Quad>;
const QuadCase kQuads[] = {
    {"10,20,300,400", {10, 20, 300, 400}},
    {"1,2,3,4xyz", {1, 2, 3, 4}},
    {"1,2,3,4,5", {1, 2, 3, 4}},
    // Leading blanks are skipped, a sign is taken; an empty number reads as 0.
    {"-5, 6, 7, 8", {-5, 6, 7, 8}},
    {"+5,\t-6,\n7,  +8", {5, -6, 7, 8}},
    {",,,", {0, 0, 0, 0}},
    {"1,2,3,", {1, 2, 3, 0}},
    {"1,2,3,x", {1, 2, 3, 0}},
    // Out-of-range numbers saturate to the int range.
    {"99999999999999999999,-99999999999,2147483648,-2147483649",
     {INT_MAX, INT_MIN, INT_MAX, INT_MIN}},
    {"2147483647,-2147483648,0,-0", {INT_MAX, INT_MIN, 0, 0}},
    {"1,2,3", {}},
    {"1 2 3 4", {}},
    {"1,2 ,3,4", {}},
    {"1,,3", {}},
    {"1.5,2,3,4", {}},
    {"0x10,2,3,4", {}},
    {"", {}},
    {"garbage", {}},
    {"99999999999999999999", {}}};

class EffectParam : public ::testing::TestWithParam<QuadCase> {};

TEST_P(EffectParam, ParsesFourNumbersOrWritesNothing) {
  const auto& [value, expected] = GetParam();
  pe::test::LogCapture log;
  GECameraParameters p(android::String8(("GE-param1=" + value).c_str()));
  Quad out = kUntouched;
  EXPECT_EQ(p.getGPUEffectParam(1, &out[0], &out[1], &out[2], &out[3]), !expected.empty());
  EXPECT_EQ(out, expected.empty() ? kUntouched : expected);
  EXPECT_EQ(log.Count(kParamLog + "parse_params format error", ""), expected.empty() ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(Values, EffectParam, ::testing::ValuesIn(kQuads));

TEST(EffectParamIndex, SelectsTheKeyRefusesOthersAndSkipsNullOutputs) {
  pe::test::LogCapture log;
  GECameraParameters p(android::String8("GE-param0=0,0,0,0;GE-param1=1,1,1,1;GE-param3=3,4,5,6"));
  for (int i : {0, 1, -1, 4, INT_MIN, INT_MAX, 2}) {
    Quad out = kUntouched;
    EXPECT_EQ(p.getGPUEffectParam(i, &out[0], &out[1], &out[2], &out[3]), i == 0 || i == 1);
    EXPECT_EQ(out, i == 0 || i == 1 ? Quad(4, i) : kUntouched) << i;
    if (i != 0 && i != 1) {
      EXPECT_TRUE(log.Contains(kParamLog +
                               (i == 2 ? "leave. no key GE-param2"
                                       : "nIdx " + std::to_string(i) + " out of range, return")));
    }
  }
  int b = 0, d = 0;
  EXPECT_TRUE(p.getGPUEffectParam(3, nullptr, &b, nullptr, &d));
  EXPECT_EQ(b * 10 + d, 46);
}

}  // namespace
