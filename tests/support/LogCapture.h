#pragma once

#include <string>
#include <vector>

namespace pe {
namespace test {

struct LogLine {
  int priority;
  std::string tag;
  std::string text;
};

// Captures every log line of the process while alive, with all levels
// enabled; restores the default logger and masks afterwards.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<LogLine> Lines() const;
  // Lines containing the text (optionally only of one tag).
  int Count(const std::string& text, const char* tag = nullptr) const;
  bool Contains(const std::string& text, const char* tag = nullptr) const {
    return Count(text, tag) > 0;
  }
  void Clear();
  std::string Dump() const;
};

}  // namespace test
}  // namespace pe
