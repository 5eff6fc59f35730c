#pragma once

#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "Service.h"

namespace pe::cli {

// One picture to render: the frame, and how the library is to process it.
struct RenderJob {
  std::shared_ptr<const Nv21Frame> frame;
  EffectRequest request;
  Crop crop;
  Mode mode = Mode::kPreview;
  Size previewSize;  // behind a capture
  // A live view may be replaced while it waits; a saved still may not.
  bool replaceable = true;
};

struct RenderResult {
  enum class Status { kDone, kSuperseded, kFailed } status = Status::kFailed;
  Nv21Frame frame;
  std::string error;  // kFailed: one line naming the library call
};

// Renders on one thread through one service object, started once. At most
// one job waits: a newer live job replaces a waiting one, which is answered
// kSuperseded, so that a stream of requests from a dragged control always
// ends in the latest settings without a queue of stale ones.
class TuneRenderer {
 public:
  explicit TuneRenderer(const Backend& backend);
  ~TuneRenderer();
  TuneRenderer(const TuneRenderer&) = delete;
  TuneRenderer& operator=(const TuneRenderer&) = delete;

  // Starts the service object on the render thread; false with its message.
  bool Start(std::string* error);
  // Blocks until the job is rendered or replaced.
  RenderResult Render(RenderJob job);

 private:
  struct Pending {
    RenderJob job;
    std::promise<RenderResult> done;
  };
  void Loop(std::promise<std::string> started);
  RenderResult RunJob(const RenderJob& job);

  Backend backend_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::unique_ptr<Pending> waiting_;
  bool stopping_ = false;
  std::thread thread_;
  // Owned by the render thread.
  std::unique_ptr<Service> service_;
  SharedHeap heap_;
  // The preview left running by the last job, if any: its effect, crop and size.
  bool previewing_ = false;
  RenderJob running_;
};

}  // namespace pe::cli
