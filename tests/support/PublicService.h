#pragma once

// The library as a camera service drives it: one service object from the
// factory, frames in shared memory handed over as fd, base and offset.

#include <gtest/gtest.h>
#include <posteffect/PostEffect.h>
#include <sys/mman.h>
#include <unistd.h>
#include <utils/String8.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "LogCapture.h"
#include "YuvModel.h"

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

  // Made before the service so that the library's log masks, read once at
  // its first message, include debug lines.
  LogCapture m_log;
  IPostEffect* m_fx = nullptr;
};

}  // namespace test
}  // namespace pe
