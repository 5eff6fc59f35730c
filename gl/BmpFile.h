#pragma once

// The parts of the BMP layout the loader and the debug writers share. Only
// the fields below are read or written; everything else in a header is
// copied from the template as it is.

#include <pe/Log.h>

#include <cstddef>
#include <cstdint>

#include "ByteIo.h"

namespace pe {
namespace bmp {

using io::Alloc;
using io::Buffer;
using io::File;
using io::Get16;
using io::Get32;
using io::Put16;
using io::Put32;

enum : size_t {
  kFieldFileSize = 2,
  kFieldDataOffset = 10,
  kFieldWidth = 18,
  kFieldHeight = 22,
  kFieldBits = 28,
  kHeaderSize = 54,
  // What the texture writers copy from their template.
  kTemplateSize = 128,
};
// A template header larger than this is not a header.
const uint32_t kMaxTemplateHeader = 64 * 1024;

// Bits per pixel a texture of this kind is stored with (32, 24, 16, 8), or
// 0 when no file depth maps to it.
int BitsFor(unsigned format, unsigned type);
// The texture kind stored in files of this depth; false for other depths.
bool KindFor(int bits, unsigned* format, unsigned* type);

// The two files of a debug dump.
struct Dump {
  File in;   // the template
  File out;  // the dump, under the platform's dump directory
  unsigned char header[kTemplateSize] = {};
  uint32_t dataOffset = 0;
};

// Opens the template and the dump file, reads the template's first 128
// bytes into dump->header and checks them. Logs with log's tag under func.
bool OpenDump(LogModule& log, const char* func, const char* templatePath, const char* outName,
              Dump* dump);
// Flushes the dump and reports a stream error on either file.
bool FinishDump(LogModule& log, const char* func, Dump* dump);

}  // namespace bmp
}  // namespace pe
