#include "Metadata.h"

#include <cstdlib>
#include <cstring>
#include <exception>

// Exiv2 0.27's interface is built on std::auto_ptr.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <exiv2/exiv2.hpp>

namespace pe::cli {

struct MetadataBlocks {
  Exiv2::ExifData exif;
  Exiv2::XmpData xmp;
  Exiv2::IptcData iptc;
  std::vector<uint8_t> icc;
  std::string comment;
};

namespace {

void InitExiv2() {
  static const bool done = [] {
    // Failures are reported once per picture by the tool, not by Exiv2.
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    Exiv2::XmpParser::initialize();
    std::atexit([] { Exiv2::XmpParser::terminate(); });
    return true;
  }();
  (void)done;
}

// Text chunks in which Exiv2 keeps the blocks: written afresh from them.
bool HoldsBlocks(const std::string& key) {
  return key.rfind("Raw profile type", 0) == 0 || key == "XML:com.adobe.xmp";
}

template <typename Data, typename Key, typename Value>
void SetIfPresent(Data& data, const char* key, Value value) {
  if (data.findKey(Key(key)) != data.end()) data[key] = value;
}

}  // namespace

bool ReadMetadata(const std::vector<uint8_t>& bytes, FileKind kind, Metadata* meta,
                  std::string* note) {
  *meta = Metadata{};
  if (kind == FileKind::kPng) {
    for (PngText& t : ReadPngTexts(bytes))
      if (!HoldsBlocks(t.key)) meta->texts.push_back(std::move(t));
  }
  InitExiv2();
  try {
    Exiv2::Image::AutoPtr image =
        Exiv2::ImageFactory::open(bytes.data(), static_cast<long>(bytes.size()));
    image->readMetadata();
    auto blocks = std::make_shared<MetadataBlocks>();
    blocks->exif = image->exifData();
    blocks->xmp = image->xmpData();
    blocks->iptc = image->iptcData();
    blocks->comment = image->comment();
    if (image->iccProfileDefined()) {
      const Exiv2::DataBuf* icc = image->iccProfile();
      blocks->icc.assign(icc->pData_, icc->pData_ + icc->size_);
    }
    const auto o = blocks->exif.findKey(Exiv2::ExifKey("Exif.Image.Orientation"));
    if (o != blocks->exif.end() && o->count() > 0) {
      const long v = o->toLong();
      if (v >= 1 && v <= 8) meta->orientation = static_cast<int>(v);
    }
    if (!blocks->exif.empty() || !blocks->xmp.empty() || !blocks->iptc.empty() ||
        !blocks->icc.empty() || !blocks->comment.empty())
      meta->blocks = std::move(blocks);
    return true;
  } catch (const std::exception& e) {
    *note = std::string("cannot read its metadata: ") + e.what();
    return false;
  }
}

RgbImage Orient(RgbImage image, int orientation) {
  if (orientation < 2 || orientation > 8) return image;
  const int w = image.width, h = image.height;
  const bool swap = orientation >= 5;
  RgbImage out(swap ? h : w, swap ? w : h);
  for (int y = 0; y < out.height; ++y) {
    for (int x = 0; x < out.width; ++x) {
      // Where the pixel shown at x, y is stored.
      int sx = x, sy = y;
      switch (orientation) {
        case 2:
          sx = w - 1 - x;
          break;
        case 3:
          sx = w - 1 - x, sy = h - 1 - y;
          break;
        case 4:
          sy = h - 1 - y;
          break;
        case 5:
          sx = y, sy = x;
          break;
        case 6:
          sx = y, sy = h - 1 - x;
          break;
        case 7:
          sx = w - 1 - y, sy = h - 1 - x;
          break;
        case 8:
          sx = w - 1 - y, sy = x;
          break;
      }
      std::memcpy(out.At(x, y), image.At(sx, sy), 3);
    }
  }
  return out;
}

bool EmbedMetadata(const Metadata& meta, FileKind kind, int width, int height,
                   std::vector<uint8_t>* bytes, std::string* note) {
  if (!meta.blocks || (kind != FileKind::kJpeg && kind != FileKind::kPng)) return true;
  InitExiv2();
  try {
    const MetadataBlocks& b = *meta.blocks;
    Exiv2::ExifData exif = b.exif;
    if (!exif.empty()) {
      // The thumbnail shows the picture before the effect, and stored turned.
      Exiv2::ExifThumb(exif).erase();
      exif["Exif.Image.Orientation"] = static_cast<uint16_t>(1);
      const auto w = static_cast<uint32_t>(width), h = static_cast<uint32_t>(height);
      SetIfPresent<Exiv2::ExifData, Exiv2::ExifKey>(exif, "Exif.Photo.PixelXDimension", w);
      SetIfPresent<Exiv2::ExifData, Exiv2::ExifKey>(exif, "Exif.Photo.PixelYDimension", h);
      SetIfPresent<Exiv2::ExifData, Exiv2::ExifKey>(exif, "Exif.Image.ImageWidth", w);
      SetIfPresent<Exiv2::ExifData, Exiv2::ExifKey>(exif, "Exif.Image.ImageLength", h);
    }
    Exiv2::XmpData xmp = b.xmp;
    SetIfPresent<Exiv2::XmpData, Exiv2::XmpKey>(xmp, "Xmp.tiff.Orientation", "1");
    SetIfPresent<Exiv2::XmpData, Exiv2::XmpKey>(xmp, "Xmp.exif.PixelXDimension",
                                                std::to_string(width));
    SetIfPresent<Exiv2::XmpData, Exiv2::XmpKey>(xmp, "Xmp.exif.PixelYDimension",
                                                std::to_string(height));

    Exiv2::Image::AutoPtr image =
        Exiv2::ImageFactory::open(bytes->data(), static_cast<long>(bytes->size()));
    image->setExifData(exif);
    image->setXmpData(xmp);
    image->setIptcData(b.iptc);
    if (!b.icc.empty()) {
      Exiv2::DataBuf icc(b.icc.data(), static_cast<long>(b.icc.size()));
      image->setIccProfile(icc, false);  // as the file had it
    }
    // A PNG's comment is one of its text chunks, carried over with them.
    if (kind == FileKind::kJpeg && !b.comment.empty()) image->setComment(b.comment);
    image->writeMetadata();
    Exiv2::BasicIo& io = image->io();
    if (io.open() != 0) throw std::runtime_error("cannot reopen the written picture");
    Exiv2::DataBuf out = io.read(static_cast<long>(io.size()));
    io.close();
    bytes->assign(out.pData_, out.pData_ + out.size_);
    return true;
  } catch (const std::exception& e) {
    *note = e.what();
    return false;
  }
}

}  // namespace pe::cli

#pragma GCC diagnostic pop
