#pragma once

// A manager over a preview-sized graphics buffer, fed the way the service
// feeds it: NV21 expanded into the buffer, blocks of a still fetched through
// an IYUVConverter.

#include <gtest/gtest.h>
#include <posteffect/IPostEffect.h>
#include <ui/GraphicBuffer.h>

#include <memory>

#include "GEManager.h"
#include "YuvModel.h"

namespace pe {
namespace test {

class StillSource : public IYUVConverter {
 public:
  const ref::Nv21* still = nullptr;
  android::sp<android::GraphicBuffer> buffer;
  int calls = 0;
  int convertRect(void* dst, int dstWidth, int dstHeight, int x, int y, int w, int h) override;
};

class EngineTest : public ::testing::Test {
 protected:
  // Manager over a w x h preview buffer with the given effect table.
  void MakeManager(int w, int h, GEEffectTable table);
  // Preview: expands the frame into the buffer, runs the effect, copies out.
  ref::Nv21 RunPreview(const ref::Nv21& frame);
  // Capture of a whole still in blocks of the preview size.
  bool RunCapture(const ref::Nv21& still, ref::Nv21* out);

  std::unique_ptr<GEManager> m_manager;
  android::sp<android::GraphicBuffer> m_buffer;
  StillSource m_source;
  int m_w = 0, m_h = 0;
};

}  // namespace test
}  // namespace pe
