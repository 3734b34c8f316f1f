// The XKV frame record: a 48-byte PRM_INFO header, an optional 40-byte
// ADD_INFO block, then the pixels. The file is nothing but such records back
// to back: no file header, no magic, no version. Everything is little-endian
// on disk whatever the host is; these structs are the in-memory form and are
// converted field by field.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace lumetra {

inline constexpr int kPrmInfoBytes = 48;
inline constexpr int kAddInfoBytes = 40;
// Largest frame the program holds: every frame buffer is this many pixels.
inline constexpr int32_t kMaxFramePixels = 4'000'000;

// Flags bits.
inline constexpr uint8_t kFlagLaser1 = 0x01;
inline constexpr uint8_t kFlagLaser2 = 0x02;
inline constexpr uint8_t kFlagLamp = 0x04;
inline constexpr uint8_t kFlagIllumTimeValid = 0x40;
// Set: offsets 4 and 12 hold Width and Height. Clear (old size form): they
// hold the right and bottom edges on the sensor, in unbinned pixels.
inline constexpr uint8_t kFlagNewSizeForm = 0x80;

struct PRM_INFO {
  int32_t X0 = 0;          // left edge on the sensor, pixels
  int32_t Width = 0;       // pixels (right edge in the old size form)
  int32_t Y0 = 0;          // top edge on the sensor, pixels
  int32_t Height = 0;      // pixels (bottom edge in the old size form)
  int32_t ExposureMs = 0;  // ms
  int32_t PixelCount = 0;  // pixels of data that follow
  int32_t TimeMs = 0;      // ms from the start of the record
  float ScaleX = 0;        // nm per pixel
  float ScaleY = 0;        // nm per pixel
  uint8_t Gain = 0;
  uint8_t Reserved37 = 0;    // not interpreted; copied through
  uint8_t BitsPerPixel = 0;  // 1..16; above 8 means 2 bytes per pixel on disk
  uint8_t Binning = 0;       // only used by the old size form
  uint8_t Flags = 0;
  uint8_t AddInfoFlag = 0;   // 1: an ADD_INFO block follows
  uint16_t AnalogIn = 0;     // 12-bit code, 2047 = zero; carried through
  uint16_t TempTenths = 0;   // 0.1 degree Celsius
  uint16_t IllumTimeMs = 0;  // valid only with kFlagIllumTimeValid

  bool operator==(const PRM_INFO&) const = default;
};

struct ADD_INFO {
  int32_t StageX = 0;  // nm
  int32_t StageY = 0;  // nm
  int32_t Focus = 0;   // nm
  std::array<uint8_t, 12> Reserved12{};
  float TirAngle = 0;  // degrees
  float Zoom = 0;
  std::array<uint8_t, 8> Reserved32{};

  bool operator==(const ADD_INFO&) const = default;
};

// The in-memory layout happens to match the disk layout on a little-endian
// host with natural alignment; the codecs below do not rely on it.
static_assert(sizeof(PRM_INFO) == kPrmInfoBytes, "PRM_INFO must stay 48 bytes");
static_assert(sizeof(ADD_INFO) == kAddInfoBytes, "ADD_INFO must stay 40 bytes");

using PrmBytes = std::array<uint8_t, kPrmInfoBytes>;
using AddBytes = std::array<uint8_t, kAddInfoBytes>;

PRM_INFO DecodePrmInfo(const PrmBytes& b);
PrmBytes EncodePrmInfo(const PRM_INFO& p);
ADD_INFO DecodeAddInfo(const AddBytes& b);
AddBytes EncodeAddInfo(const ADD_INFO& a);

// The header the program makes when no record is open: 768 x 576, 40 ms,
// 10 bits, 100 nm per pixel, new size form.
PRM_INFO DefaultPrmInfo();

// Bytes of pixel data on disk for a header: PixelCount, doubled above 8 bits.
// 64-bit so that a hostile PixelCount cannot overflow.
int64_t PixelDataBytes(const PRM_INFO& p);

// Scale rules applied after every header read: ScaleX below 1.0 becomes 1.0,
// then ScaleY below 1.0 becomes ScaleX. NaN counts as below 1.0.
void ApplyScaleRules(PRM_INFO& p);

// The three header lines the main window draws over the image.
std::array<std::string, 3> HeaderInfoLines(const PRM_INFO& p, const ADD_INFO& a);

}  // namespace lumetra
