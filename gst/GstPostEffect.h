#pragma once

#include <gst/video/gstvideofilter.h>

G_BEGIN_DECLS

// The library's effects as an in-place filter on NV21 video: one service
// object per element, driven only through the public interface.
#define GST_TYPE_POST_EFFECT (gst_post_effect_get_type())
G_DECLARE_FINAL_TYPE(GstPostEffect, gst_post_effect, GST, POST_EFFECT, GstVideoFilter)

G_END_DECLS
