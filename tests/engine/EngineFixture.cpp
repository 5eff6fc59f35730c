#include "EngineFixture.h"

#include <gralloc/IAllocController.h>

#include <cstring>

#include "YuvCopy.h"

namespace pe {
namespace test {
namespace {

void Clean(const android::sp<android::GraphicBuffer>& buf) {
  const private_handle_t* h = buf->handle();
  gralloc::CleanBuffer(h->flags, reinterpret_cast<void*>(h->base), h->size, h->offset, h->fd);
}

}  // namespace

int StillSource::convertRect(void* dst, int dstWidth, int dstHeight, int x, int y, int w, int h) {
  ++calls;
  sp2yuvxs(dst, dstWidth, dstHeight, still->y(), still->uv(), still->width, still->height, x, y, w,
           h);
  Clean(buffer);
  return 1;
}

void EngineTest::MakeManager(int w, int h, GEEffectTable table) {
  m_w = w;
  m_h = h;
  m_manager.reset(new GEManager(table));
  ASSERT_TRUE(m_manager->IsEGLReady()) << "no EGL display";
  m_buffer = new android::GraphicBuffer((w + 31) / 32 * 32, h, 1, 0x200130);
  ASSERT_EQ(m_buffer->initCheck(), 0);
  m_source.buffer = m_buffer;
  ASSERT_TRUE(m_manager->Init(m_buffer->getNativeBuffer(), (w + 31) / 32 * 32, h, 0, 0, 0, w, h,
                              &m_source));
}

ref::Nv21 EngineTest::RunPreview(const ref::Nv21& frame) {
  ref::Nv21 out = frame;
  const int aligned = (m_w + 31) / 32 * 32;
  sp2yuvxs(reinterpret_cast<void*>(m_buffer->handle()->base), aligned, m_h, frame.data.data(), m_w,
           m_h, 0, 0, m_w, m_h);
  Clean(m_buffer);
  EXPECT_TRUE(m_manager->ProcFrame(0u, 0u, 0, 0));
  EXPECT_TRUE(m_manager->MemcpyYUV(out.y(), out.uv()));
  return out;
}

bool EngineTest::RunCapture(const ref::Nv21& still, ref::Nv21* out) {
  m_source.still = &still;
  *out = ref::Nv21(still.width, still.height);
  std::vector<uint8_t> planes(still.data.size());
  std::memcpy(planes.data(), still.data.data(), planes.size());
  return m_manager->ProcFrame(planes.data(), planes.data() + still.width * still.height,
                              out->data.data(), still.width, still.height);
}

}  // namespace test
}  // namespace pe
