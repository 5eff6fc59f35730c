#pragma once

#include <functional>

class GLFbo;
class GLProgram;

namespace pe {

// One pass of prog over the fixed quad into fbo's (0, 0, w, h), the uniforms
// set with the program in use: the intermediate passes and block renders
// whose target is not the effect's preview-sized RGB result. With `drawn`
// (w', h'), only the lower-left w' x h' of it is drawn, each pixel as the
// whole pass would draw it.
bool DrawPass(GLFbo* fbo, int w, int h, GLProgram* prog, const float* texCoords,
              const std::function<void()>& setUniforms = nullptr, const int* drawn = nullptr);

}  // namespace pe
