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
#include <array>
#include <cstdint>
#include <vector>

#include "GlContext.h"

using android::sp;

namespace {

class Coherence : public ::testing::Test {
 protected:
  static constexpr int kW = 100;  // not a multiple of 32: rows are padded
  static constexpr int kH = 9;

  void SetUp() override {
    ASSERT_TRUE(m_gl.ok()) << "no EGL display";
    m_buffer = new android::GraphicBuffer(kW, kH, android::PIXEL_FORMAT_RGBA_8888, 0x200130);
    ASSERT_EQ(m_buffer->initCheck(), 0);
    m_stride = m_buffer->getStride();
    const private_handle_t* h = m_buffer->handle();
    m_base = reinterpret_cast<uint8_t*>(h->base);
    ASSERT_EQ(m_stride, 128);
    ASSERT_EQ(m_buffer->getNativeBuffer()->width, kW);
    struct stat st;
    ASSERT_EQ(fstat(h->fd, &st), 0);
    ASSERT_EQ(st.st_size, h->size);
    ASSERT_GE(h->size, m_stride * kH * 4);
    glGenTextures(1, &m_tex);
    glBindTexture(GL_TEXTURE_2D, m_tex);
    m_image =
        pe::platform::CreateNativeBufferImage(m_gl.display(), m_buffer->getNativeBuffer(), nullptr);
    ASSERT_NE(m_image, EGL_NO_IMAGE_KHR);
    pe::platform::ImageTargetTexture2D(GL_TEXTURE_2D, m_image);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
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

  void FillCpu(uint8_t seed) {
    for (int y = 0; y < kH; ++y)
      for (int x = 0; x < m_stride * 4; ++x)
        m_base[y * m_stride * 4 + x] = static_cast<uint8_t>(seed + 7 * x + 31 * y);
  }

  // What the GPU sees when it samples the texture.
  std::vector<uint8_t> GpuView() {
    glBindTexture(GL_TEXTURE_2D, m_tex);
    pe::platform::PrepareImageForSampling(m_image);
    std::vector<uint8_t> out(m_stride * kH * 4);
    glBindFramebuffer(GL_FRAMEBUFFER, m_fbo);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, m_stride, kH, GL_RGBA, GL_UNSIGNED_BYTE, out.data());
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    return out;
  }

  // The colour of row `band` in frame `seed`, RGBA.
  static std::array<uint8_t, 4> Band(uint8_t seed, int band) {
    return {static_cast<uint8_t>((seed + band * 20) % 256),
            static_cast<uint8_t>((seed * 3 + band) % 256),
            static_cast<uint8_t>((255 - seed - band) % 256), 255};
  }

  // Renders each row in its colour through the framebuffer.
  void RenderBands(uint8_t seed) {
    glBindFramebuffer(GL_FRAMEBUFFER, m_fbo);
    pe::platform::MarkImageRendered(m_image);
    glViewport(0, 0, m_stride, kH);
    glEnable(GL_SCISSOR_TEST);
    for (int band = 0; band < kH; ++band) {
      const std::array<uint8_t, 4> c = Band(seed, band);
      glScissor(0, band, m_stride, 1);
      glClearColor(c[0] / 255.f, c[1] / 255.f, c[2] / 255.f, 1.f);
      glClear(GL_COLOR_BUFFER_BIT);
    }
    glDisable(GL_SCISSOR_TEST);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
  }

  int Clean() {
    const private_handle_t* h = m_buffer->handle();
    return gralloc::IAllocController::getInstance(true)->getAllocator(h->flags)->clean_buffer(
        reinterpret_cast<void*>(h->base), h->size, h->offset, h->fd);
  }

  void ExpectCpuHoldsBands(uint8_t seed) {
    for (int y = 0; y < kH; ++y)
      for (int x = 0; x < m_stride; ++x)
        for (int c = 0; c < 4; ++c)
          ASSERT_EQ(m_base[(y * m_stride + x) * 4 + c], Band(seed, y)[c])
              << "x=" << x << " y=" << y << " c=" << c;
  }

  pe::test::GlContext m_gl;
  sp<android::GraphicBuffer> m_buffer;
  uint8_t* m_base = nullptr;
  int m_stride = 0;
  GLuint m_tex = 0, m_fbo = 0;
  EGLImageKHR m_image = EGL_NO_IMAGE_KHR;
};

TEST_F(Coherence, CpuWritesReachTheSamplerAndASecondFrameReplacesTheFirst) {
  FillCpu(1);
  std::vector<uint8_t> first(m_base, m_base + m_stride * kH * 4);
  EXPECT_EQ(GpuView(), first);
  FillCpu(99);
  std::vector<uint8_t> second(m_base, m_base + m_stride * kH * 4);
  ASSERT_NE(first, second);
  EXPECT_EQ(GpuView(), second);
}

// Each frame replaces the last whichever side wrote it: no stale rows.
TEST_F(Coherence, GpuRendersReachTheCpuAfterACleanAndTheCpuOwnsTheBufferAgain) {
  for (uint8_t seed : {10, 200}) {
    RenderBands(seed);
    ASSERT_EQ(Clean(), 0);
    ExpectCpuHoldsBands(seed);
  }
  FillCpu(3);  // a CPU frame after a GPU one must not be overwritten by it
  std::vector<uint8_t> cpu(m_base, m_base + m_stride * kH * 4);
  EXPECT_EQ(GpuView(), cpu);
  ASSERT_EQ(Clean(), 0);
  EXPECT_TRUE(std::equal(cpu.begin(), cpu.end(), m_base));
  RenderBands(77);
  EXPECT_TRUE(pe::platform::SyncImageToCpu(m_image));
  ExpectCpuHoldsBands(77);
}

TEST_F(Coherence, CleaningMemoryThatNoTextureWrapsIsHarmless) {
  std::vector<uint8_t> plain(4096, 5);
  EXPECT_EQ(pe::platform::CleanBuffer(plain.data(), plain.size(), 0, -1), 0);
  EXPECT_EQ(plain[100], 5);
}

TEST_F(Coherence, ImagesOverBadBuffersAreRefusedWithAnEglError) {
  EXPECT_EQ(pe::platform::CreateNativeBufferImage(m_gl.display(), nullptr, nullptr),
            EGL_NO_IMAGE_KHR);
  EXPECT_NE(eglGetError(), EGL_SUCCESS);
  ANativeWindowBuffer bogus{};
  bogus.width = 16;
  bogus.height = 16;
  bogus.stride = 16;
  bogus.format = 1;
  EXPECT_EQ(pe::platform::CreateNativeBufferImage(m_gl.display(), &bogus, nullptr),
            EGL_NO_IMAGE_KHR);
  EXPECT_FALSE(pe::platform::SyncImageToCpu(reinterpret_cast<EGLImageKHR>(&bogus)));
}

}  // namespace
