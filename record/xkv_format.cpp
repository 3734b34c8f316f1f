#include "record/xkv_format.h"

#include <bit>
#include <cstring>

#include "common/text_format.h"

namespace lumetra {
namespace {

uint16_t Get16(const uint8_t* p) {
  return static_cast<uint16_t>(p[0] | (p[1] << 8));
}
uint32_t Get32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
         (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}
int32_t GetI32(const uint8_t* p) {
  return static_cast<int32_t>(Get32(p));
}
float GetF32(const uint8_t* p) {
  return std::bit_cast<float>(Get32(p));
}

void Put16(uint8_t* p, uint16_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}
void Put32(uint8_t* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}
void PutI32(uint8_t* p, int32_t v) {
  Put32(p, static_cast<uint32_t>(v));
}
void PutF32(uint8_t* p, float v) {
  Put32(p, std::bit_cast<uint32_t>(v));
}

}  // namespace

PRM_INFO DecodePrmInfo(const PrmBytes& b) {
  PRM_INFO p;
  p.X0 = GetI32(&b[0]);
  p.Width = GetI32(&b[4]);
  p.Y0 = GetI32(&b[8]);
  p.Height = GetI32(&b[12]);
  p.ExposureMs = GetI32(&b[16]);
  p.PixelCount = GetI32(&b[20]);
  p.TimeMs = GetI32(&b[24]);
  p.ScaleX = GetF32(&b[28]);
  p.ScaleY = GetF32(&b[32]);
  p.Gain = b[36];
  p.Reserved37 = b[37];
  p.BitsPerPixel = b[38];
  p.Binning = b[39];
  p.Flags = b[40];
  p.AddInfoFlag = b[41];
  p.AnalogIn = Get16(&b[42]);
  p.TempTenths = Get16(&b[44]);
  p.IllumTimeMs = Get16(&b[46]);
  return p;
}

PrmBytes EncodePrmInfo(const PRM_INFO& p) {
  PrmBytes b{};
  PutI32(&b[0], p.X0);
  PutI32(&b[4], p.Width);
  PutI32(&b[8], p.Y0);
  PutI32(&b[12], p.Height);
  PutI32(&b[16], p.ExposureMs);
  PutI32(&b[20], p.PixelCount);
  PutI32(&b[24], p.TimeMs);
  PutF32(&b[28], p.ScaleX);
  PutF32(&b[32], p.ScaleY);
  b[36] = p.Gain;
  b[37] = p.Reserved37;
  b[38] = p.BitsPerPixel;
  b[39] = p.Binning;
  b[40] = p.Flags;
  b[41] = p.AddInfoFlag;
  Put16(&b[42], p.AnalogIn);
  Put16(&b[44], p.TempTenths);
  Put16(&b[46], p.IllumTimeMs);
  return b;
}

ADD_INFO DecodeAddInfo(const AddBytes& b) {
  ADD_INFO a;
  a.StageX = GetI32(&b[0]);
  a.StageY = GetI32(&b[4]);
  a.Focus = GetI32(&b[8]);
  std::memcpy(a.Reserved12.data(), &b[12], 12);
  a.TirAngle = GetF32(&b[24]);
  a.Zoom = GetF32(&b[28]);
  std::memcpy(a.Reserved32.data(), &b[32], 8);
  return a;
}

AddBytes EncodeAddInfo(const ADD_INFO& a) {
  AddBytes b{};
  PutI32(&b[0], a.StageX);
  PutI32(&b[4], a.StageY);
  PutI32(&b[8], a.Focus);
  std::memcpy(&b[12], a.Reserved12.data(), 12);
  PutF32(&b[24], a.TirAngle);
  PutF32(&b[28], a.Zoom);
  std::memcpy(&b[32], a.Reserved32.data(), 8);
  return b;
}

PRM_INFO DefaultPrmInfo() {
  PRM_INFO p;
  p.Width = 768;
  p.Height = 576;
  p.ExposureMs = 40;
  p.PixelCount = 768 * 576;
  p.Gain = 1;
  p.Reserved37 = 10;
  p.BitsPerPixel = 10;
  p.Binning = 1;
  p.ScaleX = 100.0f;
  p.ScaleY = 100.0f;
  p.Flags = kFlagNewSizeForm;
  return p;
}

int64_t PixelDataBytes(const PRM_INFO& p) {
  return static_cast<int64_t>(p.PixelCount) * (p.BitsPerPixel > 8 ? 2 : 1);
}

void ApplyScaleRules(PRM_INFO& p) {
  if (!(p.ScaleX >= 1.0f)) p.ScaleX = 1.0f;
  if (!(p.ScaleY >= 1.0f)) p.ScaleY = p.ScaleX;
}

std::array<std::string, 3> HeaderInfoLines(const PRM_INFO& p, const ADD_INFO& a) {
  std::array<std::string, 3> lines;
  lines[0] = "x0=" + std::to_string(p.X0) + ", Width=" + std::to_string(p.Width) +
             ", y0=" + std::to_string(p.Y0) + ", Height=" + std::to_string(p.Height) + ", " +
             std::to_string(TruncToInt(p.ScaleX)) + "X" + std::to_string(TruncToInt(p.ScaleY)) +
             " nm/pix";
  std::string l2 = "Gain=" + std::to_string(p.Gain) + ", Exp=" + std::to_string(p.ExposureMs);
  if (p.Flags & kFlagIllumTimeValid) l2 += "ms, IllumTm=" + std::to_string(p.IllumTimeMs);
  l2 += " ms, " + std::to_string(p.BitsPerPixel) + " bit/pix";
  lines[1] = l2;
  std::string l3 = "T=" + FormatGeneral(p.TempTenths * 0.1) + "oC, ";
  l3 += (p.Flags & kFlagLaser1) ? "Las1-ON, " : "Las1OFF, ";
  l3 += (p.Flags & kFlagLaser2) ? "Las2-ON, " : "Las2OFF, ";
  l3 += (p.Flags & kFlagLamp) ? "Lamp-ON, " : "LampOFF, ";
  if (p.AddInfoFlag == 1) {
    l3 += ", StX=" + std::to_string(a.StageX) + "nm, StY=" + std::to_string(a.StageY) +
          "nm, Focus=" + std::to_string(a.Focus) + "nm, TIR=" + FormatFloat(a.TirAngle) +
          "deg, Zoom=" + FormatFloat(a.Zoom);
  }
  lines[2] = l3;
  return lines;
}

}  // namespace lumetra
