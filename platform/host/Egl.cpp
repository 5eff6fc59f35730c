#include <dlfcn.h>
#include <link.h>
#include <pe/Platform.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

namespace pe {
namespace platform {
namespace {

EGLDisplay TryInitialize(EGLDisplay display, EGLint* major, EGLint* minor) {
  if (display == EGL_NO_DISPLAY) return EGL_NO_DISPLAY;
  if (eglInitialize(display, major, minor)) return display;
  return EGL_NO_DISPLAY;
}

EGLDisplay OpenHeadless(EGLint* major, EGLint* minor) {
  auto getPlatformDisplay = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(
      eglGetProcAddress("eglGetPlatformDisplayEXT"));
  if (!getPlatformDisplay) return EGL_NO_DISPLAY;
  EGLDisplay d =
      TryInitialize(getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr),
                    major, minor);
  if (d != EGL_NO_DISPLAY) return d;

  auto queryDevices =
      reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"));
  if (!queryDevices) return EGL_NO_DISPLAY;
  EGLDeviceEXT devices[8];
  EGLint count = 0;
  if (!queryDevices(8, devices, &count)) return EGL_NO_DISPLAY;
  for (EGLint i = 0; i < count; ++i) {
    d = TryInitialize(getPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, devices[i], nullptr), major,
                      minor);
    if (d != EGL_NO_DISPLAY) return d;
  }
  return EGL_NO_DISPLAY;
}

// A copy of attribs with one attribute's value replaced or the attribute
// dropped (value == EGL_NONE).
std::vector<EGLint> Adjusted(const std::vector<EGLint>& attribs, EGLint name, EGLint value) {
  std::vector<EGLint> out;
  for (size_t i = 0; i + 1 < attribs.size() && attribs[i] != EGL_NONE; i += 2) {
    if (attribs[i] == name) {
      if (value == EGL_NONE) continue;
      out.push_back(name);
      out.push_back(value);
    } else {
      out.push_back(attribs[i]);
      out.push_back(attribs[i + 1]);
    }
  }
  out.push_back(EGL_NONE);
  return out;
}

// The display every manager of the process shares, and how many hold it.
std::mutex g_sharedLock;
EGLDisplay g_shared = EGL_NO_DISPLAY;
EGLint g_sharedMajor = 0, g_sharedMinor = 0;
unsigned g_sharedUsers = 0;

std::vector<std::string> LoadedModules() {
  std::vector<std::string> names;
  dl_iterate_phdr(
      [](dl_phdr_info* info, size_t, void* out) {
        if (info->dlpi_name && *info->dlpi_name)
          static_cast<std::vector<std::string>*>(out)->push_back(info->dlpi_name);
        return 0;
      },
      &names);
  std::sort(names.begin(), names.end());
  return names;
}

// Mesa unloads its driver at every eglTerminate and loads it anew at the next
// eglInitialize, and each load keeps some memory for good: a camera server
// that starts a session per camera would grow without end, and pay for the
// load at every start. What appeared while the display initialised is that
// driver and what it needs, whatever its name on this machine; marked never
// to unload. Holding the display initialised instead would also keep the
// driver's per-display state while no camera runs.
void KeepModulesLoadedSince(const std::vector<std::string>& before) {
  for (const std::string& name : LoadedModules()) {
    if (std::binary_search(before.begin(), before.end(), name)) continue;
    // The reference taken here is never given back, deliberately.
    dlopen(name.c_str(), RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
  }
}

}  // namespace

EGLDisplay AcquireDisplay(EGLint* major, EGLint* minor) {
  std::lock_guard<std::mutex> lock(g_sharedLock);
  if (g_sharedUsers == 0) {
    const std::vector<std::string> before = LoadedModules();
    g_shared = OpenDisplay(&g_sharedMajor, &g_sharedMinor);
    if (g_shared == EGL_NO_DISPLAY) return EGL_NO_DISPLAY;
    KeepModulesLoadedSince(before);
  }
  ++g_sharedUsers;
  if (major) *major = g_sharedMajor;
  if (minor) *minor = g_sharedMinor;
  return g_shared;
}

bool ReleaseDisplay(EGLDisplay display) {
  std::lock_guard<std::mutex> lock(g_sharedLock);
  if (g_sharedUsers == 0 || display != g_shared) return false;
  // Under the lock, so that a manager starting now waits for a fresh display
  // rather than getting one about to be terminated.
  if (--g_sharedUsers == 0) {
    eglTerminate(g_shared);
    g_shared = EGL_NO_DISPLAY;
  }
  return true;
}

EGLDisplay OpenDisplay(EGLint* major, EGLint* minor) {
  EGLDisplay d = TryInitialize(eglGetDisplay(EGL_DEFAULT_DISPLAY), major, minor);
  if (d != EGL_NO_DISPLAY) return d;
  return OpenHeadless(major, minor);
}

EGLBoolean ChooseConfig(EGLDisplay display, const EGLint* attribs, EGLConfig* configs,
                        EGLint maxConfigs, EGLint* numConfigs) {
  EGLint dummy = 0;
  if (!numConfigs) numConfigs = &dummy;
  if (eglChooseConfig(display, attribs, configs, maxConfigs, numConfigs) && *numConfigs > 0)
    return EGL_TRUE;

  std::vector<EGLint> list;
  for (const EGLint* p = attribs; p && *p != EGL_NONE; p += 2) {
    list.push_back(p[0]);
    list.push_back(p[1]);
  }
  list.push_back(EGL_NONE);
  // Headless displays offer pbuffer configs only, and not every stencil size.
  std::vector<EGLint> pbuffer = Adjusted(list, EGL_SURFACE_TYPE, EGL_PBUFFER_BIT);
  const std::vector<EGLint> tries[] = {
      pbuffer,
      Adjusted(pbuffer, EGL_STENCIL_SIZE, EGL_NONE),
      Adjusted(Adjusted(pbuffer, EGL_STENCIL_SIZE, EGL_NONE), EGL_DEPTH_SIZE, EGL_NONE),
  };
  for (const auto& t : tries) {
    if (eglChooseConfig(display, t.data(), configs, maxConfigs, numConfigs) && *numConfigs > 0)
      return EGL_TRUE;
  }
  return EGL_FALSE;
}

namespace {

// Whether name is a whole word of the space-separated list.
bool ListHas(const char* all, const char* name) {
  if (!all || !name || !*name) return false;
  const size_t len = std::strlen(name);
  for (const char* p = std::strstr(all, name); p; p = std::strstr(p + 1, name)) {
    const bool startOk = p == all || p[-1] == ' ';
    const bool endOk = p[len] == ' ' || p[len] == '\0';
    if (startOk && endOk) return true;
  }
  return false;
}

}  // namespace

// POSTEFFECT_HIDE_GL_EXTENSIONS (space-separated names) makes this driver
// look like one without them, to run the paths such a driver takes.
bool HasGLExtension(const char* name) {
  return ListHas(reinterpret_cast<const char*>(glGetString(GL_EXTENSIONS)), name) &&
         !ListHas(std::getenv("POSTEFFECT_HIDE_GL_EXTENSIONS"), name);
}

}  // namespace platform
}  // namespace pe
