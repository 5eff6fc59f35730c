#include "LogCapture.h"

#include <android/log.h>
#include <pe/Log.h>

#include <cstdlib>
#include <mutex>

namespace pe {
namespace test {
namespace {

std::mutex g_mutex;
std::vector<LogLine> g_lines;

void Capture(const __android_logger_data* data, const char* message) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_lines.push_back({data->priority, data->tag ? data->tag : "", message ? message : ""});
}

}  // namespace

LogCapture::LogCapture() {
  Clear();
  setenv("POSTEFFECT_LOG_MASK", "7F", 1);
  ResetLogMasks();
  __android_log_set_logger(Capture);
}

LogCapture::~LogCapture() {
  __android_log_set_logger(__android_log_stderr_logger);
  unsetenv("POSTEFFECT_LOG_MASK");
  ResetLogMasks();
}

std::vector<LogLine> LogCapture::Lines() const {
  std::lock_guard<std::mutex> lock(g_mutex);
  return g_lines;
}

int LogCapture::Count(const std::string& text, const char* tag) const {
  std::lock_guard<std::mutex> lock(g_mutex);
  int n = 0;
  for (const auto& l : g_lines)
    if ((!tag || l.tag == tag) && l.text.find(text) != std::string::npos) ++n;
  return n;
}

void LogCapture::Clear() {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_lines.clear();
}

std::string LogCapture::Dump() const {
  std::lock_guard<std::mutex> lock(g_mutex);
  std::string out;
  for (const auto& l : g_lines) out += l.tag + ": " + l.text + "\n";
  return out;
}

}  // namespace test
}  // namespace pe
