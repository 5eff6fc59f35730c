#pragma once

#include <string>
#include <vector>

#include "Commands.h"

namespace pe::cli {

// Whether apply's arguments name a video file (.mp4, .mkv, .webm, .mov).
bool NamesVideoFile(const std::vector<std::string>& args);

// apply for video files: decoded by GStreamer, run through the posteffect
// element, encoded by the output's extension with the audio kept. The
// output appears only when complete.
int ApplyVideo(const std::vector<std::string>& args, const Context& ctx);

}  // namespace pe::cli
