#pragma once

#include "Image.h"

namespace pe::cli {

// BT.601 full range with the library's own matrices, on 0..1 values whose
// chroma is centred at 0.5 (byte 127.5), so that what this tool writes is
// what the library's shaders read back and the other way round:
//   Y = 0.299 R + 0.587 G + 0.114 B
//   U = -0.168727 R - 0.33126147 G + 0.5 B + 0.5
//   V = 0.5 R - 0.4186829 G - 0.0813089 B + 0.5
//   R = Y + 1.402 (V - 0.5)
//   G = Y - 0.714 (V - 0.5) - 0.344 (U - 0.5)
//   B = Y + 1.772 (U - 0.5)
// Each 2 x 2 block shares the chroma of its mean colour, and on the way back
// every pixel of the block takes that one sample, as the camera delivers it.
// Frames have even sizes.
Nv21Frame RgbToNv21(const RgbImage& image);
RgbImage Nv21ToRgb(const Nv21Frame& frame);
// The same with the picture first cut or grown to width x height (even) from
// its top left corner, new columns and rows repeating its last ones; and back
// to the top left width x height of the frame.
Nv21Frame RgbToNv21(const RgbImage& image, int width, int height);
RgbImage Nv21ToRgb(const Nv21Frame& frame, int width, int height);

}  // namespace pe::cli
