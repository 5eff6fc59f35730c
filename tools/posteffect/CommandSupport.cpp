#include "CommandSupport.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "ColorConvert.h"
#include "Drawing.h"
#include "ImageIO.h"

namespace pe::cli {

void Line(std::FILE* f, const std::string& text) {
  std::fprintf(f, "posteffect: %s\n", text.c_str());
}

std::string SizeText(int w, int h) { return std::to_string(w) + "x" + std::to_string(h); }

PaddedFrame PadToFrame(const RgbImage& image) {
  const int w = (image.width + kFrameWidthStep - 1) / kFrameWidthStep * kFrameWidthStep;
  return PaddedFrame{RgbToNv21(image, w, (image.height + 1) & ~1), image.width, image.height};
}

RgbImage Unpad(const PaddedFrame& padded) {
  return Nv21ToRgb(padded.frame, padded.width, padded.height);
}

bool DecodePicture(const std::vector<uint8_t>& bytes, FileKind kind, const std::string& name,
                   long maxPixels, Input* in, std::string* error, std::string* note) {
  RgbImage image;
  if (kind == FileKind::kJpeg ? !DecodeJpeg(bytes, name, maxPixels, &image, error)
                              : !DecodePng(bytes, name, maxPixels, &image, error))
    return false;
  if (!ReadMetadata(bytes, kind, &in->meta, note)) *note = name + ": " + *note;
  in->picture = PadToFrame(Orient(std::move(image), in->meta.orientation));
  return true;
}

bool LoadInput(const std::string& path, bool hasSize, Size size, Input* in, std::string* error,
               std::string* note) {
  *in = Input{};
  if (path.empty()) {
    in->picture = PadToFrame(TestChart(hasSize ? size.width : kDefaultChart.width,
                                       hasSize ? size.height : kDefaultChart.height));
    return true;
  }
  const FileKind kind = KindOfPath(path);
  if (kind == FileKind::kRawNv21) {
    in->picture.width = size.width;
    in->picture.height = size.height;
    return ReadRawNv21(path, size.width, size.height, &in->picture.frame, error);
  }
  if (kind == FileKind::kUnknown) {
    *error = "unsupported input type '" + path + "'";
    return false;
  }
  std::vector<uint8_t> bytes;
  return ReadFileBytes(path, &bytes, error) &&
         DecodePicture(bytes, kind, "'" + path + "'", kMaxPicturePixels, in, error, note);
}

int ShrinkFactor(int width, int height, Size box) {
  return std::max({1, (width + box.width - 1) / box.width, (height + box.height - 1) / box.height});
}

PaddedFrame ShrinkToFit(const PaddedFrame& picture, Size box) {
  const int factor = ShrinkFactor(picture.width, picture.height, box);
  if (factor == 1) return picture;
  return PadToFrame(BoxDownscale(Unpad(picture), factor));
}

bool PictureRunner::Run(const EffectRequest& request, const Crop& crop, Mode mode, Size preview,
                        Nv21Frame* frame, std::string* error) {
  if (!service_) {
    service_ = std::make_unique<Service>(backend_);
    if (!service_->Start(error)) {
      service_.reset();
      return false;
    }
  }
  if (!heap_.Reserve(frame->data.size(), error)) return false;
  std::memcpy(heap_.Slot(0), frame->data.data(), frame->data.size());
  if (!ProcessInService(*service_, heap_, 0, frame->width, frame->height, request, crop, mode,
                        preview, error))
    return false;
  std::memcpy(frame->data.data(), heap_.Slot(0), frame->data.size());
  return true;
}

Progress::Progress(const Context& ctx, int total) : ctx_(ctx), total_(total) {}

void Progress::Step(int done, const std::string& what) {
  if (!ctx_.progress) return;
  const double elapsed =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  char left[48] = "";
  if (done > 0)
    std::snprintf(left, sizeof left, ", about %.0f s left", elapsed / done * (total_ - done));
  // Padded so that a shorter line covers the one before.
  std::fprintf(ctx_.err, "\rposteffect: %d of %d: %s%s%-10s", done + 1, total_, what.c_str(), left,
               "");
  std::fflush(ctx_.err);
  shown_ = true;
}

void Progress::Note(const std::string& text) {
  if (shown_) std::fputc('\n', ctx_.err);
  shown_ = false;
  Line(ctx_.err, text);
}

void Progress::Finish() {
  if (shown_) std::fputc('\n', ctx_.err);
  shown_ = false;
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
