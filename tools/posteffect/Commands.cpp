#include "Commands.h"

#include <posteffect/IPostEffect.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <set>

#include "ColorConvert.h"
#include "CommandSupport.h"
#include "Drawing.h"
#include "ImageIO.h"
#include "VideoCommand.h"

namespace pe::cli {

namespace {

constexpr int kMaxPreviewSide = 4096;  // a preview is one texture
constexpr Size kDefaultCapturePreview{1280, 720};
constexpr int kStreamSlots = 3;  // a small ring, as a camera's buffer queue
constexpr Size kGalleryTileMax{640, 360};

constexpr const char kUsage[] =
    "usage: posteffect <command> [options]\n"
    "\n"
    "Runs pictures through libposteffect the way a camera service does: frames\n"
    "in shared memory, handed over as file descriptor, base and offset.\n"
    "\n"
    "commands:\n"
    "  list      the effects, their GPU-effect characters and parameters\n"
    "  apply     one picture (JPEG, PNG or raw NV21) or video file through one effect\n"
    "  stream    raw NV21 frames from stdin to stdout, for video pipelines\n"
    "  gallery   every effect on one picture, as a labelled grid\n"
    "  tune      a page in the browser to tune an effect and copy its parameters\n"
    "\n"
    "'posteffect <command> --help' tells more. Without an input picture the\n"
    "built-in test chart is used. The library's own log lines are off unless\n"
    "POSTEFFECT_LOG_MASK is set (10: errors, 7F: everything).\n";

constexpr const char kEffectHelp[] =
    "  --effect E            effect number (0..18), GPU-effect character or name;\n"
    "                        see 'posteffect list'\n"
    "  --param0 a[,b,c,d]    parameter quadruple 0, missing values 0 (default: per effect)\n"
    "  --param1 x0,y0,x1,y1  two points in display coordinates (POSTEFFECT_DISPLAY,\n"
    "                        default 1920x1080); default: the display centre and an\n"
    "                        edge point chosen per effect\n"
    "  --crop x,y,w,h        zoom to this rectangle of the picture (default: all)\n";

constexpr const char kApplyUsage[] =
    "usage: posteffect apply --effect E [options] [IN] OUT\n"
    "       posteffect apply --effect E [options] IN... DIR/\n"
    "\n"
    "Runs IN, or the built-in test chart, through one effect and writes OUT. The\n"
    "file type follows the extension: .jpg/.jpeg, .png, or .nv21/.yuv for one raw\n"
    "NV21 frame. Pictures keep their size; the effect sees them turned as their EXIF\n"
    "orientation says, and they are written upright with their metadata (EXIF, XMP,\n"
    "ICC profile, PNG text). OUT appears only when complete.\n"
    "\n"
    "With an existing directory last, every IN (a picture, or a directory whose\n"
    "JPEG and PNG files are taken and other files left out) goes into it under its\n"
    "own name through one service object; a picture that fails is named and the\n"
    "rest go on, and a summary closes the run.\n"
    "\n"
    "Video files (.mp4, .mov, .mkv, .webm) go through GStreamer with their audio:\n"
    "'posteffect apply --effect E in.mp4 out.mp4 --help' lists their options.\n"
    "\n"
    "options:\n";

constexpr const char kApplyOptionsHelp[] =
    "  --mode preview|capture\n"
    "                        preview: the picture is one preview frame (at most\n"
    "                        4096x4096); capture: a still processed in preview-sized\n"
    "                        blocks; default: preview up to 1920x1080, capture above\n"
    "  --preview-size WxH    the preview behind a capture, implies --mode capture\n"
    "                        (default 1280x720, or the largest common preview size\n"
    "                        that fits the picture)\n"
    "  --size WxH            size of a raw NV21 input, or of the test chart\n"
    "                        (default 1280x720)\n"
    "  --format jpg|png      with DIR/: write this type instead of each input's own\n";

constexpr const char kStreamUsage[] =
    "usage: posteffect stream --size WxH --effect E [options]\n"
    "\n"
    "Reads raw NV21 frames of WxH from stdin, runs each through the effect as a\n"
    "preview frame and writes it to stdout; progress and frame rate go to stderr.\n"
    "For example:\n"
    "  ffmpeg -i in.mp4 -f rawvideo -pix_fmt nv21 - |\n"
    "    posteffect stream --size 1280x720 --effect 4 |\n"
    "    ffmpeg -f rawvideo -pix_fmt nv21 -s 1280x720 -i - out.mp4\n"
    "\n"
    "options:\n"
    "  --size WxH            frame size, even (required)\n";

constexpr const char kGalleryUsage[] =
    "usage: posteffect gallery [options] [IN] OUT\n"
    "\n"
    "Runs IN, or the built-in test chart, through every effect and writes one\n"
    "picture (.png or .jpg) of labelled tiles. Effects the library refuses are\n"
    "left out with a note.\n"
    "\n"
    "options:\n"
    "  --size WxH            size of a raw NV21 input, or of the test chart\n"
    "                        (default 1280x720)\n";

const std::vector<OptionDef> kEffectOptionDefs = {
    {"--effect", true}, {"--param0", true}, {"--param1", true}, {"--crop", true}};

bool IsEven(Size s) { return s.width % 2 == 0 && s.height % 2 == 0; }

}  // namespace

bool ParseEffectOptions(const ParsedArgs& parsed, EffectOptions* fx, std::string* error) {
  if (!parsed.Has("--effect")) {
    *error = "--effect is required (see 'posteffect list')";
    return false;
  }
  const std::string& name = parsed.values.at("--effect");
  fx->effect = ParseEffect(name);
  if (!fx->effect) {
    *error = "unknown effect '" + name + "' (see 'posteffect list')";
    return false;
  }
  if (parsed.Has("--param0")) {
    const std::string& text = parsed.values.at("--param0");
    if (!ParseQuad(text, 1, &fx->param0)) {
      *error = "--param0: expected 1 to 4 comma-separated integers, got '" + text + "'";
      return false;
    }
    fx->hasParam0 = true;
  }
  if (parsed.Has("--param1")) {
    const std::string& text = parsed.values.at("--param1");
    if (!ParseQuad(text, 4, &fx->param1)) {
      *error = "--param1: expected four comma-separated integers x0,y0,x1,y1, got '" + text + "'";
      return false;
    }
    fx->hasParam1 = true;
  }
  if (parsed.Has("--crop")) {
    const std::string& text = parsed.values.at("--crop");
    if (!ParseCrop(text, &fx->crop)) {
      *error = "--crop: expected x,y,w,h with x, y from 0 and w, h above 0, got '" + text + "'";
      return false;
    }
    fx->hasCrop = true;
  }
  return true;
}

namespace {

bool ParseEvenSize(const ParsedArgs& parsed, const char* name, Size* size, std::string* error) {
  const std::string& text = parsed.values.at(name);
  if (!ParseSize(text, size) || !IsEven(*size) || size->width > 16384 || size->height > 16384) {
    *error = std::string(name) + ": expected an even size WxH such as 1280x720, got '" + text + "'";
    return false;
  }
  return true;
}

bool CheckInput(const std::string& input, bool hasSize, std::string* error) {
  if (input.empty()) return true;
  const FileKind in = KindOfPath(input);
  if (in == FileKind::kUnknown) {
    *error = "unsupported input type '" + input + "' (use .jpg, .jpeg, .png, .nv21 or .yuv)";
    return false;
  }
  if (in == FileKind::kRawNv21 && !hasSize) {
    *error = "raw NV21 input '" + input + "' needs --size WxH";
    return false;
  }
  if (in != FileKind::kRawNv21 && hasSize) {
    *error = "--size applies to raw NV21 input or the test chart, not '" + input + "'";
    return false;
  }
  return true;
}

bool CheckInputOutput(const std::string& input, const std::string& output, bool hasSize,
                      bool rawOutputAllowed, std::string* error) {
  if (!CheckInput(input, hasSize, error)) return false;
  const FileKind out = KindOfPath(output);
  if (out == FileKind::kUnknown || (out == FileKind::kRawNv21 && !rawOutputAllowed)) {
    *error = "unsupported output type '" + output + "' (use " +
             (rawOutputAllowed ? ".jpg, .jpeg, .png, .nv21 or .yuv)" : ".jpg, .jpeg or .png)");
    return false;
  }
  return true;
}

bool FitsPreview(int w, int h, int maxLong, int maxShort) {
  return std::max(w, h) <= maxLong && std::min(w, h) <= maxShort;
}

double SecondsSince(std::chrono::steady_clock::time_point t0) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

// One w x h frame in slot 0 through the effect with its default parameters;
// the caller stops the preview. No crop: the library scales a crop by the
// frame's width, not by its 32-pixel rows, so a whole-frame crop of a width
// off that grouping would stretch the rows' padding into the picture.
bool PreviewWithDefaults(Service& service, const SharedHeap& heap, const EffectInfo& effect, int w,
                         int h, std::string* error) {
  EffectOptions fx;
  fx.effect = &effect;
  return service.Select(MakeRequest(fx), Crop{}, error) && service.StartPreview(w, h, error) &&
         service.Preview(heap, 0, error);
}

// Which effects this library really runs: each gets one small preview frame.
bool ProbeEffects(const Backend& backend, std::vector<bool>* offered, std::string* error) {
  constexpr int kSide = 64;
  SharedHeap heap;
  Service service(backend);
  if (!heap.Create(kSide * kSide * 3 / 2, 1, error) || !service.Start(error)) return false;
  for (const EffectInfo& e : Effects()) {
    std::memset(heap.Slot(0), 128, kSide * kSide * 3 / 2);
    std::string ignored;
    const bool ok = PreviewWithDefaults(service, heap, e, kSide, kSide, &ignored);
    service.StopPreview(&ignored);
    offered->push_back(ok);
  }
  return true;
}

int List(const std::vector<std::string>& args, const Context& ctx) {
  ParsedArgs parsed;
  std::string error;
  if (!ParseArgs(args, {}, &parsed, &error) || !parsed.positional.empty()) {
    Line(ctx.err,
         "list: " + (error.empty() ? "unexpected argument '" + parsed.positional[0] + "'" : error));
    return kExitUsage;
  }
  if (parsed.help) {
    std::fputs(
        "usage: posteffect list\n\nThe effects by number, the GPU-effect character that "
        "selects each,\nits name and what its two parameter quadruples mean.\n",
        ctx.out);
    return kExitOk;
  }
  std::vector<bool> offered;
  if (!ProbeEffects(ctx.backend, &offered, &error))
    Line(ctx.err, "note: could not ask the library which effects it offers: " + error);
  std::fprintf(ctx.out, "%-3s %-4s %-18s %s\n", "N", "char", "name", "parameters");
  for (size_t i = 0; i < Effects().size(); ++i) {
    const EffectInfo& e = Effects()[i];
    std::fprintf(ctx.out, "%-3d %-4c %-18s param0: %s\n", e.number, e.code, e.name, e.param0);
    std::fprintf(ctx.out, "%-27s param1: %s\n", "", e.param1);
    if (!offered.empty() && !offered[i])
      std::fprintf(ctx.out, "%-27s (refused by this library)\n", "");
  }
  int dw = 0, dh = 0;
  DisplaySize(&dw, &dh);
  std::fprintf(ctx.out,
               "\nparam1 points are in display coordinates (%dx%d, set by POSTEFFECT_DISPLAY);\n"
               "the library maps them onto the frame.\n",
               dw, dh);
  return kExitOk;
}

// One picture from input (empty: the test chart) through the effect into
// output: the exit code, messages through progress. Where the per-picture
// work starts, whether for one picture or many.
int ApplyPicture(const ApplyOptions& o, const std::string& input, const std::string& output,
                 PictureRunner& runner, Progress& progress, const Context& ctx) {
  // Among many pictures, every message names the one it is about.
  const auto say = [&](const std::string& text) {
    const std::string name = "'" + input + "'";
    progress.Note(o.many && text.find(name) == std::string::npos ? name + ": " + text : text);
  };
  Input in;
  std::string error, note;
  if (!LoadInput(input, o.hasSize, o.size, &in, &error, &note)) {
    say(error);
    return kExitFailure;
  }
  if (!note.empty()) say("note: " + note);
  PaddedFrame& picture = in.picture;
  Nv21Frame& frame = picture.frame;
  Crop crop;
  if (!ResolveCrop(o.fx, picture.width, picture.height, &crop, &error)) {
    say("apply: " + error);
    return kExitUsage;
  }
  Mode mode = Mode::kPreview;
  Size preview{frame.width, frame.height};
  if (o.mode == ModeChoice::kCapture ||
      (o.mode == ModeChoice::kAuto && !FitsPreview(frame.width, frame.height, 1920, 1088))) {
    mode = Mode::kCapture;
    preview = o.hasPreviewSize ? o.previewSize : LargestPreviewWithin(frame.width, frame.height);
    if (preview.width > frame.width || preview.height > frame.height) {
      say("apply: --preview-size " + SizeText(preview.width, preview.height) +
          " does not fit in the " + SizeText(frame.width, frame.height) + " picture");
      return kExitUsage;
    }
  } else if (!FitsPreview(frame.width, frame.height, kMaxPreviewSide, kMaxPreviewSide)) {
    say("apply: a " + SizeText(frame.width, frame.height) +
        " picture is larger than a preview can be (" + SizeText(kMaxPreviewSide, kMaxPreviewSide) +
        "); use --mode capture");
    return kExitUsage;
  }

  const auto t0 = std::chrono::steady_clock::now();
  if (ctx.progress && !o.many) {
    Line(ctx.err,
         std::string("running ") + o.fx.effect->name + " on " +
             SizeText(picture.width, picture.height) +
             (mode == Mode::kPreview ? " as a preview frame"
                                     : " as a capture behind a " +
                                           SizeText(preview.width, preview.height) + " preview"));
  }
  if (!runner.Run(MakeRequest(o.fx), crop, mode, preview, &frame, &error)) {
    say(error);
    return kExitFailure;
  }
  // A raw frame goes out as the library left it; anything else as the picture shown.
  const bool whole = frame.width == picture.width && frame.height == picture.height;
  const bool written = KindOfPath(output) == FileKind::kRawNv21 && whole
                           ? WriteImageFile(output, frame, &error)
                           : WriteImageFile(output, Unpad(picture), &error, &in.meta, &note);
  if (!written) {
    say(error);
    return kExitFailure;
  }
  if (!note.empty()) say("note: " + note);
  if (ctx.progress && !o.many) {
    char done[96];
    std::snprintf(done, sizeof done, "wrote '%s' in %.2f s", output.c_str(), SecondsSince(t0));
    Line(ctx.err, done);
  }
  return kExitOk;
}

std::string BaseName(const std::string& path) {
  return std::filesystem::path(path).filename().string();
}

// Many inputs into a directory, each output complete or absent; a picture
// that fails is named and the rest go on.
int ApplyMany(const ApplyOptions& o, PictureRunner& runner, const Context& ctx) {
  namespace fs = std::filesystem;
  std::vector<std::string> inputs;
  int failed = 0;
  Progress progress(ctx, 0);
  for (const std::string& in : o.inputs) {
    std::error_code ec;
    if (!fs::is_directory(in, ec)) {
      inputs.push_back(in);
      continue;
    }
    // A directory gives its JPEG and PNG files, in name order.
    std::vector<std::string> found;
    int skipped = 0;
    for (const auto& entry : fs::directory_iterator(in, ec)) {
      const std::string path = entry.path().string();
      const FileKind kind = KindOfPath(path);
      std::error_code broken;  // a dangling link, say: left out like any other non-picture
      if (entry.is_regular_file(broken) && (kind == FileKind::kJpeg || kind == FileKind::kPng))
        found.push_back(path);
      else
        ++skipped;
    }
    if (ec) {
      progress.Note("cannot list '" + in + "': " + ec.message());
      ++failed;
    }
    if (skipped)
      progress.Note("note: '" + in + "': left out " + std::to_string(skipped) +
                    (skipped == 1 ? " entry that is not a JPEG or PNG file"
                                  : " entries that are not JPEG or PNG files"));
    std::sort(found.begin(), found.end());
    inputs.insert(inputs.end(), found.begin(), found.end());
  }

  const int listFailures = failed;
  Progress steps(ctx, static_cast<int>(inputs.size()));
  std::set<std::string> outputs;
  for (size_t i = 0; i < inputs.size(); ++i) {
    const std::string& in = inputs[i];
    steps.Step(static_cast<int>(i), BaseName(in));
    fs::path out = fs::path(o.output) / BaseName(in);
    if (!o.format.empty()) out.replace_extension(o.format);
    std::error_code ec;
    std::string refusal;
    if (!outputs.insert(out.lexically_normal().string()).second)
      refusal = "'" + in + "': another input already gives '" + out.string() + "'";
    else if (fs::equivalent(in, out, ec))
      refusal = "'" + in + "': its output would replace it";
    if (!refusal.empty()) {
      steps.Note(refusal);
      ++failed;
      continue;
    }
    failed += ApplyPicture(o, in, out.string(), runner, steps, ctx) != kExitOk;
  }
  steps.Finish();
  Line(ctx.err, std::to_string(inputs.size() + listFailures - failed) + " done, " +
                    std::to_string(failed) + " failed");
  return failed ? kExitFailure : kExitOk;
}

int Apply(const std::vector<std::string>& args, const Context& ctx) {
  if (NamesVideoFile(args)) return ApplyVideo(args, ctx);
  ApplyOptions o;
  bool help = false;
  std::string error;
  if (!ParseApplyOptions(args, &o, &help, &error)) {
    Line(ctx.err, "apply: " + error);
    return kExitUsage;
  }
  if (help) {
    std::fprintf(ctx.out, "%s%s%s", kApplyUsage, kEffectHelp, kApplyOptionsHelp);
    return kExitOk;
  }
  PictureRunner runner(ctx.backend);
  if (o.many) return ApplyMany(o, runner, ctx);
  Progress quiet(ctx, 1);
  return ApplyPicture(o, o.input, o.output, runner, quiet, ctx);
}

// Fills buf from in; returns the byte count, short only at the end of input
// or on an error.
size_t ReadFull(std::FILE* in, uint8_t* buf, size_t size) {
  size_t got = 0;
  while (got < size) {
    const size_t n = std::fread(buf + got, 1, size - got, in);
    if (n == 0) break;
    got += n;
  }
  return got;
}

int Stream(const std::vector<std::string>& args, const Context& ctx) {
  StreamOptions o;
  bool help = false;
  std::string error;
  if (!ParseStreamOptions(args, &o, &help, &error)) {
    Line(ctx.err, "stream: " + error);
    return kExitUsage;
  }
  if (help) {
    std::fprintf(ctx.out, "%s%s", kStreamUsage, kEffectHelp);
    return kExitOk;
  }
  const int w = o.size.width, h = o.size.height;
  Crop crop;
  if (!ResolveCrop(o.fx, w, h, &crop, &error)) {
    Line(ctx.err, "stream: " + error);
    return kExitUsage;
  }
  const size_t frameBytes = Nv21Frame::Bytes(w, h);
  SharedHeap heap;
  Service service(ctx.backend);
  if (!heap.Create(frameBytes, kStreamSlots, &error) || !service.Start(&error) ||
      !service.Select(MakeRequest(o.fx), crop, &error) || !service.StartPreview(w, h, &error)) {
    Line(ctx.err, error);
    return kExitFailure;
  }

  const auto t0 = std::chrono::steady_clock::now();
  double lastReport = 0;
  long frames = 0;
  for (;; ++frames) {
    const int slot = static_cast<int>(frames % kStreamSlots);
    const size_t got = ReadFull(ctx.in, heap.Slot(slot), frameBytes);
    if (got == 0 && !std::ferror(ctx.in)) break;
    if (got < frameBytes) {
      if (std::ferror(ctx.in)) {
        Line(ctx.err, std::string("cannot read frame ") + std::to_string(frames + 1) +
                          " from stdin: " + std::strerror(errno));
      } else {
        Line(ctx.err, "stdin ended inside frame " + std::to_string(frames + 1) + ": " +
                          std::to_string(got) + " of " + std::to_string(frameBytes) +
                          " bytes of a " + SizeText(w, h) + " NV21 frame");
      }
      return kExitFailure;
    }
    if (!service.Preview(heap, slot, &error)) {
      Line(ctx.err, "frame " + std::to_string(frames + 1) + ": " + error);
      return kExitFailure;
    }
    if (std::fwrite(heap.Slot(slot), 1, frameBytes, ctx.out) != frameBytes) {
      Line(ctx.err, "cannot write frame " + std::to_string(frames + 1) +
                        " to stdout: " + std::strerror(errno));
      return kExitFailure;
    }
    const double t = SecondsSince(t0);
    if (ctx.progress && t - lastReport >= 1.0) {
      std::fprintf(ctx.err, "\rposteffect: %ld frames, %.1f fps ", frames + 1, (frames + 1) / t);
      std::fflush(ctx.err);
      lastReport = t;
    }
  }
  if (std::fflush(ctx.out) != 0) {
    Line(ctx.err, std::string("cannot write to stdout: ") + std::strerror(errno));
    return kExitFailure;
  }
  if (!service.StopPreview(&error)) {
    Line(ctx.err, error);
    return kExitFailure;
  }
  const double t = SecondsSince(t0);
  char summary[128];
  std::snprintf(summary, sizeof summary, "%ld frames of %s in %.2f s, %.1f fps", frames,
                SizeText(w, h).c_str(), t, t > 0 ? frames / t : 0.0);
  if (ctx.progress) std::fputc('\r', ctx.err);
  Line(ctx.err, summary);
  return kExitOk;
}

int Gallery(const std::vector<std::string>& args, const Context& ctx) {
  GalleryOptions o;
  bool help = false;
  std::string error;
  if (!ParseGalleryOptions(args, &o, &help, &error)) {
    Line(ctx.err, "gallery: " + error);
    return kExitUsage;
  }
  if (help) {
    std::fputs(kGalleryUsage, ctx.out);
    return kExitOk;
  }
  Input source;
  std::string note;
  if (!LoadInput(o.input, o.hasSize, o.size, &source, &error, &note)) {
    Line(ctx.err, error);
    return kExitFailure;
  }
  if (!note.empty()) Line(ctx.err, "note: " + note);
  const PaddedFrame tile = ShrinkToFit(source.picture, kGalleryTileMax);
  const Nv21Frame& tileFrame = tile.frame;
  const int tw = tile.width, th = tile.height;  // as shown; the frame may be padded

  SharedHeap heap;
  Service service(ctx.backend);
  if (!heap.Create(tileFrame.data.size(), 1, &error) || !service.Start(&error)) {
    Line(ctx.err, error);
    return kExitFailure;
  }
  struct Tile {
    const EffectInfo* effect;
    RgbImage image;
  };
  std::vector<Tile> tiles;
  std::string refused;  // one note for them all, not a line each
  Progress progress(ctx, static_cast<int>(Effects().size()));
  for (const EffectInfo& e : Effects()) {
    progress.Step(e.number, e.name);
    std::memcpy(heap.Slot(0), tileFrame.data.data(), tileFrame.data.size());
    if (!PreviewWithDefaults(service, heap, e, tileFrame.width, tileFrame.height, &error)) {
      const int code = service.lastResult();
      std::string ignored;
      service.StopPreview(&ignored);
      const std::string name = std::to_string(e.number) + " (" + e.name + ")";
      if (code == PE_RESULT_PREVIEW_START_FAILED) {
        refused += (refused.empty() ? "" : ", ") + name;
      } else {
        progress.Note("note: skipping effect " + name + ": " + error);
      }
      continue;
    }
    if (!service.StopPreview(&error)) {
      Line(ctx.err, error);
      return kExitFailure;
    }
    PaddedFrame out = tile;
    std::memcpy(out.frame.data.data(), heap.Slot(0), out.frame.data.size());
    tiles.push_back(Tile{&e, Unpad(out)});
  }
  progress.Finish();
  if (!refused.empty()) Line(ctx.err, "note: effects this library refuses: " + refused);
  if (tiles.empty()) {
    Line(ctx.err, "gallery: the library ran none of the effects; nothing written");
    return kExitFailure;
  }

  const int scale = tw >= 200 ? 2 : 1;
  const int margin = 8;
  const int labelH = kGlyphHeight * scale + 2 * 4;
  const int cols = std::min<int>(4, static_cast<int>(tiles.size()));
  const int rows = (static_cast<int>(tiles.size()) + cols - 1) / cols;
  RgbImage sheet(cols * (tw + margin) + margin, rows * (th + labelH + margin) + margin);
  FillRect(&sheet, 0, 0, sheet.width, sheet.height, Rgb{24, 24, 24});
  for (size_t i = 0; i < tiles.size(); ++i) {
    const int x = margin + static_cast<int>(i % cols) * (tw + margin);
    const int y = margin + static_cast<int>(i / cols) * (th + labelH + margin);
    const std::string label = std::to_string(tiles[i].effect->number) + " " + tiles[i].effect->name;
    const int s = TextWidth(label, scale) <= tw ? scale : 1;
    DrawText(&sheet, x, y + (labelH - kGlyphHeight * s) / 2, label, s, Rgb{235, 235, 235});
    Blit(&sheet, tiles[i].image, x, y + labelH);
  }
  if (!WriteImageFile(o.output, sheet, &error)) {
    Line(ctx.err, error);
    return kExitFailure;
  }
  return kExitOk;
}

}  // namespace

Size LargestPreviewWithin(int width, int height) {
  static const Size kPreviews[] = {{1280, 720}, {960, 540}, {800, 480}, {720, 480}, {640, 480},
                                   {640, 360},  {352, 288}, {320, 240}, {176, 144}};
  if (width >= kDefaultCapturePreview.width && height >= kDefaultCapturePreview.height)
    return kDefaultCapturePreview;
  for (const Size& s : kPreviews)
    if (s.width <= width && s.height <= height) return s;
  return Size{width & ~1, height & ~1};
}

// "[--size WxH] [IN] OUT", shared by apply and gallery.
static bool ParseFiles(const ParsedArgs& parsed, bool rawOutput, bool* hasSize, Size* size,
                       std::string* input, std::string* output, std::string* error) {
  if (parsed.Has("--size")) {
    if (!ParseEvenSize(parsed, "--size", size, error)) return false;
    *hasSize = true;
  }
  const auto& pos = parsed.positional;
  if (pos.empty() || pos.size() > 2) {
    *error = pos.empty()
                 ? "no output file given"
                 : "too many files: '" + pos[2] + "' (several pictures go into a directory)";
    return false;
  }
  *output = pos.back();
  if (pos.size() == 2) *input = pos[0];
  return CheckInputOutput(*input, *output, *hasSize, rawOutput, error);
}

bool ParseApplyOptions(const std::vector<std::string>& args, ApplyOptions* options, bool* help,
                       std::string* error) {
  std::vector<OptionDef> defs = kEffectOptionDefs;
  defs.push_back({"--mode", true});
  defs.push_back({"--preview-size", true});
  defs.push_back({"--size", true});
  defs.push_back({"--format", true});
  ParsedArgs parsed;
  if (!ParseArgs(args, defs, &parsed, error)) return false;
  *help = parsed.help;
  if (parsed.help) return true;
  ApplyOptions o;
  if (!ParseEffectOptions(parsed, &o.fx, error)) return false;
  if (parsed.Has("--mode")) {
    const std::string& m = parsed.values.at("--mode");
    if (m == "preview") {
      o.mode = ModeChoice::kPreview;
    } else if (m == "capture") {
      o.mode = ModeChoice::kCapture;
    } else {
      *error = "--mode: expected preview or capture, got '" + m + "'";
      return false;
    }
  }
  if (parsed.Has("--preview-size")) {
    if (o.mode == ModeChoice::kPreview) {
      *error = "--preview-size is for captures; in preview mode the picture is the preview";
      return false;
    }
    if (!ParseEvenSize(parsed, "--preview-size", &o.previewSize, error)) return false;
    o.hasPreviewSize = true;
    o.mode = ModeChoice::kCapture;
  }
  // A directory last (an existing one, or any path ending in '/') takes many.
  const auto& pos = parsed.positional;
  std::error_code ec;
  o.many = !pos.empty() && (pos.back().back() == '/' ||
                            (pos.size() > 1 && std::filesystem::is_directory(pos.back(), ec)));
  if (!o.many) {
    if (parsed.Has("--format")) {
      *error = "--format is for pictures written into a directory; OUT's extension says the type";
      return false;
    }
    return ParseFiles(parsed, true, &o.hasSize, &o.size, &o.input, &o.output, error) &&
           (*options = o, true);
  }
  o.output = pos.back();
  o.inputs.assign(pos.begin(), pos.end() - 1);
  if (!std::filesystem::is_directory(o.output, ec)) {
    *error = "no directory '" + o.output + "' to write into";
    return false;
  }
  if (o.inputs.empty()) {
    *error = "no input pictures for '" + o.output + "'";
    return false;
  }
  if (parsed.Has("--size") && !ParseEvenSize(parsed, "--size", &o.size, error)) return false;
  o.hasSize = parsed.Has("--size");
  for (const std::string& in : o.inputs)
    if (!std::filesystem::is_directory(in, ec) && !CheckInput(in, o.hasSize, error)) return false;
  if (parsed.Has("--format")) {
    const std::string& f = parsed.values.at("--format");
    if (f != "jpg" && f != "jpeg" && f != "png") {
      *error = "--format: expected jpg or png, got '" + f + "'";
      return false;
    }
    o.format = "." + f;
  }
  *options = o;
  return true;
}

bool ParseStreamOptions(const std::vector<std::string>& args, StreamOptions* options, bool* help,
                        std::string* error) {
  std::vector<OptionDef> defs = kEffectOptionDefs;
  defs.push_back({"--size", true});
  ParsedArgs parsed;
  if (!ParseArgs(args, defs, &parsed, error)) return false;
  *help = parsed.help;
  if (parsed.help) return true;
  StreamOptions o;
  if (!parsed.positional.empty()) {
    *error = "unexpected argument '" + parsed.positional[0] + "' (frames come from stdin)";
    return false;
  }
  if (!parsed.Has("--size")) {
    *error = "--size WxH is required";
    return false;
  }
  if (!ParseEvenSize(parsed, "--size", &o.size, error)) return false;
  if (!FitsPreview(o.size.width, o.size.height, kMaxPreviewSide, kMaxPreviewSide)) {
    *error = "--size " + SizeText(o.size.width, o.size.height) +
             " is larger than a preview can be (" + SizeText(kMaxPreviewSide, kMaxPreviewSide) +
             ")";
    return false;
  }
  if (!ParseEffectOptions(parsed, &o.fx, error)) return false;
  *options = o;
  return true;
}

bool ParseGalleryOptions(const std::vector<std::string>& args, GalleryOptions* options, bool* help,
                         std::string* error) {
  ParsedArgs parsed;
  if (!ParseArgs(args, {{"--size", true}}, &parsed, error)) return false;
  *help = parsed.help;
  if (parsed.help) return true;
  GalleryOptions o;
  if (!ParseFiles(parsed, false, &o.hasSize, &o.size, &o.input, &o.output, error)) return false;
  *options = o;
  return true;
}

int Run(const std::vector<std::string>& args, const Context& ctx) {
  if (args.empty()) {
    std::fputs(kUsage, ctx.err);
    return kExitUsage;
  }
  const std::string& command = args[0];
  const std::vector<std::string> rest(args.begin() + 1, args.end());
  if (command == "-h" || command == "--help" || command == "help") {
    std::fputs(kUsage, ctx.out);
    return kExitOk;
  }
  try {
    if (command == "list") return List(rest, ctx);
    if (command == "apply") return Apply(rest, ctx);
    if (command == "stream") return Stream(rest, ctx);
    if (command == "gallery") return Gallery(rest, ctx);
    if (command == "tune") return Tune(rest, ctx);
  } catch (const std::exception& e) {
    // Only allocation can throw here: a picture too large for this machine.
    Line(ctx.err, std::string("out of memory: ") + e.what());
    return kExitFailure;
  }
  Line(ctx.err, "unknown command '" + command + "' (try 'posteffect --help')");
  return kExitUsage;
}

}  // namespace pe::cli
