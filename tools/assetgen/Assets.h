#pragma once

#include <vector>

#include "Bmp.h"

namespace pe::assetgen {

struct Asset {
  const char* name;  // file name the effects open
  Bitmap (*make)();
};

// Every bitmap the effects load, in a fixed order.
const std::vector<Asset>& Assets();

}  // namespace pe::assetgen
