#include "TuneRenderer.h"

#include <cstring>

namespace pe::cli {

TuneRenderer::TuneRenderer(const Backend& backend) : backend_(backend) {}

TuneRenderer::~TuneRenderer() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
}

bool TuneRenderer::Start(std::string* error) {
  std::promise<std::string> started;
  std::future<std::string> result = started.get_future();
  thread_ = std::thread(&TuneRenderer::Loop, this, std::move(started));
  *error = result.get();
  return error->empty();
}

RenderResult TuneRenderer::Render(RenderJob job) {
  auto pending = std::make_unique<Pending>();
  pending->job = std::move(job);
  std::future<RenderResult> result = pending->done.get_future();
  {
    std::unique_lock<std::mutex> lock(mutex_);
    // A waiting still is never dropped: wait for the render thread to take it.
    changed_.wait(lock, [&] { return !waiting_ || waiting_->job.replaceable || stopping_; });
    if (stopping_) return RenderResult{RenderResult::Status::kSuperseded, {}, {}};
    if (waiting_) {
      RenderResult superseded;
      superseded.status = RenderResult::Status::kSuperseded;
      waiting_->done.set_value(std::move(superseded));
    }
    waiting_ = std::move(pending);
  }
  changed_.notify_all();
  return result.get();
}

void TuneRenderer::Loop(std::promise<std::string> started) {
  std::string error;
  service_ = std::make_unique<Service>(backend_);
  const bool ok = service_->Start(&error);
  started.set_value(ok ? std::string() : error);
  if (!ok) return;
  while (true) {
    std::unique_ptr<Pending> next;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      changed_.wait(lock, [&] { return waiting_ || stopping_; });
      if (stopping_) {
        if (waiting_)
          waiting_->done.set_value(RenderResult{RenderResult::Status::kSuperseded, {}, {}});
        break;
      }
      next = std::move(waiting_);
    }
    changed_.notify_all();
    next->done.set_value(RunJob(next->job));
  }
  service_.reset();
}

RenderResult TuneRenderer::RunJob(const RenderJob& job) {
  RenderResult result;
  const Nv21Frame& in = *job.frame;
  // The heap grows to the largest frame seen and is then kept: the service
  // object maps each heap it is handed once.
  if (in.data.size() > heapBytes_) {
    heap_ = SharedHeap();
    if (!heap_.Create(in.data.size(), 1, &result.error)) {
      heapBytes_ = 0;
      return result;
    }
    heapBytes_ = in.data.size();
  }
  std::memcpy(heap_.Slot(0), in.data.data(), in.data.size());
  if (!ProcessInService(*service_, heap_, 0, in.width, in.height, job.request, job.crop, job.mode,
                        job.previewSize, &result.error))
    return result;
  result.frame = Nv21Frame(in.width, in.height);
  std::memcpy(result.frame.data.data(), heap_.Slot(0), in.data.size());
  result.status = RenderResult::Status::kDone;
  return result;
}

}  // namespace pe::cli
