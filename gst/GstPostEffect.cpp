/**
 * SECTION:element-posteffect
 *
 * Applies one of the library's GPU effects to video in place: NV21 as
 * cameras hand it to the library, NV12 and I420 as decoders and cameras give
 * it, each given back in its own format. Preview mode processes every buffer
 * as a camera preview frame; capture mode processes every buffer as a still,
 * walked in blocks of preview-size so that GPU memory stays bounded whatever
 * the still's size.
 *
 * ## Example launch lines
 * |[
 * gst-launch-1.0 v4l2src ! video/x-raw,format=NV12 ! \
 *     posteffect effect=vignette param1=640,360,900,360 ! autovideosink
 * gst-launch-1.0 filesrc location=in.mp4 ! decodebin ! posteffect effect=dof ! \
 *     x264enc ! mp4mux ! filesink location=out.mp4
 * gst-launch-1.0 filesrc location=in.jpg ! jpegdec ! posteffect mode=capture \
 *     preview-size=1280x720 effect=vintage param0=3,0,0,0 ! jpegenc ! filesink location=out.jpg
 * ]|
 */
#include "GstPostEffect.h"

#include <gst/allocators/gstfdmemory.h>
#include <gst/video/video.h>
#include <posteffect/IPostEffect.h>
#include <utils/String8.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Effects.h"
#include "Options.h"
#include "Service.h"

GST_DEBUG_CATEGORY_STATIC(gst_post_effect_debug);
#define GST_CAT_DEFAULT gst_post_effect_debug

using pe::cli::Crop;
using pe::cli::Quad;
using pe::cli::QuadText;
using pe::cli::Size;

namespace {

enum { PROP_0, PROP_EFFECT, PROP_PARAM0, PROP_PARAM1, PROP_CROP, PROP_MODE, PROP_PREVIEW_SIZE };

enum PostEffectMode { MODE_PREVIEW, MODE_CAPTURE };

// The library expands frame rows in groups of 16 pixels and needs even
// sizes; other frames travel through a padded copy.
constexpr int kWidthStep = 16;
constexpr int kMaxSide = 16384;
constexpr Size kDefaultPreview = {1280, 720};

// What the properties hold. Written by the setters, copied by the streaming
// thread, both under the object lock; generation tells a change apart.
struct Settings {
  int effect = 0;
  bool hasParam0 = false, hasParam1 = false;
  Quad param0{}, param1{};  // param1 in the frame's own pixels
  Crop crop;                // zero size: none
  PostEffectMode mode = MODE_PREVIEW;
  Size preview = kDefaultPreview;
  unsigned generation = 0;
};

struct Layout;

// Streaming-thread state: the service object and the frame it is handed.
struct Stream {
  IPostEffect* service = nullptr;
  pe::cli::SharedHeap heap;
  int width = 0, height = 0;        // the caps
  const Layout* layout = nullptr;   // how the caps' format holds chroma
  int libWidth = 0, libHeight = 0;  // the frame the library takes
  bool previewing = false;
  PostEffectMode mode = MODE_PREVIEW;
  Size preview{};
  bool applied = false;
  unsigned appliedGeneration = 0;
  const char* failedCall = "";  // the call behind the last result other than done
};

}  // namespace

struct _GstPostEffect {
  GstVideoFilter parent;
  Settings* settings;
  Stream* stream;
};

G_DEFINE_TYPE(GstPostEffect, gst_post_effect, GST_TYPE_VIDEO_FILTER)

namespace {

GstStaticPadTemplate kSinkTemplate = GST_STATIC_PAD_TEMPLATE(
    "sink", GST_PAD_SINK, GST_PAD_ALWAYS,
    GST_STATIC_CAPS(
        "video/x-raw, format = (string) { NV21, NV12, I420 }, width = (int) [ 1, 16384 ], "
        "height = (int) [ 1, 16384 ], framerate = (fraction) [ 0, MAX ]"));
GstStaticPadTemplate kSrcTemplate = GST_STATIC_PAD_TEMPLATE(
    "src", GST_PAD_SRC, GST_PAD_ALWAYS,
    GST_STATIC_CAPS(
        "video/x-raw, format = (string) { NV21, NV12, I420 }, width = (int) [ 1, 16384 ], "
        "height = (int) [ 1, 16384 ], framerate = (fraction) [ 0, MAX ]"));

std::string Nick(const char* name) {
  std::string nick;
  for (const char* c = name; *c; ++c)
    nick += *c == ' ' || *c == '_' ? '-' : static_cast<char>(g_ascii_tolower(*c));
  return nick;
}

// The effects as 'posteffect list' names them, up to the library's bound.
GType EffectEnumType() {
  static gsize type = 0;
  if (g_once_init_enter(&type)) {
    const unsigned bound = pe::cli::EffectBound();
    // Read by the type system for the life of the process.
    static std::vector<GEnumValue> kValues;
    std::vector<GEnumValue>* values = &kValues;
    for (const pe::cli::EffectInfo& e : pe::cli::Effects()) {
      if (static_cast<unsigned>(e.number) >= bound) continue;
      values->push_back({e.number, e.name, g_intern_string(Nick(e.name).c_str())});
    }
    values->push_back({0, nullptr, nullptr});
    g_once_init_leave(&type, g_enum_register_static("GstPostEffectEffect", values->data()));
  }
  return static_cast<GType>(type);
}

GType ModeEnumType() {
  static gsize type = 0;
  static const GEnumValue kValues[] = {
      {MODE_PREVIEW, "Every buffer is a preview frame", "preview"},
      {MODE_CAPTURE, "Every buffer is a still, processed in preview-sized blocks", "capture"},
      {0, nullptr, nullptr}};
  if (g_once_init_enter(&type))
    g_once_init_leave(&type, g_enum_register_static("GstPostEffectMode", kValues));
  return static_cast<GType>(type);
}

// The smallest display coordinate the library maps back onto pixel p of a
// frame side of the given length.
int ToDisplay(int p, int frame, int display) {
  const long long n = static_cast<long long>(p) * display;
  return static_cast<int>(n >= 0 ? (n + frame - 1) / frame : -(-n / frame));
}

void Refuse(GstPostEffect* self, const char* property, const char* value, const char* expected,
            const std::string& kept) {
  g_warning("%s: refusing %s '%s' (%s); keeping '%s'", GST_OBJECT_NAME(self), property,
            value ? value : "(null)", expected, kept.c_str());
}

// Posts what a result other than done means: failures of the effect stop
// the stream, a full queue or a cancel only leave the buffer unprocessed.
GstFlowReturn Report(GstPostEffect* self, int result) {
  const std::string what = pe::cli::DescribeResult(result);
  const char* call = self->stream->failedCall;
  if (result == PE_RESULT_PREVIEW_START_FAILED || result == PE_RESULT_CAPTURE_FAILED) {
    GST_ELEMENT_ERROR(self, STREAM, FAILED, ("posteffect: %s", what.c_str()),
                      ("the library answered %s with result %d (%s)", call, result, what.c_str()));
    return GST_FLOW_ERROR;
  }
  GST_ELEMENT_WARNING(self, STREAM, FAILED,
                      ("posteffect: %s; buffer left unprocessed", what.c_str()),
                      ("the library answered %s with result %d (%s)", call, result, what.c_str()));
  return GST_FLOW_OK;
}

// The library's result, remembering which call gave one other than done.
int Call(Stream& st, const char* call, int result) {
  if (result != PE_RESULT_DONE) st.failedCall = call;
  return result;
}

Settings ReadSettings(GstPostEffect* self) {
  GST_OBJECT_LOCK(self);
  const Settings s = *self->settings;
  GST_OBJECT_UNLOCK(self);
  return s;
}

int StopPreview(Stream& st) {
  if (!st.previewing) return PE_RESULT_DONE;
  st.previewing = false;
  return Call(st, "stopPreview", st.service->stopPreview());
}

// Starts the preview the mode needs: the frame's own size, or the block size
// of the still walk.
int StartPreview(GstPostEffect* self, const Settings& s) {
  Stream& st = *self->stream;
  if (const int result = StopPreview(st)) return result;
  const Size size = s.mode == MODE_PREVIEW ? Size{st.libWidth, st.libHeight} : s.preview;
  GST_DEBUG_OBJECT(self, "startPreview %dx%d", size.width, size.height);
  if (const int result =
          Call(st, "startPreview", st.service->startPreview(size.width, size.height)))
    return result;
  st.previewing = true;
  st.mode = s.mode;
  st.preview = s.preview;
  st.applied = false;
  return PE_RESULT_DONE;
}

// Hands changed settings to the library before the buffer they apply to.
int Apply(GstPostEffect* self, const Settings& s) {
  Stream& st = *self->stream;
  if (s.mode != st.mode || (s.mode == MODE_CAPTURE && (s.preview.width != st.preview.width ||
                                                       s.preview.height != st.preview.height))) {
    if (const int result = StartPreview(self, s)) return result;
  }
  if (st.applied && st.appliedGeneration == s.generation) return PE_RESULT_DONE;

  pe::cli::EffectRequest request;
  request.effect = pe::cli::FindEffect(s.effect);
  request.param0 = s.hasParam0 ? s.param0 : request.effect->defaultParam0;
  int dw = 0, dh = 0;
  pe::cli::DisplaySize(&dw, &dh);
  const Quad& p = s.param1;
  request.param1 = s.hasParam1
                       ? Quad{ToDisplay(p[0], st.libWidth, dw), ToDisplay(p[1], st.libHeight, dh),
                              ToDisplay(p[2], st.libWidth, dw), ToDisplay(p[3], st.libHeight, dh)}
                       : pe::cli::DefaultParam1(*request.effect, dw, dh);
  Crop crop = s.crop;
  if (static_cast<long>(crop.x) + crop.w > st.width ||
      static_cast<long>(crop.y) + crop.h > st.height) {
    GST_ELEMENT_WARNING(self, LIBRARY, SETTINGS, ("posteffect: crop outside the frame"),
                        ("crop %d,%d,%d,%d reaches outside the %dx%d frame; no crop used", crop.x,
                         crop.y, crop.w, crop.h, st.width, st.height));
    crop = Crop{};
  }
  const std::string params = pe::cli::ParameterString(request);
  GST_DEBUG_OBJECT(self, "setParameters %s, setCrop %d,%d,%d,%d", params.c_str(), crop.x, crop.y,
                   crop.w, crop.h);
  if (const int result =
          Call(st, "setParameters", st.service->setParameters(android::String8(params.c_str()))))
    return result;
  // A zero crop restores the effect's own.
  if (const int result = Call(st, "setCrop", st.service->setCrop(crop.x, crop.y, crop.w, crop.h)))
    return result;
  st.applied = true;
  st.appliedGeneration = s.generation;
  return PE_RESULT_DONE;
}

// One chroma row between a frame's layout and the library's V,U pairs,
// pairs pairs long. Plain loops over whole rows: the compiler vectorises them.
using ChromaIn = void (*)(const uint8_t* p1, const uint8_t* p2, uint8_t* vu, int pairs);
using ChromaOut = void (*)(const uint8_t* vu, uint8_t* p1, uint8_t* p2, int pairs);

void CopyPairs(const uint8_t* __restrict src, const uint8_t*, uint8_t* __restrict dst, int pairs) {
  std::memcpy(dst, src, static_cast<size_t>(pairs) * 2);
}
// U,V pairs to V,U pairs and back.
void SwapPairs(const uint8_t* __restrict src, const uint8_t*, uint8_t* __restrict dst, int pairs) {
  for (int i = 0; i < pairs; ++i) {
    dst[2 * i] = src[2 * i + 1];
    dst[2 * i + 1] = src[2 * i];
  }
}
void Interleave(const uint8_t* __restrict u, const uint8_t* __restrict v, uint8_t* __restrict vu,
                int pairs) {
  for (int i = 0; i < pairs; ++i) {
    vu[2 * i] = v[i];
    vu[2 * i + 1] = u[i];
  }
}
void CopyPairsOut(const uint8_t* __restrict src, uint8_t* __restrict dst, uint8_t*, int pairs) {
  std::memcpy(dst, src, static_cast<size_t>(pairs) * 2);
}
void SwapPairsOut(const uint8_t* __restrict src, uint8_t* __restrict dst, uint8_t*, int pairs) {
  SwapPairs(src, nullptr, dst, pairs);
}
void Deinterleave(const uint8_t* __restrict vu, uint8_t* __restrict u, uint8_t* __restrict v,
                  int pairs) {
  for (int i = 0; i < pairs; ++i) {
    v[i] = vu[2 * i];
    u[i] = vu[2 * i + 1];
  }
}

struct Layout {
  GstVideoFormat format;
  ChromaIn in;
  ChromaOut out;
};
// The formats the sink takes; the source gives back the one it was given.
constexpr Layout kLayouts[] = {{GST_VIDEO_FORMAT_NV21, CopyPairs, CopyPairsOut},
                               {GST_VIDEO_FORMAT_NV12, SwapPairs, SwapPairsOut},
                               {GST_VIDEO_FORMAT_I420, Interleave, Deinterleave}};

uint8_t* Row(const GstVideoFrame* f, int plane, int y) {
  if (plane >= static_cast<int>(GST_VIDEO_FRAME_N_PLANES(f))) return nullptr;
  return static_cast<uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(f, plane)) +
         static_cast<size_t>(y) * GST_VIDEO_FRAME_PLANE_STRIDE(f, plane);
}

// The visible frame into the library's contiguous one, the right column and
// bottom row repeated into the padding.
void CopyIn(const GstVideoFrame* f, const Stream& st, uint8_t* dst) {
  const int w = st.width, lw = st.libWidth;
  for (int y = 0; y < st.libHeight; ++y) {
    const uint8_t* src = Row(f, 0, std::min(y, st.height - 1));
    uint8_t* row = dst + static_cast<size_t>(y) * lw;
    std::memcpy(row, src, w);
    std::memset(row + w, src[w - 1], lw - w);
  }
  uint8_t* chroma = dst + static_cast<size_t>(lw) * st.libHeight;
  const int pairs = (w + 1) / 2;
  for (int y = 0; y < st.libHeight / 2; ++y) {
    uint8_t* row = chroma + static_cast<size_t>(y) * lw;
    st.layout->in(Row(f, 1, y), Row(f, 2, y), row, pairs);
    for (int x = pairs * 2; x < lw; x += 2) {
      row[x] = row[pairs * 2 - 2];
      row[x + 1] = row[pairs * 2 - 1];
    }
  }
}

void CopyOut(const uint8_t* src, const Stream& st, GstVideoFrame* f) {
  const int lw = st.libWidth;
  for (int y = 0; y < st.height; ++y)
    std::memcpy(Row(f, 0, y), src + static_cast<size_t>(y) * lw, st.width);
  const uint8_t* chroma = src + static_cast<size_t>(lw) * st.libHeight;
  for (int y = 0; y < (st.height + 1) / 2; ++y)
    st.layout->out(chroma + static_cast<size_t>(y) * lw, Row(f, 1, y), Row(f, 2, y),
                   (st.width + 1) / 2);
}

// --- GstBaseTransform / GstVideoFilter -----------------------------------

gboolean Start(GstBaseTransform* trans) {
  GstPostEffect* self = GST_POST_EFFECT(trans);
  Stream& st = *self->stream;
  st.service = createPostEffect();
  const int result = st.service ? st.service->start() : PE_RESULT_QUEUE_FULL;
  if (result != PE_RESULT_DONE) {
    GST_ELEMENT_ERROR(self, LIBRARY, INIT, ("posteffect: the library did not start"),
                      ("start answered %d (%s)", result, pe::cli::DescribeResult(result).c_str()));
    return FALSE;
  }
  return TRUE;
}

gboolean Stop(GstBaseTransform* trans) {
  GstPostEffect* self = GST_POST_EFFECT(trans);
  Stream& st = *self->stream;
  if (st.service) {
    StopPreview(st);
    st.service->stop();
    destroyPostEffect(st.service);
  }
  *self->stream = Stream{};
  return TRUE;
}

gboolean SetInfo(GstVideoFilter* filter, GstCaps*, GstVideoInfo* in, GstCaps*, GstVideoInfo*) {
  GstPostEffect* self = GST_POST_EFFECT(filter);
  Stream& st = *self->stream;
  const GstVideoFormat format = GST_VIDEO_INFO_FORMAT(in);
  st.layout = std::find_if(std::begin(kLayouts), std::end(kLayouts),
                           [format](const Layout& l) { return l.format == format; });
  // The pad templates admit no other format.
  g_return_val_if_fail(st.layout != std::end(kLayouts), FALSE);
  st.width = GST_VIDEO_INFO_WIDTH(in);
  st.height = GST_VIDEO_INFO_HEIGHT(in);
  st.libWidth = (st.width + kWidthStep - 1) / kWidthStep * kWidthStep;
  st.libHeight = (st.height + 1) / 2 * 2;
  if (st.libWidth > kMaxSide) {
    GST_ERROR_OBJECT(self, "width %d exceeds the library's %d", st.width, kMaxSide);
    return FALSE;
  }
  GST_DEBUG_OBJECT(self, "%s frames %dx%d through a %dx%d library frame",
                   gst_video_format_to_string(format), st.width, st.height, st.libWidth,
                   st.libHeight);
  std::string error;
  if (!st.heap.Create(static_cast<size_t>(st.libWidth) * st.libHeight * 3 / 2, 1, &error)) {
    GST_ELEMENT_ERROR(self, RESOURCE, NO_SPACE_LEFT, ("posteffect: %s", error.c_str()), (nullptr));
    return FALSE;
  }
  if (const int result = StartPreview(self, ReadSettings(self))) {
    Report(self, result);
    return FALSE;
  }
  return TRUE;
}

// An NV21 frame the library can take where it lies: its size the library's,
// rows unpadded and the chroma plane right behind the luma one. The library
// writes its result over a frame only when the result is whole.
bool TakesInPlace(const GstVideoFrame* f, const Stream& st) {
  const size_t lumaBytes = static_cast<size_t>(st.width) * st.height;
  return st.layout->format == GST_VIDEO_FORMAT_NV21 && st.width == st.libWidth &&
         st.height == st.libHeight && GST_VIDEO_FRAME_PLANE_STRIDE(f, 0) == st.width &&
         GST_VIDEO_FRAME_PLANE_STRIDE(f, 1) == st.width && Row(f, 1, 0) == Row(f, 0, 0) + lumaBytes;
}

// The file descriptor behind the frame's memory, when it has one.
int FrameFd(const GstVideoFrame* f) {
  GstMemory* mem = gst_buffer_peek_memory(f->buffer, 0);
  return gst_buffer_n_memory(f->buffer) == 1 && gst_is_fd_memory(mem) ? gst_fd_memory_get_fd(mem)
                                                                      : -1;
}

GstFlowReturn TransformFrameIp(GstVideoFilter* filter, GstVideoFrame* frame) {
  GstPostEffect* self = GST_POST_EFFECT(filter);
  Stream& st = *self->stream;
  const Settings s = ReadSettings(self);
  // Bypass switches passthrough on, but a buffer may still be on its way.
  if (s.effect == 0) return GST_FLOW_OK;
  if (const int result = Apply(self, s)) return Report(self, result);

  // Frames the library cannot take as they are go through the heap: copied
  // in with the padding filled and the chroma reordered, copied back after.
  const bool inPlace = TakesInPlace(frame, st);
  uint8_t* lib = inPlace ? Row(frame, 0, 0) : st.heap.Slot(0);
  const int fd = inPlace ? FrameFd(frame) : st.heap.fd();
  if (!inPlace) CopyIn(frame, st, lib);
  const int result =
      s.mode == MODE_PREVIEW
          ? Call(st, "handlePreview", st.service->handlePreview(fd, lib, 0))
          : Call(st, "handleCapture",
                 st.service->handleCapture(st.libWidth, st.libHeight, fd, lib, 0,
                                           static_cast<long>(st.libWidth) * st.libHeight));
  // The buffer is written only from a whole result.
  if (result != PE_RESULT_DONE) return Report(self, result);
  if (!inPlace) CopyOut(lib, st, frame);
  return GST_FLOW_OK;
}

// --- Properties ------------------------------------------------------------

void SetProperty(GObject* object, guint id, const GValue* value, GParamSpec* pspec) {
  GstPostEffect* self = GST_POST_EFFECT(object);
  GST_OBJECT_LOCK(self);
  Settings& s = *self->settings;
  const char* text = G_VALUE_HOLDS_STRING(value) ? g_value_get_string(value) : nullptr;
  const std::string str = text ? text : "";
  switch (id) {
    case PROP_EFFECT:
      s.effect = g_value_get_enum(value);
      break;
    case PROP_PARAM0:
    case PROP_PARAM1: {
      bool& has = id == PROP_PARAM0 ? s.hasParam0 : s.hasParam1;
      Quad& q = id == PROP_PARAM0 ? s.param0 : s.param1;
      Quad parsed;
      if (str.empty())
        has = false;
      else if (pe::cli::ParseQuad(str, 4, &parsed))
        has = true, q = parsed;
      else
        Refuse(self, pspec->name, text, "expected four integers \"a,b,c,d\"",
               has ? QuadText(q) : "");
      break;
    }
    case PROP_CROP:
      if (str.empty())
        s.crop = Crop{};
      else if (!pe::cli::ParseCrop(str, &s.crop))
        Refuse(self, "crop", text, "expected \"x,y,w,h\" with a positive size",
               s.crop.w > 0 ? QuadText({s.crop.x, s.crop.y, s.crop.w, s.crop.h}) : "");
      break;
    case PROP_MODE:
      s.mode = static_cast<PostEffectMode>(g_value_get_enum(value));
      break;
    case PROP_PREVIEW_SIZE: {
      Size size;
      if (pe::cli::ParseSize(str, &size) && size.width % 2 == 0 && size.height % 2 == 0 &&
          size.width <= kMaxSide && size.height <= kMaxSide)
        s.preview = size;
      else
        Refuse(self, "preview-size", text, "expected \"WxH\" with even sizes up to 16384",
               std::to_string(s.preview.width) + "x" + std::to_string(s.preview.height));
      break;
    }
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
      break;
  }
  ++s.generation;
  const bool bypass = s.effect == 0;
  GST_OBJECT_UNLOCK(self);
  if (id == PROP_EFFECT) gst_base_transform_set_passthrough(GST_BASE_TRANSFORM(self), bypass);
}

void GetProperty(GObject* object, guint id, GValue* value, GParamSpec* pspec) {
  GstPostEffect* self = GST_POST_EFFECT(object);
  GST_OBJECT_LOCK(self);
  const Settings& s = *self->settings;
  switch (id) {
    case PROP_EFFECT:
      g_value_set_enum(value, s.effect);
      break;
    case PROP_PARAM0:
      g_value_set_string(value, s.hasParam0 ? QuadText(s.param0).c_str() : "");
      break;
    case PROP_PARAM1:
      g_value_set_string(value, s.hasParam1 ? QuadText(s.param1).c_str() : "");
      break;
    case PROP_CROP:
      g_value_set_string(
          value, s.crop.w > 0 ? QuadText({s.crop.x, s.crop.y, s.crop.w, s.crop.h}).c_str() : "");
      break;
    case PROP_MODE:
      g_value_set_enum(value, s.mode);
      break;
    case PROP_PREVIEW_SIZE:
      g_value_take_string(value, g_strdup_printf("%dx%d", s.preview.width, s.preview.height));
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
      break;
  }
  GST_OBJECT_UNLOCK(self);
}

void Finalize(GObject* object) {
  GstPostEffect* self = GST_POST_EFFECT(object);
  delete self->settings;
  delete self->stream;
  G_OBJECT_CLASS(gst_post_effect_parent_class)->finalize(object);
}

constexpr GParamFlags kFlags = static_cast<GParamFlags>(
    G_PARAM_READWRITE | GST_PARAM_MUTABLE_PLAYING | G_PARAM_STATIC_STRINGS);

}  // namespace

static void gst_post_effect_class_init(GstPostEffectClass* klass) {
  GObjectClass* object = G_OBJECT_CLASS(klass);
  GstElementClass* element = GST_ELEMENT_CLASS(klass);
  object->set_property = SetProperty;
  object->get_property = GetProperty;
  object->finalize = Finalize;

  g_object_class_install_property(
      object, PROP_EFFECT,
      g_param_spec_enum("effect", "Effect",
                        "The effect, by name or number as 'posteffect list' prints them",
                        EffectEnumType(), 0, kFlags));
  g_object_class_install_property(
      object, PROP_PARAM0,
      g_param_spec_string("param0", "Parameters 0",
                          "First parameter quadruple \"a,b,c,d\" ('posteffect list' says what "
                          "each effect reads); empty: the effect's default",
                          "", kFlags));
  g_object_class_install_property(
      object, PROP_PARAM1,
      g_param_spec_string("param1", "Parameters 1",
                          "Second parameter quadruple \"x0,y0,x1,y1\": two points in the frame's "
                          "own pixels; empty: the effect's default",
                          "", kFlags));
  g_object_class_install_property(
      object, PROP_CROP,
      g_param_spec_string("crop", "Crop",
                          "Area \"x,y,w,h\" in frame pixels the effect treats as the picture; "
                          "empty: the whole frame",
                          "", kFlags));
  g_object_class_install_property(object, PROP_MODE,
                                  g_param_spec_enum("mode", "Mode", "Preview frames or stills",
                                                    ModeEnumType(), MODE_PREVIEW, kFlags));
  g_object_class_install_property(
      object, PROP_PREVIEW_SIZE,
      g_param_spec_string("preview-size", "Preview size",
                          "Block size \"WxH\" of the still walk in capture mode; bounds GPU memory",
                          "1280x720", kFlags));

  gst_element_class_set_static_metadata(
      element, "Post effect", "Filter/Effect/Video",
      "Applies libposteffect's GPU effects to NV21, NV12 or I420 video in place",
      "libposteffect developers");
  gst_element_class_add_static_pad_template(element, &kSinkTemplate);
  gst_element_class_add_static_pad_template(element, &kSrcTemplate);
  gst_type_mark_as_plugin_api(EffectEnumType(), static_cast<GstPluginAPIFlags>(0));
  gst_type_mark_as_plugin_api(ModeEnumType(), static_cast<GstPluginAPIFlags>(0));

  GstBaseTransformClass* trans = GST_BASE_TRANSFORM_CLASS(klass);
  trans->start = Start;
  trans->stop = Stop;
  GstVideoFilterClass* filter = GST_VIDEO_FILTER_CLASS(klass);
  filter->set_info = SetInfo;
  filter->transform_frame_ip = TransformFrameIp;
}

static void gst_post_effect_init(GstPostEffect* self) {
  self->settings = new Settings;
  self->stream = new Stream;
  gst_base_transform_set_passthrough(GST_BASE_TRANSFORM(self), TRUE);
}

static gboolean plugin_init(GstPlugin* plugin) {
  GST_DEBUG_CATEGORY_INIT(gst_post_effect_debug, "posteffect", 0, "libposteffect element");
  return gst_element_register(plugin, "posteffect", GST_RANK_NONE, GST_TYPE_POST_EFFECT);
}

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, posteffect,
                  "GPU post effects on NV21, NV12 and I420 video", plugin_init, PE_VERSION,
                  "MIT/X11", "libposteffect", "libposteffect source tree")
