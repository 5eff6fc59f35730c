#include "TuneRenderer.h"

#include <cstring>

namespace pe::cli {

namespace {
constexpr int kMirrorEffect = 8;
}  // namespace

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
  if (!heap_.Reserve(in.data.size(), &result.error)) return result;
  std::memcpy(heap_.Slot(0), in.data.data(), in.data.size());
  // A preview of the same effect, crop and size takes new values on its
  // next frame, as a camera's running preview does; anything else starts
  // afresh, as 'apply' does. Mirror reads its orientation from param0 only
  // when it starts.
  const RenderJob& last = running_;
  const bool warm =
      previewing_ && job.mode == Mode::kPreview && job.request.effect == last.request.effect &&
      in.width == last.frame->width && in.height == last.frame->height &&
      job.crop.x == last.crop.x && job.crop.y == last.crop.y && job.crop.w == last.crop.w &&
      job.crop.h == last.crop.h &&
      (job.request.effect->number != kMirrorEffect || job.request.param0 == last.request.param0);
  std::string ignored;
  if (previewing_ && !warm) service_->StopPreview(&ignored);
  const bool ok = warm ? service_->Select(job.request, job.crop, &result.error) &&
                             service_->Preview(heap_, 0, &result.error)
                       : ProcessInService(*service_, heap_, 0, in.width, in.height, job.request,
                                          job.crop, job.mode, job.previewSize, &result.error, true);
  previewing_ = ok && job.mode == Mode::kPreview;
  running_ = job;
  if (!ok) {
    if (warm) service_->StopPreview(&ignored);
    return result;
  }
  result.frame = Nv21Frame(in.width, in.height);
  std::memcpy(result.frame.data.data(), heap_.Slot(0), in.data.size());
  result.status = RenderResult::Status::kDone;
  return result;
}

}  // namespace pe::cli
