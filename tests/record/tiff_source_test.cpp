// TIFF records: stacks written here with libtiff in every storage layout the
// reader takes, their ImageJ and OME metadata, the fallbacks, the conversion of
// wide samples, the choice of channel and Z plane, and round trips through the
// stack writer.
#include <gtest/gtest.h>

#include <cmath>

#include "record/record_messages.h"
#include "record/record_store.h"
#include "record/tiff_writer.h"
#include "record/xkv_writer.h"
#include "tests/support/tiff_builder.h"
#include "tests/support/xkv_builder.h"

namespace lumetra {
namespace {

using testing::TempPath;
using testing::TiffLayout;
using testing::WriteTiff;

bool HasNote(const RecordStore& s, const std::string& text) {
  for (const std::string& n : s.OpenNotes())
    if (n.find(text) != std::string::npos) return true;
  return false;
}

std::string Notes(const RecordStore& s) {
  std::string all;
  for (const std::string& n : s.OpenNotes()) all += n + "\n";
  return all;
}

// Every frame of the open record against the shape, each sample through `counts`.
void ExpectFrames(RecordStore& s, const TiffLayout& shape, uint16_t (*counts)(double)) {
  CollectingReporter r;
  ASSERT_EQ(s.FrameCount(), static_cast<int32_t>(shape.pages));
  for (uint32_t p = 0; p < shape.pages; ++p) {
    SCOPED_TRACE("frame " + std::to_string(p));
    ASSERT_TRUE(s.GoToFrame(static_cast<int32_t>(p), r)) << ::testing::PrintToString(r.Texts());
    ASSERT_EQ(s.Width(), static_cast<int32_t>(shape.width));
    ASSERT_EQ(s.Height(), static_cast<int32_t>(shape.height));
    for (uint32_t y = 0; y < shape.height; ++y)
      for (uint32_t x = 0; x < shape.width; ++x)
        ASSERT_EQ(s.FrameBuffer()[y * shape.width + x], counts(shape.value(x, y, p)))
            << "at " << x << "," << y;
  }
}

uint16_t AsIs(double v) { return static_cast<uint16_t>(v); }

TEST(TiffRecord, EveryStorageLayoutReadsPixelForPixel) {
  auto wide = [](uint32_t x, uint32_t y, uint32_t p) {
    return static_cast<double>(((x * 7 + y * 13 + p * 29) % 251) * 251 + x);
  };
  struct Case {
    const char* name;
    TiffLayout shape;
  };
  std::vector<Case> cases(7);
  cases[0] = {"8-bit, one strip", {}};
  cases[0].shape.bits = 8;
  cases[1] = {"16-bit, strips of 2 rows", {}};
  cases[1].shape.rows_per_strip = 2;
  cases[2] = {"16-bit tiles with partial edge tiles", {}};
  cases[2].shape.width = 40, cases[2].shape.height = 20, cases[2].shape.tile = 16;
  cases[3] = {"16-bit LZW with predictor, strips of 3 rows", {}};
  cases[3].shape.compression = 5, cases[3].shape.rows_per_strip = 3;
  cases[4] = {"8-bit deflate tiles", {}};
  cases[4].shape.bits = 8, cases[4].shape.compression = 8, cases[4].shape.tile = 16;
  cases[4].shape.width = 33, cases[4].shape.height = 17;
  cases[5] = {"BigTIFF, 16-bit deflate", {}};
  cases[5].shape.big = true, cases[5].shape.compression = 8;
  cases[6] = {"16-bit PackBits, 12 pages", {}};
  cases[6].shape.compression = 32773, cases[6].shape.pages = 12;
  CollectingReporter r;
  auto store = RecordStore::Create(r);
  for (Case& c : cases) {
    SCOPED_TRACE(c.name);
    if (c.shape.bits == 16) c.shape.value = wide;
    const std::string path = TempPath("layout.tif");
    WriteTiff(path, c.shape);
    r.Clear();
    ASSERT_TRUE(store->Open(path, r)) << ::testing::PrintToString(r.Texts());
    EXPECT_TRUE(r.Texts().empty()) << ::testing::PrintToString(r.Texts());
    // 16-bit pages get the depth of frame 0's brightest count, at least 9 bits.
    uint16_t top = 0;
    for (uint32_t y = 0; y < c.shape.height; ++y)
      for (uint32_t x = 0; x < c.shape.width; ++x) top = std::max(top, AsIs(c.shape.value(x, y, 0)));
    EXPECT_EQ(store->Prm().BitsPerPixel,
              c.shape.bits == 8 ? 8 : std::max<uint8_t>(9, BitsForMaxValue(top, false)));
    ExpectFrames(*store, c.shape, AsIs);
    // Back one frame and forward again: pages are found by their directory.
    store->PrevFrame(r);
    EXPECT_EQ(store->CurrentFrame(), static_cast<int32_t>(c.shape.pages) - 2);
    EXPECT_EQ(store->FrameBuffer()[1], AsIs(c.shape.value(1, 0, c.shape.pages - 2)));
    // The end wraps to frame 0 as with an XKV record.
    EXPECT_TRUE(store->NextFrame(r));
    EXPECT_FALSE(store->NextFrame(r));
    EXPECT_TRUE(store->NextFrame(r));
    EXPECT_EQ(store->CurrentFrame(), 0);
  }
}

TEST(TiffRecord, ImageJDescriptionGivesScaleAndTiming) {
  TiffLayout shape;
  shape.description = "ImageJ=1.54f\nimages=3\nframes=3\nunit=micron\nfinterval=0.025\nloop=false\n";
  shape.xres = static_cast<float>(1 / 0.1067);
  shape.yres = static_cast<float>(1 / 0.2);
  const std::string path = TempPath("imagej.tif");
  WriteTiff(path, shape);
  CollectingReporter r;
  auto store = RecordStore::Create(r);
  ASSERT_TRUE(store->Open(path, r));
  EXPECT_NEAR(store->Prm().ScaleX, 106.7, 0.01);
  EXPECT_NEAR(store->Prm().ScaleY, 200, 0.01);
  EXPECT_EQ(store->FrameIndex()[2].FrameTimeMs, 50);
  EXPECT_NEAR(store->FrameInterval(), 0.0251, 1e-6);
  EXPECT_TRUE(HasNote(*store, "pixel size 106.7 nm x 200 nm (ImageJ resolution, unit micron)"))
      << Notes(*store);
  EXPECT_TRUE(HasNote(*store, "frame time 25 ms (ImageJ finterval)")) << Notes(*store);
  EXPECT_TRUE(HasNote(*store, "exposure 0 ms (no metadata)")) << Notes(*store);
}

TEST(TiffRecord, OmeXmlGivesScaleTimingAndExposure) {
  TiffLayout shape;
  shape.description =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?><!-- <Pixels SizeT=\"9\"> -->"
      "<OME xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\"><Image ID=\"Image:0\">"
      "<Pixels ID=\"Pixels:0\" DimensionOrder=\"XYZCT\" Type=\"uint16\" SizeX=\"7\" SizeY=\"5\" "
      "SizeZ=\"1\" SizeC=\"1\" SizeT=\"3\" PhysicalSizeX=\"160\" PhysicalSizeXUnit=\"nm\" "
      "PhysicalSizeY='0.16' TimeIncrement=\"0.03\">"
      "<TiffData IFD=\"0\" PlaneCount=\"3\"/>"
      "<Plane TheC=\"0\" TheZ=\"0\" TheT=\"0\" DeltaT=\"0\" ExposureTime=\"20\" "
      "ExposureTimeUnit=\"ms\"/>"
      "<Plane TheC=\"0\" TheZ=\"0\" TheT=\"1\" DeltaT=\"0.0305\" ExposureTime=\"20\" "
      "ExposureTimeUnit=\"ms\"/>"
      "<Plane TheC=\"0\" TheZ=\"0\" TheT=\"2\" DeltaT=\"61\" DeltaTUnit=\"ms\"/>"
      "</Pixels></Image></OME>";
  const std::string path = TempPath("meta.ome.tif");
  WriteTiff(path, shape);
  CollectingReporter r;
  auto store = RecordStore::Create(r);
  ASSERT_TRUE(store->Open(path, r));
  EXPECT_FLOAT_EQ(store->Prm().ScaleX, 160);
  EXPECT_FLOAT_EQ(store->Prm().ScaleY, 160);
  EXPECT_EQ(store->Prm().ExposureMs, 20);
  EXPECT_EQ(store->FrameIndex()[1].FrameTimeMs, 31);  // 30.5 ms rounds away from zero
  EXPECT_EQ(store->FrameIndex()[2].FrameTimeMs, 61);
  EXPECT_TRUE(HasNote(*store, "pixel size 160 nm (OME PhysicalSizeX)")) << Notes(*store);
  EXPECT_TRUE(HasNote(*store, "(OME DeltaT)")) << Notes(*store);
  EXPECT_TRUE(HasNote(*store, "exposure 20 ms (OME ExposureTime)")) << Notes(*store);
}

TEST(TiffRecord, MissingMetadataFallsBackToTheOptions) {
  TiffLayout shape;
  shape.xres = 72;  // a printer's dots per inch: no pixel size
  shape.res_unit = 2;
  const std::string path = TempPath("plain.tif");
  WriteTiff(path, shape);
  CollectingReporter r;
  auto store = RecordStore::Create(r);
  TiffReadOptions o;
  o.nm_per_pixel = 133;
  o.frame_ms = 40;
  o.frame_ms_origin = "--frame-ms";
  store->SetTiffOptions(o);
  ASSERT_TRUE(store->Open(path, r));
  EXPECT_FLOAT_EQ(store->Prm().ScaleX, 133);
  EXPECT_EQ(store->FrameIndex()[2].FrameTimeMs, 80);
  EXPECT_TRUE(HasNote(*store, "pixel size 133 nm (setting: no metadata)")) << Notes(*store);
  EXPECT_TRUE(HasNote(*store, "frame time 40 ms (--frame-ms: no metadata)")) << Notes(*store);
}

TEST(TiffRecord, WideSamplesBecomeCountsWithAStatedScaling) {
  CollectingReporter r;
  auto store = RecordStore::Create(r);
  struct Case {
    const char* name;
    uint16_t bits, format;
    double lo, hi;  // the values of frame 0 run from lo to hi
    const char* note;
  };
  const Case cases[] = {
      {"float 0..1", 32, 3, 0, 1, "counts = (value - 0) x 65535"},
      {"float counts with fractions", 32, 3, 10.25, 3000.75, "counts = value rounded"},
      {"signed 16-bit around zero", 16, 2, -300, 300, "counts = (value - -300) x"},
      {"unsigned 32-bit below 65536", 32, 1, 0, 60000, "counts = value rounded"},
      {"double beyond 65535", 64, 3, 1000, 1e6, "counts = (value - 1000) x"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TiffLayout shape;
    shape.bits = c.bits;
    shape.sample_format = c.format;
    shape.width = 4, shape.height = 2, shape.pages = 2;
    const double lo = c.lo, hi = c.hi;
    // Frame 0 spans lo..hi; frame 1 reaches beyond hi and is clamped.
    shape.value = [lo, hi](uint32_t x, uint32_t y, uint32_t p) {
      return lo + (hi - lo) * (x + 4 * y) / 7.0 * (p == 0 ? 1.0 : 1.5);
    };
    const std::string path = TempPath("wide.tif");
    WriteTiff(path, shape);
    ASSERT_TRUE(store->Open(path, r)) << ::testing::PrintToString(r.Texts());
    EXPECT_TRUE(HasNote(*store, c.note)) << Notes(*store);
    const bool identity = lo >= 0 && hi <= 65535 && (c.format != 3 || hi >= 255);
    const double gain = identity ? 1 : 65535 / (hi - lo), offset = identity ? 0 : lo;
    for (int32_t f = 0; f < 2; ++f) {
      ASSERT_TRUE(store->GoToFrame(f, r));
      for (uint32_t i = 0; i < 8; ++i) {
        // The file holds the value in its own type: convert from that.
        double v = shape.value(i % 4, i / 4, f);
        if (c.bits == 32 && c.format == 3) v = static_cast<float>(v);
        if (c.format != 3) v = std::trunc(v);
        const double want = std::clamp(std::round((v - offset) * gain), 0.0, 65535.0);
        EXPECT_EQ(store->FrameBuffer()[i], want) << "frame " << f << " pixel " << i;
      }
    }
    if (!identity) {
      EXPECT_EQ(store->FrameBuffer()[7], 65535);
    }
  }
}

TEST(TiffRecord, ChannelsAndZPlanesPickTheirPages) {
  TiffLayout shape;
  shape.value = [](uint32_t x, uint32_t, uint32_t p) { return static_cast<double>(p * 100 + x); };
  struct Case {
    const char* name;
    std::string description;
    uint32_t pages;
    int32_t channel, z;
    int32_t frames;
    uint32_t (*page)(int32_t t);
    const char* note;
  };
  const Case cases[] = {
      {"ImageJ hyperstack, channel 1 of 3",
       "ImageJ=1.54f\nimages=12\nchannels=3\nframes=4\nhyperstack=true\n", 12, 1, 0, 4,
       [](int32_t t) { return static_cast<uint32_t>(3 * t + 1); },
       "3 channels: reading channel 1 (--channel)"},
      {"ImageJ slices and channels, slice 1 channel 0",
       "ImageJ=1.54f\nimages=12\nchannels=2\nslices=3\nframes=2\n", 12, 0, 1, 2,
       [](int32_t t) { return static_cast<uint32_t>(6 * t + 2); }, "3 Z planes: reading plane 1"},
      {"OME XYCZT, channel 1 and plane 2",
       "<OME><Image><Pixels DimensionOrder=\"XYCZT\" SizeC=\"2\" SizeZ=\"3\" SizeT=\"2\"/>"
       "</Image></OME>",
       12, 1, 2, 2, [](int32_t t) { return static_cast<uint32_t>(1 + 2 * 2 + 6 * t); },
       "2 channels: reading channel 1"},
      {"OME XYTZC with TiffData from IFD 1",
       "<OME><Image><Pixels DimensionOrder=\"XYTZC\" SizeC=\"2\" SizeZ=\"1\" SizeT=\"3\">"
       "<TiffData IFD=\"1\" PlaneCount=\"6\"/></Pixels></Image><Image/></OME>",
       7, 1, 0, 3, [](int32_t t) { return static_cast<uint32_t>(1 + 3 + t); },
       "the file holds 2 OME images: the first is read"},
      {"OME sizes the pages cannot hold: every page a frame",
       "<OME><Image><Pixels SizeC=\"2147483647\" SizeZ=\"2147483647\" SizeT=\"9\">"
       "<TiffData FirstT=\"2147483647\" PlaneCount=\"2147483647\"/></Pixels></Image></OME>",
       5, 0, 0, 5, [](int32_t t) { return static_cast<uint32_t>(t); },
       "2147483647 channels x 2147483647 Z planes in 5 pages"},
  };
  CollectingReporter r;
  auto store = RecordStore::Create(r);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    shape.description = c.description;
    shape.pages = c.pages;
    const std::string path = TempPath("planes.tif");
    WriteTiff(path, shape);
    TiffReadOptions o;
    o.channel = c.channel;
    o.z = c.z;
    o.channel_origin = "--channel";
    o.z_origin = "--z";
    store->SetTiffOptions(o);
    r.Clear();
    ASSERT_TRUE(store->Open(path, r)) << ::testing::PrintToString(r.Texts());
    EXPECT_TRUE(HasNote(*store, c.note)) << Notes(*store);
    ASSERT_EQ(store->FrameCount(), c.frames);
    for (int32_t t = 0; t < c.frames; ++t) {
      ASSERT_TRUE(store->GoToFrame(t, r));
      EXPECT_EQ(store->FrameBuffer()[2], c.page(t) * 100 + 2) << "frame " << t;
    }
    // A channel the file does not have is refused; the record stays open.
    o.channel = 5;
    store->SetTiffOptions(o);
    r.Clear();
    EXPECT_FALSE(store->Open(path, r));
    EXPECT_EQ(r.Texts(MessageKind::kModal), std::vector<std::string>{std::string(kTiffNoSuchPlane)});
    EXPECT_EQ(store->FrameCount(), c.frames);
  }
}

// XKV -> TIFF -> XKV through the stack writer, as ImageJ and as OME: every
// pixel, the scale and the frame times come back.
TEST(TiffRecord, RoundTripThroughBothFlavoursKeepsEveryPixel) {
  testing::XkvBuilder b;
  std::vector<std::vector<uint16_t>> frames;
  for (int32_t f = 0; f < 4; ++f) {
    PRM_INFO p = testing::TestHeader(9, 6, f == 2 ? 8 : 14, f * 40);
    p.ScaleX = p.ScaleY = 106.5f;
    std::vector<uint16_t> px(54);
    for (size_t i = 0; i < px.size(); ++i)
      px[i] = static_cast<uint16_t>(f == 2 ? (i * 37) % 256 : (i * 977 + f * 3001) % 16384);
    frames.push_back(px);
    b.Frame(p, px);
  }
  const std::string xkv = TempPath("round.xkv");
  b.Save(xkv);
  CollectingReporter r;
  auto store = RecordStore::Create(r);
  for (const bool ome : {false, true}) {
    SCOPED_TRACE(ome ? "OME" : "ImageJ");
    ASSERT_TRUE(store->Open(xkv, r));
    TiffStackInfo info;
    info.width = 9, info.height = 6, info.frames = 4, info.ome = ome;
    info.nm_x = info.nm_y = store->Prm().ScaleX;
    info.frame_ms = 40;
    for (const FrameIndexEntry& e : store->FrameIndex()) info.time_ms.push_back(e.FrameTimeMs);
    const std::string tif = TempPath(ome ? "round.ome.tif" : "round.tif");
    TiffStackWriter w;
    std::string error;
    ASSERT_TRUE(w.Open(tif, info, error)) << error;
    for (int32_t f = 0; f < 4; ++f) {
      ASSERT_TRUE(store->GoToFrame(f, r));
      ASSERT_TRUE(w.WriteFrame(store->FrameBuffer(), error)) << error;
    }
    ASSERT_TRUE(w.Finish(error)) << error;

    ASSERT_TRUE(store->Open(tif, r)) << ::testing::PrintToString(r.Texts());
    ASSERT_EQ(store->FrameCount(), 4);
    const std::string back = TempPath("round-back.xkv");
    FileHandle out = OpenFile(back, "wb");
    for (int32_t f = 0; f < 4; ++f) {
      ASSERT_TRUE(store->GoToFrame(f, r));
      EXPECT_FLOAT_EQ(store->Prm().ScaleX, 106.5f);
      EXPECT_EQ(store->Prm().TimeMs, f * 40);
      ASSERT_TRUE(std::equal(frames[f].begin(), frames[f].end(), store->FrameBuffer()));
      ASSERT_TRUE(WriteXKVFrame(out.get(), store->Prm(), store->Add(), store->FrameBuffer(), {}));
    }
    out.reset();
    ASSERT_TRUE(store->Open(back, r));
    for (int32_t f = 0; f < 4; ++f) {
      ASSERT_TRUE(store->GoToFrame(f, r));
      EXPECT_EQ(store->Prm().TimeMs, f * 40);
      EXPECT_FLOAT_EQ(store->Prm().ScaleY, 106.5f);
      ASSERT_TRUE(std::equal(frames[f].begin(), frames[f].end(), store->FrameBuffer()));
    }
  }
}

TEST(TiffWriter, BigTiffAboveFourGigabytesAndNoFileUnlessComplete) {
  const std::string path = TempPath("never.tif");
  std::remove(path.c_str());
  TiffStackInfo info;
  info.width = info.height = 2000;
  info.frames = 499;  // 3.992 GB of pixels
  TiffStackWriter w;
  std::string error;
  ASSERT_TRUE(w.Open(path, info, error)) << error;
  EXPECT_FALSE(w.BigTiff());
  info.frames = 501;  // 4.008 GB
  ASSERT_TRUE(w.Open(path, info, error)) << error;
  EXPECT_TRUE(w.BigTiff());
  // Fewer frames than announced: the description would lie, so no file.
  std::vector<uint16_t> frame(static_cast<size_t>(info.width) * info.height, 7);
  ASSERT_TRUE(w.WriteFrame(frame.data(), error)) << error;
  EXPECT_FALSE(w.Finish(error));
  EXPECT_NE(error.find("1 of 501 frames written"), std::string::npos) << error;
  EXPECT_EQ(std::fopen(path.c_str(), "rb"), nullptr);
}

}  // namespace
}  // namespace lumetra
