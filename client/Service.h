#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "Effects.h"
#include "Image.h"
#include "Options.h"

class IPostEffect;

namespace pe::cli {

// Where service objects come from: the library's exported factory in the
// tool, a stand-in in tests.
struct Backend {
  IPostEffect* (*create)();
  void (*destroy)(IPostEffect*);
};

// Frame memory shared the way a camera service shares it: one heap mapped
// once, frames in equal page-aligned slots, each named by fd, base, offset.
class SharedHeap {
 public:
  SharedHeap() = default;
  ~SharedHeap();
  SharedHeap(SharedHeap&& other) noexcept { *this = std::move(other); }
  SharedHeap& operator=(SharedHeap&& other) noexcept;

  bool Create(size_t slotBytes, int slots, std::string* error);
  // One slot of at least slotBytes. The heap is made anew only to grow: a
  // service object maps each heap it is handed once, so one kept for frame
  // after frame is mapped once.
  bool Reserve(size_t slotBytes, std::string* error);
  int fd() const { return fd_; }
  void* base() const { return base_; }
  long Offset(int slot) const { return static_cast<long>(slot * stride_); }
  uint8_t* Slot(int slot) const { return static_cast<uint8_t*>(base_) + slot * stride_; }
  int slots() const { return slots_; }

 private:
  void Release();

  int fd_ = -1;
  void* base_ = nullptr;
  size_t bytes_ = 0;
  size_t stride_ = 0;
  int slots_ = 0;
};

struct EffectRequest {
  const EffectInfo* effect = nullptr;
  Quad param0{};
  Quad param1{};
};

// "GPU-effect=4;GE-param0=...;GE-param1=..." as a camera service flattens it.
// Both quadruples are always sent: the library forwards both on every change
// and would otherwise hand stale values to the effect.
std::string ParameterString(const EffectRequest& request);

// What a non-zero result code of the library means.
std::string DescribeResult(int code);

// One started service object, stopped and destroyed with this object.
class Service {
 public:
  explicit Service(const Backend& backend);
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  // Each returns false, with a message naming the call and the library's
  // result code in *error, when the library does not answer 0.
  bool Start(std::string* error);
  // Selects the effect and the crop (in pixels of the frames that follow).
  bool Select(const EffectRequest& request, const Crop& crop, std::string* error);
  bool StartPreview(int width, int height, std::string* error);
  bool StopPreview(std::string* error);
  // The frame in slot is processed in place.
  bool Preview(const SharedHeap& heap, int slot, std::string* error);
  bool Capture(int width, int height, const SharedHeap& heap, int slot, std::string* error);
  int lastResult() const { return lastResult_; }

 private:
  bool Check(int result, const char* call, std::string* error);

  Backend backend_;
  IPostEffect* service_ = nullptr;
  bool started_ = false;
  int lastResult_ = 0;
  std::string effectName_;
};

// Runs one picture through the library as a camera service would: a preview
// of the frame's own size, or a capture of the whole frame behind a preview
// of previewSize. The frame is replaced by the result.
enum class Mode { kPreview, kCapture };
// The same on a started service object, for the width x height frame in
// slot of heap. The preview is stopped again, on failure always, after a
// preview frame unless keepPreview: then the next frame of the same size can
// follow at once, as a camera's do.
bool ProcessInService(Service& service, const SharedHeap& heap, int slot, int width, int height,
                      const EffectRequest& request, const Crop& crop, Mode mode, Size previewSize,
                      std::string* error, bool keepPreview = false);
bool ProcessFrame(const Backend& backend, const EffectRequest& request, const Crop& crop, Mode mode,
                  Size previewSize, Nv21Frame* frame, std::string* error);

}  // namespace pe::cli
