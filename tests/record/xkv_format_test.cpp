// The frame record on disk: byte positions, size-form and scale rules, the
// reader's refusals, and write -> read -> write round trips.
#include <gtest/gtest.h>

#include <limits>

#include "common/file_handle.h"
#include "record/record_messages.h"
#include "record/xkv_reader.h"
#include "record/xkv_writer.h"
#include "tests/support/xkv_builder.h"

namespace lumetra {
namespace {

using testing::ReadBytes;
using testing::TempPath;
using testing::TestHeader;
using testing::XkvBuilder;

// Reads frames from a file into buffers of the full frame size.
struct Reader {
  std::vector<uint16_t> frame = std::vector<uint16_t>(kMaxFramePixels);
  std::vector<uint8_t> bytes = std::vector<uint8_t>(kMaxFramePixels);
  PRM_INFO prm;
  ADD_INFO add;
  CollectingReporter messages;
  FileHandle file;

  explicit Reader(const std::string& path) : file(OpenFile(path, "rb")) {}
  FrameReadStatus Next() {
    return ReadXKVFrame(file.get(), prm, add, frame.data(), bytes.data(), messages);
  }
};

TEST(XkvFormat, FieldsSitAtTheirByteOffsetsLittleEndian) {
  PRM_INFO p;
  p.X0 = 0x01020304;
  p.Width = -2;
  p.PixelCount = 0x00ABCDEF;
  p.ScaleX = 1.0f;  // 0x3F800000
  p.Gain = 7;
  p.Reserved37 = 0xEE;
  p.BitsPerPixel = 12;
  p.Binning = 3;
  p.Flags = 0xC5;
  p.AddInfoFlag = 1;
  p.AnalogIn = 0x0A0B;
  p.TempTenths = 251;
  p.IllumTimeMs = 0xFFFF;
  const PrmBytes b = EncodePrmInfo(p);
  EXPECT_EQ(b[0], 0x04);
  EXPECT_EQ(b[3], 0x01);
  EXPECT_EQ(b[4], 0xFE);
  EXPECT_EQ(b[7], 0xFF);
  EXPECT_EQ(b[20], 0xEF);
  EXPECT_EQ(b[22], 0xAB);
  EXPECT_EQ(b[31], 0x3F);
  EXPECT_EQ(b[30], 0x80);
  EXPECT_EQ(b[36], 7);
  EXPECT_EQ(b[37], 0xEE);
  EXPECT_EQ(b[38], 12);
  EXPECT_EQ(b[39], 3);
  EXPECT_EQ(b[40], 0xC5);
  EXPECT_EQ(b[41], 1);
  EXPECT_EQ(b[42], 0x0B);
  EXPECT_EQ(b[43], 0x0A);
  EXPECT_EQ(b[44], 251);
  EXPECT_EQ(b[46], 0xFF);
  EXPECT_EQ(DecodePrmInfo(b), p);

  ADD_INFO a;
  a.StageX = -5;
  a.Focus = 123456;
  a.Reserved12 = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  a.TirAngle = 63.5f;
  a.Zoom = 1.6f;
  a.Reserved32 = {9, 8, 7, 6, 5, 4, 3, 2};
  const AddBytes ab = EncodeAddInfo(a);
  EXPECT_EQ(ab[0], 0xFB);
  EXPECT_EQ(ab[12], 1);
  EXPECT_EQ(ab[23], 12);
  EXPECT_EQ(ab[32], 9);
  EXPECT_EQ(DecodeAddInfo(ab), a);
}

TEST(XkvReader, OldSizeFormIsNormalised) {
  PRM_INFO p = TestHeader(612, 412);
  p.Flags = 0;  // old form: offsets 4 and 12 hold the right and bottom edges
  p.X0 = 100;
  p.Y0 = 12;
  p.Binning = 2;
  p.PixelCount = 256 * 200;
  const std::string path = TempPath("old.xkv");
  XkvBuilder().Frame(p, std::vector<uint16_t>(256 * 200, 5)).Save(path);
  Reader r(path);
  ASSERT_EQ(r.Next(), FrameReadStatus::kOk);
  EXPECT_EQ(r.prm.X0, 50);
  EXPECT_EQ(r.prm.Width, 256);
  EXPECT_EQ(r.prm.Y0, 6);
  EXPECT_EQ(r.prm.Height, 200);
  EXPECT_EQ(r.frame[256 * 200 - 1], 5);
}

TEST(XkvReader, ScaleRules) {
  struct Case {
    float x, y, want_x, want_y;
  } cases[] = {{0.0f, 0.5f, 1.0f, 1.0f},
               {65.0f, 0.0f, 65.0f, 65.0f},
               {80.0f, 90.0f, 80.0f, 90.0f},
               {std::numeric_limits<float>::quiet_NaN(), 2.0f, 1.0f, 2.0f}};
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.x << " " << c.y);
    PRM_INFO p = TestHeader(2, 2);
    p.ScaleX = c.x;
    p.ScaleY = c.y;
    ApplyScaleRules(p);
    EXPECT_EQ(p.ScaleX, c.want_x);
    EXPECT_EQ(p.ScaleY, c.want_y);
  }
}

TEST(XkvReader, RefusesWhatItCannotHold) {
  // 2000 x 2000 is the largest square frame; 2000 x 2001 is too large.
  {
    const std::string path = TempPath("big.xkv");
    XkvBuilder().Flat(TestHeader(2000, 2000, 8), 1).Flat(TestHeader(2000, 2001, 8), 1).Save(path);
    Reader r(path);
    EXPECT_EQ(r.Next(), FrameReadStatus::kOk);
    EXPECT_EQ(r.Next(), FrameReadStatus::kTooLarge);
    EXPECT_EQ(r.messages.Texts(), std::vector<std::string>{std::string(kTooLargeFrameSize)});
    EXPECT_EQ(r.prm.Height, 2000) << "a refused header must not replace the current one";
  }
  {
    const std::string path = TempPath("addshort.xkv");
    XkvBuilder b;
    PRM_INFO p = TestHeader(4, 4);
    p.AddInfoFlag = 1;
    const PrmBytes hb = EncodePrmInfo(p);
    b.Raw(std::vector<uint8_t>(hb.begin(), hb.end()));
    b.Raw(std::vector<uint8_t>(20, 0)).Save(path);
    Reader r(path);
    EXPECT_EQ(r.Next(), FrameReadStatus::kAddInfoShort);
    EXPECT_TRUE(r.messages.Contains(kFileReadErrorAddInfo));
  }
  {
    const std::string path = TempPath("short.xkv");
    XkvBuilder().Flat(TestHeader(8, 8, 12), 300).Truncate(3).Save(path);
    Reader r(path);
    EXPECT_EQ(r.Next(), FrameReadStatus::kShortData);
    EXPECT_TRUE(r.messages.Contains(kFrameReadingError));
  }
  {
    const std::string path = TempPath("partialheader.xkv");
    XkvBuilder().Flat(TestHeader(2, 2), 1).Raw(std::vector<uint8_t>(47, 0)).Save(path);
    Reader r(path);
    EXPECT_EQ(r.Next(), FrameReadStatus::kOk);
    EXPECT_EQ(r.Next(), FrameReadStatus::kEndOfRecord);
    EXPECT_TRUE(r.messages.messages().empty());
  }
}

TEST(XkvReader, MixedDepthsAreEachReadByTheirOwnHeader) {
  const std::string path = TempPath("mixed.xkv");
  XkvBuilder()
      .Flat(TestHeader(3, 2, 8), 200)
      .Flat(TestHeader(3, 2, 14), 9000)
      .Flat(TestHeader(3, 2, 1), 1)
      .Save(path);
  Reader r(path);
  ASSERT_EQ(r.Next(), FrameReadStatus::kOk);
  EXPECT_EQ(r.frame[5], 200);
  ASSERT_EQ(r.Next(), FrameReadStatus::kOk);
  EXPECT_EQ(r.frame[5], 9000);
  ASSERT_EQ(r.Next(), FrameReadStatus::kOk);
  EXPECT_EQ(r.frame[0], 1);
  EXPECT_EQ(r.Next(), FrameReadStatus::kEndOfRecord);
}

TEST(XkvWriter, DepthFollowsTheLargestValue) {
  struct Case {
    uint16_t max;
    bool two_bytes;
    uint8_t bits;
    size_t file_bytes;  // of a 2 x 2 frame
  } cases[] = {{0, false, 1, 48 + 4},      {1, false, 1, 48 + 4},     {255, false, 8, 48 + 4},
               {256, false, 9, 48 + 8},    {3, true, 9, 48 + 8},      {32767, false, 15, 48 + 8},
               {32768, false, 16, 48 + 8}, {65535, false, 16, 48 + 8}};
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.max << (c.two_bytes ? " 2bytes" : ""));
    const std::string path = TempPath("depth.xkv");
    std::vector<uint16_t> px = {0, c.max, 1 <= c.max ? uint16_t(1) : uint16_t(0), 0};
    {
      FileHandle f = OpenFile(path, "wb");
      FrameWriteOptions o;
      o.save_2bytes = c.two_bytes;
      ASSERT_TRUE(WriteXKVFrame(f.get(), TestHeader(2, 2, 3), ADD_INFO{}, px.data(), o));
    }
    const auto bytes = ReadBytes(path);
    ASSERT_EQ(bytes.size(), c.file_bytes);
    EXPECT_EQ(bytes[38], c.bits);
    Reader r(path);
    ASSERT_EQ(r.Next(), FrameReadStatus::kOk);
    EXPECT_EQ(r.frame[1], c.max);
  }
}

TEST(XkvWriter, RoundTripKeepsEveryFieldAndReservedByte) {
  PRM_INFO p = TestHeader(5, 3, 16, 1234);
  p.X0 = 17;
  p.Y0 = 9;
  p.Flags = kFlagNewSizeForm | kFlagLaser1 | kFlagLamp | kFlagIllumTimeValid;
  p.Gain = 200;
  p.Reserved37 = 0x5A;
  p.AnalogIn = 2047;
  p.TempTenths = 315;
  p.IllumTimeMs = 33;
  p.ScaleX = 106.5f;
  p.ScaleY = 107.25f;
  ADD_INFO a;
  a.StageX = 1000;
  a.StageY = -2000;
  a.Focus = 3;
  a.Reserved12 = {0xA1, 0xA2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xAC};
  a.TirAngle = 66.0f;
  a.Zoom = 2.5f;
  a.Reserved32 = {1, 0, 0, 0, 0, 0, 0, 0xFF};
  std::vector<uint16_t> px(15);
  for (size_t i = 0; i < px.size(); ++i) px[i] = static_cast<uint16_t>(i * 4000);

  const std::string first = TempPath("rt1.xkv"), second = TempPath("rt2.xkv");
  XkvBuilder().Frame(p, px, &a).Save(first);
  Reader r(first);
  ASSERT_EQ(r.Next(), FrameReadStatus::kOk);
  EXPECT_EQ(r.add, a);
  {
    FileHandle f = OpenFile(second, "wb");
    ASSERT_TRUE(WriteXKVFrame(f.get(), r.prm, r.add, r.frame.data(), FrameWriteOptions{}));
  }
  // Write -> read -> write gives the same bytes (the depth search finds 16 bits again).
  EXPECT_EQ(ReadBytes(second), ReadBytes(first));

  // An old-size-form frame comes back in the new form with bit 7 set.
  PRM_INFO old = p;
  old.Flags &= static_cast<uint8_t>(~kFlagNewSizeForm);
  old.Binning = 1;
  old.Width = old.X0 + 5;
  old.Height = old.Y0 + 3;
  XkvBuilder().Frame(old, px).Save(first);
  Reader r2(first);
  ASSERT_EQ(r2.Next(), FrameReadStatus::kOk);
  {
    FileHandle f = OpenFile(second, "wb");
    ASSERT_TRUE(WriteXKVFrame(f.get(), r2.prm, r2.add, r2.frame.data(), FrameWriteOptions{}));
  }
  const auto bytes = ReadBytes(second);
  EXPECT_EQ(bytes[40], p.Flags);
  EXPECT_EQ(DecodePrmInfo(*reinterpret_cast<const PrmBytes*>(bytes.data())).Width, 5);
}

TEST(XkvWriter, RegionCropsAndMovesTheOrigin) {
  PRM_INFO p = TestHeader(6, 4, 8);
  p.X0 = 100;
  p.Y0 = 50;
  std::vector<uint16_t> px(24);
  for (size_t i = 0; i < px.size(); ++i) px[i] = static_cast<uint16_t>(i);
  const std::string path = TempPath("crop.xkv");
  {
    FileHandle f = OpenFile(path, "wb");
    FrameWriteOptions o;
    o.region = {2, 1, 5, 3, true};  // columns 2..4, rows 1..2
    ASSERT_TRUE(WriteXKVFrame(f.get(), p, ADD_INFO{}, px.data(), o));
  }
  Reader r(path);
  ASSERT_EQ(r.Next(), FrameReadStatus::kOk);
  EXPECT_EQ(r.prm.X0, 102);
  EXPECT_EQ(r.prm.Y0, 51);
  EXPECT_EQ(r.prm.Width, 3);
  EXPECT_EQ(r.prm.Height, 2);
  EXPECT_EQ(r.prm.PixelCount, 6);
  EXPECT_EQ(r.prm.BitsPerPixel, 5);  // largest value 16
  const std::vector<uint16_t> want = {8, 9, 10, 14, 15, 16};
  EXPECT_EQ(std::vector<uint16_t>(r.frame.begin(), r.frame.begin() + 6), want);

  // An origin at the end of the range wraps as the 32-bit field does.
  p.X0 = INT32_MAX;
  {
    FileHandle f = OpenFile(path, "wb");
    FrameWriteOptions o;
    o.region = {2, 1, 5, 3, true};
    ASSERT_TRUE(WriteXKVFrame(f.get(), p, ADD_INFO{}, px.data(), o));
  }
  Reader wrapped(path);
  ASSERT_EQ(wrapped.Next(), FrameReadStatus::kOk);
  EXPECT_EQ(wrapped.prm.X0, INT32_MIN + 1);
}

TEST(XkvFormat, HeaderInfoLines) {
  PRM_INFO p = TestHeader(512, 256, 12);
  p.X0 = 10;
  p.Y0 = 20;
  p.ScaleX = 106.9f;
  p.ScaleY = 99.99f;
  p.Gain = 3;
  p.ExposureMs = 50;
  p.TempTenths = 253;
  p.Flags = kFlagNewSizeForm | kFlagLaser2;
  ADD_INFO a;
  auto lines = HeaderInfoLines(p, a);
  EXPECT_EQ(lines[0], "x0=10, Width=512, y0=20, Height=256, 106X99 nm/pix");
  EXPECT_EQ(lines[1], "Gain=3, Exp=50 ms, 12 bit/pix");
  EXPECT_EQ(lines[2], "T=25.3oC, Las1OFF, Las2-ON, LampOFF, ");

  p.Flags |= kFlagIllumTimeValid | kFlagLaser1 | kFlagLamp;
  p.IllumTimeMs = 20;
  p.AddInfoFlag = 1;
  a.StageX = 150;
  a.StageY = -20;
  a.Focus = 7;
  a.TirAngle = 65.5f;
  a.Zoom = 1.5f;
  lines = HeaderInfoLines(p, a);
  EXPECT_EQ(lines[1], "Gain=3, Exp=50ms, IllumTm=20 ms, 12 bit/pix");
  EXPECT_EQ(lines[2],
            "T=25.3oC, Las1-ON, Las2-ON, Lamp-ON, , StX=150nm, StY=-20nm, Focus=7nm, TIR=65.5deg, "
            "Zoom=1.5");
}

}  // namespace
}  // namespace lumetra
