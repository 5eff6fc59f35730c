#pragma once

// What the library needs from the operating system besides the Android-named
// classes: EGL display and config selection, textures over CPU-visible
// graphics buffers, the display size and the asset directories.

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES2/gl2.h>

#include <cstddef>
#include <string>

struct ANativeWindowBuffer;

namespace pe {
namespace platform {

// The default display, or on a machine without a window system the first
// headless platform that initialises. Returns EGL_NO_DISPLAY when none opens.
// The display is initialised on return; *major/*minor receive the version.
EGLDisplay OpenDisplay(EGLint* major, EGLint* minor);

// The process's display, shared by every manager: the first user opens it
// (as OpenDisplay), later ones get the same display, and the last
// ReleaseDisplay terminates it. The driver modules its initialisation loads
// stay loaded for the life of the process. Thread-safe. EGL_NO_DISPLAY when
// none opens; no reference is taken then.
EGLDisplay AcquireDisplay(EGLint* major, EGLint* minor);
// Gives back one reference taken by AcquireDisplay; false (and nothing
// done) for a display not acquired.
bool ReleaseDisplay(EGLDisplay display);

// eglChooseConfig with the given list, then the fallbacks a headless display
// needs (pbuffer-only surfaces, any stencil size).
EGLBoolean ChooseConfig(EGLDisplay display, const EGLint* attribs, EGLConfig* configs,
                        EGLint maxConfigs, EGLint* numConfigs);

// True when the current context advertises the GL extension.
bool HasGLExtension(const char* name);

// --- Textures over graphics buffers -----------------------------------------
// Stands in for eglCreateImageKHR(EGL_NATIVE_BUFFER_ANDROID) and
// glEGLImageTargetTexture2DOES. Errors are reported through eglGetError().
EGLImageKHR CreateNativeBufferImage(EGLDisplay display, ANativeWindowBuffer* buffer,
                                    const EGLint* attribs);
EGLBoolean DestroyNativeBufferImage(EGLDisplay display, EGLImageKHR image);
// Gives the texture bound to target the buffer's storage.
void ImageTargetTexture2D(GLenum target, EGLImageKHR image);

// Coherence between a buffer's CPU memory and its texture. The CPU owns a
// buffer until it is rendered into; then the GPU owns it until it is read.
// Called with the image's texture bound for sampling: uploads CPU data.
void PrepareImageForSampling(EGLImageKHR image);
// Called when the image's texture is bound as a render target.
void MarkImageRendered(EGLImageKHR image);
// Hands the buffer back to the CPU (reads GPU data back when needed).
bool SyncImageToCpu(EGLImageKHR image);
// Copies the w x h texels at (x, y) of an RGBA image, as its last writer
// left them, to dst, rows rowPixels texels apart; the buffer's own memory is
// left as it is. False (one line) for a rectangle outside the image or a
// framebuffer that can't be read.
bool ReadImageRect(EGLImageKHR image, int x, int y, int w, int h, void* dst, int rowPixels);
// The clean point of CPU-visible memory at base (graphics buffer or not).
int CleanBuffer(void* base, size_t size, int offset, int fd);

// --- Machine facts -----------------------------------------------------------
// The display size as the platform reports it (any order); false if unknown.
bool QueryDisplaySize(int* width, int* height);
// Overrides the display size (host API; 0 x 0 restores the default).
void SetDisplaySize(int width, int height);
// The largest texture edge the current context accepts; a host setting may
// lower it so that the refusal of oversized stills can be exercised.
int MaxTextureSize();

// The bound below which the manager accepts effect numbers: fallback unless
// POSTEFFECT_EFFECT_COUNT holds a number from 1 to 99 (19 reaches every
// effect).
unsigned EffectCount(unsigned fallback);

// Bytes of released shared memory kept for reuse: 64 MiB unless
// POSTEFFECT_KEPT_MEMORY_MB holds a whole number of MiB from 0 to 4096.
size_t KeptMemoryBytes();
// Linked programs kept per context for reuse: 32 unless
// POSTEFFECT_KEPT_PROGRAMS holds a whole number from 0 to 256.
size_t KeptPrograms();

// Asset directory (trailing slash), override directory ("" when none),
// dump directory.
std::string AssetDir();
std::string OverrideDir();
std::string DumpDir();

}  // namespace platform
}  // namespace pe
