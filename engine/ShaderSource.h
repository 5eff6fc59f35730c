#pragma once

#include <string>

namespace pe {

// A shader's variant: the source with "#define <name>" inserted after its
// #version line, and a #line so compiler messages keep the file's numbers.
inline std::string WithDefine(const char* source, const char* name) {
  std::string s(source);
  const size_t eol = s.find('\n');
  if (eol == std::string::npos) return s;
  return s.substr(0, eol + 1) + "#define " + name + "\n#line 2\n" + s.substr(eol + 1);
}

}  // namespace pe
