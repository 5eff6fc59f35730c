#pragma once

// The library as a camera service drives it: one service object from the
// factory, frames in shared memory handed over as fd, base and offset.

#include <gtest/gtest.h>
#include <posteffect/PostEffect.h>
#include <sys/mman.h>
#include <unistd.h>
#include <utils/String8.h>

#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "TestEnv.h"
#include "TextureModel.h"

namespace pe {
namespace test {

class SharedNv21 {
 public:
  SharedNv21(int w, int h, size_t offset = 4096)
      : m_w(w), m_h(h), m_offset(offset), m_size(offset + static_cast<size_t>(w) * h * 3 / 2) {
    m_fd = memfd_create("test-frame", MFD_CLOEXEC);
    EXPECT_EQ(ftruncate(m_fd, static_cast<off_t>(m_size)), 0);
    m_base = static_cast<unsigned char*>(
        mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_SHARED, m_fd, 0));
  }
  ~SharedNv21() {
    munmap(m_base, m_size);
    close(m_fd);
  }
  SharedNv21(const SharedNv21&) = delete;
  SharedNv21& operator=(const SharedNv21&) = delete;
  void Put(const ref::Nv21& f) { std::memcpy(m_base + m_offset, f.data.data(), f.data.size()); }
  ref::Nv21 Get() const {
    ref::Nv21 f(m_w, m_h);
    std::memcpy(f.data.data(), m_base + m_offset, f.data.size());
    return f;
  }
  int fd() const { return m_fd; }
  unsigned char* base() const { return m_base; }
  int offset() const { return static_cast<int>(m_offset); }

 private:
  int m_w, m_h;
  size_t m_offset, m_size;
  int m_fd = -1;
  unsigned char* m_base = nullptr;
};

// A point on the 1920x1080 display every test sets, as the manager maps it
// into a side of the preview.
inline int Mapped(int p, int side, int display) {
  return static_cast<int>(static_cast<unsigned>(side) * static_cast<unsigned>(p) / display);
}

// Width of the source rows the service allocates for a w-wide frame.
inline int AllocW(int w) { return (w + 31) / 32 * 32; }

// Levels, on Y and chroma.
inline void ExpectWithin(const ref::Diff& d, int tolerance) {
  EXPECT_LE(d.maxY, tolerance) << "worst at " << d.worstX << "," << d.worstY;
  EXPECT_LE(d.maxUV, tolerance);
}

// The preview sizes every look is checked at.
struct Size {
  int w, h;
};
inline void PrintTo(const Size& s, std::ostream* os) { *os << s.w << "x" << s.h; }
inline std::string Name(const Size& s) { return std::to_string(s.w) + "x" + std::to_string(s.h); }
const Size kPreviewSizes[] = {{640, 480}, {1280, 720}, {720, 480}};

class PublicService : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("POSTEFFECT_DISPLAY", "1920x1080", 1);
    m_fx = createPostEffect();
    ASSERT_EQ(m_fx->start(), 0);
  }
  void TearDown() override {
    m_fx->stop();
    destroyPostEffect(m_fx);
  }
  int Params(const std::string& s) { return m_fx->setParameters(android::String8(s.c_str())); }
  // One preview frame through handlePreview, expecting result rc.
  ref::Nv21 Preview(SharedNv21& shm, const ref::Nv21& frame, int rc = 0) {
    shm.Put(frame);
    EXPECT_EQ(m_fx->handlePreview(shm.fd(), shm.base(), shm.offset()), rc);
    return shm.Get();
  }
  // A still through handleCapture behind the current preview size.
  int Capture(SharedNv21& shm, const ref::Nv21& still) {
    shm.Put(still);
    return m_fx->handleCapture(still.width, still.height, shm.fd(), shm.base(), shm.offset(),
                               static_cast<long>(still.width) * still.height);
  }
  // An effect that failed to start: the preview frame gets 2, a still 3,
  // and neither is written. Behind a 640x480 preview.
  void ExpectRefused() {
    SharedNv21 shm(640, 480), still(1280, 960);
    const ref::Nv21 frame = ref::MakeFrame(640, 480, 4), big = ref::MakeFrame(1280, 960, 5);
    EXPECT_EQ(Preview(shm, frame, 2).data, frame.data);
    EXPECT_EQ(Capture(still, big), 3);
    EXPECT_EQ(still.Get().data, big.data);
  }

  // Made before the service so that the library's log masks, read once at
  // its first message, include debug lines.
  LogCapture m_log;
  IPostEffect* m_fx = nullptr;
};

}  // namespace test
}  // namespace pe
