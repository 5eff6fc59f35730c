#pragma once

// The platform camera-parameter set: an ordered map of "key=value" pairs
// flattened as "key=value;key=value".

#include <utils/String8.h>

#include <map>
#include <string>

namespace android {

class CameraParameters {
 public:
  CameraParameters() = default;
  explicit CameraParameters(const String8& params) { unflatten(params); }

  String8 flatten() const;
  void unflatten(const String8& params);

  void set(const char* key, const char* value);
  void set(const char* key, int value);
  // Null when the key is absent.
  const char* get(const char* key) const;
  int getInt(const char* key) const;
  void remove(const char* key);

 private:
  std::map<std::string, std::string> m_map;
};

}  // namespace android
