#include "record/tiff_writer.h"

#include <tiffio.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "common/text_format.h"

namespace lumetra {
namespace {

std::string Fixed(double v, int decimals) { return FormatFixed(v, decimals); }

std::string XmlEscape(const std::string& s) {
  std::string out;
  for (const char c : s) {
    if (c == '&') out += "&amp;";
    else if (c == '<') out += "&lt;";
    else if (c == '>') out += "&gt;";
    else if (c == '"') out += "&quot;";
    else out += c;
  }
  return out;
}

int IgnoreWarning(TIFF*, void*, const char*, const char*, va_list) { return 1; }

}  // namespace

std::string ImageJDescription(const TiffStackInfo& info) {
  // ImageJ reads these keys; the unit goes with the resolution tags, which
  // hold pixels per micron.
  return "ImageJ=1.11a\nimages=" + std::to_string(info.frames) +
         "\nframes=" + std::to_string(info.frames) + "\nunit=micron\nfinterval=" +
         Fixed(info.frame_ms * 1e-3, 6) + "\nloop=false\n";
}

std::string OmeXml(const TiffStackInfo& info) {
  std::string x =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<OME xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\" "
      "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
      "xsi:schemaLocation=\"http://www.openmicroscopy.org/Schemas/OME/2016-06 "
      "http://www.openmicroscopy.org/Schemas/OME/2016-06/ome.xsd\" Creator=\"Lumetra\">"
      "<Image ID=\"Image:0\" Name=\"" +
      XmlEscape(info.name) +
      "\"><Pixels ID=\"Pixels:0\" DimensionOrder=\"XYZCT\" Type=\"uint16\" "
      "BigEndian=\"false\" SizeX=\"" +
      std::to_string(info.width) + "\" SizeY=\"" + std::to_string(info.height) +
      "\" SizeZ=\"1\" SizeC=\"1\" SizeT=\"" + std::to_string(info.frames) +
      "\" PhysicalSizeX=\"" + Fixed(info.nm_x * 1e-3, 6) +
      "\" PhysicalSizeXUnit=\"\xC2\xB5m\" PhysicalSizeY=\"" + Fixed(info.nm_y * 1e-3, 6) +
      "\" PhysicalSizeYUnit=\"\xC2\xB5m\" TimeIncrement=\"" + Fixed(info.frame_ms * 1e-3, 6) +
      "\" TimeIncrementUnit=\"s\">"
      "<Channel ID=\"Channel:0:0\" SamplesPerPixel=\"1\"><LightPath/></Channel>"
      "<TiffData IFD=\"0\" PlaneCount=\"" +
      std::to_string(info.frames) + "\"/>";
  for (int32_t t = 0; t < info.frames; ++t) {
    x += "<Plane TheZ=\"0\" TheC=\"0\" TheT=\"" + std::to_string(t) + "\"";
    if (static_cast<size_t>(t) < info.time_ms.size())
      x += " DeltaT=\"" + Fixed(info.time_ms[t] * 1e-3, 3) + "\" DeltaTUnit=\"s\"";
    if (static_cast<size_t>(t) < info.exposure_ms.size())
      x += " ExposureTime=\"" + Fixed(info.exposure_ms[t] * 1e-3, 3) + "\" ExposureTimeUnit=\"s\"";
    x += "/>";
  }
  return x + "</Pixels></Image></OME>";
}

TiffStackWriter::~TiffStackWriter() { Abandon(); }

bool TiffStackWriter::Open(const std::string& path, const TiffStackInfo& info, std::string& error) {
  Abandon();
  path_ = path;
  info_ = info;
  written_ = 0;
  temp_ = path + ".part" + std::to_string(::getpid());
  const uint64_t data = static_cast<uint64_t>(info.width) * info.height * 2 * info.frames;
  big_ = data > kBigTiffThreshold;
  TIFFOpenOptions* opts = TIFFOpenOptionsAlloc();
  if (!opts) {
    error = path + ": out of memory";
    return false;
  }
  libtiff_error_.clear();
  TIFFOpenOptionsSetErrorHandlerExtR(opts, &TiffFile::OnError, &libtiff_error_);
  TIFFOpenOptionsSetWarningHandlerExtR(opts, &IgnoreWarning, nullptr);
  tif_ = TIFFOpenExt(temp_.c_str(), big_ ? "w8" : "w", opts);
  TIFFOpenOptionsFree(opts);
  if (!tif_) {
    error = temp_ + ": " + (libtiff_error_.empty() ? std::string("can not be made") : libtiff_error_);
    return false;
  }
  return true;
}

bool TiffStackWriter::WriteFrame(const uint16_t* frame, std::string& error) {
  if (!tif_) return false;
  TIFF* t = tif_;
  const uint32_t w = static_cast<uint32_t>(info_.width), h = static_cast<uint32_t>(info_.height);
  TIFFSetField(t, TIFFTAG_IMAGEWIDTH, w);
  TIFFSetField(t, TIFFTAG_IMAGELENGTH, h);
  TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 16);
  TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(t, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
  TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(t, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
  TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, h);
  // ImageJ: pixels per micron with its unit in the description. OME files
  // also say it in pixels per centimetre for readers that know no OME.
  const double per_unit = info_.ome ? 1e7 : 1e3;
  TIFFSetField(t, TIFFTAG_XRESOLUTION, static_cast<float>(per_unit / info_.nm_x));
  TIFFSetField(t, TIFFTAG_YRESOLUTION, static_cast<float>(per_unit / info_.nm_y));
  TIFFSetField(t, TIFFTAG_RESOLUTIONUNIT, info_.ome ? RESUNIT_CENTIMETER : RESUNIT_NONE);
  if (written_ == 0) {
    const std::string d = info_.ome ? OmeXml(info_) : ImageJDescription(info_);
    TIFFSetField(t, TIFFTAG_IMAGEDESCRIPTION, d.c_str());
  }
  TIFFSetField(t, TIFFTAG_SOFTWARE, "Lumetra");
  const tmsize_t bytes = static_cast<tmsize_t>(w) * h * 2;
  if (TIFFWriteEncodedStrip(t, 0, const_cast<uint16_t*>(frame), bytes) != bytes ||
      !TIFFWriteDirectory(t)) {
    error = temp_ + ": " + (libtiff_error_.empty() ? std::string("write error") : libtiff_error_);
    return false;
  }
  ++written_;
  return true;
}

bool TiffStackWriter::Finish(std::string& error) {
  if (!tif_) return false;
  TIFFClose(tif_);
  tif_ = nullptr;
  if (!libtiff_error_.empty() || written_ != info_.frames) {
    error = path_ + ": " + (libtiff_error_.empty() ? std::to_string(written_) + " of " +
                                                         std::to_string(info_.frames) +
                                                         " frames written"
                                                   : libtiff_error_);
    Abandon();
    return false;
  }
  std::error_code ec;
  std::filesystem::rename(temp_, path_, ec);
  if (ec) {
    error = path_ + ": " + ec.message();
    Abandon();
    return false;
  }
  temp_.clear();
  return true;
}

void TiffStackWriter::Abandon() {
  if (tif_) TIFFClose(tif_);
  tif_ = nullptr;
  if (!temp_.empty()) std::remove(temp_.c_str());
  temp_.clear();
}

}  // namespace lumetra
