#include <cstdio>

#include "CommandSupport.h"
#include "ImageIO.h"
#include "TuneServer.h"

namespace pe::cli {

namespace {

constexpr int kDefaultPort = 8750;

constexpr const char kTuneUsage[] =
    "usage: posteffect tune [options] [PICTURE]\n"
    "\n"
    "Serves a page on 127.0.0.1 where an effect's parameters are tuned on\n"
    "PICTURE (JPEG or PNG; default: the built-in test chart) and copied out as\n"
    "the camera parameter string. Pictures can also be dropped onto the page.\n"
    "It runs until interrupted.\n"
    "\n"
    "options:\n"
    "  --port N              port to listen on (default 8750; 0: any free port)\n"
    "  --preview-size WxH    the largest picture the page works on; larger ones\n"
    "                        are shown shrunk and saved at full size as captures\n"
    "                        behind a preview of this size (default 1280x720)\n";

}  // namespace

int Tune(const std::vector<std::string>& args, const Context& ctx) {
  ParsedArgs parsed;
  std::string error;
  if (!ParseArgs(args, {{"--port", true}, {"--preview-size", true}}, &parsed, &error) ||
      parsed.positional.size() > 1) {
    Line(ctx.err,
         "tune: " + (error.empty() ? "too many pictures: '" + parsed.positional[1] + "'" : error));
    return kExitUsage;
  }
  if (parsed.help) {
    std::fputs(kTuneUsage, ctx.out);
    return kExitOk;
  }
  int port = kDefaultPort;
  if (parsed.Has("--port")) {
    std::vector<int> v;
    if (!ParseIntList(parsed.values.at("--port"), 1, 1, &v) || v[0] < 0 || v[0] > 65535) {
      Line(ctx.err, "tune: --port: expected 0 to 65535, got '" + parsed.values.at("--port") + "'");
      return kExitUsage;
    }
    port = v[0];
  }
  Size preview = kDefaultChart;
  if (parsed.Has("--preview-size")) {
    const std::string& text = parsed.values.at("--preview-size");
    if (!ParseSize(text, &preview) || preview.width % kFrameWidthStep || preview.height % 2 ||
        preview.width > 4096 || preview.height > 4096) {
      Line(ctx.err,
           "tune: --preview-size: expected WxH up to 4096x4096, W a multiple of 16 and "
           "H even, got '" +
               text + "'");
      return kExitUsage;
    }
  }
  const std::string input = parsed.positional.empty() ? "" : parsed.positional[0];
  const FileKind kind = input.empty() ? FileKind::kPng : KindOfPath(input);
  if (kind != FileKind::kJpeg && kind != FileKind::kPng) {
    Line(ctx.err, "tune: unsupported picture '" + input + "' (use .jpg, .jpeg or .png)");
    return kExitUsage;
  }
  Input in;
  std::string note;
  if (!LoadInput(input, false, Size{}, &in, &error, &note)) {
    Line(ctx.err, error);
    return kExitFailure;
  }
  if (!note.empty()) Line(ctx.err, "note: " + note);
  TuneServer server(ctx, preview);
  server.SetPicture(in.picture, input.empty() ? "test chart" : input);
  if (!server.Start(&error)) {
    Line(ctx.err, error);
    return kExitFailure;
  }
  const int bound = server.Bind(port);
  if (bound < 0) {
    Line(ctx.err, "tune: cannot listen on 127.0.0.1:" + std::to_string(port) +
                      " (in use? --port 0 picks a free one)");
    return kExitFailure;
  }
  std::fprintf(ctx.out, "posteffect: tuning page at http://127.0.0.1:%d/\n", bound);
  std::fflush(ctx.out);
  server.Listen();
  return kExitOk;
}

}  // namespace pe::cli
