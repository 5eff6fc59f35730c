#include <pe/Log.h>
#include <zellog.h>

#include <atomic>
#include <cctype>
#include <cstdlib>
#include <mutex>
#include <string>

namespace pe {
namespace {
std::atomic<LogModule*> g_modules{nullptr};
}  // namespace

bool ParseHexMask(const char* text, unsigned char* out) {
  if (!text || !*text) return false;
  char* end = nullptr;
  unsigned long v = std::strtoul(text, &end, 16);
  if (*end != '\0' || v > 0x7F) return false;
  *out = static_cast<unsigned char>(v);
  return true;
}

LogModule::LogModule(const char* moduleTag) : tag(moduleTag), mask(0x80), next(nullptr) {
  LogModule* head = g_modules.load();
  do {
    next = head;
  } while (!g_modules.compare_exchange_weak(head, this));
}

bool LogModule::Enabled(int level) {
  unsigned char m = __atomic_load_n(&mask, __ATOMIC_RELAXED);
  if (m & 0x80) m = __zellog_init_mask(tag, -1, &mask);
  return level >= 2 && ((m >> (level - 2)) & 1);
}

void ResetLogMasks() {
  for (LogModule* m = g_modules.load(); m; m = m->next)
    __atomic_store_n(&m->mask, static_cast<unsigned char>(0x80), __ATOMIC_RELAXED);
}

ScopedTrace::ScopedTrace(LogModule& module, const char* func) : m_module(module), m_func(func) {
  PE_LOG(m_module, kLogInfo, "[%s] enter", m_func);
}

ScopedTrace::~ScopedTrace() { PE_LOG(m_module, kLogInfo, "[%s] leave", m_func); }

}  // namespace pe

extern "C" unsigned char __zellog_init_mask(const char* tag, int, unsigned char* mask) {
  // liblog drops debug lines on its own; the module masks are the only filter.
  static std::once_flag once;
  std::call_once(once, [] { __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE); });

  unsigned char value = 0x10;
  std::string perTag = "POSTEFFECT_LOG_MASK_";
  for (const char* p = tag ? tag : ""; *p; ++p)
    perTag += std::isalnum(static_cast<unsigned char>(*p)) ? *p : '_';
  if (!pe::ParseHexMask(std::getenv(perTag.c_str()), &value))
    pe::ParseHexMask(std::getenv("POSTEFFECT_LOG_MASK"), &value);
  if (mask) __atomic_store_n(mask, value, __ATOMIC_RELAXED);
  return value;
}
