#include "Service.h"

#include <posteffect/IPostEffect.h>
#include <sys/mman.h>
#include <unistd.h>
#include <utils/String8.h>

#include <cerrno>
#include <cstring>

namespace pe::cli {

SharedHeap::~SharedHeap() { Release(); }

bool SharedHeap::Reserve(size_t slotBytes, std::string* error) {
  return (slots_ >= 1 && slotBytes <= stride_) || Create(slotBytes, 1, error);
}

SharedHeap& SharedHeap::operator=(SharedHeap&& other) noexcept {
  if (this != &other) {
    Release();
    std::swap(fd_, other.fd_);
    std::swap(base_, other.base_);
    std::swap(bytes_, other.bytes_);
    std::swap(stride_, other.stride_);
    std::swap(slots_, other.slots_);
  }
  return *this;
}

void SharedHeap::Release() {
  if (base_ != nullptr) munmap(base_, bytes_);
  if (fd_ >= 0) close(fd_);
  fd_ = -1;
  base_ = nullptr;
  bytes_ = stride_ = 0;
  slots_ = 0;
}

bool SharedHeap::Create(size_t slotBytes, int slots, std::string* error) {
  Release();
  const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  const size_t stride = (slotBytes + page - 1) / page * page;
  const size_t bytes = stride * static_cast<size_t>(slots);
  // Named shared memory, as a camera service hands the library its frames.
  const int fd = memfd_create("posteffect-frames", MFD_CLOEXEC);
  void* base = MAP_FAILED;
  if (fd >= 0 && ftruncate(fd, static_cast<off_t>(bytes)) == 0)
    base = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (base == MAP_FAILED) {
    *error = std::string("cannot allocate shared frame memory: ") + std::strerror(errno);
    if (fd >= 0) close(fd);
    return false;
  }
  fd_ = fd;
  base_ = base;
  bytes_ = bytes;
  stride_ = stride;
  slots_ = slots;
  return true;
}

std::string ParameterString(const EffectRequest& r) {
  return std::string("GPU-effect=") + r.effect->code + ";GE-param0=" + QuadText(r.param0) +
         ";GE-param1=" + QuadText(r.param1);
}

std::string DescribeResult(int code) {
  switch (code) {
    case PE_RESULT_DONE:
      return "done";
    case PE_RESULT_CANCELLED:
      return "cancelled";
    case PE_RESULT_PREVIEW_START_FAILED:
      return "preview start failed";
    case PE_RESULT_CAPTURE_FAILED:
      return "capture failed";
    case PE_RESULT_QUEUE_FULL:
      return "queue full or no worker thread";
    case PE_RESULT_NOT_PREVIEWING:
      return "no preview running";
    default:
      return "unknown result";
  }
}

Service::Service(const Backend& backend) : backend_(backend) {}

Service::~Service() {
  if (!service_) return;
  if (started_) service_->stop();
  backend_.destroy(service_);
}

bool Service::Check(int result, const char* call, std::string* error) {
  lastResult_ = result;
  if (result == PE_RESULT_DONE) return true;
  *error = std::string("the library failed ") + call;
  if (!effectName_.empty()) *error += " with effect " + effectName_;
  *error += ": result " + std::to_string(result) + " (" + DescribeResult(result) + ")";
  // The usual cause: an effect this build of the library does not have.
  if (!effectName_.empty() &&
      (result == PE_RESULT_PREVIEW_START_FAILED || result == PE_RESULT_CAPTURE_FAILED))
    *error += "; 'posteffect list' shows the effects it runs";
  return false;
}

bool Service::Start(std::string* error) {
  service_ = backend_.create();
  if (!service_) {
    *error = "the library could not create its service object";
    return false;
  }
  if (!Check(service_->start(), "start", error)) return false;
  started_ = true;
  return true;
}

bool Service::Select(const EffectRequest& request, const Crop& crop, std::string* error) {
  effectName_ = std::to_string(request.effect->number) + " (" + request.effect->name + ")";
  if (!Check(service_->setParameters(android::String8(ParameterString(request).c_str())),
             "setParameters", error))
    return false;
  if (crop.w <= 0 || crop.h <= 0) return true;
  return Check(service_->setCrop(crop.x, crop.y, crop.w, crop.h), "setCrop", error);
}

bool Service::StartPreview(int width, int height, std::string* error) {
  return Check(service_->startPreview(width, height), "startPreview", error);
}

bool Service::StopPreview(std::string* error) {
  return Check(service_->stopPreview(), "stopPreview", error);
}

bool Service::Preview(const SharedHeap& heap, int slot, std::string* error) {
  return Check(service_->handlePreview(heap.fd(), heap.base(), static_cast<int>(heap.Offset(slot))),
               "the preview frame", error);
}

bool Service::Capture(int width, int height, const SharedHeap& heap, int slot, std::string* error) {
  const long chromaFromLuma = static_cast<long>(width) * height;
  return Check(service_->handleCapture(width, height, heap.fd(), heap.base(), heap.Offset(slot),
                                       chromaFromLuma),
               "the capture", error);
}

bool ProcessInService(Service& service, const SharedHeap& heap, int slot, int width, int height,
                      const EffectRequest& request, const Crop& crop, Mode mode, Size previewSize,
                      std::string* error, bool keepPreview) {
  if (!service.Select(request, crop, error)) return false;
  bool ok;
  if (mode == Mode::kPreview) {
    ok = service.StartPreview(width, height, error) && service.Preview(heap, slot, error);
  } else {
    ok = service.StartPreview(previewSize.width, previewSize.height, error) &&
         service.Capture(width, height, heap, slot, error);
  }
  if (!ok) {
    // The service object outlives this frame: leave it ready for the next.
    std::string ignored;
    service.StopPreview(&ignored);
    return false;
  }
  return (keepPreview && mode == Mode::kPreview) || service.StopPreview(error);
}

bool ProcessFrame(const Backend& backend, const EffectRequest& request, const Crop& crop, Mode mode,
                  Size previewSize, Nv21Frame* frame, std::string* error) {
  SharedHeap heap;
  if (!heap.Create(frame->data.size(), 1, error)) return false;
  std::memcpy(heap.Slot(0), frame->data.data(), frame->data.size());
  Service service(backend);
  if (!service.Start(error) || !ProcessInService(service, heap, 0, frame->width, frame->height,
                                                 request, crop, mode, previewSize, error))
    return false;
  std::memcpy(frame->data.data(), heap.Slot(0), frame->data.size());
  return true;
}

}  // namespace pe::cli
