#include "Options.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>

namespace pe::cli {

namespace {

// Whole-string decimal integer with an optional sign, within int range.
bool ParseInt(const std::string& text, int* value) {
  if (text.empty()) return false;
  const size_t start = text[0] == '-' || text[0] == '+' ? 1 : 0;
  if (start == text.size()) return false;
  for (size_t i = start; i < text.size(); ++i)
    if (!std::isdigit(static_cast<unsigned char>(text[i]))) return false;
  errno = 0;
  const long v = std::strtol(text.c_str(), nullptr, 10);
  if (errno == ERANGE || v < INT_MIN || v > INT_MAX) return false;
  *value = static_cast<int>(v);
  return true;
}

}  // namespace

bool ParseSize(const std::string& text, Size* size) {
  const size_t x = text.find_first_of("xX");
  if (x == std::string::npos) return false;
  const std::string w = text.substr(0, x), h = text.substr(x + 1);
  if (w.empty() || h.empty() || !std::isdigit(static_cast<unsigned char>(w[0])) ||
      !std::isdigit(static_cast<unsigned char>(h[0])))
    return false;
  Size s;
  if (!ParseInt(w, &s.width) || !ParseInt(h, &s.height) || s.width <= 0 || s.height <= 0)
    return false;
  *size = s;
  return true;
}

bool ParseIntList(const std::string& text, size_t minCount, size_t maxCount,
                  std::vector<int>* out) {
  std::vector<int> values;
  size_t start = 0;
  while (true) {
    const size_t comma = text.find(',', start);
    const std::string field =
        text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
    int v = 0;
    if (!ParseInt(field, &v)) return false;
    values.push_back(v);
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  if (values.size() < minCount || values.size() > maxCount) return false;
  *out = std::move(values);
  return true;
}

bool ParseQuad(const std::string& text, size_t minCount, Quad* q) {
  std::vector<int> v;
  if (!ParseIntList(text, minCount, 4, &v)) return false;
  *q = Quad{0, 0, 0, 0};
  std::copy(v.begin(), v.end(), q->begin());
  return true;
}

bool ParseCrop(const std::string& text, Crop* crop) {
  Quad q;
  if (!ParseQuad(text, 4, &q) || q[0] < 0 || q[1] < 0 || q[2] <= 0 || q[3] <= 0) return false;
  *crop = Crop{q[0], q[1], q[2], q[3]};
  return true;
}

std::string QuadText(const Quad& q) {
  return std::to_string(q[0]) + "," + std::to_string(q[1]) + "," + std::to_string(q[2]) + "," +
         std::to_string(q[3]);
}

bool ParseArgs(const std::vector<std::string>& args, const std::vector<OptionDef>& defs,
               ParsedArgs* parsed, std::string* error) {
  ParsedArgs result;
  bool optionsEnded = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (optionsEnded || arg.size() < 2 || arg[0] != '-') {
      result.positional.push_back(arg);
      continue;
    }
    if (arg == "--") {
      optionsEnded = true;
      continue;
    }
    if (arg == "-h" || arg == "--help") {
      result.help = true;
      continue;
    }
    const size_t eq = arg.find('=');
    const std::string name = arg.substr(0, eq);
    const auto def =
        std::find_if(defs.begin(), defs.end(), [&](const OptionDef& s) { return name == s.name; });
    if (def == defs.end()) {
      *error = "unknown option '" + name + "'";
      return false;
    }
    const bool repeated =
        result.values.count(name) != 0 ||
        std::find(result.flags.begin(), result.flags.end(), name) != result.flags.end();
    if (repeated) {
      *error = "option " + name + " given twice";
      return false;
    }
    if (!def->takesValue) {
      if (eq != std::string::npos) {
        *error = "option " + name + " takes no value";
        return false;
      }
      result.flags.push_back(name);
      continue;
    }
    if (eq != std::string::npos) {
      result.values[name] = arg.substr(eq + 1);
    } else if (i + 1 < args.size()) {
      result.values[name] = args[++i];
    } else {
      *error = "option " + name + " needs a value";
      return false;
    }
  }
  *parsed = std::move(result);
  return true;
}

}  // namespace pe::cli
