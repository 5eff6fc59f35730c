#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "Image.h"

namespace pe::cli {

enum class FileKind { kUnknown, kJpeg, kPng, kRawNv21 };

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
bool ReadJpeg(const std::string& path, RgbImage* image, std::string* error);
bool ReadPng(const std::string& path, RgbImage* image, std::string* error);
// The file must hold exactly one frame of the given size.
bool ReadRawNv21(const std::string& path, int width, int height, Nv21Frame* frame,
                 std::string* error);

bool WriteJpeg(std::FILE* out, const RgbImage& image, int quality, std::string* error);
bool WritePng(std::FILE* out, const RgbImage& image, std::string* error);
// fast: larger output for less time, for pictures sent once.
bool EncodePng(const RgbImage& image, bool fast, std::vector<uint8_t>* bytes, std::string* error);
bool WriteRaw(std::FILE* out, const Nv21Frame& frame, std::string* error);

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

// Encodes by the path's kind into an AtomicFile.
bool WriteImageFile(const std::string& path, const Nv21Frame& frame, std::string* error);
bool WriteImageFile(const std::string& path, const RgbImage& image, std::string* error);

}  // namespace pe::cli
