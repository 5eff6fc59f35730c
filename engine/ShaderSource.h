#pragma once

#include <string>

namespace pe {

// A shader's variant: "#define <define>" after the #version line and the
// family's shared GLSL (prelude) after the precision line, each followed by a
// #line so compiler messages keep the file's own numbers. Either may be null.
inline std::string ComposeShader(const char* source, const char* define, const char* prelude) {
  std::string s(source);
  auto lineEnd = [&s](size_t from) {
    const size_t eol = s.find('\n', from);
    return eol == std::string::npos ? s.size() : eol + 1;
  };
  // Line numbers are 1-based; after the inserted text the file goes on at
  // the line following the one the text was put behind.
  auto countLines = [&s](size_t upTo) {
    int n = 1;
    for (size_t i = 0; i < upTo && i < s.size(); ++i) n += s[i] == '\n';
    return n;
  };
  if (prelude && *prelude) {
    const size_t at = s.find("\nprecision");
    const size_t pos = at == std::string::npos ? lineEnd(0) : lineEnd(at + 1);
    const int next = countLines(pos);
    s.insert(pos, std::string(prelude) + "\n#line " + std::to_string(next) + "\n");
  }
  if (define && *define) {
    const size_t pos = lineEnd(0);
    s.insert(pos, std::string("#define ") + define + "\n#line 2\n");
  }
  return s;
}

}  // namespace pe
