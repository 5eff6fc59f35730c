// CPU memory of a graphics buffer and the texture over it never seen out of
// step: CPU writes reach the sampler, GPU renders reach the CPU after a
// clean, and a second, different frame never shows stale data.

#include <GLES2/gl2.h>
#include <gralloc/IAllocController.h>
#include <gtest/gtest.h>
#include <pe/Platform.h>
#include <sys/stat.h>
#include <ui/GraphicBuffer.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "GlContext.h"
#include "TestEnv.h"

namespace {

using Bytes = std::vector<uint8_t>;
constexpr int kW = 100;  // not a multiple of 32: rows are padded
constexpr int kStride = 128;
constexpr int kH = 9;
constexpr int kBytes = kStride * kH * 4;

// Frame `seed` rendered by the GPU: each row in its own colour.
Bytes Bands(uint8_t seed) {
  Bytes out;
  for (int y = 0; y < kH; ++y)
    for (int x = 0; x < kStride; ++x)
      out.insert(out.end(),
                 {static_cast<uint8_t>(seed + y * 20), static_cast<uint8_t>(seed * 3 + y),
                  static_cast<uint8_t>(255 - seed - y), 255});
  return out;
}

class Coherence : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(m_gl.ok()) << "no EGL display";
    m_buffer = new android::GraphicBuffer(kW, kH, android::PIXEL_FORMAT_RGBA_8888, 0x200130);
    ASSERT_EQ(m_buffer->initCheck(), 0);
    const private_handle_t* h = m_buffer->handle();
    m_base = reinterpret_cast<uint8_t*>(h->base);
    ASSERT_EQ(m_buffer->getStride(), kStride);
    ASSERT_EQ(m_buffer->getNativeBuffer()->width, kW);
    struct stat st;
    ASSERT_EQ(fstat(h->fd, &st), 0);
    ASSERT_EQ(st.st_size, h->size);
    ASSERT_GE(h->size, kBytes);
    glGenTextures(1, &m_tex);
    glBindTexture(GL_TEXTURE_2D, m_tex);
    m_image =
        pe::platform::CreateNativeBufferImage(m_gl.display(), m_buffer->getNativeBuffer(), nullptr);
    ASSERT_NE(m_image, EGL_NO_IMAGE_KHR);
    pe::platform::ImageTargetTexture2D(GL_TEXTURE_2D, m_image);
    glGenFramebuffers(1, &m_fbo);
    glBindFramebuffer(GL_FRAMEBUFFER, m_fbo);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, m_tex, 0);
    ASSERT_EQ(glCheckFramebufferStatus(GL_FRAMEBUFFER), (GLenum)GL_FRAMEBUFFER_COMPLETE);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    ASSERT_EQ(glGetError(), (GLenum)GL_NO_ERROR);
  }

  void TearDown() override {
    if (m_fbo) glDeleteFramebuffers(1, &m_fbo);
    if (m_image) pe::platform::DestroyNativeBufferImage(m_gl.display(), m_image);
    if (m_tex) glDeleteTextures(1, &m_tex);
  }

  Bytes Cpu() const { return Bytes(m_base, m_base + kBytes); }
  Bytes FillCpu(uint8_t seed) {
    for (int i = 0; i < kBytes; ++i)
      m_base[i] = static_cast<uint8_t>(seed + 7 * (i % (kStride * 4)) + 31 * (i / (kStride * 4)));
    return Cpu();
  }

  // What the GPU sees when it samples the texture.
  Bytes GpuView() {
    glBindTexture(GL_TEXTURE_2D, m_tex);
    pe::platform::PrepareImageForSampling(m_image);
    Bytes out(kBytes);
    glBindFramebuffer(GL_FRAMEBUFFER, m_fbo);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, kStride, kH, GL_RGBA, GL_UNSIGNED_BYTE, out.data());
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    return out;
  }

  void RenderBands(uint8_t seed) {
    const Bytes c = Bands(seed);
    glBindFramebuffer(GL_FRAMEBUFFER, m_fbo);
    pe::platform::MarkImageRendered(m_image);
    glViewport(0, 0, kStride, kH);
    glEnable(GL_SCISSOR_TEST);
    for (int y = 0; y < kH; ++y) {
      const uint8_t* px = &c[y * kStride * 4];
      glScissor(0, y, kStride, 1);
      glClearColor(px[0] / 255.f, px[1] / 255.f, px[2] / 255.f, 1.f);
      glClear(GL_COLOR_BUFFER_BIT);
    }
    glDisable(GL_SCISSOR_TEST);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
  }

  // As the service cleans a buffer: through the allocator of its flags.
  int Clean() {
    const private_handle_t* h = m_buffer->handle();
    return gralloc::CleanBuffer(h->flags, reinterpret_cast<void*>(h->base), h->size, h->offset,
                                h->fd);
  }

  pe::test::GlContext m_gl;
  android::sp<android::GraphicBuffer> m_buffer;
  uint8_t* m_base = nullptr;
  GLuint m_tex = 0, m_fbo = 0;
  EGLImageKHR m_image = EGL_NO_IMAGE_KHR;
};

// Each frame replaces the last whichever side wrote it: no stale rows.
TEST_F(Coherence, EachFrameReachesTheOtherSideWhicheverSideWroteIt) {
  const Bytes first = FillCpu(1);
  EXPECT_EQ(GpuView(), first);
  const Bytes second = FillCpu(99);
  ASSERT_NE(first, second);
  EXPECT_EQ(GpuView(), second);
  for (uint8_t seed : {10, 200}) {
    RenderBands(seed);
    ASSERT_EQ(Clean(), 0);
    EXPECT_EQ(Cpu(), Bands(seed)) << int{seed};
  }
  const Bytes cpu = FillCpu(3);  // a CPU frame after a GPU one must not be overwritten by it
  EXPECT_EQ(GpuView(), cpu);
  ASSERT_EQ(Clean(), 0);
  EXPECT_EQ(Cpu(), cpu);
  RenderBands(77);
  EXPECT_TRUE(pe::platform::SyncImageToCpu(m_image));
  EXPECT_EQ(Cpu(), Bands(77));
}

// A rectangle comes from whichever side wrote last, into rows of the
// caller's pitch, with or without the driver's pack row length; the buffer
// stays the GPU's, and memory between the rows is left alone.
TEST_F(Coherence, RectanglesReadAsTheLastWriterLeftThemAndTheBufferStaysWhereItWas) {
  struct Rect {
    int x, y, w, h, rowPixels;
  };
  auto expect = [](const Bytes& whole, const Rect& r, uint8_t gap) {
    Bytes out(static_cast<size_t>(r.rowPixels) * r.h * 4, gap);
    for (int row = 0; row < r.h; ++row)
      std::copy_n(&whole[((r.y + row) * kStride + r.x) * 4], r.w * 4, &out[row * r.rowPixels * 4]);
    return out;
  };
  auto read = [this](const Rect& r, uint8_t gap) {
    Bytes out(static_cast<size_t>(r.rowPixels) * r.h * 4, gap);
    EXPECT_TRUE(pe::platform::ReadImageRect(m_image, r.x, r.y, r.w, r.h, out.data(), r.rowPixels));
    return out;
  };
  const Rect rects[] = {
      {0, 0, kStride, kH, kStride}, {3, 2, 10, 4, 13}, {kStride - 1, kH - 1, 1, 1, 1}};
  const Bytes cpu = FillCpu(9);
  for (const Rect& r : rects) EXPECT_EQ(read(r, 0xAB), expect(cpu, r, 0xAB)) << r.x;
  RenderBands(40);
  for (const char* hidden : {"", "GL_NV_pack_subimage"}) {
    pe::test::ScopedEnv env("POSTEFFECT_HIDE_GL_EXTENSIONS", hidden);
    for (const Rect& r : rects) EXPECT_EQ(read(r, 0xCD), expect(Bands(40), r, 0xCD)) << hidden;
  }
  EXPECT_EQ(Cpu(), cpu);
  ASSERT_EQ(Clean(), 0);
  EXPECT_EQ(Cpu(), Bands(40));

  // Refused: anything reaching past the image, a pitch shorter than a row,
  // no memory, no such image; the last rectangle inside is taken.
  Bytes out(kBytes * 2);
  const Rect refused[] = {{-1, 0, 1, 1, 1},
                          {0, -1, 1, 1, 1},
                          {0, 0, 0, 1, 1},
                          {0, 0, 1, 0, 1},
                          {1, 0, kStride, 1, kStride},
                          {0, 1, 1, kH, 1},
                          {0, 0, 2, 1, 1}};
  for (const Rect& r : refused)
    EXPECT_FALSE(pe::platform::ReadImageRect(m_image, r.x, r.y, r.w, r.h, out.data(), r.rowPixels))
        << r.x << "," << r.y << " " << r.w << "x" << r.h << " pitch " << r.rowPixels;
  EXPECT_TRUE(pe::platform::ReadImageRect(m_image, 1, 1, kStride - 1, kH - 1, out.data(), kStride));
  EXPECT_FALSE(pe::platform::ReadImageRect(m_image, 0, 0, 1, 1, nullptr, 1));
  int bogus = 0;
  EXPECT_FALSE(pe::platform::ReadImageRect(&bogus, 0, 0, 1, 1, out.data(), 1));
}

TEST_F(Coherence, BadImagesAreRefusedAndCleaningOtherMemoryIsHarmless) {
  Bytes plain(4096, 5);
  EXPECT_EQ(pe::platform::CleanBuffer(plain.data(), plain.size(), 0, -1), 0);
  EXPECT_EQ(plain, Bytes(4096, 5));
  EXPECT_EQ(pe::platform::CreateNativeBufferImage(m_gl.display(), nullptr, nullptr),
            EGL_NO_IMAGE_KHR);
  EXPECT_NE(eglGetError(), EGL_SUCCESS);
  ANativeWindowBuffer bogus{};
  bogus.width = bogus.height = bogus.stride = 16;
  bogus.format = 1;
  EXPECT_EQ(pe::platform::CreateNativeBufferImage(m_gl.display(), &bogus, nullptr),
            EGL_NO_IMAGE_KHR);
  EXPECT_FALSE(pe::platform::SyncImageToCpu(reinterpret_cast<EGLImageKHR>(&bogus)));
}

}  // namespace
