#include <camera/CameraParameters.h>

#include <cstdlib>
#include <cstring>

namespace android {

String8 CameraParameters::flatten() const {
  std::string out;
  for (const auto& kv : m_map) {
    if (!out.empty()) out += ';';
    out += kv.first;
    out += '=';
    out += kv.second;
  }
  return String8(out.c_str());
}

// Split at the first '=' for the key, then at the next ';' for the value; a
// segment without '=' ends the parse, as the platform class does.
void CameraParameters::unflatten(const String8& params) {
  m_map.clear();
  const char* a = params.c_str();
  for (;;) {
    const char* eq = std::strchr(a, '=');
    if (!eq) break;
    std::string key(a, eq - a);
    const char* value = eq + 1;
    const char* semi = std::strchr(value, ';');
    if (!semi) {
      m_map[key] = value;
      break;
    }
    m_map[key] = std::string(value, semi - value);
    a = semi + 1;
  }
}

void CameraParameters::set(const char* key, const char* value) {
  if (!key || !value || std::strchr(key, '=') || std::strchr(key, ';') || std::strchr(value, ';'))
    return;
  m_map[key] = value;
}

void CameraParameters::set(const char* key, int value) { set(key, std::to_string(value).c_str()); }

const char* CameraParameters::get(const char* key) const {
  auto it = m_map.find(key ? key : "");
  return it == m_map.end() ? nullptr : it->second.c_str();
}

int CameraParameters::getInt(const char* key) const {
  const char* v = get(key);
  return v ? static_cast<int>(std::strtol(v, nullptr, 0)) : -1;
}

void CameraParameters::remove(const char* key) { m_map.erase(key ? key : ""); }

}  // namespace android
