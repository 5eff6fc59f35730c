#pragma once

#include <map>
#include <string>
#include <vector>

#include "Effects.h"

namespace pe::cli {

struct Size {
  int width = 0;
  int height = 0;
};

// "WxH" with positive decimal sizes and nothing else.
bool ParseSize(const std::string& text, Size* size);

// Comma-separated decimal integers, between minCount and maxCount of them,
// no blanks, no empty fields.
bool ParseIntList(const std::string& text, size_t minCount, size_t maxCount, std::vector<int>* out);

// A zero size means no crop is handed to the library.
struct Crop {
  int x = 0, y = 0, w = 0, h = 0;
};

// minCount to four such integers; the values not given are 0.
bool ParseQuad(const std::string& text, size_t minCount, Quad* q);
// "x,y,w,h" with x, y from 0 and w, h above 0.
bool ParseCrop(const std::string& text, Crop* crop);
// "a,b,c,d", as the camera parameters carry a quadruple.
std::string QuadText(const Quad& q);

struct OptionDef {
  const char* name;  // with the leading "--"
  bool takesValue;
};

struct ParsedArgs {
  std::map<std::string, std::string> values;  // options with a value
  std::vector<std::string> flags;             // options without one
  std::vector<std::string> positional;
  bool help = false;

  bool Has(const std::string& name) const { return values.count(name) != 0; }
};

// "--name value" and "--name=value"; "-h" and "--help" anywhere; "--" ends
// the options. Unknown, repeated or value-less options fail with a message.
bool ParseArgs(const std::vector<std::string>& args, const std::vector<OptionDef>& defs,
               ParsedArgs* parsed, std::string* error);

}  // namespace pe::cli
