#pragma once

#include <posteffect/Export.h>

namespace android {
class String8;
}

// Result codes of every IPostEffect call.
enum PostEffectResult {
  PE_RESULT_DONE = 0,
  PE_RESULT_CANCELLED = 1,
  PE_RESULT_PREVIEW_START_FAILED = 2,
  PE_RESULT_CAPTURE_FAILED = 3,
  PE_RESULT_QUEUE_FULL = 99,  // also: no worker runs (before start, after stop)
  PE_RESULT_NOT_PREVIEWING = -1,
};

// The service a camera service drives. Every call runs synchronously on the
// service's worker thread; frames are processed in place.
class PE_EXPORT IPostEffect {
 public:
  virtual ~IPostEffect() {}
  virtual int start() = 0;
  virtual int stop() = 0;
  virtual int startPreview(int width, int height) = 0;
  // NV21 frame at base + offset, chroma plane right after width x height bytes.
  virtual int handlePreview(int fd, void* base, int offset) = 0;
  virtual int stopPreview() = 0;
  // NV21 still: Y at base + yOffset, chroma at base + yOffset + uvOffset.
  virtual int handleCapture(int width, int height, int fd, void* base, long yOffset,
                            long uvOffset) = 0;
  virtual int setParameters(const android::String8& params) = 0;
  virtual int setCrop(int x, int y, int w, int h) = 0;
};

// Filled by the service while a still is walked in blocks.
class PE_EXPORT IYUVConverter {
 public:
  virtual ~IYUVConverter() {}
  virtual int convertRect(void* dst, int dstWidth, int dstHeight, int x, int y, int w, int h) = 0;
};

extern "C" {
PE_EXPORT IPostEffect* createPostEffect();
PE_EXPORT void destroyPostEffect(IPostEffect* p);
}
