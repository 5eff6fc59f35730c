#include <binder/MemoryHeapBase.h>
#include <camera/CameraParameters.h>
#include <dirent.h>
#include <gtest/gtest.h>
#include <pe/Log.h>
#include <pe/Platform.h>
#include <ui/GraphicBuffer.h>
#include <zellog.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>

#include "GlContext.h"
#include "LogCapture.h"
#include "TestEnv.h"

using android::sp;

TEST(GraphicBuffer, RefusesUnknownFormatsAndAbsurdSizes) {
  const unsigned bad[][3] = {{64, 64, 0x190B}, {0, 64, 1}, {1u << 20, 1u << 20, 1}};
  for (const auto& b : bad)
    EXPECT_NE(
        sp<android::GraphicBuffer>(new android::GraphicBuffer(b[0], b[1], b[2], 0))->initCheck(), 0)
        << b[0] << "x" << b[1] << " format " << b[2];
  EXPECT_EQ(sp<android::GraphicBuffer>(new android::GraphicBuffer(33, 2, 4, 0))->getStride(), 64u);
}

TEST(MemoryHeap, NegativeIdAndNoMemoryOnFailureAndUsableMemoryOtherwise) {
  sp<android::MemoryHeapBase> heap = new android::MemoryHeapBase(4000 * 3000 * 3 / 2, 0x200);
  ASSERT_GE(heap->getHeapID(), 0);
  ASSERT_NE(heap->getBase(), nullptr);
  static_cast<unsigned char*>(heap->getBase())[4000 * 3000 * 3 / 2 - 1] = 7;
  for (size_t bad : {size_t{0}, size_t{1} << 62}) {  // nothing to map; more than can be mapped
    sp<android::MemoryHeapBase> failed = new android::MemoryHeapBase(bad, 0x200);
    EXPECT_LT(failed->getHeapID(), 0) << bad;
    EXPECT_EQ(failed->getBase(), nullptr) << bad;
    EXPECT_EQ(failed->getSize(), 0u) << bad;
  }
}

// Released heaps are kept for the next request of the same size, cleared,
// up to a bound (64 MiB, or POSTEFFECT_KEPT_MEMORY_MB): a kept one holds its
// descriptor open.
TEST(MemoryHeap, ReleasedMemoryComesBackClearedAndIsKeptOnlyUpToTheBound) {
  const size_t still = 4000 * 3000 * 3 / 2;
  void* first = nullptr;
  {
    sp<android::MemoryHeapBase> heap = new android::MemoryHeapBase(still, 0x200);
    first = heap->getBase();
    std::memset(first, 0xAB, still);
  }
  sp<android::MemoryHeapBase> again = new android::MemoryHeapBase(still, 0x200);
  ASSERT_EQ(again->getBase(), first);
  const auto* bytes = static_cast<const unsigned char*>(again->getBase());
  EXPECT_TRUE(std::all_of(bytes, bytes + still, [](unsigned char b) { return b == 0; }));

  auto openFds = [] {
    int n = 0;
    if (DIR* d = opendir("/proc/self/fd")) {
      while (readdir(d)) ++n;
      closedir(d);
    }
    return n;
  };
  const size_t MiB = size_t{1} << 20;
  const struct {
    const char* env;
    size_t size;
    bool kept;
  } kCases[] = {{nullptr, 64 * MiB, true}, {nullptr, 64 * MiB + 4096, false},
                {"1", MiB, true},          {"1", MiB + 4096, false},
                {"0", 4096, false},        {"4097", 64 * MiB, true},
                {"4096", 65 * MiB, true},  {"2x", 64 * MiB + 4096, false}};
  for (const auto& c : kCases) {
    pe::test::ScopedEnv env("POSTEFFECT_KEPT_MEMORY_MB", c.env);
    const int before = openFds();
    { sp<android::MemoryHeapBase> heap = new android::MemoryHeapBase(c.size, 0x200); }
    EXPECT_EQ(openFds() - before, c.kept ? 1 : 0) << (c.env ? c.env : "unset") << " " << c.size;
    // Leave nothing kept for the next case.
    pe::test::ScopedEnv none("POSTEFFECT_KEPT_MEMORY_MB", "0");
    { sp<android::MemoryHeapBase> evict = new android::MemoryHeapBase(c.size, 0x200); }
  }
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
  EXPECT_EQ(android::CameraParameters(android::String8("")).get(""), nullptr);
}

// Sets the variable, or unsets it for null.
void Env(const char* name, const char* value) { value ? setenv(name, value, 1) : unsetenv(name); }

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
  { TRACE("Scoped"); }
  EXPECT_EQ(capture.Count("debug 4") + capture.Count("info 5") + capture.Count("[Scoped]"), 0);
  EXPECT_TRUE(capture.Contains("error 6"));
  setenv("POSTEFFECT_LOG_MASK", "04", 1);
  pe::ResetLogMasks();
  { TRACE("Scoped"); }
  EXPECT_TRUE(capture.Contains("[Scoped] enter"));
  EXPECT_TRUE(capture.Contains("[Scoped] leave"));
}

TEST(Environment, DisplaySizeAndDirectories) {
  // The environment's size unless unreadable, and a size set in code over it.
  for (const auto& [env, size] :
       {std::pair{"", 19201080}, {"720x1280", 7201280}, {"-5x10", 19201080}}) {
    setenv("POSTEFFECT_DISPLAY", env, 1);
    int w = 0, h = 0;
    ASSERT_TRUE(pe::platform::QueryDisplaySize(&w, &h));
    EXPECT_EQ(w * 10000 + h, size) << env;
    pe::platform::SetDisplaySize(800, 480);
    pe::platform::QueryDisplaySize(&w, &h);
    EXPECT_EQ(w * 10000 + h, 8000480);
    pe::platform::SetDisplaySize(0, 0);
  }
  unsetenv("POSTEFFECT_DISPLAY");
  unsetenv("POSTEFFECT_OVERRIDE_DIR");
  EXPECT_EQ(pe::platform::OverrideDir(), "");
  EXPECT_EQ(pe::platform::AssetDir().back(), '/');
  setenv("POSTEFFECT_ASSET_DIR", "/opt/assets", 1);
  setenv("POSTEFFECT_DUMP_DIR", "/tmp/d", 1);
  EXPECT_EQ(pe::platform::AssetDir(), "/opt/assets/");
  EXPECT_EQ(pe::platform::DumpDir(), "/tmp/d/");
  unsetenv("POSTEFFECT_ASSET_DIR");
  unsetenv("POSTEFFECT_DUMP_DIR");
}

TEST(Environment, HiddenExtensionsAreWholeNames) {
  // The driver offers both; hiding one name never hides the other.
  pe::test::GlContext gl;
  ASSERT_TRUE(gl.ok());
  const char* const a = "GL_EXT_draw_buffers";
  const char* const b = "GL_EXT_draw_buffers_indexed";
  for (const auto& [hidden, hasA, hasB] : {std::tuple{"", true, true},
                                           {"GL_EXT_draw_buffers", false, true},
                                           {"GL_OES_foo GL_EXT_draw_buffers_indexed", true, false},
                                           {"GL_EXT_draw", true, true}}) {
    setenv("POSTEFFECT_HIDE_GL_EXTENSIONS", hidden, 1);
    EXPECT_EQ(pe::platform::HasGLExtension(a), hasA) << hidden;
    EXPECT_EQ(pe::platform::HasGLExtension(b), hasB) << hidden;
  }
  unsetenv("POSTEFFECT_HIDE_GL_EXTENSIONS");
}
