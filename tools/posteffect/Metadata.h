#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Image.h"
#include "ImageIO.h"

namespace pe::cli {

struct MetadataBlocks;  // EXIF, XMP, IPTC, ICC profile and comment as the file had them

// What a picture file says beside its pixels: how a viewer turns it, and
// what is carried over to the pictures made from it.
struct Metadata {
  int orientation = 1;  // EXIF's 1 (upright) to 8
  std::shared_ptr<const MetadataBlocks> blocks;
  std::vector<PngText> texts;  // a PNG's text chunks, apart from those holding the blocks
};

// What the encoded picture carries; false with *note when its metadata
// cannot be read (the picture itself may still be fine).
bool ReadMetadata(const std::vector<uint8_t>& bytes, FileKind kind, Metadata* meta,
                  std::string* note);

// The picture turned as a viewer shows it for an EXIF orientation.
RgbImage Orient(RgbImage image, int orientation);

// meta written into an encoded JPEG or PNG of width x height, which is
// upright: orientation 1, no thumbnail of the picture it came from, the
// pixel sizes it states updated. False with *note, bytes untouched, when
// that fails.
bool EmbedMetadata(const Metadata& meta, FileKind kind, int width, int height,
                   std::vector<uint8_t>* bytes, std::string* note);

}  // namespace pe::cli
