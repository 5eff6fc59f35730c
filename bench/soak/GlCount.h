#pragma once

// Live GL and EGL objects made by the library: the soak defines the entry
// points that create and delete them, so the library's calls land here first
// and are forwarded to the driver. A name counts from its creation until the
// library deletes it; one left to die with its context still counts.
namespace pe {
namespace bench {

struct GlObjects {
  long textures, framebuffers, renderbuffers, buffers, programs, shaders, contexts, surfaces;
  long Total() const {
    return textures + framebuffers + renderbuffers + buffers + programs + shaders + contexts +
           surfaces;
  }
};

GlObjects LiveGlObjects();
// The most GL names (textures to shaders) live at any one time.
long PeakGlObjects();

}  // namespace bench
}  // namespace pe
