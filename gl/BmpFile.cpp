// BMP assets into textures, and debug dumps of streaming textures.

#include "BmpFile.h"

#include <GLES2/gl2.h>
#include <GLES2/gl2ext.h>
#include <pe/Log.h>
#include <pe/Platform.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "GLTexture.h"

PE_LOG_MODULE("GLTexture");

namespace pe {
namespace bmp {
namespace {

struct Kind {
  int bits;
  unsigned format;
  unsigned type;
};

const Kind kKinds[] = {
    {32, GL_RGBA, GL_UNSIGNED_BYTE},
    {24, GL_RGB, GL_UNSIGNED_BYTE},
    {16, GL_RGB, GL_UNSIGNED_SHORT_5_6_5},
    {8, GL_LUMINANCE, GL_UNSIGNED_BYTE},
};

}  // namespace

int BitsFor(unsigned format, unsigned type) {
  for (const Kind& k : kKinds)
    if (k.format == format && k.type == type) return k.bits;
  return 0;
}

bool KindFor(int bits, unsigned* format, unsigned* type) {
  for (const Kind& k : kKinds) {
    if (k.bits != bits) continue;
    *format = k.format;
    *type = k.type;
    return true;
  }
  return false;
}

bool OpenDump(LogModule& log, const char* func, const char* templatePath, const char* outName,
              Dump* dump) {
  const std::string outPath = platform::DumpDir() + (outName ? outName : "");
  PE_LOG(log, kLogInfo, "[%s] fname %s\n", func, templatePath ? templatePath : "");
  PE_LOG(log, kLogInfo, "[%s] foutname %s\n", func, outPath.c_str());
  dump->in.reset(templatePath ? std::fopen(templatePath, "rb") : nullptr);
  if (!dump->in) {
    PE_LOG(log, kLogError, "[%s] can't open fin\n", func);
    return false;
  }
  dump->out.reset(std::fopen(outPath.c_str(), "wb"));
  if (!dump->out) {
    PE_LOG(log, kLogError, "[%s] can't open fout, %s\n", func, std::strerror(errno));
    return false;
  }
  // A small template may end inside the 128 bytes; the rest stays zero.
  const size_t got = std::fread(dump->header, 1, kTemplateSize, dump->in.get());
  if (got < kHeaderSize || dump->header[0] != 'B' || dump->header[1] != 'M') {
    PE_LOG(log, kLogError, "[%s] not a BMP file\n", func);
    return false;
  }
  dump->dataOffset = Get32(dump->header + kFieldDataOffset);
  if (dump->dataOffset < kHeaderSize || dump->dataOffset > kMaxTemplateHeader) {
    PE_LOG(log, kLogError, "[%s] bad data offset %u\n", func, dump->dataOffset);
    return false;
  }
  return true;
}

bool FinishDump(LogModule& log, const char* func, Dump* dump) {
  const bool outError = std::fflush(dump->out.get()) != 0 || std::ferror(dump->out.get());
  const bool inError = std::ferror(dump->in.get()) != 0;
  if (inError || outError) {
    PE_LOG(log, kLogError, "[%s] ferror %u %u\n", func, inError ? 1u : 0u, outError ? 1u : 0u);
    return false;
  }
  return true;
}

}  // namespace bmp
}  // namespace pe

using namespace pe::bmp;

namespace {

// Bytes per pixel glTexImage2D reads for this kind; 0 for kinds whose size
// is not known here, which are not loaded.
uint64_t PixelBytes(unsigned format, unsigned type) {
  uint64_t components = 0;
  switch (format) {
    case GL_ALPHA:
    case GL_LUMINANCE:
      components = 1;
      break;
    case GL_LUMINANCE_ALPHA:
      components = 2;
      break;
    case GL_RGB:
      components = 3;
      break;
    case GL_RGBA:
      components = 4;
      break;
    default:
      return 0;
  }
  switch (type) {
    case GL_UNSIGNED_BYTE:
      return components;
    case GL_UNSIGNED_SHORT_5_6_5:
      return format == GL_RGB ? 2 : 0;
    case GL_UNSIGNED_SHORT_4_4_4_4:
    case GL_UNSIGNED_SHORT_5_5_5_1:
      return format == GL_RGBA ? 2 : 0;
    case GL_HALF_FLOAT_OES:
      return 2 * components;
    case GL_FLOAT:
      return 4 * components;
    default:
      return 0;
  }
}

// Depths a BMP header may carry. 1, 2 and 4 are palette depths this loader
// does not read; anything else is not a BMP.
bool IsBmpDepth(int bits) {
  return bits == 1 || bits == 2 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
}

bool IsLoadableDepth(int bits) { return bits == 8 || bits == 16 || bits == 24 || bits == 32; }

}  // namespace

unsigned GLTexture::LoadBMP(const char* path, unsigned format, unsigned type,
                            unsigned char streaming, int requiredBits) {
  TRACE("LoadBMP");
  File file(path ? std::fopen(path, "rb") : nullptr);
  LOGI("[%s] BMP file %s\n", "LoadBMP", path ? path : "");
  if (!file) {
    LOGE("[%s] Can't open BMP %s\n", "LoadBMP", path ? path : "");
    return 0;
  }
  FILE* f = file.get();
  unsigned char header[kHeaderSize];
  if (std::fread(header, 1, kHeaderSize, f) != kHeaderSize || header[0] != 'B' ||
      header[1] != 'M') {
    LOGE("[%s] Can't open bmp: Header fail\n", "LoadBMP");
    return 0;
  }
  const uint32_t dataOffset = Get32(header + kFieldDataOffset);
  const int32_t width = static_cast<int32_t>(Get32(header + kFieldWidth));
  const int32_t height = static_cast<int32_t>(Get32(header + kFieldHeight));
  const int bits = Get16(header + kFieldBits);
  // Top-down files (negative height) are not assets.
  if (width <= 0 || height <= 0) {
    LOGE("[%s] ERROR, invalid size %dx%d\n", "LoadBMP", width, height);
    return 0;
  }
  if (!IsBmpDepth(bits)) {
    LOGE("[%s] ERROR, unsupported %d bpp\n", "LoadBMP", bits);
    return 0;
  }
  // Assets rely on one of the two agreeing with the file being enough (an
  // RGB file into an RGBA texture, say), so only a double mismatch is refused.
  unsigned fileFormat = 0, fileType = 0;
  if (KindFor(bits, &fileFormat, &fileType) && format != fileFormat && type != fileType) {
    LOGE("[%s] %d bpp, format 0x%04X and type 0x%04X mismatch", "LoadBMP", bits, format, type);
    return 0;
  }

  // Every size below is checked against the file before anything is
  // allocated, so a hostile header costs at most a few times the file size.
  long fileSize = -1;
  if (std::fseek(f, 0, SEEK_END) == 0) fileSize = std::ftell(f);
  if (fileSize < 0) {
    LOGE("[%s] error reading file\n", "LoadBMP");
    return 0;
  }
  const uint64_t pixels = static_cast<uint64_t>(width) * static_cast<uint64_t>(height);
  if (pixels > UINT64_MAX / 32 || dataOffset > static_cast<uint64_t>(fileSize) ||
      pixels * bits / 8 > static_cast<uint64_t>(fileSize) - dataOffset) {
    LOGE("[%s] ERROR, %dx%d %d bpp data at offset %u exceeds the file's %ld bytes\n", "LoadBMP",
         width, height, bits, dataOffset, fileSize);
    return 0;
  }
  // Rows are read as they lie, without the padding a BMP row takes up to a
  // multiple of 4 bytes: any other row length would skew the picture.
  const uint64_t rowBytes = static_cast<uint64_t>(width) * bits / 8;
  if (IsLoadableDepth(bits) && rowBytes % 4 != 0) {
    LOGE("[%s] ERROR, %dx%d %d bpp rows of %llu bytes are padded in the file\n", "LoadBMP", width,
         height, bits, static_cast<unsigned long long>(rowBytes));
    return 0;
  }
  // The debug writers leave the template's size field, so only files held to
  // a depth are held to it too.
  const uint32_t sizeField = Get32(header + kFieldFileSize);
  if (requiredBits && sizeField != 0 && sizeField != static_cast<uint64_t>(fileSize)) {
    LOGE("[%s] ERROR, header says %u bytes, the file has %ld\n", "LoadBMP", sizeField, fileSize);
    return 0;
  }
  if (requiredBits && bits != requiredBits) {
    LOGE("[%s] ERROR, %d bpp file where %d bpp are expected\n", "LoadBMP", bits, requiredBits);
    return 0;
  }
  const uint64_t bytes = pixels * bits / 8;
  uint64_t allocBytes = bytes;
  if (!streaming && IsLoadableDepth(bits)) {
    // glTexImage2D reads by the texture's kind, which may take more bytes
    // than the file holds (an 8-bit file into RGBA): pad with zeros.
    const uint64_t pixel = PixelBytes(format, type);
    if (!pixel) {
      LOGE("[%s] ERROR, format 0x%04X and type 0x%04X can't be loaded\n", "LoadBMP", format, type);
      return 0;
    }
    GLint align = 4;
    glGetIntegerv(GL_UNPACK_ALIGNMENT, &align);
    const uint64_t a = align > 0 ? static_cast<uint64_t>(align) : 1;
    const uint64_t row = static_cast<uint64_t>(width) * pixel;
    const uint64_t pitch = (row + a - 1) / a * a;
    allocBytes = std::max(allocBytes, pitch * static_cast<uint64_t>(height - 1) + row);
  }

  LOGI("[%s] alloc buf for file reading\n", "LoadBMP");
  Buffer block = Alloc(static_cast<size_t>(allocBytes));
  if (!block) {
    LOGE("[%s] out of memory\n", "LoadBMP");
    return 0;
  }
  LOGI("[%s] reading %dx%d, %d BPP\n", "LoadBMP", width, height, bits);
  if (std::fseek(f, static_cast<long>(dataOffset), SEEK_SET) != 0) {
    LOGE("[%s] error reading file\n", "LoadBMP");
    return 0;
  }
  // Palette depths end here without a line: callers just try their next path.
  if (!IsLoadableDepth(bits)) return 0;
  if (std::fread(block.get(), 1, static_cast<size_t>(bytes), f) != bytes || std::ferror(f)) {
    LOGE("[%s] error reading file\n", "LoadBMP");
    return 0;
  }
  file.reset();
  LOGI("[%s] file reading done\n", "LoadBMP");

  if (!Init(format, type, static_cast<unsigned>(width), static_cast<unsigned>(height), streaming)) {
    LOGE("[%s] Can't init texture\n", "LoadBMP");
    return 0;
  }
  LOGI("[%s] update data into texture\n", "LoadBMP");
  Bind();
  if (m_bStreaming) {
    // Rows land at the texture's stride; a file row longer than the stride
    // (a deeper file than the texture) is cut.
    const size_t fileRow = static_cast<size_t>(width) * bits / 8;
    const size_t pitch = static_cast<size_t>(m_nAllocWidth) * m_nBpp;
    const size_t n = std::min(fileRow, pitch);
    auto* dst = static_cast<unsigned char*>(m_pData);
    for (int32_t r = 0; r < height; ++r) std::memcpy(dst + r * pitch, block.get() + r * fileRow, n);
  } else if (!UpdateNormalTexture(block.get(), static_cast<unsigned>(width),
                                  static_cast<unsigned>(height))) {
    return 0;
  }
  glTexParameteri(m_uTarget, GL_TEXTURE_WRAP_S, GL_REPEAT);
  glTexParameteri(m_uTarget, GL_TEXTURE_WRAP_T, GL_REPEAT);
  glTexParameteri(m_uTarget, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
  glTexParameteri(m_uTarget, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
  return 1;
}

unsigned GLTexture::SaveBMP(const char* templatePath, const char* outName) {
  TRACE("SaveBMP");
  if (!m_bStreaming) {
    LOGE("[%s] ERROR, only streaming texture use this method\n", "SaveBMP");
    return 0;
  }
  const int bits = BitsFor(m_uFormat, m_uType);
  if ((m_uFormat != GL_RGB && m_uFormat != GL_RGBA) || !bits) {
    LOGE("[%s] ERROR, only RGB or RGBA texture use this method\n", "SaveBMP");
    return 0;
  }
  auto* data = static_cast<unsigned char*>(GetSTDataBuf());
  if (!data) return 0;
  Dump dump;
  if (!OpenDump(s_peLogModule, "SaveBMP", templatePath, outName, &dump)) return 0;
  Put32(dump.header + kFieldWidth, static_cast<uint32_t>(m_nWidth));
  Put32(dump.header + kFieldHeight, static_cast<uint32_t>(m_nHeight));
  Put16(dump.header + kFieldBits, static_cast<uint16_t>(bits));
  std::fwrite(dump.header, 1, kTemplateSize, dump.out.get());

  const size_t texel = static_cast<size_t>(bits / 8);
  const size_t pitch = static_cast<size_t>(m_nAllocWidth) * texel;
  if (bits == 32) {
    // In place: the texture itself ends up in file order (saving twice
    // swaps red and blue back).
    const size_t count = static_cast<size_t>(m_nAllocWidth) * m_nHeight;
    for (size_t i = 0; i < count; ++i) {
      unsigned char* p = data + 4 * i;
      std::swap(p[0], p[2]);
      p[3] = 255;
    }
  }
  const size_t row = static_cast<size_t>(m_nWidth) * texel;
  LOGI("[%s] offset %d, w=%d, h=%d, bpp=%d, size=%d\n", "SaveBMP", dump.dataOffset, m_nWidth,
       m_nHeight, bits, static_cast<int>(row * m_nHeight));
  std::fseek(dump.out.get(), static_cast<long>(dump.dataOffset), SEEK_SET);
  for (int r = 0; r < m_nHeight; ++r) std::fwrite(data + r * pitch, 1, row, dump.out.get());
  return FinishDump(s_peLogModule, "SaveBMP", &dump) ? 1 : 0;
}

unsigned GLTexture::SaveBMP_yuvx(const char* templatePath, const char* outName) {
  TRACE("SaveBMP_yuvx");
  if (!m_bStreaming) {
    LOGE("[%s] ERROR, only streaming texture use this method\n", "SaveBMP_yuvx");
    return 0;
  }
  if (m_uFormat != GL_RGB && m_uFormat != GL_RGBA) {
    LOGE("[%s] ERROR, only RGB or RGBA texture use this method\n", "SaveBMP_yuvx");
    return 0;
  }
  // The fourth byte of a texel exists only in four-byte texels.
  if (BitsFor(m_uFormat, m_uType) != 32) {
    LOGE("[%s] ERROR, only RGBA texture use this method\n", "SaveBMP_yuvx");
    return 0;
  }
  const auto* data = static_cast<const unsigned char*>(GetSTDataBuf());
  if (!data) return 0;
  Dump dump;
  if (!OpenDump(s_peLogModule, "SaveBMP_yuvx", templatePath, outName, &dump)) return 0;
  Put32(dump.header + kFieldWidth, static_cast<uint32_t>(m_nWidth));
  Put32(dump.header + kFieldHeight, static_cast<uint32_t>(m_nHeight));
  Put16(dump.header + kFieldBits, 8);
  std::fwrite(dump.header, 1, kTemplateSize, dump.out.get());
  std::fseek(dump.out.get(), static_cast<long>(dump.dataOffset), SEEK_SET);
  LOGI("[%s] m_pData=%p, %dx%d\n", "SaveBMP_yuvx", m_pData, m_nWidth, m_nHeight);

  Buffer line = Alloc(static_cast<size_t>(m_nWidth));
  if (!line) {
    LOGE("[%s] out of memory\n", "SaveBMP_yuvx");
    return 0;
  }
  const size_t pitch = static_cast<size_t>(m_nAllocWidth) * 4;
  for (int r = 0; r < m_nHeight; ++r) {
    const unsigned char* src = data + r * pitch;
    for (int x = 0; x < m_nWidth; ++x) line[x] = src[4 * x + 3];
    std::fwrite(line.get(), 1, static_cast<size_t>(m_nWidth), dump.out.get());
  }
  return FinishDump(s_peLogModule, "SaveBMP_yuvx", &dump) ? 1 : 0;
}
