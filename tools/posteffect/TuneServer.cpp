#include "TuneServer.h"

#include <httplib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "ColorConvert.h"
#include "CommandSupport.h"
#include "Drawing.h"
#include "ImageIO.h"
#include "TunePage.h"

namespace pe::cli {

namespace {

using nlohmann::json;

constexpr size_t kMaxUploadBytes = 64u << 20;
constexpr long kMaxUploadPixels = 40'000'000;  // a 40-megapixel still
constexpr int kMaxChartSide = 4096;

// A refusal: the status and one line naming the value.
struct Refusal {
  int status = 400;
  std::string message;
};

// The settings one render request carries.
struct Settings {
  EffectRequest request;
  Crop crop;  // in pixels of the full picture; zero size: none
  Mode mode = Mode::kPreview;
  bool full = false;
};

// A value as a message quotes it: short, whatever was sent.
std::string Shown(const std::string& text) {
  constexpr size_t kMax = 40;
  std::string out = "'";
  for (size_t i = 0; i < text.size() && i < kMax; ++i)
    out += text[i] >= 0x20 && text[i] < 0x7f ? text[i] : '?';
  return out + (text.size() > kMax ? "...'" : "'");
}

bool Refuse(Refusal* r, const std::string& message, int status = 400) {
  r->status = status;
  r->message = message;
  return false;
}

const EffectInfo* CheckEffect(const std::string& text, Refusal* r) {
  const bool digits =
      !text.empty() && text.size() <= 2 &&
      std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
  const EffectInfo* e = digits ? FindEffect(std::atoi(text.c_str())) : nullptr;
  if (!e) Refuse(r, "effect: " + Shown(text) + " is not an effect number 0..18");
  return e;
}

bool CheckParam0(const std::string& text, const EffectInfo& e, Quad* out, Refusal* r) {
  Quad q;
  if (!ParseQuad(text, 1, &q))
    return Refuse(r, "param0: expected 1 to 4 comma-separated integers, got " + Shown(text));
  for (int x : q)
    if (x < e.param0Min || x > e.param0Max)
      return Refuse(r, "param0: " + std::to_string(x) + " is outside " +
                           std::to_string(e.param0Min) + ".." + std::to_string(e.param0Max) +
                           " for " + e.name);
  *out = q;
  return true;
}

bool CheckParam1(const std::string& text, Quad* out, Refusal* r) {
  Quad v;
  if (!ParseQuad(text, 4, &v))
    return Refuse(r,
                  "param1: expected four comma-separated integers x0,y0,x1,y1, got " + Shown(text));
  int dw = 0, dh = 0;
  DisplaySize(&dw, &dh);
  for (int i = 0; i < 4; i += 2)
    if (v[i] < 0 || v[i] > dw || v[i + 1] < 0 || v[i + 1] > dh)
      return Refuse(r, "param1: point " + std::to_string(v[i]) + "," + std::to_string(v[i + 1]) +
                           " is outside the " + SizeText(dw, dh) + " display");
  *out = v;
  return true;
}

bool CheckCrop(const std::string& text, int width, int height, Crop* out, Refusal* r) {
  *out = Crop{};
  if (text.empty()) return true;
  Crop c;
  if (!ParseCrop(text, &c))
    return Refuse(r,
                  "crop: expected x,y,w,h with x, y from 0 and w, h above 0, got " + Shown(text));
  if (static_cast<long>(c.x) + c.w > width || static_cast<long>(c.y) + c.h > height)
    return Refuse(r,
                  "crop: " + text + " reaches outside the " + SizeText(width, height) + " picture");
  *out = c;
  return true;
}

// Each named value at most once and no other names, so that a mistyped
// request is refused instead of quietly rendering defaults.
bool CheckNames(const httplib::Request& req, const std::vector<std::string>& known, Refusal* r) {
  for (const auto& p : req.params) {
    if (std::find(known.begin(), known.end(), p.first) == known.end())
      return Refuse(r, "unknown value " + Shown(p.first));
    if (req.get_param_value_count(p.first.c_str()) > 1)
      return Refuse(r, p.first + ": given more than once");
  }
  return true;
}

std::string Param(const httplib::Request& req, const char* name) {
  return req.has_param(name) ? req.get_param_value(name) : std::string();
}

bool ParseSettings(const httplib::Request& req, int width, int height, Settings* s, Refusal* r) {
  if (!CheckNames(req, {"effect", "param0", "param1", "crop", "mode", "full"}, r)) return false;
  if (!req.has_param("effect")) return Refuse(r, "effect: missing");
  EffectOptions fx;
  fx.effect = CheckEffect(Param(req, "effect"), r);
  if (!fx.effect) return false;
  fx.hasParam0 = req.has_param("param0");
  if (fx.hasParam0 && !CheckParam0(Param(req, "param0"), *fx.effect, &fx.param0, r)) return false;
  fx.hasParam1 = req.has_param("param1");
  if (fx.hasParam1 && !CheckParam1(Param(req, "param1"), &fx.param1, r)) return false;
  s->request = MakeRequest(fx);
  if (!CheckCrop(Param(req, "crop"), width, height, &s->crop, r)) return false;
  const std::string mode = req.has_param("mode") ? Param(req, "mode") : "preview";
  if (mode != "preview" && mode != "capture")
    return Refuse(r, "mode: expected preview or capture, got " + Shown(mode));
  s->mode = mode == "preview" ? Mode::kPreview : Mode::kCapture;
  const std::string full = req.has_param("full") ? Param(req, "full") : "0";
  if (full != "0" && full != "1") return Refuse(r, "full: expected 0 or 1, got " + Shown(full));
  s->full = full == "1";
  return true;
}

// "GPU-effect=4;GE-param0=...;GE-param1=..." as found in a camera's
// configuration; other keys are left to the camera.
bool ParseParameterString(const std::string& text, EffectRequest* out, Refusal* r) {
  std::string effect, p0, p1;
  size_t start = 0;
  while (start <= text.size()) {
    const size_t end = std::min(text.find(';', start), text.size());
    const std::string item = text.substr(start, end - start);
    const size_t eq = item.find('=');
    const std::string key = item.substr(0, eq);
    const std::string value = eq == std::string::npos ? "" : item.substr(eq + 1);
    if (key == "GPU-effect") effect = value;
    if (key == "GE-param0") p0 = value;
    if (key == "GE-param1") p1 = value;
    start = end + 1;
  }
  if (effect.size() != 1)
    return Refuse(r, "GPU-effect: expected one character, got " + Shown(effect));
  EffectOptions fx;
  fx.effect = ParseEffect(effect);
  if (!fx.effect || fx.effect->code != effect[0])
    return Refuse(r, "GPU-effect: " + Shown(effect) + " selects no effect");
  fx.hasParam0 = !p0.empty();
  if (fx.hasParam0 && !CheckParam0(p0, *fx.effect, &fx.param0, r)) return false;
  fx.hasParam1 = !p1.empty();
  if (fx.hasParam1 && !CheckParam1(p1, &fx.param1, r)) return false;
  *out = MakeRequest(fx);
  return true;
}

json RequestJson(const EffectRequest& request) {
  return {{"effect", request.effect->number},
          {"param0", request.param0},
          {"param1", request.param1},
          {"string", ParameterString(request)}};
}

json EffectsJson() {
  int dw = 0, dh = 0;
  DisplaySize(&dw, &dh);
  json effects = json::array();
  for (const EffectInfo& e : Effects()) {
    effects.push_back({{"number", e.number},
                       {"code", std::string(1, e.code)},
                       {"name", e.name},
                       {"param0", e.param0},
                       {"param1", e.param1},
                       {"min", e.param0Min},
                       {"max", e.param0Max},
                       {"points", e.param1IsPosition},
                       {"defaultParam0", e.defaultParam0},
                       {"defaultParam1", DefaultParam1(e, dw, dh)}});
  }
  return effects;
}

// A picture shown live goes out as JPEG, encoded from the frame's planes in
// a few milliseconds; a saved one as PNG, exactly.
constexpr int kLiveQuality = 90;

void SendPicture(const PaddedFrame& picture, bool live, httplib::Response& res) {
  std::vector<uint8_t> bytes;
  std::string error;
  const bool ok =
      live ? EncodeJpeg(picture.frame, picture.width, picture.height, kLiveQuality, &bytes, &error)
           : EncodePng(Unpad(picture), false, {}, &bytes, &error);
  if (!ok) {
    res.status = 500;
    res.set_content(error, "text/plain");
    return;
  }
  res.set_content(reinterpret_cast<const char*>(bytes.data()), bytes.size(),
                  live ? "image/jpeg" : "image/png");
}

}  // namespace

// The picture as loaded, and the frame the page works on: the same, or
// shrunk by a whole factor to fit the preview size.
struct TuneServer::Picture {
  std::string name;
  std::shared_ptr<const PaddedFrame> full;
  std::shared_ptr<const PaddedFrame> work;
  int factor = 1;
};

TuneServer::TuneServer(const Context& ctx, Size previewSize)
    : ctx_(ctx),
      previewSize_(previewSize),
      http_(std::make_unique<httplib::Server>()),
      renderer_(ctx.backend) {
  Routes();
}

TuneServer::~TuneServer() = default;

bool TuneServer::Start(std::string* error) { return renderer_.Start(error); }

void TuneServer::SetPicture(const PaddedFrame& picture, const std::string& name) {
  auto p = std::make_shared<Picture>();
  p->name = name;
  p->full = std::make_shared<const PaddedFrame>(picture);
  p->factor = ShrinkFactor(picture.width, picture.height, previewSize_);
  p->work = p->factor == 1
                ? p->full
                : std::make_shared<const PaddedFrame>(ShrinkToFit(picture, previewSize_));
  std::lock_guard<std::mutex> lock(mutex_);
  picture_ = std::move(p);
}

std::shared_ptr<const TuneServer::Picture> TuneServer::Current() {
  std::lock_guard<std::mutex> lock(mutex_);
  return picture_;
}

int TuneServer::Bind(int port) {
  port_ = port == 0 ? http_->bind_to_any_port("127.0.0.1") : port;
  if (port != 0 && !http_->bind_to_port("127.0.0.1", port)) port_ = -1;
  return port_;
}

void TuneServer::Listen() { http_->listen_after_bind(); }

void TuneServer::Stop() { http_->stop(); }

void TuneServer::Routes() {
  httplib::Server& http = *http_;
  http.set_payload_max_length(kMaxUploadBytes);

  // Only this machine's own names: a page elsewhere that rebinds its name to
  // 127.0.0.1 is refused.
  http.set_pre_routing_handler([this](const httplib::Request& req, httplib::Response& res) {
    const std::string host = req.get_header_value("Host");
    const std::string port = ":" + std::to_string(port_);
    if (host == "127.0.0.1" + port || host == "localhost" + port)
      return httplib::Server::HandlerResponse::Unhandled;
    res.status = 403;
    res.set_content("Host " + Shown(host) + " is not this machine's tuning page", "text/plain");
    Line(ctx_.err, "tune: refused a request for Host " + Shown(host));
    return httplib::Server::HandlerResponse::Handled;
  });
  http.set_error_handler([](const httplib::Request& req, httplib::Response& res) {
    if (!res.body.empty()) return;
    std::string text = "malformed request";
    if (res.status == 404) text = "no such page: " + Shown(req.path);
    if (res.status == 413)
      text = "the picture is larger than " + std::to_string(kMaxUploadBytes >> 20) + " MB";
    res.set_content(text, "text/plain");
  });

  const auto refuse = [this](httplib::Response& res, const Refusal& r) {
    res.status = r.status;
    res.set_content(r.message, "text/plain");
    Line(ctx_.err, "tune: refused: " + r.message);
  };

  struct PageFile {
    const char* path;
    const char* body;
    const char* type;
  };
  static const PageFile kFiles[] = {
      {"/", kPage_index_html, "text/html; charset=utf-8"},
      {"/tune.js", kPage_tune_js, "text/javascript; charset=utf-8"},
      {"/tune.css", kPage_tune_css, "text/css; charset=utf-8"},
  };
  for (const PageFile& f : kFiles) {
    http.Get(f.path, [&f](const httplib::Request&, httplib::Response& res) {
      res.set_content(f.body, f.type);
    });
  }

  http.Get("/api/info", [this](const httplib::Request&, httplib::Response& res) {
    const auto p = Current();
    int dw = 0, dh = 0;
    DisplaySize(&dw, &dh);
    const json info = {{"effects", EffectsJson()},
                       {"display", {{"width", dw}, {"height", dh}}},
                       {"picture",
                        {{"name", p->name},
                         {"width", p->full->width},
                         {"height", p->full->height},
                         {"factor", p->factor},
                         {"workWidth", p->work->width},
                         {"workHeight", p->work->height}}}};
    res.set_header("Cache-Control", "no-store");
    res.set_content(info.dump(), "application/json");
  });

  http.Get("/api/before.jpg", [this](const httplib::Request&, httplib::Response& res) {
    res.set_header("Cache-Control", "no-store");
    SendPicture(*Current()->work, true, res);
  });

  http.Get("/api/render", [this, refuse](const httplib::Request& req, httplib::Response& res) {
    const auto p = Current();
    Settings s;
    Refusal r;
    if (!ParseSettings(req, p->full->width, p->full->height, &s, &r)) return refuse(res, r);
    RenderJob job;
    job.request = s.request;
    job.mode = s.mode;
    job.replaceable = !s.full;
    const std::shared_ptr<const PaddedFrame> picture = s.full ? p->full : p->work;
    job.frame = std::shared_ptr<const Nv21Frame>(picture, &picture->frame);
    if (s.full) {
      job.crop = s.crop;
      // A still larger than the preview goes through as a capture in blocks.
      if (p->factor > 1) job.mode = Mode::kCapture;
    } else {
      const int f = p->factor;
      job.crop = Crop{s.crop.x / f, s.crop.y / f, std::max(s.crop.w / f, s.crop.w > 0 ? 1 : 0),
                      std::max(s.crop.h / f, s.crop.h > 0 ? 1 : 0)};
    }
    const Nv21Frame& frame = *job.frame;
    job.previewSize = previewSize_.width <= frame.width && previewSize_.height <= frame.height
                          ? previewSize_
                          : LargestPreviewWithin(frame.width, frame.height);
    const auto t0 = std::chrono::steady_clock::now();
    RenderResult result = renderer_.Render(job);
    const auto t1 = std::chrono::steady_clock::now();
    if (result.status == RenderResult::Status::kSuperseded) {
      res.status = 409;
      res.set_content("replaced by a newer request", "text/plain");
      return;
    }
    if (result.status == RenderResult::Status::kFailed) {
      // The values were fine; the library refused them (an effect this
      // build leaves out, say).
      return refuse(res, Refusal{422, result.error});
    }
    res.set_header("Cache-Control", "no-store");
    res.set_header("X-Parameter-String", ParameterString(s.request));
    if (s.full)
      res.set_header("Content-Disposition", "attachment; filename=\"posteffect-" +
                                                std::to_string(s.request.effect->number) +
                                                ".png\"");
    SendPicture(PaddedFrame{std::move(result.frame), picture->width, picture->height}, !s.full,
                res);
    // Where the time went (waiting and rendering, then converting and
    // encoding), for the browser's network panel and the round-trip script.
    const auto ms = [](auto d) { return std::chrono::duration<double, std::milli>(d).count(); };
    char timing[96];
    std::snprintf(timing, sizeof timing, "render;dur=%.1f, encode;dur=%.1f", ms(t1 - t0),
                  ms(std::chrono::steady_clock::now() - t1));
    res.set_header("Server-Timing", timing);
  });

  http.Get("/api/parse", [refuse](const httplib::Request& req, httplib::Response& res) {
    Refusal r;
    EffectRequest request;
    if (!CheckNames(req, {"string"}, &r) ||
        !ParseParameterString(Param(req, "string"), &request, &r))
      return refuse(res, r);
    res.set_content(RequestJson(request).dump(), "application/json");
  });

  http.Post("/api/picture", [this, refuse](const httplib::Request& req, httplib::Response& res) {
    Refusal r;
    // The body is the picture itself, never a form to be parsed into values.
    if (req.get_header_value("Content-Type").find("form") != std::string::npos)
      return refuse(res, Refusal{415, "picture: send the file itself as the body, not a form"});
    if (!CheckNames(req, {"name"}, &r)) return refuse(res, r);
    // The name is only shown; nothing is opened by it.
    const std::string name = Shown(req.has_param("name") ? Param(req, "name") : "upload");
    const std::vector<uint8_t> bytes(req.body.begin(), req.body.end());
    const auto starts = [&](std::initializer_list<uint8_t> magic) {
      return bytes.size() >= magic.size() && std::equal(magic.begin(), magic.end(), bytes.begin());
    };
    const FileKind kind = starts({0x89, 'P', 'N', 'G'}) ? FileKind::kPng
                          : starts({0xFF, 0xD8, 0xFF})  ? FileKind::kJpeg
                                                        : FileKind::kUnknown;
    if (kind == FileKind::kUnknown)
      return refuse(res, Refusal{415, "picture: " + name + " is not a JPEG or PNG picture"});
    Input in;
    std::string error, note;
    if (!DecodePicture(bytes, kind, name, kMaxUploadPixels, &in, &error, &note))
      return refuse(res, Refusal{422, "picture: " + error});
    if (!note.empty()) Line(ctx_.err, "tune: note: " + note);
    SetPicture(in.picture, name);
    res.set_content("{}", "application/json");
  });

  http.Post("/api/chart", [this, refuse](const httplib::Request& req, httplib::Response& res) {
    Refusal r;
    if (!CheckNames(req, {"size"}, &r)) return refuse(res, r);
    const std::string text = req.has_param("size") ? Param(req, "size") : "1280x720";
    Size size;
    if (!ParseSize(text, &size) || size.width % kFrameWidthStep || size.height % 2 ||
        size.width > kMaxChartSide || size.height > kMaxChartSide)
      return refuse(
          res, Refusal{400, "size: expected WxH up to " + SizeText(kMaxChartSide, kMaxChartSide) +
                                ", W a multiple of 16 and H even, got " + Shown(text)});
    Input in;
    std::string error, note;
    LoadInput("", true, size, &in, &error, &note);
    SetPicture(in.picture, "test chart");
    res.set_content("{}", "application/json");
  });
}

}  // namespace pe::cli
