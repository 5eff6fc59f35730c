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
#include "Metadata.h"

namespace pe::cli {

namespace {

std::string Quoted(const std::string& path) { return "'" + path + "'"; }

// Checked from the header, before anything of that size is allocated.
bool SizeAllowed(long w, long h, long maxPixels, const std::string& name, std::string* error) {
  const bool sides = w > 0 && h > 0 && w <= kMaxPictureSide && h <= kMaxPictureSide;
  if (sides && w * h <= maxPixels) return true;
  *error = name + " is " + std::to_string(w) + "x" + std::to_string(h) + ", " +
           (sides ? "more than " + std::to_string(maxPixels) + " pixels"
                  : "not 1 to " + std::to_string(kMaxPictureSide) + " pixels a side");
  return false;
}

}  // namespace

bool ReadFileBytes(const std::string& path, std::vector<uint8_t>* bytes, std::string* error) {
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

namespace {

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
  return ReadFileBytes(path, &bytes, error) &&
         DecodeJpeg(bytes, Quoted(path), kMaxPicturePixels, image, error);
}

bool ReadPng(const std::string& path, RgbImage* image, std::string* error) {
  std::vector<uint8_t> bytes;
  return ReadFileBytes(path, &bytes, error) &&
         DecodePng(bytes, Quoted(path), kMaxPicturePixels, image, error);
}

bool ReadRawNv21(const std::string& path, int width, int height, Nv21Frame* frame,
                 std::string* error) {
  std::vector<uint8_t> bytes;
  if (!ReadFileBytes(path, &bytes, error)) return false;
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

bool EncodeJpeg(const RgbImage& image, int quality, std::vector<uint8_t>* bytes,
                std::string* error) {
  tjhandle tj = tjInitCompress();
  if (!tj) {
    *error = "cannot start the JPEG encoder";
    return false;
  }
  unsigned char* jpeg = nullptr;
  unsigned long size = 0;
  const bool ok = tjCompress2(tj, image.rgb.data(), image.width, image.width * 3, image.height,
                              TJPF_RGB, &jpeg, &size, TJSAMP_444, quality, TJFLAG_ACCURATEDCT) == 0;
  if (ok) bytes->assign(jpeg, jpeg + size);
  if (!ok) *error = std::string("JPEG encoding failed: ") + tjGetErrorStr2(tj);
  tjFree(jpeg);
  tjDestroy(tj);
  return ok;
}

bool EncodeJpeg(const Nv21Frame& frame, int width, int height, int quality,
                std::vector<uint8_t>* bytes, std::string* error) {
  // JPEG's YCbCr is the library's full-range BT.601; its chroma centre of
  // 128 against the library's 127.5 is below what the eye sees.
  const int cw = (width + 1) / 2, ch = (height + 1) / 2;
  std::vector<uint8_t> u(static_cast<size_t>(cw) * ch), v(u.size());
  for (int y = 0; y < ch; ++y) {
    const uint8_t* vu = frame.VU() + static_cast<size_t>(y) * frame.width;
    for (int x = 0; x < cw; ++x) {
      v[static_cast<size_t>(y) * cw + x] = vu[2 * x];
      u[static_cast<size_t>(y) * cw + x] = vu[2 * x + 1];
    }
  }
  const unsigned char* planes[3] = {frame.Y(), u.data(), v.data()};
  const int strides[3] = {frame.width, cw, cw};
  tjhandle tj = tjInitCompress();
  if (!tj) {
    *error = "cannot start the JPEG encoder";
    return false;
  }
  unsigned char* jpeg = nullptr;
  unsigned long size = 0;
  const bool ok = tjCompressFromYUVPlanes(tj, planes, width, strides, height, TJSAMP_420, &jpeg,
                                          &size, quality, TJFLAG_FASTDCT) == 0;
  if (ok) bytes->assign(jpeg, jpeg + size);
  if (!ok) *error = std::string("JPEG encoding failed: ") + tjGetErrorStr2(tj);
  tjFree(jpeg);
  tjDestroy(tj);
  return ok;
}

namespace {

// libpng reports errors by longjmp: the message is kept for the caller.
void PngError(png_structp png, png_const_charp message) {
  if (auto* text = static_cast<std::string*>(png_get_error_ptr(png))) *text = message;
  png_longjmp(png, 1);
}

void PngWarning(png_structp, png_const_charp) {}

struct PngSource {
  const std::vector<uint8_t>* bytes;
  size_t at;
};

void PngRead(png_structp png, png_bytep out, size_t n) {
  auto* src = static_cast<PngSource*>(png_get_io_ptr(png));
  if (n > src->bytes->size() - src->at) png_error(png, "truncated");
  std::memcpy(out, src->bytes->data() + src->at, n);
  src->at += n;
}

void PngWrite(png_structp png, png_bytep data, size_t n) {
  auto* out = static_cast<std::vector<uint8_t>*>(png_get_io_ptr(png));
  out->insert(out->end(), data, data + n);
}

void PngFlush(png_structp) {}

// The libpng calls that may jump back, apart from anything with a destructor.
int ReadTextChunks(png_structp png, png_infop info, PngSource* src, png_textp* text) {
  if (setjmp(png_jmpbuf(png))) return 0;
  png_set_read_fn(png, src, PngRead);
  png_read_info(png, info);
  return png_get_text(png, info, text, nullptr);
}

bool WritePngData(png_structp png, png_infop info, const RgbImage& image, png_bytepp rows,
                  png_textp texts, int textCount, bool fast, std::vector<uint8_t>* bytes) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_set_write_fn(png, bytes, PngWrite, PngFlush);
  png_set_IHDR(png, info, static_cast<png_uint_32>(image.width),
               static_cast<png_uint_32>(image.height), 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (fast) {
    png_set_compression_level(png, 1);
    png_set_filter(png, 0, PNG_FILTER_SUB);
  }
  if (textCount > 0) png_set_text(png, info, texts, textCount);
  png_write_info(png, info);
  png_write_image(png, rows);
  png_write_end(png, info);
  return true;
}

}  // namespace

std::vector<PngText> ReadPngTexts(const std::vector<uint8_t>& bytes) {
  std::vector<PngText> texts;
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, PngError, PngWarning);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  PngSource src{&bytes, 0};
  png_textp text = nullptr;
  const int n = png && info ? ReadTextChunks(png, info, &src, &text) : 0;
  for (int i = 0; i < n; ++i) {
    texts.push_back(
        PngText{text[i].compression, text[i].key, std::string(text[i].text, text[i].text_length),
                text[i].lang ? text[i].lang : "", text[i].lang_key ? text[i].lang_key : ""});
  }
  png_destroy_read_struct(&png, &info, nullptr);
  return texts;
}

bool EncodePng(const RgbImage& image, bool fast, const std::vector<PngText>& texts,
               std::vector<uint8_t>* bytes, std::string* error) {
  std::string message;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &message, PngError, PngWarning);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  std::vector<png_bytep> rows(static_cast<size_t>(image.height));
  for (int y = 0; y < image.height; ++y) rows[y] = const_cast<png_bytep>(image.At(0, y));
  std::vector<png_text> chunks(texts.size());
  for (size_t i = 0; i < texts.size(); ++i) {
    png_text& c = chunks[i];
    c.compression = texts[i].compression;
    c.key = const_cast<char*>(texts[i].key.c_str());
    c.text = const_cast<char*>(texts[i].text.c_str());
    c.text_length = texts[i].text.size();
    c.lang = const_cast<char*>(texts[i].lang.c_str());
    c.lang_key = const_cast<char*>(texts[i].langKey.c_str());
  }
  bytes->clear();
  const bool ok = png && info &&
                  WritePngData(png, info, image, rows.data(), chunks.data(),
                               static_cast<int>(chunks.size()), fast, bytes);
  png_destroy_write_struct(&png, &info);
  if (!ok) *error = "PNG encoding failed: " + (message.empty() ? "out of memory" : message);
  return ok;
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

namespace {

bool WriteBytes(const std::string& path, const void* data, size_t size, std::string* error) {
  AtomicFile file(path);
  if (!file.Open(error)) return false;
  if (!WriteAll(file.stream(), data, size, error)) {
    *error = "cannot write " + Quoted(path) + ": " + *error;
    return false;
  }
  return file.Commit(error);
}

}  // namespace

bool WriteImageFile(const std::string& path, const Nv21Frame& frame, std::string* error) {
  if (KindOfPath(path) != FileKind::kRawNv21) return WriteImageFile(path, Nv21ToRgb(frame), error);
  return WriteBytes(path, frame.data.data(), frame.data.size(), error);
}

bool WriteImageFile(const std::string& path, const RgbImage& image, std::string* error,
                    const Metadata* meta, std::string* note) {
  const FileKind kind = KindOfPath(path);
  if (kind == FileKind::kRawNv21)
    return WriteImageFile(path, RgbToNv21(image, image.width & ~1, image.height & ~1), error);
  if (kind == FileKind::kUnknown) {
    *error = "cannot write " + Quoted(path) + ": unknown file type (use .jpg, .png, .nv21 or .yuv)";
    return false;
  }
  std::vector<uint8_t> bytes;
  const bool ok =
      kind == FileKind::kJpeg
          ? EncodeJpeg(image, 95, &bytes, error)
          : EncodePng(image, false, meta ? meta->texts : std::vector<PngText>{}, &bytes, error);
  if (!ok) {
    *error = "cannot write " + Quoted(path) + ": " + *error;
    return false;
  }
  std::string why;
  if (meta && !EmbedMetadata(*meta, kind, image.width, image.height, &bytes, &why) && note)
    *note = "wrote " + Quoted(path) + " without its metadata: " + why;
  return WriteBytes(path, bytes.data(), bytes.size(), error);
}

}  // namespace pe::cli
