#include "Bmp.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace pe::assetgen {

namespace {

constexpr uint32_t kFileHeaderBytes = 14;
constexpr uint32_t kInfoHeaderBytes = 40;
constexpr uint32_t kBiRgb = 0;
constexpr uint32_t kBiBitfields = 3;
constexpr int32_t kPixelsPerMetre = 2835;  // 72 dpi

void Put16(std::vector<uint8_t>& out, uint16_t v) {
  out.push_back(static_cast<uint8_t>(v));
  out.push_back(static_cast<uint8_t>(v >> 8));
}

void Put32(std::vector<uint8_t>& out, uint32_t v) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

}  // namespace

Bitmap::Bitmap(int w, int h, int bpp)
    : width(w), height(h), bitsPerPixel(bpp), pixels(static_cast<size_t>(w) * h * bpp / 8, 0) {}

std::vector<uint8_t> EncodeBmp(const Bitmap& bmp) {
  const uint32_t rowBytes = static_cast<uint32_t>(bmp.RowBytes());
  if (bmp.width <= 0 || bmp.height <= 0 || rowBytes % 4 != 0 ||
      bmp.pixels.size() != static_cast<size_t>(rowBytes) * bmp.height)
    return {};
  uint32_t extra = 0;
  uint32_t compression = kBiRgb;
  uint32_t paletteColours = 0;
  if (bmp.bitsPerPixel == 8) {
    paletteColours = 256;
    extra = paletteColours * 4;
  } else if (bmp.bitsPerPixel == 16) {
    compression = kBiBitfields;
    extra = 3 * 4;
  } else if (bmp.bitsPerPixel != 24) {
    return {};
  }
  const uint32_t dataOffset = kFileHeaderBytes + kInfoHeaderBytes + extra;
  const uint32_t imageBytes = static_cast<uint32_t>(bmp.pixels.size());

  std::vector<uint8_t> out;
  out.reserve(dataOffset + imageBytes);
  out.push_back('B');
  out.push_back('M');
  Put32(out, dataOffset + imageBytes);
  Put32(out, 0);  // reserved
  Put32(out, dataOffset);
  Put32(out, kInfoHeaderBytes);
  Put32(out, static_cast<uint32_t>(bmp.width));
  Put32(out, static_cast<uint32_t>(bmp.height));  // positive: rows stored bottom-up
  Put16(out, 1);                                  // planes
  Put16(out, static_cast<uint16_t>(bmp.bitsPerPixel));
  Put32(out, compression);
  Put32(out, imageBytes);
  Put32(out, kPixelsPerMetre);
  Put32(out, kPixelsPerMetre);
  Put32(out, paletteColours);
  Put32(out, 0);  // all colours important
  if (bmp.bitsPerPixel == 8) {
    for (uint32_t i = 0; i < 256; ++i) Put32(out, i * 0x010101u);
  } else if (bmp.bitsPerPixel == 16) {
    Put32(out, 0xF800);
    Put32(out, 0x07E0);
    Put32(out, 0x001F);
  }
  out.insert(out.end(), bmp.pixels.begin(), bmp.pixels.end());
  return out;
}

bool WriteFileAtomically(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::string tmp = path + ".XXXXXX";
  int fd = mkstemp(tmp.data());
  if (fd < 0) return false;
  size_t done = 0;
  while (done < bytes.size()) {
    ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  // mkstemp creates 0600; assets are installed data, readable by all.
  bool ok = done == bytes.size() && fchmod(fd, 0644) == 0;
  if (close(fd) != 0) ok = false;
  if (ok && std::rename(tmp.c_str(), path.c_str()) == 0) return true;
  int saved = errno;
  unlink(tmp.c_str());
  errno = saved;
  return false;
}

}  // namespace pe::assetgen
