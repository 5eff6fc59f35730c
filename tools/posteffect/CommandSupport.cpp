#include "CommandSupport.h"

#include <algorithm>

#include "ColorConvert.h"
#include "Drawing.h"
#include "ImageIO.h"

namespace pe::cli {

void Line(std::FILE* f, const std::string& text) {
  std::fprintf(f, "posteffect: %s\n", text.c_str());
}

std::string SizeText(int w, int h) { return std::to_string(w) + "x" + std::to_string(h); }

// The picture to work on, as an NV21 frame.
bool LoadInput(const std::string& path, bool hasSize, Size size, const Context& ctx,
               Nv21Frame* frame, std::string* error) {
  if (path.empty()) {
    *frame = RgbToNv21(TestChart(hasSize ? size.width : kDefaultChart.width,
                                 hasSize ? size.height : kDefaultChart.height));
    return true;
  }
  RgbImage image;
  switch (KindOfPath(path)) {
    case FileKind::kRawNv21:
      return ReadRawNv21(path, size.width, size.height, frame, error);
    case FileKind::kJpeg:
      if (!ReadJpeg(path, &image, error)) return false;
      break;
    case FileKind::kPng:
      if (!ReadPng(path, &image, error)) return false;
      break;
    case FileKind::kUnknown:
      *error = "unsupported input type '" + path + "'";
      return false;
  }
  return PictureToFrame(image, "'" + path + "'", ctx, frame, error);
}

bool PictureToFrame(const RgbImage& image, const std::string& name, const Context& ctx,
                    Nv21Frame* frame, std::string* error) {
  if (image.width < kFrameWidthStep || image.height < 2) {
    *error = name + " is " + SizeText(image.width, image.height) + ", too small for a frame";
    return false;
  }
  // Cut to whole groups, and to even rows for NV21.
  if (image.width % kFrameWidthStep || image.height % 2) {
    Line(ctx.err, "note: cropping " + name + " from " + SizeText(image.width, image.height) +
                      " to " +
                      SizeText(image.width / kFrameWidthStep * kFrameWidthStep, image.height & ~1) +
                      " (frames need widths in groups of 16 pixels and even heights)");
  }
  *frame = RgbToNv21(CropToFrame(image, kFrameWidthStep));
  return true;
}

int ShrinkFactor(int width, int height, Size box) {
  return std::max({1, (width + box.width - 1) / box.width, (height + box.height - 1) / box.height});
}

Nv21Frame ShrinkToFit(const Nv21Frame& frame, Size box) {
  const int factor = ShrinkFactor(frame.width, frame.height, box);
  if (factor == 1) return frame;
  return RgbToNv21(CropToFrame(BoxDownscale(Nv21ToRgb(frame), factor), kFrameWidthStep));
}

EffectRequest MakeRequest(const EffectOptions& fx) {
  EffectRequest r;
  r.effect = fx.effect;
  r.param0 = fx.hasParam0 ? fx.param0 : fx.effect->defaultParam0;
  int dw = 0, dh = 0;
  DisplaySize(&dw, &dh);
  r.param1 = fx.hasParam1 ? fx.param1 : DefaultParam1(*fx.effect, dw, dh);
  return r;
}

bool ResolveCrop(const EffectOptions& fx, int width, int height, Crop* crop, std::string* error) {
  if (!fx.hasCrop) {
    // No crop handed to the library: effects then keep their own default,
    // which leaves out the padding columns of a frame whose width is not a
    // multiple of 32 (a whole-picture crop would reach into them).
    *crop = Crop{0, 0, 0, 0};
    return true;
  }
  const Crop& c = fx.crop;
  if (static_cast<long>(c.x) + c.w > width || static_cast<long>(c.y) + c.h > height) {
    *error = "--crop " + std::to_string(c.x) + "," + std::to_string(c.y) + "," +
             std::to_string(c.w) + "," + std::to_string(c.h) + " reaches outside the " +
             SizeText(width, height) + " picture";
    return false;
  }
  *crop = c;
  return true;
}

}  // namespace pe::cli
