#pragma once

// CPU models of the tone-curve looks (colour film and black and white, both
// under a vignette mask) and of the whiteboard clean-up, re-stated from their
// shader math. Curves, masks and the source are sampled as GL does.

#include <string>

#include "TextureModel.h"
#include "YuvModel.h"

namespace pe {
namespace ref {

struct CurveLook {
  bool grey = false;   // black and white from each lookup's own channel
  TextureModel curve;  // read along its first row
  TextureModel mask;   // empty: no mask
};

// The look of a frame w x h: curveFile from dir, the wide mask for 16:9 and
// 5:3 frames, the legacy one otherwise, or none.
CurveLook LoadCurveLook(const std::string& dir, const std::string& curveFile, bool grey,
                        bool masked, int w, int h);

// crop: x, y, w, h as the effect holds it (null: the default, which keeps
// to the frame's columns of a source allocW wide). The grey look has no
// crop in preview.
Nv21 CurveLookPreview(const CurveLook& look, const Nv21& frame, int allocW, const float* crop);
// A still processed in blocks: the source at its own texels, the mask over
// the whole picture.
Nv21 CurveLookCapture(const CurveLook& look, const Nv21& still);

// Whiteboard over a procW x procH preview whose rows are allocW wide.
Nv21 WhiteboardPreview(const TextureModel& curve, const Nv21& frame, int allocW, const float* crop);
// The crop-aware capture: blocks of the preview size from the picture's
// origin, each filled from the crop's part of the still into the reused
// source texture and stretched over its block.
Nv21 WhiteboardCapture(const TextureModel& curve, const Nv21& still, int procW, int procH,
                       int allocW, const float* crop);

}  // namespace ref
}  // namespace pe
