#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "CommandSupport.h"
#include "TuneRenderer.h"

namespace httplib {
class Server;
}

namespace pe::cli {

// The tuning page and the requests behind it, on 127.0.0.1 only. Every value
// a request carries is checked and refused with a 4xx answer naming it;
// pictures come in the request body and stay in memory.
class TuneServer {
 public:
  // previewSize: the largest picture the page works on; larger ones are
  // shown shrunk, and saved at full size as captures behind this preview.
  TuneServer(const Context& ctx, Size previewSize);
  ~TuneServer();

  bool Start(std::string* error);  // the render thread and its service object
  void SetPicture(const PaddedFrame& picture, const std::string& name);
  // 0 picks a free port; returns the port bound, or -1.
  int Bind(int port);
  void Listen();  // until the process ends or Stop
  void Stop();

 private:
  struct Picture;
  void Routes();
  std::shared_ptr<const Picture> Current();

  const Context& ctx_;
  Size previewSize_;
  std::unique_ptr<httplib::Server> http_;
  TuneRenderer renderer_;
  std::mutex mutex_;
  std::shared_ptr<const Picture> picture_;
  int port_ = 0;
};

}  // namespace pe::cli
