#pragma once

// Logging convention shared by every module: one tag and one lazily queried
// mask byte per module; a message of level L is written only when bit (L - 2)
// of the mask is set.

#include <android/log.h>

namespace pe {

enum LogLevel { kLogDebug = 3, kLogInfo = 4, kLogError = 6 };

struct LogModule {
  const char* tag;
  unsigned char mask;  // bit 7 set: not asked yet
  LogModule* next;

  explicit LogModule(const char* moduleTag);
  bool Enabled(int level);
};

// Forgets every cached mask so the next message asks the platform again
// (tests change POSTEFFECT_LOG_MASK between cases).
void ResetLogMasks();

class ScopedTrace {
 public:
  ScopedTrace(LogModule& module, const char* func);
  ~ScopedTrace();
  ScopedTrace(const ScopedTrace&) = delete;
  ScopedTrace& operator=(const ScopedTrace&) = delete;

 private:
  LogModule& m_module;
  const char* m_func;
};

}  // namespace pe

#define PE_LOG(module, level, ...)                                                        \
  do {                                                                                    \
    if ((module).Enabled(level)) __android_log_print((level), (module).tag, __VA_ARGS__); \
  } while (0)

// Declares the file's module; use LOGD/LOGI/LOGE and TRACE below it.
#define PE_LOG_MODULE(tagText) static ::pe::LogModule s_peLogModule(tagText)
#define LOGD(...) PE_LOG(s_peLogModule, ::pe::kLogDebug, __VA_ARGS__)
#define LOGI(...) PE_LOG(s_peLogModule, ::pe::kLogInfo, __VA_ARGS__)
#define LOGE(...) PE_LOG(s_peLogModule, ::pe::kLogError, __VA_ARGS__)
// "[func] enter" now and "[func] leave" when the scope ends, at info level.
#define TRACE(func) ::pe::ScopedTrace s_peTrace_(s_peLogModule, func)
