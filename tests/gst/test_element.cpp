// The element in the check harness, every byte compared with the library run directly.
#include <android/log.h>
#include <gst/check/gstharness.h>
#include <gst/video/video.h>
#include <gtest/gtest.h>
#include <posteffect/IPostEffect.h>

#include <mutex>
#include <string>
#include <tuple>
#include <vector>

#include "Effects.h"
#include "Service.h"

namespace {

using pe::cli::Nv21Frame;
using pe::cli::Quad;

// Detail everywhere, different for every seed.
Nv21Frame Pattern(int w, int h, int seed) {
  Nv21Frame f(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) f.Y()[y * w + x] = static_cast<uint8_t>(x * 3 + y * 5 + seed * 40);
  for (int i = 0; i < w * h / 2; ++i) f.VU()[i] = static_cast<uint8_t>(i % 97 + (i & 1) * 60);
  return f;
}

// The library's answer: the frame padded to its 16-pixel grouping by
// repeating the right column, then cut back.
Nv21Frame Reference(const Nv21Frame& in, int effect, Quad p0, Quad p1Display, bool capture,
                    pe::cli::Size preview) {
  const int w = in.width, h = in.height, lw = (w + 15) / 16 * 16;
  Nv21Frame padded(lw, h);
  for (int y = 0; y < h * 3 / 2; ++y)
    for (int x = 0; x < lw; ++x)
      padded.data[y * lw + x] = in.data[y * w + (x < w ? x : y < h ? w - 1 : w - 2 + x % 2)];
  pe::cli::EffectRequest request{pe::cli::FindEffect(effect), p0, p1Display};
  std::string error;
  EXPECT_TRUE(pe::cli::ProcessFrame({createPostEffect, destroyPostEffect}, request, {},
                                    capture ? pe::cli::Mode::kCapture : pe::cli::Mode::kPreview,
                                    preview, &padded, &error))
      << error;
  Nv21Frame out(w, h);
  for (int y = 0; y < h * 3 / 2; ++y)
    for (int x = 0; x < w; ++x) out.data[y * w + x] = padded.data[y * lw + x];
  return out;
}

uint8_t* At(GstVideoFrame* v, int plane, int y, int x) {
  return static_cast<uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(v, plane)) +
         y * GST_VIDEO_FRAME_PLANE_STRIDE(v, plane) + x;
}

// Between a tight NV21 frame and a buffer of info's format and strides.
void Copy(const GstVideoInfo& info, GstBuffer* b, Nv21Frame* f, bool toBuffer) {
  GstVideoFrame v;
  gst_video_frame_map(&v, &info, b, toBuffer ? GST_MAP_WRITE : GST_MAP_READ);
  auto move = [toBuffer](uint8_t* buffer, uint8_t* tight) {
    toBuffer ? (*buffer = *tight) : (*tight = *buffer);
  };
  const GstVideoFormat format = GST_VIDEO_INFO_FORMAT(&info);
  const bool planar = format == GST_VIDEO_FORMAT_I420;
  for (int y = 0; y < f->height; ++y)
    for (int x = 0; x < f->width; ++x) move(At(&v, 0, y, x), f->Y() + y * f->width + x);
  for (int y = 0; y < f->height / 2; ++y)
    for (int x = 0; x < f->width / 2; ++x) {
      uint8_t* vu = f->VU() + y * f->width + 2 * x;
      move(planar ? At(&v, 2, y, x) : At(&v, 1, y, 2 * x + (format == GST_VIDEO_FORMAT_NV12)), vu);
      move(planar ? At(&v, 1, y, x) : At(&v, 1, y, 2 * x + (format == GST_VIDEO_FORMAT_NV21)),
           vu + 1);
    }
  gst_video_frame_unmap(&v);
}

GstBuffer* ToBuffer(Nv21Frame f, const GstVideoInfo& info) {
  GstBuffer* b = gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&info), nullptr);
  Copy(info, b, &f, true);
  return b;
}

Nv21Frame FromBuffer(GstBuffer* b, const GstVideoInfo& info) {
  Nv21Frame f(GST_VIDEO_INFO_WIDTH(&info), GST_VIDEO_INFO_HEIGHT(&info));
  if (b) Copy(info, b, &f, false);
  return f;
}

GstVideoInfo Info(const std::string& caps) {
  GstVideoInfo info;
  g_autoptr(GstCaps) parsed = gst_caps_from_string(caps.c_str());
  gst_video_info_from_caps(&info, parsed);
  return info;
}

struct Harness {
  GstHarness* h;
  GstVideoInfo info;

  Harness(const char* launch, const std::string& caps) {
    gst_init(nullptr, nullptr);
    h = gst_harness_new_parse(launch);
    gst_harness_set_src_caps_str(h, caps.c_str());
    info = Info(caps);
  }
  ~Harness() { gst_harness_teardown(h); }

  // Through the element at GStreamer's own strides, back as a tight frame.
  Nv21Frame Push(const Nv21Frame& f) {
    EXPECT_EQ(gst_harness_push(h, ToBuffer(f, info)), GST_FLOW_OK);
    g_autoptr(GstBuffer) out = gst_harness_pull(h);
    return FromBuffer(out, info);
  }
};

std::string Caps(int w, int h, const char* format = "NV21") {
  return "video/x-raw,format=" + std::string(format) + ",width=" + std::to_string(w) +
         ",height=" + std::to_string(h) + ",framerate=30/1";
}

// Display 1920x1080 is three times 640x360 (and 630 pads to 640), 1.5 times
// 1280x720: the points below land on whole display pixels. Previews run at
// both widths; a capture takes its still's size.
struct Case {
  const char* props;
  int effect;
  Quad param0, param1Display;
  bool capture;
};

// Every format gives the library the same NV21 frame and back the same
// bytes, its planes reordered.
class ElementMatchesLibrary : public testing::TestWithParam<std::tuple<Case, int, const char*>> {};

TEST_P(ElementMatchesLibrary, EveryByte) {
  const Case& c = std::get<0>(GetParam());
  const int width = c.capture ? 1280 : std::get<1>(GetParam());
  const int height = c.capture ? 720 : 360;
  const Nv21Frame frame = Pattern(width, height, 1);
  // Before the element's service starts: the library keeps its EGL display
  // and context in process globals.
  const Nv21Frame expected =
      Reference(frame, c.effect, c.param0, c.param1Display, c.capture, {640, 360});
  Harness harness(("posteffect " + std::string(c.props)).c_str(),
                  Caps(width, height, std::get<2>(GetParam())));
  const Nv21Frame got = harness.Push(frame);
  EXPECT_TRUE(got.data == expected.data);
  EXPECT_FALSE(got.data == frame.data) << "the effect changed nothing";
}

constexpr Quad kZero{};
const Case kPreviews[] = {
    {"effect=vignette param1=200,100,300,100", 4, {50}, {600, 300, 900, 300}, false},
    {"effect=vintage param0=2,0,0,0", 1, {2}, kZero, false},
    {"effect=dof param1=320,180,400,180", 2, {100}, {960, 540, 1200, 540}, false},
};
const Case kCapture[] = {
    {"effect=dof mode=capture preview-size=640x360 param1=640,360,800,360",
     2,
     {100},
     {960, 540, 1200, 540},
     true},
};
// 630 pads to the library's grouping.
INSTANTIATE_TEST_SUITE_P(Previews, ElementMatchesLibrary,
                         testing::Combine(testing::ValuesIn(kPreviews), testing::Values(640, 630),
                                          testing::Values("NV21", "NV12", "I420")));
INSTANTIATE_TEST_SUITE_P(Capture, ElementMatchesLibrary,
                         testing::Combine(testing::ValuesIn(kCapture), testing::Values(0),
                                          testing::Values("I420")));

void CaptureWarning(const gchar*, GLogLevelFlags, const gchar* message, gpointer out) {
  *static_cast<std::string*>(out) += message;
}

TEST(Element, PropertiesTakeEffectFromTheNextBuffer) {
  const Nv21Frame a = Pattern(640, 360, 2), b = Pattern(640, 360, 3);
  const Nv21Frame expectA = Reference(a, 4, {50}, {600, 300, 900, 300}, false, {});
  const Nv21Frame expectB = Reference(b, 1, {3}, kZero, false, {});
  Harness harness("posteffect name=fx effect=vignette param1=200,100,300,100", Caps(640, 360));
  GstElement* fx = gst_bin_get_by_name(GST_BIN(harness.h->element), "fx");
  EXPECT_TRUE(harness.Push(a).data == expectA.data);
  gst_util_set_object_arg(G_OBJECT(fx), "effect", "vintage");
  gst_util_set_object_arg(G_OBJECT(fx), "param0", "3,0,0,0");
  EXPECT_TRUE(harness.Push(b).data == expectB.data);

  std::string warning;
  const guint handler = g_log_set_handler(nullptr, G_LOG_LEVEL_WARNING, CaptureWarning, &warning);
  gst_util_set_object_arg(G_OBJECT(fx), "param0", "3,0,x");
  g_log_remove_handler(nullptr, handler);
  EXPECT_NE(warning.find("param0 '3,0,x'"), std::string::npos) << warning;
  gchar* kept = nullptr;
  g_object_get(fx, "param0", &kept, nullptr);
  EXPECT_STREQ(kept, "3,0,0,0");
  g_free(kept);

  // Bypass hands the very buffer on.
  gst_util_set_object_arg(G_OBJECT(fx), "effect", "bypass");
  GstBuffer* in = gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&harness.info), nullptr);
  gst_harness_push(harness.h, gst_buffer_ref(in));
  GstBuffer* out = gst_harness_pull(harness.h);
  EXPECT_EQ(out, in);
  gst_buffer_unref(out);
  gst_buffer_unref(in);
  gst_object_unref(fx);
}

// The library's error lines, from any thread.
std::mutex g_logMutex;
std::string g_errors;

void KeepErrors(const __android_logger_data* data, const char* message) {
  std::lock_guard<std::mutex> lock(g_logMutex);
  if (data->priority >= ANDROID_LOG_ERROR) g_errors += std::string(message) + "\n";
}

Nv21Frame Pull(GstElement* sink, const GstVideoInfo& info) {
  g_autoptr(GstSample) sample = nullptr;
  g_signal_emit_by_name(sink, "pull-sample", &sample);
  return FromBuffer(sample ? gst_sample_get_buffer(sample) : nullptr, info);
}

// Two elements after a tee, one set to NULL and removed mid-stream: the
// other goes on giving a lone element's frames, and nothing logs an error.
TEST(Element, OneOfTwoAfterATeeStopsMidStream) {
  const std::string caps = Caps(640, 360, "NV12");
  const Nv21Frame frames[] = {Pattern(640, 360, 4), Pattern(640, 360, 5), Pattern(640, 360, 6)};
  std::vector<Nv21Frame> expectA;
  for (const Nv21Frame& f : frames)
    expectA.push_back(Reference(f, 4, {50}, {600, 300, 900, 300}, false, {}));
  const Nv21Frame expectB = Reference(frames[0], 1, {2}, kZero, false, {});
  __android_log_set_logger(KeepErrors);

  gst_init(nullptr, nullptr);
  const std::string launch =
      "appsrc name=src format=time caps=" + caps +
      " ! tee name=t"
      " t. ! queue ! posteffect effect=vignette param1=200,100,300,100 ! appsink name=a sync=false"
      " t. ! queue name=qb ! posteffect name=b effect=vintage param0=2,0,0,0"
      " ! appsink name=sb sync=false";
  GError* error = nullptr;
  GstElement* pipeline = gst_parse_launch(launch.c_str(), &error);
  ASSERT_EQ(error, nullptr) << error->message;
  auto child = [pipeline](const char* name) {  // the bin keeps its reference
    GstElement* e = gst_bin_get_by_name(GST_BIN(pipeline), name);
    return gst_object_unref(e), e;
  };
  const GstVideoInfo info = Info(caps);
  ASSERT_NE(gst_element_set_state(pipeline, GST_STATE_PLAYING), GST_STATE_CHANGE_FAILURE);
  GstFlowReturn flow;
  for (size_t i = 0; i < std::size(frames); ++i) {
    GstBuffer* buffer = ToBuffer(frames[i], info);
    g_signal_emit_by_name(child("src"), "push-buffer", buffer, &flow);
    gst_buffer_unref(buffer);  // the signal takes a reference of its own
    EXPECT_TRUE(Pull(child("a"), info).data == expectA[i].data) << "frame " << i;
    if (i > 0) continue;
    EXPECT_TRUE(Pull(child("sb"), info).data == expectB.data);
    // Branch b leaves while a keeps playing.
    gst_element_unlink(child("t"), child("qb"));  // releases the tee's pad
    for (const char* name : {"qb", "b", "sb"}) {
      GstElement* e = child(name);
      gst_element_set_state(e, GST_STATE_NULL);
      gst_bin_remove(GST_BIN(pipeline), e);
    }
  }
  gst_element_set_state(pipeline, GST_STATE_NULL);
  gst_object_unref(pipeline);
  __android_log_set_logger(__android_log_stderr_logger);
  EXPECT_EQ(g_errors, "");
}

TEST(Element, RefusesOtherFormats) {
  Harness harness("posteffect effect=vignette", Caps(64, 64, "RGB"));
  EXPECT_EQ(gst_harness_push(harness.h, gst_buffer_new_allocate(nullptr, 64 * 64 * 3, nullptr)),
            GST_FLOW_NOT_NEGOTIATED);
}

}  // namespace
