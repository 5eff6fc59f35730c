#pragma once

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "Commands.h"
#include "ImageIO.h"
#include "Metadata.h"

// What the commands share: messages, the input picture, the effect request.
namespace pe::cli {

// The library expands a frame's rows in groups of 16 pixels and writes its
// output planes in groups of four; other pictures are padded to whole groups.
constexpr int kFrameWidthStep = 16;
constexpr Size kDefaultChart{1280, 720};

// "posteffect: text" as one line on f.
void Line(std::FILE* f, const std::string& text);
std::string SizeText(int w, int h);

// A picture in a frame the library takes: width x height of it shown, the
// frame grown to whole width groups and even rows by repeating its last
// column and row, as the GStreamer element pads frames.
struct PaddedFrame {
  Nv21Frame frame;
  int width = 0, height = 0;
};
PaddedFrame PadToFrame(const RgbImage& image);
// The picture again, padding dropped.
RgbImage Unpad(const PaddedFrame& padded);

// A picture to work on and what its file said beside the pixels.
struct Input {
  PaddedFrame picture;
  Metadata meta;
};

// The picture at path (the test chart when empty; raw NV21 needs size),
// turned upright as its EXIF orientation says. *note: metadata that could
// not be read, the pixels being fine.
bool LoadInput(const std::string& path, bool hasSize, Size size, Input* in, std::string* error,
               std::string* note);
// The same for a JPEG or PNG in memory; name is how messages call it.
bool DecodePicture(const std::vector<uint8_t>& bytes, FileKind kind, const std::string& name,
                   long maxPixels, Input* in, std::string* error, std::string* note);

// The picture shrunk by the smallest whole factor that fits it within box.
PaddedFrame ShrinkToFit(const PaddedFrame& picture, Size box);
int ShrinkFactor(int width, int height, Size box);

// Pictures one after another through one service object, started for the
// first, in one shared heap kept at the largest picture's size.
class PictureRunner {
 public:
  explicit PictureRunner(const Backend& backend) : backend_(backend) {}
  // The frame is replaced by the result.
  bool Run(const EffectRequest& request, const Crop& crop, Mode mode, Size preview,
           Nv21Frame* frame, std::string* error);

 private:
  Backend backend_;
  std::unique_ptr<Service> service_;
  SharedHeap heap_;
};

// A progress line on a terminal, "3 of 20: name, about 12 s left", rewritten
// in place; nothing where ctx.progress is off. Messages printed through it
// start on a line of their own.
class Progress {
 public:
  Progress(const Context& ctx, int total);
  void Step(int done, const std::string& what);
  void Note(const std::string& text);
  void Finish();  // ends the progress line

 private:
  const Context& ctx_;
  int total_;
  bool shown_ = false;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// Defaults filled in for what the options leave out.
EffectRequest MakeRequest(const EffectOptions& fx);

// The crop handed to the library: none unless asked for, and refused when it
// reaches outside a width x height picture.
bool ResolveCrop(const EffectOptions& fx, int width, int height, Crop* crop, std::string* error);

}  // namespace pe::cli
