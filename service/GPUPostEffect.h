#pragma once

#include <binder/MemoryHeapBase.h>
#include <posteffect/IPostEffect.h>
#include <pthread.h>
#include <ui/GraphicBuffer.h>
#include <utils/StrongPointer.h>

class GEManager;

namespace orvex {

// Effect choice as parsed from the camera parameters; also what every task
// carries.
struct EffectSettings {
  int effect;  // -1: none
  int params0[4];
  int params1[4];
  int params0Changed;
  int params1Changed;

  void Reset();
};

// The service object. Every interface call becomes a task that the one worker
// thread runs, because the EGL context and every GL object live on that thread.
class GPUPostEffect : public IPostEffect, public IYUVConverter {
 public:
  enum TaskKind {
    TASK_SET_PARAMETERS = 0,
    TASK_START_PREVIEW = 1,
    TASK_HANDLE_PREVIEW = 2,
    TASK_STOP_PREVIEW = 3,
    TASK_HANDLE_CAPTURE = 4,
    TASK_SET_CROP = 5,
  };

  struct GPUTask {
    pthread_mutex_t lock;
    pthread_cond_t done;
    int pending;  // 1 until the caller has been handed a result
    int result;
    int kind;
    int x;
    int y;
    int width;
    int height;
    android::sp<android::RefBase> buffer;
    int fd;
    void* base;
    long offset;
    long uvOffset;
    EffectSettings settings;

    GPUTask();
    ~GPUTask();
    GPUTask(const GPUTask&) = delete;
    GPUTask& operator=(const GPUTask&) = delete;
  };

  GPUPostEffect();
  ~GPUPostEffect() override;
  GPUPostEffect(const GPUPostEffect&) = delete;
  GPUPostEffect& operator=(const GPUPostEffect&) = delete;

  int start() override;
  int stop() override;
  int startPreview(int width, int height) override;
  int handlePreview(int fd, void* base, int offset) override;
  int stopPreview() override;
  int handleCapture(int width, int height, int fd, void* base, long yOffset,
                    long uvOffset) override;
  int setParameters(const android::String8& params) override;
  int setCrop(int x, int y, int w, int h) override;

  int convertRect(void* dst, int dstWidth, int dstHeight, int x, int y, int w, int h) override;

 protected:
  // The worker's seams: tests replace the manager and the handlers to drive
  // the queue without a GL context.
  virtual GEManager* createManager();
  virtual void destroyManager(GEManager* manager);
  virtual int runHandler(GPUTask* task);

  int queuedCount();
  int pooledCount();

 private:
  static constexpr int kSlots = 3;

  GPUTask* createTask();
  bool put(GPUTask* task);
  GPUTask* get();
  int runTask(GPUTask* task);
  void destroyTask(GPUTask* task);
  static void finishTask(GPUTask* task, int result);

  static void* _threadMain(void* self);
  void threadMain();

  int doSetParameters(GPUTask* task);
  int doStartPreview(GPUTask* task);
  int doHandlePreview(GPUTask* task);
  int doStopPreview(GPUTask* task);
  int doHandleCapture(GPUTask* task);
  int doSetCrop(GPUTask* task);
  int internalStartPreview();
  int internalStopPreview();
  void ForwardAllOnNextFrame();
  void applyLandscape(const EffectSettings& settings, const char* caller);
  int currentEffect() const;
  android::sp<android::GraphicBuffer> allocFrameBuffer() const;

  bool clean_buffer(void* base, int flags, int offset, int fd, int size);
  bool clean_buffer(const android::sp<android::GraphicBuffer>& buffer);

  pthread_mutex_t mQueueLock;
  pthread_cond_t mQueueSignal;
  int mQueuedCount;
  GPUTask* mQueue[kSlots];
  int mPooledCount;
  GPUTask* mPool[kSlots];
  GEManager* mpGEMan;
  android::sp<android::GraphicBuffer> mPreviewBuffer;
  android::sp<android::GraphicBuffer> mCaptureBuffer;
  android::sp<android::GraphicBuffer> mSpareBuffer;  // reserved; only released
  pthread_t mGPUThread;
  bool mStop;
  int mPreviewWidth;
  int mPreviewHeight;
  int mCaptureWidth;
  int mCaptureHeight;
  unsigned char* mpCaptureY;
  unsigned char* mpCaptureUV;
  int mPreviewSize;
  // Reserved heap references, released when the worker ends and at destruction.
  android::sp<android::MemoryHeapBase> mHeap0;
  android::sp<android::MemoryHeapBase> mHeap1;
  int mPreviewing;
  EffectSettings mSettings;
  // Options of the camera service's interface, both on; nothing here reads them.
  [[maybe_unused]] unsigned char mOption0;
  [[maybe_unused]] unsigned char mOption1;
  bool isGEInit;
  int mCropX;
  int mCropY;
  int mCropW;
  int mCropH;
  bool mCropChanged;
};

}  // namespace orvex
