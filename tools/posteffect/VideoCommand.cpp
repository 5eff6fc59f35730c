#include "VideoCommand.h"

#include <gst/gst.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "CommandSupport.h"
#include "ImageIO.h"

namespace pe::cli {
namespace {

constexpr const char kVideoUsage[] =
    "usage: posteffect apply --effect E [options] IN OUT\n"
    "\n"
    "With a video file for IN and OUT (.mp4, .mov, .mkv or .webm), every frame\n"
    "goes through the effect and the audio is kept. OUT's extension picks the\n"
    "codecs: H.264 and AAC in .mp4 and .mov, H.264 and Opus in .mkv, VP8 and\n"
    "Opus in .webm. A progress line shows on a terminal; OUT appears only when\n"
    "complete.\n"
    "\n"
    "options:\n"
    "  --effect E            effect number, GPU-effect character or name\n"
    "  --param0 a[,b,c,d]    parameter quadruple 0 (default: per effect)\n"
    "  --param1 x0,y0,x1,y1  two points in the video's own pixels\n"
    "  --crop x,y,w,h        zoom to this rectangle of the video (default: all)\n";

// Visually lossless, so the look and nothing else shows.
constexpr const char kX264[] = "x264enc pass=qual quantizer=18";
constexpr const char kVp8[] =
    "vp8enc end-usage=cq cq-level=10 target-bitrate=20000000 deadline=1 cpu-used=4";
constexpr const char kVp9[] =
    "vp9enc end-usage=cq cq-level=10 target-bitrate=20000000 deadline=1 cpu-used=4";

struct Container {
  const char* extension;
  const char* muxer;
  // Encoders by preference, each a launch-line fragment; the first
  // installed one is used.
  std::vector<const char*> video, audio;
};

const std::vector<const char*> kAac = {"avenc_aac", "voaacenc", "fdkaacenc"};
const std::vector<const char*> kOpus = {"opusenc", "vorbisenc"};
const Container kContainers[] = {{".mp4", "mp4mux", {kX264}, kAac},
                                 {".mov", "qtmux", {kX264}, kAac},
                                 {".mkv", "matroskamux", {kX264}, kOpus},
                                 {".webm", "webmmux", {kVp8, kVp9}, kOpus}};

const Container* ContainerOf(const std::string& path) {
  for (const Container& c : kContainers) {
    const size_t n = std::strlen(c.extension);
    if (path.size() > n && g_ascii_strcasecmp(path.c_str() + path.size() - n, c.extension) == 0)
      return &c;
  }
  return nullptr;
}

// The first candidate whose element is installed, with its settings; empty
// when none is.
std::string FirstInstalled(const std::vector<const char*>& candidates) {
  for (const char* fragment : candidates) {
    const std::string name(fragment, std::strcspn(fragment, " "));
    if (GstElementFactory* f = gst_element_factory_find(name.c_str())) {
      gst_object_unref(f);
      return fragment;
    }
  }
  return "";
}

std::string Names(const std::vector<const char*>& candidates) {
  std::string names;
  for (const char* fragment : candidates)
    names += (names.empty() ? "" : ", ") + std::string(fragment, std::strcspn(fragment, " "));
  return names;
}

// The element as GStreamer knows it (installed, or on GST_PLUGIN_PATH);
// else the one installed beside this tool, else the one built with it.
bool FindElement(std::string* error) {
  GstRegistry* registry = gst_registry_get();
  auto known = [registry] {
    GstPluginFeature* f = gst_registry_lookup_feature(registry, "posteffect");
    if (f) gst_object_unref(f);
    return f != nullptr;
  };
  if (known()) return true;
  std::vector<std::string> dirs;
  char exe[4096];
  const ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
  if (n > 0) {
    const std::string path(exe, static_cast<size_t>(n));
    dirs.push_back(path.substr(0, path.rfind('/')) + "/../" PE_GST_PLUGIN_DIR);
  }
  dirs.push_back(PE_GST_BUILD_DIR);
  for (const std::string& dir : dirs) {
    gst_registry_scan_path(registry, dir.c_str());
    if (known()) return true;
  }
  *error =
      "the GStreamer element 'posteffect' is not installed (build it, or point "
      "GST_PLUGIN_PATH at its directory)";
  return false;
}

// One run: what the pipeline's callbacks need, on GStreamer's threads.
struct Job {
  const Container* container = nullptr;
  EffectOptions fx;
  std::string input, output, videoEncoder;
  GstElement* pipeline = nullptr;
  GstElement* mux = nullptr;
  std::mutex mutex;  // pads come from the decoder's threads
  bool hasVideo = false, hasAudio = false;
  std::atomic<int> fpsN{0}, fpsD{1};
  std::atomic<unsigned long> frames{0};
};

// Ends the run with text as its error line, from any thread.
void Fail(Job* job, GstElement* from, const std::string& text) {
  GstStructure* s =
      gst_structure_new("posteffect-failure", "text", G_TYPE_STRING, text.c_str(), nullptr);
  gst_element_post_message(job->pipeline, gst_message_new_application(GST_OBJECT(from), s));
}

GstPadProbeReturn CountFrame(GstPad*, GstPadProbeInfo*, gpointer job) {
  static_cast<Job*>(job)->frames.fetch_add(1, std::memory_order_relaxed);
  return GST_PAD_PROBE_OK;
}

// The effect on the first video stream, the first audio stream re-encoded;
// further streams (a second angle, subtitles) are dropped.
std::string Branch(Job* job, GstElement* decoder, const GstStructure* caps, bool* toMux) {
  const char* kind = gst_structure_get_name(caps);
  *toMux = true;
  if (g_str_has_prefix(kind, "video/") && !job->hasVideo) {
    job->hasVideo = true;
    int w = 0, h = 0;
    gst_structure_get_int(caps, "width", &w);
    gst_structure_get_int(caps, "height", &h);
    int n = 0, d = 1;
    if (gst_structure_get_fraction(caps, "framerate", &n, &d)) job->fpsN = n, job->fpsD = d;
    Crop crop;
    std::string error;
    if (!ResolveCrop(job->fx, w, h, &crop, &error)) {
      Fail(job, decoder, "apply: " + error);
      return "";
    }
    return "queue ! videoconvert ! posteffect name=fx ! videoconvert ! " + job->videoEncoder;
  }
  if (g_str_has_prefix(kind, "audio/") && !job->hasAudio) {
    job->hasAudio = true;
    const std::string encoder = FirstInstalled(job->container->audio);
    if (encoder.empty()) {
      Fail(job, decoder,
           "no audio encoder for " + std::string(job->container->extension) + " installed (" +
               Names(job->container->audio) + "): run scripts/deps.sh");
      return "";
    }
    return "queue ! audioconvert ! audioresample ! " + encoder;
  }
  *toMux = false;
  return "fakesink async=false";
}

void Configure(const Job& job, GstElement* fx) {
  gst_util_set_object_arg(G_OBJECT(fx), "effect", std::to_string(job.fx.effect->number).c_str());
  if (job.fx.hasParam0) g_object_set(fx, "param0", QuadText(job.fx.param0).c_str(), nullptr);
  if (job.fx.hasParam1) g_object_set(fx, "param1", QuadText(job.fx.param1).c_str(), nullptr);
  const Crop& c = job.fx.crop;
  if (job.fx.hasCrop) g_object_set(fx, "crop", QuadText({c.x, c.y, c.w, c.h}).c_str(), nullptr);
  GstPad* src = gst_element_get_static_pad(fx, "src");
  gst_pad_add_probe(src, GST_PAD_PROBE_TYPE_BUFFER, CountFrame, const_cast<Job*>(&job), nullptr);
  gst_object_unref(src);
}

void OnPadAdded(GstElement* decoder, GstPad* pad, gpointer data) {
  Job* job = static_cast<Job*>(data);
  std::lock_guard<std::mutex> lock(job->mutex);
  GstCaps* caps = gst_pad_get_current_caps(pad);
  if (!caps) caps = gst_pad_query_caps(pad, nullptr);
  bool toMux = false;
  const std::string branch = Branch(job, decoder, gst_caps_get_structure(caps, 0), &toMux);
  gst_caps_unref(caps);
  if (branch.empty()) return;
  GError* err = nullptr;
  GstElement* bin = gst_parse_bin_from_description(branch.c_str(), TRUE, &err);
  if (!bin) {
    Fail(job, decoder, "cannot build '" + branch + "': " + err->message);
    g_error_free(err);
    return;
  }
  if (GstElement* fx = gst_bin_get_by_name(GST_BIN(bin), "fx")) {
    Configure(*job, fx);
    gst_object_unref(fx);
  }
  gst_bin_add(GST_BIN(job->pipeline), bin);
  GstPad* sink = gst_element_get_static_pad(bin, "sink");
  if ((toMux && !gst_element_link(bin, job->mux)) || gst_pad_link(pad, sink) != GST_PAD_LINK_OK)
    Fail(job, decoder, "cannot put the stream of '" + job->input + "' into " + job->output);
  gst_object_unref(sink);
  gst_element_sync_state_with_parent(bin);
}

void OnNoMorePads(GstElement* decoder, gpointer data) {
  Job* job = static_cast<Job*>(data);
  std::lock_guard<std::mutex> lock(job->mutex);
  if (!job->hasVideo) Fail(job, decoder, "'" + job->input + "' has no video stream");
}

bool Build(Job* job, int fd, std::string* error) {
  job->pipeline = gst_pipeline_new("posteffect-apply");
  GstElement* src = gst_element_factory_make("filesrc", nullptr);
  GstElement* decoder = gst_element_factory_make("decodebin", nullptr);
  job->mux = gst_element_factory_make(job->container->muxer, nullptr);
  GstElement* sink = gst_element_factory_make("fdsink", "sink");
  if (!src || !decoder || !job->mux || !sink) {
    for (GstElement* e : {src, decoder, job->mux, sink})
      if (e) gst_object_unref(e);
    *error = std::string("GStreamer's filesrc, decodebin, fdsink or ") + job->container->muxer +
             " is missing: run scripts/deps.sh";
    return false;
  }
  g_object_set(src, "location", job->input.c_str(), nullptr);
  g_object_set(sink, "fd", fd, nullptr);
  gst_bin_add_many(GST_BIN(job->pipeline), src, decoder, job->mux, sink, nullptr);
  gst_element_link(src, decoder);
  gst_element_link(job->mux, sink);
  g_signal_connect(decoder, "pad-added", G_CALLBACK(OnPadAdded), job);
  g_signal_connect(decoder, "no-more-pads", G_CALLBACK(OnNoMorePads), job);
  return true;
}

// "'in.mp4': what went wrong", naming the output when writing failed.
std::string Describe(const Job& job, GstMessage* m) {
  if (GST_MESSAGE_TYPE(m) == GST_MESSAGE_APPLICATION)
    return gst_structure_get_string(gst_message_get_structure(m), "text");
  GError* err = nullptr;
  gchar* debug = nullptr;
  if (GST_MESSAGE_TYPE(m) == GST_MESSAGE_ERROR)
    gst_message_parse_error(m, &err, &debug);
  else
    gst_message_parse_warning(m, &err, &debug);
  const bool writing =
      GST_MESSAGE_SRC(m) == GST_OBJECT(job.mux) || g_strcmp0(GST_MESSAGE_SRC_NAME(m), "sink") == 0;
  const std::string text = (writing ? "cannot write '" + job.output : "'" + job.input) +
                           "': " + (err ? err->message : "failed");
  g_clear_error(&err);
  g_free(debug);
  return text;
}

void ShowProgress(const Job& job, const Context& ctx, double seconds) {
  gint64 duration = -1;
  const unsigned long done = job.frames.load(std::memory_order_relaxed);
  unsigned long total = 0;
  if (job.fpsN > 0 && gst_element_query_duration(job.pipeline, GST_FORMAT_TIME, &duration))
    total = gst_util_uint64_scale_round(duration, job.fpsN, job.fpsD * GST_SECOND);
  if (total >= done && done > 0)
    std::fprintf(ctx.err, "\rposteffect: frame %lu of %lu, %.0f s left   ", done, total,
                 seconds * (total - done) / done);
  else
    std::fprintf(ctx.err, "\rposteffect: frame %lu   ", done);
  std::fflush(ctx.err);
}

// Plays the pipeline to its end; the error line otherwise.
bool Play(Job* job, const Context& ctx, std::string* error) {
  const auto t0 = std::chrono::steady_clock::now();
  const auto seconds = [t0] {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  };
  GstBus* bus = gst_element_get_bus(job->pipeline);
  const bool started =
      gst_element_set_state(job->pipeline, GST_STATE_PLAYING) != GST_STATE_CHANGE_FAILURE;
  const auto types = static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR |
                                                 GST_MESSAGE_WARNING | GST_MESSAGE_APPLICATION);
  bool ok = false;
  for (;;) {
    GstMessage* m = gst_bus_timed_pop_filtered(bus, started ? 250 * GST_MSECOND : 0, types);
    if (!m) {
      if (!started) {
        *error = "'" + job->input + "': the pipeline did not start";
        break;
      }
      if (ctx.progress) ShowProgress(*job, ctx, seconds());
      continue;
    }
    // Other elements' warnings leave the output whole; the effect's mean
    // a frame left unprocessed.
    const bool ends =
        GST_MESSAGE_TYPE(m) != GST_MESSAGE_WARNING || g_strcmp0(GST_MESSAGE_SRC_NAME(m), "fx") == 0;
    ok = GST_MESSAGE_TYPE(m) == GST_MESSAGE_EOS;
    if (ends && !ok) *error = Describe(*job, m);
    gst_message_unref(m);
    if (ends) break;
  }
  gst_element_set_state(job->pipeline, GST_STATE_NULL);
  gst_object_unref(bus);
  if (ok && ctx.progress) {
    char done[160];
    std::snprintf(done, sizeof done, "\nposteffect: wrote '%s': %lu frames in %.1f s\n",
                  job->output.c_str(), job->frames.load(), seconds());
    std::fputs(done, ctx.err);
  } else if (ctx.progress) {
    std::fputc('\n', ctx.err);
  }
  return ok;
}

}  // namespace

bool NamesVideoFile(const std::vector<std::string>& args) {
  return std::any_of(args.begin(), args.end(),
                     [](const std::string& a) { return ContainerOf(a) != nullptr; });
}

int ApplyVideo(const std::vector<std::string>& args, const Context& ctx) {
  ParsedArgs parsed;
  std::string error;
  Job job;
  if (!ParseArgs(args,
                 {{"--effect", true}, {"--param0", true}, {"--param1", true}, {"--crop", true}},
                 &parsed, &error) ||
      (!parsed.help && !ParseEffectOptions(parsed, &job.fx, &error))) {
    Line(ctx.err, "apply: " + error);
    return kExitUsage;
  }
  if (parsed.help) {
    std::fputs(kVideoUsage, ctx.out);
    return kExitOk;
  }
  const auto& files = parsed.positional;
  if (files.size() != 2 || !ContainerOf(files[0]) || !ContainerOf(files[1])) {
    Line(ctx.err, "apply: a video goes from one video file to another (.mp4, .mov, .mkv or .webm)");
    return kExitUsage;
  }
  job.input = files[0];
  job.output = files[1];
  job.container = ContainerOf(job.output);
  GError* err = nullptr;
  if (!gst_init_check(nullptr, nullptr, &err)) {
    Line(ctx.err, std::string("apply: GStreamer did not start: ") + err->message);
    g_error_free(err);
    return kExitFailure;
  }
  job.videoEncoder = FirstInstalled(job.container->video);
  if (job.videoEncoder.empty())
    error = std::string("no video encoder for ") + job.container->extension + " installed (" +
            Names(job.container->video) + "): run scripts/deps.sh";
  AtomicFile file(job.output);
  const bool ok = error.empty() && FindElement(&error) && file.Open(&error) &&
                  Build(&job, fileno(file.stream()), &error) && Play(&job, ctx, &error) &&
                  file.Commit(&error);
  if (job.pipeline) gst_object_unref(job.pipeline);
  if (!ok) {
    Line(ctx.err, error);
    return kExitFailure;
  }
  return kExitOk;
}

}  // namespace pe::cli
