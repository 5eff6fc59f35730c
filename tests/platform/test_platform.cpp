#include <binder/MemoryHeapBase.h>
#include <camera/CameraParameters.h>
#include <gtest/gtest.h>
#include <pe/Log.h>
#include <pe/Platform.h>
#include <ui/GraphicBuffer.h>
#include <zellog.h>

#include <cstdlib>
#include <utility>

#include "LogCapture.h"

using android::sp;

TEST(GraphicBuffer, RefusesUnknownFormatsAndAbsurdSizes) {
  const unsigned bad[][3] = {{64, 64, 0x190B}, {0, 64, 1}, {1u << 20, 1u << 20, 1}};
  for (const auto& b : bad)
    EXPECT_NE(
        sp<android::GraphicBuffer>(new android::GraphicBuffer(b[0], b[1], b[2], 0))->initCheck(), 0)
        << b[0] << "x" << b[1] << " format " << b[2];
  EXPECT_EQ(sp<android::GraphicBuffer>(new android::GraphicBuffer(33, 2, 4, 0))->getStride(), 64u);
}

TEST(MemoryHeap, NegativeIdOnFailureAndUsableMemoryOtherwise) {
  sp<android::MemoryHeapBase> heap = new android::MemoryHeapBase(4000 * 3000 * 3 / 2, 0x200);
  ASSERT_GE(heap->getHeapID(), 0);
  ASSERT_NE(heap->getBase(), nullptr);
  static_cast<unsigned char*>(heap->getBase())[4000 * 3000 * 3 / 2 - 1] = 7;
  sp<android::MemoryHeapBase> empty = new android::MemoryHeapBase(0, 0x200);
  EXPECT_LT(empty->getHeapID(), 0);
}

TEST(CameraParameters, UnflattenSplitsAtFirstEqualsThenSemicolon) {
  android::CameraParameters p(android::String8("GPU-effect=4;GE-param0=1,2,3,4;a=b=c;bad"));
  EXPECT_STREQ(p.get("GPU-effect"), "4");
  EXPECT_STREQ(p.get("GE-param0"), "1,2,3,4");
  EXPECT_STREQ(p.get("a"), "b=c");
  EXPECT_EQ(p.get("bad"), nullptr);
  EXPECT_EQ(p.get("missing"), nullptr);
  p.set("GPU-effect", "9");
  p.set("x;y", "1");  // keys with separators would corrupt the flattened form
  android::CameraParameters q(p.flatten());
  EXPECT_STREQ(q.get("GPU-effect"), "9");
  EXPECT_EQ(q.get("x;y"), nullptr);
  EXPECT_STREQ(q.flatten().c_str(), p.flatten().c_str());
  android::CameraParameters empty(android::String8(""));
  EXPECT_EQ(empty.get(""), nullptr);
}

TEST(LogMask, EnvironmentSelectsLevelsPerTagWithErrorsOnlyByDefault) {
  unsigned char mask = 0x80;
  unsetenv("POSTEFFECT_LOG_MASK");
  EXPECT_EQ(__zellog_init_mask("GEManager", -1, &mask), 0x10);
  EXPECT_EQ(mask, 0x10);
  setenv("POSTEFFECT_LOG_MASK", "7f", 1);
  setenv("POSTEFFECT_LOG_MASK_GLFbo", "04", 1);
  EXPECT_EQ(__zellog_init_mask("GEManager", -1, &mask), 0x7F);
  EXPECT_EQ(__zellog_init_mask("GLFbo", -1, &mask), 0x04);
  setenv("POSTEFFECT_LOG_MASK", "zz", 1);  // unreadable: keep the default
  EXPECT_EQ(__zellog_init_mask("GEManager", -1, &mask), 0x10);
  unsetenv("POSTEFFECT_LOG_MASK");
  unsetenv("POSTEFFECT_LOG_MASK_GLFbo");
}

PE_LOG_MODULE("PlatformTest");

TEST(LogMask, LevelBitsGateMessagesAndMasksAreAskedOnce) {
  pe::test::LogCapture capture;
  LOGD("debug %d", 1);
  LOGE("error %d", 2);
  EXPECT_TRUE(capture.Contains("debug 1", "PlatformTest"));
  setenv("POSTEFFECT_LOG_MASK", "10", 1);  // cached: no effect until reset
  LOGD("debug %d", 3);
  EXPECT_TRUE(capture.Contains("debug 3"));
  pe::ResetLogMasks();
  LOGD("debug %d", 4);
  LOGI("info %d", 5);
  LOGE("error %d", 6);
  EXPECT_FALSE(capture.Contains("debug 4"));
  EXPECT_FALSE(capture.Contains("info 5"));
  EXPECT_TRUE(capture.Contains("error 6"));
  { TRACE("Scoped"); }
  EXPECT_FALSE(capture.Contains("[Scoped] enter"));
  setenv("POSTEFFECT_LOG_MASK", "04", 1);
  pe::ResetLogMasks();
  { TRACE("Scoped"); }
  EXPECT_TRUE(capture.Contains("[Scoped] enter"));
  EXPECT_TRUE(capture.Contains("[Scoped] leave"));
}

TEST(Environment, DisplaySizeAndDirectories) {
  // The environment's size unless unreadable, and a size set in code over both.
  const std::pair<const char*, int> sizes[] = {
      {nullptr, 19201080}, {"720x1280", 7201280}, {"-5x10", 19201080}};
  for (const auto& [env, size] : sizes) {
    env ? setenv("POSTEFFECT_DISPLAY", env, 1) : unsetenv("POSTEFFECT_DISPLAY");
    int w = 0, h = 0;
    ASSERT_TRUE(pe::platform::QueryDisplaySize(&w, &h));
    EXPECT_EQ(w * 10000 + h, size) << (env ? env : "unset");
  }
  pe::platform::SetDisplaySize(800, 480);
  int w = 0, h = 0;
  pe::platform::QueryDisplaySize(&w, &h);
  EXPECT_EQ(w * 10000 + h, 8000480);
  pe::platform::SetDisplaySize(0, 0);
  unsetenv("POSTEFFECT_DISPLAY");

  setenv("POSTEFFECT_ASSET_DIR", "/opt/assets", 1);
  EXPECT_EQ(pe::platform::AssetDir(), "/opt/assets/");
  unsetenv("POSTEFFECT_ASSET_DIR");
  EXPECT_EQ(pe::platform::AssetDir().back(), '/');
  unsetenv("POSTEFFECT_OVERRIDE_DIR");
  EXPECT_EQ(pe::platform::OverrideDir(), "");
  setenv("POSTEFFECT_DUMP_DIR", "/tmp/d", 1);
  EXPECT_EQ(pe::platform::DumpDir(), "/tmp/d/");
  unsetenv("POSTEFFECT_DUMP_DIR");
}
