#include "GPUPostEffect.h"

#include <camera/CameraParameters.h>
#include <gralloc/IAllocController.h>
#include <pe/Log.h>
#include <posteffect/GECameraParameters.h>
#include <utils/String8.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <new>

#include "EffectTable.h"
#include "GEManager.h"
#include "YuvCopy.h"

PE_LOG_MODULE("GPUPostEffect");

// The queue's messages carry no tag and have a mask of their own.
static ::pe::LogModule s_queueLog("");
#define LOGQ(...) PE_LOG(s_queueLog, ::pe::kLogDebug, __VA_ARGS__)

namespace orvex {
namespace {

constexpr int kMirrorEffect = 8;
constexpr int kPixelFormatRgba8888 = 1;
// Texture, frequent CPU writes, and the platform-private bit.
constexpr uint32_t kFrameBufferUsage = 0x200130;
// The largest graphics buffer the allocator hands out.
constexpr int kMaxPreviewSide = 16384;
// Every preview frame is held whole several times over (graphics buffer,
// source texture, the effect's framebuffers): beyond 16 Mpx each copy would
// take more than 64 MiB.
constexpr long kMaxPreviewPixels = 4096L * 4096;
// Keeps capture width x height x 3 / 2 within an int.
constexpr int kMaxStillSide = 32768;

int AlignTo32(int v) { return (v + 31) & ~31; }

bool ValidFrameSize(int w, int h, int maxSide) {
  return w > 0 && h > 0 && w % 2 == 0 && h % 2 == 0 && w <= maxSide && h <= maxSide;
}

// "E." and "X." lines around every interface call and handler.
class CallTrace {
 public:
  explicit CallTrace(const char* signature) : m_signature(signature) { LOGD("%s E.", m_signature); }
  ~CallTrace() { LOGD("%s X.", m_signature); }
  CallTrace(const CallTrace&) = delete;
  CallTrace& operator=(const CallTrace&) = delete;

 private:
  const char* m_signature;
};

#define CALL_TRACE() CallTrace callTrace_(__PRETTY_FUNCTION__)

}  // namespace

void EffectSettings::Reset() {
  effect = -1;
  for (int i = 0; i < 4; ++i) params0[i] = params1[i] = 0;
  params0Changed = 0;
  params1Changed = 0;
}

GPUPostEffect::GPUTask::GPUTask()
    : pending(1),
      result(0),
      kind(0),
      x(0),
      y(0),
      width(0),
      height(0),
      fd(-1),
      base(nullptr),
      offset(0),
      uvOffset(0) {
  pthread_mutex_init(&lock, nullptr);
  pthread_cond_init(&done, nullptr);
  settings.Reset();
}

GPUPostEffect::GPUTask::~GPUTask() {
  buffer.clear();
  pthread_cond_destroy(&done);
  pthread_mutex_destroy(&lock);
}

GPUPostEffect::GPUPostEffect()
    : mQueuedCount(0),
      mPooledCount(0),
      mpGEMan(nullptr),
      mGPUThread(),
      mStop(false),
      mPreviewWidth(0),
      mPreviewHeight(0),
      mCaptureWidth(0),
      mCaptureHeight(0),
      mpCaptureY(nullptr),
      mpCaptureUV(nullptr),
      mPreviewSize(0),
      mPreviewing(0),
      mOption0(1),
      mOption1(1),
      isGEInit(false),
      mCropX(0),
      mCropY(0),
      mCropW(0),
      mCropH(0),
      mCropChanged(false) {
  pthread_mutex_init(&mQueueLock, nullptr);
  pthread_cond_init(&mQueueSignal, nullptr);
  // A service that never receives parameters passes frames through.
  mSettings.Reset();
  mSettings.effect = 0;
  for (int i = 0; i < kSlots; ++i) mQueue[i] = mPool[i] = nullptr;
}

GPUPostEffect::~GPUPostEffect() {
  // A task still queued belongs to the caller blocked on it.
  for (int i = 0; i < kSlots; ++i) mQueue[i] = nullptr;
  for (int i = 0; i < mPooledCount; ++i) {
    delete mPool[i];
    mPool[i] = nullptr;
  }
  mPooledCount = 0;
  mHeap0.clear();
  mHeap1.clear();
  mSpareBuffer.clear();
  mCaptureBuffer.clear();
  mPreviewBuffer.clear();
  pthread_cond_destroy(&mQueueSignal);
  pthread_mutex_destroy(&mQueueLock);
}

// --- Worker and queue --------------------------------------------------------

int GPUPostEffect::start() {
  CALL_TRACE();
  pthread_mutex_lock(&mQueueLock);
  if (mGPUThread != pthread_t()) {
    LOGD("%s: mGPUThread != 0.", __PRETTY_FUNCTION__);
    pthread_mutex_unlock(&mQueueLock);
    return PE_RESULT_DONE;
  }
  const int rc = pthread_create(&mGPUThread, nullptr, _threadMain, this);
  if (rc != 0 || mGPUThread == pthread_t()) {
    mGPUThread = pthread_t();
    pthread_mutex_unlock(&mQueueLock);
    LOGE("%s: pthread_create failed (%d).", __PRETTY_FUNCTION__, rc);
    return PE_RESULT_QUEUE_FULL;
  }
  pthread_mutex_unlock(&mQueueLock);
  return PE_RESULT_DONE;
}

int GPUPostEffect::stop() {
  CALL_TRACE();
  pthread_mutex_lock(&mQueueLock);
  if (mGPUThread != pthread_t() && !mStop) {
    mStop = true;
    // A wake-up token: counted, never stored.
    if (mQueuedCount++ == 0) pthread_cond_signal(&mQueueSignal);
    const pthread_t thread = mGPUThread;
    pthread_mutex_unlock(&mQueueLock);
    pthread_join(thread, nullptr);
    pthread_mutex_lock(&mQueueLock);
    mGPUThread = pthread_t();
    mStop = false;
    mPreviewing = 0;
  }
  pthread_mutex_unlock(&mQueueLock);
  return PE_RESULT_DONE;
}

void* GPUPostEffect::_threadMain(void* self) {
  static_cast<GPUPostEffect*>(self)->threadMain();
  return nullptr;
}

void GPUPostEffect::threadMain() {
  mpGEMan = createManager();
  while (GPUTask* task = get()) finishTask(task, runHandler(task));
  mHeap0.clear();
  mHeap1.clear();
  if (mpGEMan) mpGEMan->Deinit();
  isGEInit = false;
  mPreviewBuffer.clear();
  destroyManager(mpGEMan);
  mpGEMan = nullptr;
}

GEManager* GPUPostEffect::createManager() { return new GEManager(pe::BuiltinEffects()); }

void GPUPostEffect::destroyManager(GEManager* manager) { delete manager; }

int GPUPostEffect::runHandler(GPUTask* task) {
  using Handler = int (GPUPostEffect::*)(GPUTask*);
  // Indexed by TaskKind.
  static constexpr Handler kHandlers[] = {
      &GPUPostEffect::doSetParameters, &GPUPostEffect::doStartPreview,
      &GPUPostEffect::doHandlePreview, &GPUPostEffect::doStopPreview,
      &GPUPostEffect::doHandleCapture, &GPUPostEffect::doSetCrop,
  };
  if (task->kind < 0 || task->kind >= static_cast<int>(std::size(kHandlers))) {
    LOGE("%s: unknown task kind %d.", __PRETTY_FUNCTION__, task->kind);
    return PE_RESULT_QUEUE_FULL;
  }
  return (this->*kHandlers[task->kind])(task);
}

GPUPostEffect::GPUTask* GPUPostEffect::createTask() {
  GPUTask* task = nullptr;
  pthread_mutex_lock(&mQueueLock);
  if (mPooledCount > 0) {
    task = mPool[--mPooledCount];
    mPool[mPooledCount] = nullptr;
  }
  pthread_mutex_unlock(&mQueueLock);
  if (!task) {
    task = new (std::nothrow) GPUTask();
    if (!task) LOGE("%s: out of memory.", __PRETTY_FUNCTION__);
  }
  return task;
}

bool GPUPostEffect::put(GPUTask* task) {
  bool queued = false;
  pthread_mutex_lock(&mQueueLock);
  if (mGPUThread == pthread_t() || mStop) {
    // Nothing would ever serve it: the caller would block for good.
    LOGE("%s: no worker thread, task kind %d refused.", __PRETTY_FUNCTION__, task->kind);
  } else if (mQueuedCount <= 1) {
    mQueue[mQueuedCount] = task;
    if (mQueuedCount++ == 0) pthread_cond_signal(&mQueueSignal);
    queued = true;
  } else {
    LOGQ("KORAD:GM: %s: queue overflow.", __PRETTY_FUNCTION__);
  }
  pthread_mutex_unlock(&mQueueLock);
  return queued;
}

// Null ends the worker: a stop (queued tasks are cancelled) or an underflow.
GPUPostEffect::GPUTask* GPUPostEffect::get() {
  GPUTask* task = nullptr;
  GPUTask* cancelled[kSlots] = {};
  int cancelCount = 0;

  pthread_mutex_lock(&mQueueLock);
  while (mQueuedCount == 0) pthread_cond_wait(&mQueueSignal, &mQueueLock);
  const int count = --mQueuedCount;
  if (mStop) {
    LOGQ("KORAD:GM: %s: cancel %d tasks.", __PRETTY_FUNCTION__, count);
    for (int i = 0; i < count && i < kSlots; ++i) {
      if (!mQueue[i])
        LOGQ("KORAD:GM: %s: q[%d] is NULL.", __PRETTY_FUNCTION__, i);
      else
        cancelled[cancelCount++] = mQueue[i];
      mQueue[i] = nullptr;
    }
    mQueuedCount = 0;
  } else if (count >= 0) {
    task = mQueue[0];
    for (int i = 0; i < count; ++i) mQueue[i] = mQueue[i + 1];
    mQueue[count] = nullptr;
  } else {
    LOGQ("KORAD:GM: %s: queue underflow.", __PRETTY_FUNCTION__);
  }
  pthread_mutex_unlock(&mQueueLock);

  // Cancelled outside the queue lock: the worker never holds both locks.
  for (int i = 0; i < cancelCount; ++i) finishTask(cancelled[i], PE_RESULT_CANCELLED);
  return task;
}

void GPUPostEffect::finishTask(GPUTask* task, int result) {
  pthread_mutex_lock(&task->lock);
  task->result = result;
  if (task->pending == 1) {
    task->pending = 0;
    pthread_cond_signal(&task->done);
  }
  pthread_mutex_unlock(&task->lock);
}

int GPUPostEffect::runTask(GPUTask* task) {
  int result = PE_RESULT_QUEUE_FULL;
  if (put(task)) {
    pthread_mutex_lock(&task->lock);
    while (task->pending == 1) pthread_cond_wait(&task->done, &task->lock);
    task->pending = 1;
    result = task->result;
    pthread_mutex_unlock(&task->lock);
  }
  destroyTask(task);
  return result;
}

void GPUPostEffect::destroyTask(GPUTask* task) {
  pthread_mutex_lock(&mQueueLock);
  if (mPooledCount > 2) {
    LOGQ("KORAD:GM: %s: destroyTask pool overflow.", __PRETTY_FUNCTION__);
    delete task;
  } else {
    mPool[mPooledCount++] = task;
  }
  pthread_mutex_unlock(&mQueueLock);
}

int GPUPostEffect::queuedCount() {
  pthread_mutex_lock(&mQueueLock);
  const int n = mQueuedCount;
  pthread_mutex_unlock(&mQueueLock);
  return n;
}

int GPUPostEffect::pooledCount() {
  pthread_mutex_lock(&mQueueLock);
  const int n = mPooledCount;
  pthread_mutex_unlock(&mQueueLock);
  return n;
}

// Callers test the effect number without the queue lock while the worker may
// store a new one, so both sides go through atomics.
int GPUPostEffect::currentEffect() const {
  return __atomic_load_n(&mSettings.effect, __ATOMIC_RELAXED);
}

// --- Interface calls ---------------------------------------------------------

int GPUPostEffect::setParameters(const android::String8& params) {
  CALL_TRACE();
  GPUTask* task = createTask();
  if (!task) return PE_RESULT_QUEUE_FULL;
  android::CameraParameters parsed;
  parsed.unflatten(params);
  const android::GECameraParameters ge(parsed);
  // A missing or malformed quadruple keeps what the recycled task held.
  EffectSettings& s = task->settings;
  ge.getGPUEffect(&s.effect);
  ge.getGPUEffectParam(0, &s.params0[0], &s.params0[1], &s.params0[2], &s.params0[3]);
  ge.getGPUEffectParam(1, &s.params1[0], &s.params1[1], &s.params1[2], &s.params1[3]);
  s.params0Changed = 1;
  s.params1Changed = 1;
  task->kind = TASK_SET_PARAMETERS;
  task->result = PE_RESULT_DONE;
  return runTask(task);
}

int GPUPostEffect::startPreview(int width, int height) {
  CALL_TRACE();
  GPUTask* task = createTask();
  if (!task) return PE_RESULT_QUEUE_FULL;
  task->kind = TASK_START_PREVIEW;
  task->width = width;
  task->height = height;
  task->result = PE_RESULT_DONE;
  return runTask(task);
}

int GPUPostEffect::handlePreview(int fd, void* base, int offset) {
  CALL_TRACE();
  pthread_mutex_lock(&mQueueLock);
  const bool previewing = mPreviewing != 0;
  pthread_mutex_unlock(&mQueueLock);
  if (!previewing) return PE_RESULT_NOT_PREVIEWING;
  GPUTask* task = createTask();
  if (!task) return PE_RESULT_QUEUE_FULL;
  task->kind = TASK_HANDLE_PREVIEW;
  task->fd = fd;
  task->base = base;
  task->offset = offset;
  task->result = PE_RESULT_DONE;
  return runTask(task);
}

int GPUPostEffect::stopPreview() {
  CALL_TRACE();
  pthread_mutex_lock(&mQueueLock);
  const bool previewing = mPreviewing != 0;
  pthread_mutex_unlock(&mQueueLock);
  if (!previewing) return PE_RESULT_DONE;
  GPUTask* task = createTask();
  if (!task) return PE_RESULT_QUEUE_FULL;
  task->kind = TASK_STOP_PREVIEW;
  task->result = PE_RESULT_DONE;
  return runTask(task);
}

int GPUPostEffect::handleCapture(int width, int height, int fd, void* base, long yOffset,
                                 long uvOffset) {
  CALL_TRACE();
  if (currentEffect() < 1) return PE_RESULT_DONE;
  GPUTask* task = createTask();
  if (!task) return PE_RESULT_QUEUE_FULL;
  task->kind = TASK_HANDLE_CAPTURE;
  task->width = width;
  task->height = height;
  task->fd = fd;
  task->base = base;
  task->offset = yOffset;
  task->uvOffset = uvOffset;
  task->result = PE_RESULT_DONE;
  return runTask(task);
}

int GPUPostEffect::setCrop(int x, int y, int w, int h) {
  CALL_TRACE();
  if (currentEffect() < 1) return PE_RESULT_DONE;
  GPUTask* task = createTask();
  if (!task) return PE_RESULT_QUEUE_FULL;
  task->kind = TASK_SET_CROP;
  task->x = x;
  task->y = y;
  task->width = w;
  task->height = h;
  return runTask(task);
}

// --- Handlers (worker thread) ------------------------------------------------

void GPUPostEffect::applyLandscape(const EffectSettings& s, const char* caller) {
  mpGEMan->m_bLandscaped = s.params0Changed && s.params0[0] != 0;
  LOGD("[Velt][%s] mpGEMan->m_bLandscaped = %s", caller, mpGEMan->m_bLandscaped ? "true" : "false");
}

int GPUPostEffect::doSetParameters(GPUTask* task) {
  CALL_TRACE();
  const EffectSettings& next = task->settings;
  LOGI("%s: old effect = %d, new effect = %d.", __func__, mSettings.effect, next.effect);
  if (isGEInit) {
    LOGD("%s: isGEInit == true: call to ChooseEffect.", __func__);
    if (next.effect != mSettings.effect) {
      if (next.effect == kMirrorEffect) applyLandscape(next, __func__);
      mpGEMan->ChooseEffect(static_cast<unsigned>(next.effect), 0);
      ForwardAllOnNextFrame();
    }
  } else {
    LOGD("%s: isGEInit == false: no call to ChooseEffect.", __func__);
  }
  std::memcpy(mSettings.params0, next.params0, sizeof(mSettings.params0));
  std::memcpy(mSettings.params1, next.params1, sizeof(mSettings.params1));
  mSettings.params0Changed = next.params0Changed;
  mSettings.params1Changed = next.params1Changed;
  __atomic_store_n(&mSettings.effect, next.effect, __ATOMIC_RELAXED);
  return PE_RESULT_DONE;
}

int GPUPostEffect::doStartPreview(GPUTask* task) {
  CALL_TRACE();
  const int w = task->width, h = task->height;
  if (!ValidFrameSize(w, h, kMaxPreviewSide) || static_cast<long>(w) * h > kMaxPreviewPixels) {
    LOGE("%s: invalid preview size %d x %d.", __func__, w, h);
    return PE_RESULT_PREVIEW_START_FAILED;
  }
  if (isGEInit && (w != mPreviewWidth || h != mPreviewHeight)) {
    mpGEMan->Deinit();
    isGEInit = false;
    mPreviewBuffer.clear();
  }
  mPreviewWidth = w;
  mPreviewHeight = h;
  mSettings.params0Changed = 1;
  mSettings.params1Changed = 1;
  mPreviewSize = AlignTo32(w) * h * 4;
  LOGD("%s: preview %d x %d started ok.", __func__, w, h);
  pthread_mutex_lock(&mQueueLock);
  mPreviewing = 1;
  pthread_mutex_unlock(&mQueueLock);
  return PE_RESULT_DONE;
}

android::sp<android::GraphicBuffer> GPUPostEffect::allocFrameBuffer() const {
  android::sp<android::GraphicBuffer> buffer = new (std::nothrow) android::GraphicBuffer(
      static_cast<uint32_t>(AlignTo32(mPreviewWidth)), static_cast<uint32_t>(mPreviewHeight),
      kPixelFormatRgba8888, kFrameBufferUsage);
  if (buffer == nullptr || buffer->initCheck() != 0) {
    LOGE("%s: graphic buffer %d x %d allocation failed.", __func__, AlignTo32(mPreviewWidth),
         mPreviewHeight);
    return nullptr;
  }
  return buffer;
}

int GPUPostEffect::internalStartPreview() {
  CALL_TRACE();
  mPreviewBuffer = allocFrameBuffer();
  if (mPreviewBuffer == nullptr) return PE_RESULT_PREVIEW_START_FAILED;
  const unsigned w = static_cast<unsigned>(mPreviewWidth);
  const unsigned h = static_cast<unsigned>(mPreviewHeight);
  if (!mpGEMan->Init(mPreviewBuffer->getNativeBuffer(), static_cast<unsigned>(AlignTo32(w)), h, 0,
                     0, 0, w, h, this))
    return PE_RESULT_PREVIEW_START_FAILED;
  if (mSettings.effect == kMirrorEffect) applyLandscape(mSettings, __func__);
  if (!mpGEMan->ChooseEffect(static_cast<unsigned>(mSettings.effect), 0))
    return PE_RESULT_PREVIEW_START_FAILED;
  isGEInit = true;
  ForwardAllOnNextFrame();
  return PE_RESULT_DONE;
}

// A newly chosen effect starts from its own defaults: it gets the current
// parameters and crop, not only those changed since the last frame (after a
// capture the preview would otherwise lose them).
void GPUPostEffect::ForwardAllOnNextFrame() {
  mSettings.params0Changed = 1;
  mSettings.params1Changed = 1;
  mCropChanged = true;
}

int GPUPostEffect::internalStopPreview() {
  CALL_TRACE();
  mpGEMan->Deinit();
  isGEInit = false;
  mPreviewBuffer.clear();
  return PE_RESULT_DONE;
}

int GPUPostEffect::doHandlePreview(GPUTask* task) {
  CALL_TRACE();
  if (mSettings.effect < 1) {
    if (isGEInit) {
      LOGD("%s: isGEInit == true, internalStopPreview.", __func__);
      internalStopPreview();
    }
    return PE_RESULT_DONE;
  }
  if (!task->base || task->offset < 0) {
    LOGE("%s: invalid frame base %p offset %ld.", __func__, task->base, task->offset);
    return PE_RESULT_PREVIEW_START_FAILED;
  }
  if (!isGEInit) {
    const int started = internalStartPreview();
    LOGD("%s: isGEInit == false, internalStartPreview = %d.", __func__, started);
    if (started != PE_RESULT_DONE) return started;
  }

  const int w = mPreviewWidth, h = mPreviewHeight;
  unsigned char* frame = static_cast<unsigned char*>(task->base) + task->offset;
  unsigned char* chroma = frame + static_cast<size_t>(w) * h;
  void* dst = reinterpret_cast<void*>(mPreviewBuffer->handle()->base);
  sp2yuvxs(dst, AlignTo32(w), h, frame, w, h, 0, 0, w, h);
  clean_buffer(mPreviewBuffer);

  if (mpGEMan->CurrentShader() == nullptr) {
    if (task->settings.effect == kMirrorEffect) applyLandscape(task->settings, __func__);
    mpGEMan->ChooseEffect(static_cast<unsigned>(mSettings.effect), 0);
    ForwardAllOnNextFrame();
  }
  const int* p0 = mSettings.params0;
  const int* p1 = mSettings.params1;
  if (mSettings.params0Changed) mpGEMan->SetParam(0, p0[0], p0[1], p0[2], p0[3]);
  if (mSettings.params1Changed) mpGEMan->SetParam(1, p1[0], p1[1], p1[2], p1[3]);
  // The manager forwards a crop without looking for an effect.
  if (mCropChanged && mpGEMan->CurrentShader() != nullptr)
    mpGEMan->SetCrop(static_cast<float>(mCropX) / w, static_cast<float>(mCropY) / h,
                     static_cast<float>(mCropW) / w, static_cast<float>(mCropH) / h);
  // A frame that failed on the way is not copied back: the caller keeps its
  // own, and the changes wait for the next frame's effect. The result stays
  // 0, as for a frame left alone: the preview itself runs on.
  if (!mpGEMan->ProcFrame(0u, 0u, 0, 0) || !mpGEMan->MemcpyYUV(frame, chroma))
    return PE_RESULT_DONE;
  clean_buffer(task->base, mPreviewBuffer->handle()->flags, static_cast<int>(task->offset),
               task->fd, static_cast<int>(w * h * 1.5));
  mSettings.params0Changed = 0;
  mSettings.params1Changed = 0;
  mCropChanged = false;
  return PE_RESULT_DONE;
}

int GPUPostEffect::doStopPreview(GPUTask*) {
  CALL_TRACE();
  pthread_mutex_lock(&mQueueLock);
  mPreviewing = 0;
  pthread_mutex_unlock(&mQueueLock);
  if (isGEInit) {
    mpGEMan->Deinit();
    isGEInit = false;
  }
  mPreviewBuffer.clear();
  return PE_RESULT_DONE;
}

int GPUPostEffect::doSetCrop(GPUTask* task) {
  CALL_TRACE();
  mCropX = task->x;
  mCropY = task->y;
  mCropW = task->width;
  mCropH = task->height;
  mCropChanged = true;
  return PE_RESULT_DONE;
}

int GPUPostEffect::doHandleCapture(GPUTask* task) {
  CALL_TRACE();
  const auto started = std::chrono::steady_clock::now();
  if (isGEInit) {
    mpGEMan->Deinit();
    isGEInit = false;
    mPreviewBuffer.clear();
  }
  if (mSettings.effect < 1) return PE_RESULT_DONE;

  const int cw = task->width, ch = task->height;
  const long planeBytes = static_cast<long>(cw) * ch;
  if (!ValidFrameSize(cw, ch, kMaxStillSide) || !task->base || task->offset < 0 ||
      task->uvOffset < planeBytes ||
      !ValidFrameSize(mPreviewWidth, mPreviewHeight, kMaxPreviewSide)) {
    LOGE("%s: invalid capture %d x %d base %p offsets %ld/%ld, preview %d x %d.", __func__, cw, ch,
         task->base, task->offset, task->uvOffset, mPreviewWidth, mPreviewHeight);
    return PE_RESULT_CAPTURE_FAILED;
  }

  mCaptureWidth = cw;
  mCaptureHeight = ch;
  LOGD(" cw = %d, ch = %d, vp_w = %d, vp_h = %d.", cw, ch, mPreviewWidth, mPreviewHeight);
  unsigned char* base = static_cast<unsigned char*>(task->base);
  mpCaptureY = base + task->offset;
  mpCaptureUV = mpCaptureY + task->uvOffset;

  int result = PE_RESULT_CAPTURE_FAILED;
  android::sp<android::MemoryHeapBase> memYUV = new (std::nothrow) android::MemoryHeapBase(
      static_cast<size_t>(planeBytes * 3 / 2), android::MemoryHeapBase::NO_CACHING, nullptr);
  if (memYUV == nullptr || memYUV->getHeapID() < 0) {
    LOGE("%s allocate memYUV failed.", __func__);
  } else {
    mCaptureBuffer = allocFrameBuffer();
    const unsigned vpw = static_cast<unsigned>(mPreviewWidth);
    const unsigned vph = static_cast<unsigned>(mPreviewHeight);
    bool ready = mCaptureBuffer != nullptr &&
                 mpGEMan->Init(mCaptureBuffer->getNativeBuffer(), static_cast<unsigned>(cw),
                               static_cast<unsigned>(ch), 0, 0, 0, vpw, vph, this);
    if (ready) {
      // A capture task fills no settings: this reads what the recycled task
      // last carried.
      if (task->settings.effect == kMirrorEffect) applyLandscape(task->settings, __func__);
      ready = mpGEMan->ChooseEffect(static_cast<unsigned>(mSettings.effect), 1);
    }
    if (ready) {
      const int* p0 = mSettings.params0;
      const int* p1 = mSettings.params1;
      mpGEMan->SetParam(0, p0[0], p0[1], p0[2], p0[3]);
      mpGEMan->SetParam(1, p1[0], p1[1], p1[2], p1[3]);
      mpGEMan->SetCrop(static_cast<float>(mCropX) / cw, static_cast<float>(mCropY) / ch,
                       static_cast<float>(mCropW) / cw, static_cast<float>(mCropH) / ch);
      ready = mpGEMan->ProcFrame(mpCaptureY, mpCaptureUV,
                                 static_cast<unsigned char*>(memYUV->getBase()), cw, ch);
    }
    if (!ready) {
      // The caller's still is only written after a successful walk.
      mCaptureBuffer.clear();
      memYUV.clear();
      mpGEMan->Deinit();
      mpCaptureY = mpCaptureUV = nullptr;
      return PE_RESULT_CAPTURE_FAILED;
    }
    const int flags = mCaptureBuffer->handle()->flags;
    mCaptureBuffer.clear();
    const unsigned char* out = static_cast<const unsigned char*>(memYUV->getBase());
    std::memcpy(mpCaptureY, out, static_cast<size_t>(planeBytes));
    clean_buffer(base, flags, static_cast<int>(task->offset), task->fd, cw * ch);
    std::memcpy(mpCaptureUV, out + planeBytes, static_cast<size_t>(planeBytes / 2));
    // The chroma clean is given uvOffset alone, as the allocator expects.
    clean_buffer(base, flags, static_cast<int>(task->uvOffset), task->fd,
                 static_cast<int>(cw * ch * 0.5));
    memYUV.clear();
    result = PE_RESULT_DONE;
  }
  mpCaptureY = mpCaptureUV = nullptr;
  mpGEMan->Deinit();
  const double seconds =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started)
          .count() /
      1000.0;
  LOGD("[%s] Capture image time = %.4f", __func__, seconds);
  return result;
}

// Called by the effect on the worker while a still is walked.
int GPUPostEffect::convertRect(void* dst, int dstWidth, int dstHeight, int x, int y, int w, int h) {
  LOGI("[convertRect] w = %d, h = %d, dw=%d, rx=%d, ry=%d, rw=%d, rh=%d", mCaptureWidth,
       mCaptureHeight, dstWidth, x, y, w, h);
  // The copy routine checks nothing: the rectangle must lie inside the still
  // and fit the destination.
  if (!mpCaptureY || !dst || x < 0 || y < 0 || w <= 0 || h <= 0 || x > mCaptureWidth - w ||
      y > mCaptureHeight - h || w > dstWidth || h > dstHeight) {
    LOGE("[convertRect] rectangle %d,%d %dx%d does not fit the still %dx%d or the block %dx%d", x,
         y, w, h, mCaptureWidth, mCaptureHeight, dstWidth, dstHeight);
    return 0;
  }
  sp2yuvxs(dst, dstWidth, dstHeight, mpCaptureY, mpCaptureUV, mCaptureWidth, mCaptureHeight, x, y,
           w, h);
  if (mCaptureBuffer != nullptr) clean_buffer(mCaptureBuffer);
  return 1;
}

// --- Cache maintenance -------------------------------------------------------

bool GPUPostEffect::clean_buffer(void* base, int flags, int offset, int fd, int size) {
  if (gralloc::CleanBuffer(flags, base, static_cast<size_t>(size), offset, fd) < 0) {
    LOGE("[%s] clean buffer error", "clean_buffer");
    return false;
  }
  return true;
}

bool GPUPostEffect::clean_buffer(const android::sp<android::GraphicBuffer>& buffer) {
  const private_handle_t* h = buffer->handle();
  return clean_buffer(reinterpret_cast<void*>(h->base), h->flags, h->offset, h->fd, h->size);
}

}  // namespace orvex
