// Builds small XKV files byte by byte for tests: headers with any field value,
// optional ADD_INFO blocks, 1- and 2-byte pixel data, cut-short endings.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "record/xkv_format.h"

namespace lumetra::testing {

// A new-size-form header for a w x h frame of the given depth.
inline PRM_INFO TestHeader(int32_t w, int32_t h, uint8_t bits = 8, int32_t time_ms = 0) {
  PRM_INFO p = DefaultPrmInfo();
  p.Width = w;
  p.Height = h;
  p.PixelCount = w * h;
  p.BitsPerPixel = bits;
  p.TimeMs = time_ms;
  return p;
}

class XkvBuilder {
 public:
  // Appends a frame record; pixel values are taken modulo the storage width.
  XkvBuilder& Frame(const PRM_INFO& p, const std::vector<uint16_t>& pixels,
                    const ADD_INFO* add = nullptr) {
    PRM_INFO h = p;
    if (add) h.AddInfoFlag = 1;
    const PrmBytes hb = EncodePrmInfo(h);
    bytes_.insert(bytes_.end(), hb.begin(), hb.end());
    if (add) {
      const AddBytes ab = EncodeAddInfo(*add);
      bytes_.insert(bytes_.end(), ab.begin(), ab.end());
    }
    for (uint16_t v : pixels) {
      bytes_.push_back(static_cast<uint8_t>(v));
      if (h.BitsPerPixel > 8) bytes_.push_back(static_cast<uint8_t>(v >> 8));
    }
    return *this;
  }
  // A frame whose every pixel holds `value`.
  XkvBuilder& Flat(const PRM_INFO& p, uint16_t value, const ADD_INFO* add = nullptr) {
    return Frame(p, std::vector<uint16_t>(static_cast<size_t>(p.Width) * p.Height, value), add);
  }
  XkvBuilder& Raw(const std::vector<uint8_t>& b) {
    bytes_.insert(bytes_.end(), b.begin(), b.end());
    return *this;
  }
  XkvBuilder& Truncate(size_t drop) {
    bytes_.resize(bytes_.size() > drop ? bytes_.size() - drop : 0);
    return *this;
  }
  std::vector<uint8_t>& bytes() { return bytes_; }

  void Save(const std::string& path) const { SaveBytes(path, bytes_); }

  static void SaveBytes(const std::string& path, const std::vector<uint8_t>& b) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return;
    if (!b.empty()) std::fwrite(b.data(), 1, b.size(), f);
    std::fclose(f);
  }

 private:
  std::vector<uint8_t> bytes_;
};

inline std::vector<uint8_t> ReadBytes(const std::string& path) {
  std::vector<uint8_t> out;
  std::FILE* f = std::fopen(path.c_str(), "rb");
  if (!f) return out;
  uint8_t buf[65536];
  size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) out.insert(out.end(), buf, buf + n);
  std::fclose(f);
  return out;
}

// A path in the test's temporary folder, unique per test name.
std::string TempPath(const std::string& name);

}  // namespace lumetra::testing
