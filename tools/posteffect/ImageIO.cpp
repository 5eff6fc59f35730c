#include "ImageIO.h"

#include <png.h>
#include <sys/stat.h>
#include <turbojpeg.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <vector>

#include "ColorConvert.h"

namespace pe::cli {

namespace {

// Far beyond any camera; keeps a hostile header from asking for gigabytes.
constexpr int kMaxSide = 16384;
constexpr long kMaxPixels = static_cast<long>(kMaxSide) * kMaxSide;

std::string Quoted(const std::string& path) { return "'" + path + "'"; }

// Checked from the header, before anything of that size is allocated.
bool SizeAllowed(long w, long h, long maxPixels, const std::string& name, std::string* error) {
  const bool sides = w > 0 && h > 0 && w <= kMaxSide && h <= kMaxSide;
  if (sides && w * h <= maxPixels) return true;
  *error = name + " is " + std::to_string(w) + "x" + std::to_string(h) + ", " +
           (sides ? "more than " + std::to_string(maxPixels) + " pixels"
                  : "not 1 to " + std::to_string(kMaxSide) + " pixels a side");
  return false;
}

bool ReadWholeFile(const std::string& path, std::vector<uint8_t>* bytes, std::string* error) {
  std::FILE* f = std::fopen(path.c_str(), "rb");
  if (!f) {
    *error = "cannot open " + Quoted(path) + ": " + std::strerror(errno);
    return false;
  }
  bytes->clear();
  uint8_t chunk[1 << 16];
  size_t n;
  while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0)
    bytes->insert(bytes->end(), chunk, chunk + n);
  const bool failed = std::ferror(f);
  const int saved = errno;
  std::fclose(f);
  if (failed) {
    *error = "cannot read " + Quoted(path) + ": " + std::strerror(saved);
    return false;
  }
  return true;
}

bool WriteAll(std::FILE* out, const void* data, size_t size, std::string* error) {
  if (std::fwrite(data, 1, size, out) != size) {
    *error = std::string("write failed: ") + std::strerror(errno);
    return false;
  }
  return true;
}

// The temporary file of the AtomicFile now open (the tool writes one at a
// time), kept where a signal handler can reach it without allocating.
char g_pendingPath[4096];

void SetPending(const std::string& path) {
  const size_t n = std::min(path.size(), sizeof g_pendingPath - 1);
  g_pendingPath[0] = '\0';
  std::memcpy(g_pendingPath + 1, path.c_str() + 1, n > 0 ? n - 1 : 0);
  g_pendingPath[n] = '\0';
  std::atomic_signal_fence(std::memory_order_seq_cst);
  if (n > 0) g_pendingPath[0] = path[0];  // written last: the path is whole before it counts
}

std::string Lower(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return s;
}

}  // namespace

FileKind KindOfPath(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  const size_t dot = path.find_last_of('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) {
    return FileKind::kUnknown;
  }
  const std::string ext = Lower(path.substr(dot + 1));
  if (ext == "jpg" || ext == "jpeg") return FileKind::kJpeg;
  if (ext == "png") return FileKind::kPng;
  if (ext == "nv21" || ext == "yuv") return FileKind::kRawNv21;
  return FileKind::kUnknown;
}

bool DecodeJpeg(const std::vector<uint8_t>& bytes, const std::string& name, long maxPixels,
                RgbImage* image, std::string* error) {
  tjhandle tj = tjInitDecompress();
  if (!tj) {
    *error = "cannot start the JPEG decoder for " + name;
    return false;
  }
  int w = 0, h = 0, subsampling = 0, colourspace = 0;
  bool ok =
      tjDecompressHeader3(tj, bytes.data(), bytes.size(), &w, &h, &subsampling, &colourspace) == 0;
  if (ok && !SizeAllowed(w, h, maxPixels, name, error)) {
    tjDestroy(tj);
    return false;
  }
  if (ok) {
    *image = RgbImage(w, h);
    // Warnings (a truncated scan, say) count as failures: the picture is
    // not what the file claims to be.
    ok = tjDecompress2(tj, bytes.data(), bytes.size(), image->rgb.data(), w, w * 3, h, TJPF_RGB,
                       TJFLAG_ACCURATEDCT) == 0;
  }
  if (!ok) *error = name + " is not a valid JPEG: " + tjGetErrorStr2(tj);
  tjDestroy(tj);
  return ok;
}

bool DecodePng(const std::vector<uint8_t>& bytes, const std::string& name, long maxPixels,
               RgbImage* image, std::string* error) {
  png_image png;
  std::memset(&png, 0, sizeof png);
  png.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_memory(&png, bytes.data(), bytes.size())) {
    *error = name + " is not a valid PNG: " + png.message;
    png_image_free(&png);
    return false;
  }
  if (!SizeAllowed(png.width, png.height, maxPixels, name, error)) {
    png_image_free(&png);
    return false;
  }
  png.format = PNG_FORMAT_RGB;  // alpha is composited onto black
  *image = RgbImage(static_cast<int>(png.width), static_cast<int>(png.height));
  if (!png_image_finish_read(&png, nullptr, image->rgb.data(), 0, nullptr)) {
    *error = name + " is not a valid PNG: " + png.message;
    png_image_free(&png);
    return false;
  }
  return true;
}

bool ReadJpeg(const std::string& path, RgbImage* image, std::string* error) {
  std::vector<uint8_t> bytes;
  return ReadWholeFile(path, &bytes, error) &&
         DecodeJpeg(bytes, Quoted(path), kMaxPixels, image, error);
}

bool ReadPng(const std::string& path, RgbImage* image, std::string* error) {
  std::vector<uint8_t> bytes;
  return ReadWholeFile(path, &bytes, error) &&
         DecodePng(bytes, Quoted(path), kMaxPixels, image, error);
}

bool ReadRawNv21(const std::string& path, int width, int height, Nv21Frame* frame,
                 std::string* error) {
  std::vector<uint8_t> bytes;
  if (!ReadWholeFile(path, &bytes, error)) return false;
  const size_t expected = Nv21Frame::Bytes(width, height);
  if (bytes.size() != expected) {
    *error = Quoted(path) + " holds " + std::to_string(bytes.size()) + " bytes, but one " +
             std::to_string(width) + "x" + std::to_string(height) + " NV21 frame is " +
             std::to_string(expected);
    return false;
  }
  frame->width = width;
  frame->height = height;
  frame->data = std::move(bytes);
  return true;
}

bool WriteJpeg(std::FILE* out, const RgbImage& image, int quality, std::string* error) {
  tjhandle tj = tjInitCompress();
  if (!tj) {
    *error = "cannot start the JPEG encoder";
    return false;
  }
  unsigned char* jpeg = nullptr;
  unsigned long size = 0;
  bool ok = tjCompress2(tj, image.rgb.data(), image.width, image.width * 3, image.height, TJPF_RGB,
                        &jpeg, &size, TJSAMP_444, quality, TJFLAG_ACCURATEDCT) == 0;
  if (!ok) *error = std::string("JPEG encoding failed: ") + tjGetErrorStr2(tj);
  if (ok) ok = WriteAll(out, jpeg, size, error);
  tjFree(jpeg);
  tjDestroy(tj);
  return ok;
}

// libpng's simplified writer set up for an 8-bit RGB picture.
static png_image PngFor(const RgbImage& image) {
  png_image png;
  std::memset(&png, 0, sizeof png);
  png.version = PNG_IMAGE_VERSION;
  png.width = static_cast<png_uint_32>(image.width);
  png.height = static_cast<png_uint_32>(image.height);
  png.format = PNG_FORMAT_RGB;
  return png;
}

bool WritePng(std::FILE* out, const RgbImage& image, std::string* error) {
  png_image png = PngFor(image);
  if (!png_image_write_to_stdio(&png, out, 0, image.rgb.data(), 0, nullptr)) {
    *error = std::string("PNG encoding failed: ") + png.message;
    png_image_free(&png);
    return false;
  }
  return true;
}

bool EncodePng(const RgbImage& image, bool fast, std::vector<uint8_t>* bytes, std::string* error) {
  png_image png = PngFor(image);
  if (fast) png.flags |= PNG_IMAGE_FLAG_FAST;
  png_alloc_size_t size = 0;
  bool ok = png_image_write_get_memory_size(png, size, 0, image.rgb.data(), 0, nullptr);
  if (ok) {
    bytes->resize(size);
    ok = png_image_write_to_memory(&png, bytes->data(), &size, 0, image.rgb.data(), 0, nullptr);
    bytes->resize(size);
  }
  if (!ok) *error = std::string("PNG encoding failed: ") + png.message;
  png_image_free(&png);
  return ok;
}

bool WriteRaw(std::FILE* out, const Nv21Frame& frame, std::string* error) {
  return WriteAll(out, frame.data.data(), frame.data.size(), error);
}

AtomicFile::AtomicFile(std::string path) : path_(std::move(path)) {}

void RemovePendingOutput() {
  if (g_pendingPath[0] != '\0') unlink(g_pendingPath);
}

AtomicFile::~AtomicFile() {
  if (stream_) std::fclose(stream_);
  if (!tmpPath_.empty()) unlink(tmpPath_.c_str());
  SetPending("");
}

bool AtomicFile::Open(std::string* error) {
  const size_t slash = path_.find_last_of('/');
  const std::string dir = slash == std::string::npos ? "" : path_.substr(0, slash + 1);
  const std::string name = slash == std::string::npos ? path_ : path_.substr(slash + 1);
  std::string tmpl = dir + "." + name + ".XXXXXX";
  const int fd = mkstemp(tmpl.data());
  if (fd < 0) {
    *error = "cannot create " + Quoted(path_) + ": " + std::strerror(errno);
    return false;
  }
  tmpPath_ = tmpl;
  SetPending(tmpPath_);
  // mkstemp makes the file private; an output image is an ordinary file.
  const mode_t mask = umask(0);
  umask(mask);
  fchmod(fd, 0666 & ~mask);
  stream_ = fdopen(fd, "wb");
  if (!stream_) {
    *error = "cannot create " + Quoted(path_) + ": " + std::strerror(errno);
    close(fd);
    return false;
  }
  return true;
}

bool AtomicFile::Commit(std::string* error) {
  const bool flushed = std::fflush(stream_) == 0 && !std::ferror(stream_);
  const int saved = errno;
  const bool closed = std::fclose(stream_) == 0;
  stream_ = nullptr;
  if (!flushed || !closed) {
    *error = "cannot write " + Quoted(path_) + ": " + std::strerror(flushed ? errno : saved);
    return false;
  }
  if (std::rename(tmpPath_.c_str(), path_.c_str()) != 0) {
    *error = "cannot write " + Quoted(path_) + ": " + std::strerror(errno);
    return false;
  }
  SetPending("");  // after the rename: a late signal then finds no file to remove
  tmpPath_.clear();
  return true;
}

bool WriteImageFile(const std::string& path, const Nv21Frame& frame, std::string* error) {
  if (KindOfPath(path) != FileKind::kRawNv21) return WriteImageFile(path, Nv21ToRgb(frame), error);
  AtomicFile file(path);
  if (!file.Open(error)) return false;
  if (!WriteRaw(file.stream(), frame, error)) {
    *error = "cannot write " + Quoted(path) + ": " + *error;
    return false;
  }
  return file.Commit(error);
}

bool WriteImageFile(const std::string& path, const RgbImage& image, std::string* error) {
  const FileKind kind = KindOfPath(path);
  if (kind == FileKind::kRawNv21) return WriteImageFile(path, RgbToNv21(CropToEven(image)), error);
  if (kind == FileKind::kUnknown) {
    *error = "cannot write " + Quoted(path) + ": unknown file type (use .jpg, .png, .nv21 or .yuv)";
    return false;
  }
  AtomicFile file(path);
  if (!file.Open(error)) return false;
  const bool ok = kind == FileKind::kJpeg ? WriteJpeg(file.stream(), image, 95, error)
                                          : WritePng(file.stream(), image, error);
  if (!ok) {
    *error = "cannot write " + Quoted(path) + ": " + *error;
    return false;
  }
  return file.Commit(error);
}

}  // namespace pe::cli
