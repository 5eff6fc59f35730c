#pragma once

#include <cstdio>
#include <string>

#include "Commands.h"

// What the commands share: messages, the input picture, the effect request.
namespace pe::cli {

// The library expands a frame's rows in groups of 16 pixels and writes its
// output planes in groups of four, so pictures are cut to whole groups.
constexpr int kFrameWidthStep = 16;
constexpr Size kDefaultChart{1280, 720};

// "posteffect: text" as one line on f.
void Line(std::FILE* f, const std::string& text);
std::string SizeText(int w, int h);

// The picture at path (the test chart when empty; raw NV21 needs size) as a
// frame cut to whole width groups and even rows.
bool LoadInput(const std::string& path, bool hasSize, Size size, const Context& ctx,
               Nv21Frame* frame, std::string* error);

// An RGB picture as a frame cut to whole width groups and even rows; false
// with a message naming the picture when nothing of a frame is left.
bool PictureToFrame(const RgbImage& image, const std::string& name, const Context& ctx,
                    Nv21Frame* frame, std::string* error);

// The frame shrunk by the smallest whole factor that fits it within box.
Nv21Frame ShrinkToFit(const Nv21Frame& frame, Size box);
int ShrinkFactor(int width, int height, Size box);

// Defaults filled in for what the options leave out.
EffectRequest MakeRequest(const EffectOptions& fx);

// The crop handed to the library: none unless asked for, and refused when it
// reaches outside a width x height picture.
bool ResolveCrop(const EffectOptions& fx, int width, int height, Crop* crop, std::string* error);

}  // namespace pe::cli
