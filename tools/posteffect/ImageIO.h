#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "Image.h"

namespace pe::cli {

enum class FileKind { kUnknown, kJpeg, kPng, kRawNv21 };

struct Metadata;

// Far beyond any camera; keeps a hostile header from asking for gigabytes.
constexpr int kMaxPictureSide = 16384;
constexpr long kMaxPicturePixels = static_cast<long>(kMaxPictureSide) * kMaxPictureSide;

// A PNG text chunk (tEXt, zTXt or iTXt, as compression says), carried over
// as it was.
struct PngText {
  int compression = 0;  // libpng's PNG_TEXT_COMPRESSION_* / PNG_ITXT_COMPRESSION_*
  std::string key, text, lang, langKey;
};

// By extension, case-insensitive: .jpg/.jpeg, .png, .nv21/.yuv.
FileKind KindOfPath(const std::string& path);

// Readers and writers return false with one complete message in *error that
// names the file.
// The same from bytes in memory; name is how messages call the picture,
// maxPixels refuses a larger one from its header alone.
bool DecodeJpeg(const std::vector<uint8_t>& bytes, const std::string& name, long maxPixels,
                RgbImage* image, std::string* error);
bool DecodePng(const std::vector<uint8_t>& bytes, const std::string& name, long maxPixels,
               RgbImage* image, std::string* error);
bool ReadFileBytes(const std::string& path, std::vector<uint8_t>* bytes, std::string* error);
bool ReadJpeg(const std::string& path, RgbImage* image, std::string* error);
bool ReadPng(const std::string& path, RgbImage* image, std::string* error);
// The file must hold exactly one frame of the given size.
bool ReadRawNv21(const std::string& path, int width, int height, Nv21Frame* frame,
                 std::string* error);

// The text chunks ahead of a PNG's pixels; none when it cannot be read.
std::vector<PngText> ReadPngTexts(const std::vector<uint8_t>& bytes);

bool EncodeJpeg(const RgbImage& image, int quality, std::vector<uint8_t>* bytes,
                std::string* error);
// The top left width x height of a frame, straight from its planes: no
// conversion to RGB, for pictures shown live.
bool EncodeJpeg(const Nv21Frame& frame, int width, int height, int quality,
                std::vector<uint8_t>* bytes, std::string* error);
// fast: larger output for less time, for pictures sent once.
bool EncodePng(const RgbImage& image, bool fast, const std::vector<PngText>& texts,
               std::vector<uint8_t>* bytes, std::string* error);

// An output file that appears under its name only once it is complete: it
// is written as a temporary file beside the target and renamed by Commit.
// Anything not committed is removed, so a failure leaves nothing behind.
class AtomicFile {
 public:
  explicit AtomicFile(std::string path);
  ~AtomicFile();
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;

  bool Open(std::string* error);
  std::FILE* stream() const { return stream_; }
  bool Commit(std::string* error);

 private:
  std::string path_;
  std::string tmpPath_;
  std::FILE* stream_ = nullptr;
};

// Removes the output being written, if any; async-signal-safe, for a
// handler that ends the program on SIGINT or SIGTERM.
void RemovePendingOutput();

// Encodes by the path's kind into an AtomicFile. With meta, what it carries
// goes along into JPEG and PNG files; when it cannot, the picture is written
// without it and *note says why.
bool WriteImageFile(const std::string& path, const Nv21Frame& frame, std::string* error);
bool WriteImageFile(const std::string& path, const RgbImage& image, std::string* error,
                    const Metadata* meta = nullptr, std::string* note = nullptr);

}  // namespace pe::cli
