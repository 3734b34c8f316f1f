// Damaged and hostile files: every header that would make the reader divide
// by zero, overflow or read past a buffer is refused with a message, and the
// record stays usable up to that frame. A mutation loop over valid files
// catches what the hand-written cases miss (run it under the sanitizers).
#include <gtest/gtest.h>

#include <climits>

#include "common/random.h"
#include "record/record_messages.h"
#include "record/record_store.h"
#include "tests/support/tiff_builder.h"
#include "tests/support/xkv_builder.h"

namespace lumetra {
namespace {

using testing::TempPath;
using testing::TestHeader;
using testing::XkvBuilder;

struct HostileCase {
  const char* name;
  void (*spoil)(PRM_INFO&);
  std::string_view message;  // start of the expected message
  bool scan_stops;           // the index ends before the hostile frame
};

const HostileCase kCases[] = {
    {"binning 0 in the old size form",
     [](PRM_INFO& p) {
       p.Flags = 0;
       p.Binning = 0;
     },
     kBrokenFrameHeader, false},
    {"old form edges reversed",
     [](PRM_INFO& p) {
       p.Flags = 0;
       p.Binning = 1;
       p.X0 = 100;
       p.Width = 50;
     },
     kBrokenFrameHeader, false},
    {"old form edges overflow int32",
     [](PRM_INFO& p) {
       p.Flags = 0;
       p.Binning = 1;
       p.X0 = INT_MIN;
       p.Width = INT_MAX;
     },
     kBrokenFrameHeader, false},
    {"zero width", [](PRM_INFO& p) { p.Width = 0; }, kBrokenFrameHeader, false},
    {"negative height", [](PRM_INFO& p) { p.Height = -3; }, kBrokenFrameHeader, false},
    {"both negative", [](PRM_INFO& p) { p.Width = p.Height = -4; }, kBrokenFrameHeader, false},
    {"product beyond int32", [](PRM_INFO& p) { p.Width = p.Height = 70000; }, kTooLargeFrameSize,
     false},
    {"pixel count below width x height", [](PRM_INFO& p) { p.PixelCount = 6; }, kBrokenFrameHeader,
     false},
    {"pixel count above the frame buffer", [](PRM_INFO& p) { p.PixelCount = kMaxFramePixels + 1; },
     kBrokenFrameHeader, false},
    {"negative pixel count", [](PRM_INFO& p) { p.PixelCount = -12; }, kBrokenFrameHeader, true},
    {"17 bits per pixel", [](PRM_INFO& p) { p.BitsPerPixel = 17; }, kBrokenFrameHeader, true},
};

TEST(HostileFiles, RefusedWithAMessageAndUsableUpToThatFrame) {
  CollectingReporter messages;
  auto store = RecordStore::Create(messages);
  for (const HostileCase& c : kCases) {
    SCOPED_TRACE(c.name);
    messages.Clear();
    PRM_INFO bad = TestHeader(4, 3, 8, 50);
    c.spoil(bad);
    const std::string path = TempPath("hostile.xkv");
    XkvBuilder b;
    b.Flat(TestHeader(4, 3, 8, 0), 1);
    const PrmBytes hb = EncodePrmInfo(bad);
    b.Raw(std::vector<uint8_t>(hb.begin(), hb.end())).Raw(std::vector<uint8_t>(12, 7));
    b.Flat(TestHeader(4, 3, 8, 100), 3).Save(path);

    ASSERT_TRUE(store->Open(path, messages));
    EXPECT_EQ(store->CurrentFrame(), 0);
    EXPECT_EQ(store->FrameBuffer()[0], 1);
    if (c.scan_stops) {
      EXPECT_EQ(store->FrameCount(), 1);
      ASSERT_EQ(store->OpenWarnings().size(), 1u);
      EXPECT_EQ(store->OpenWarnings()[0].rfind(c.message, 0), 0u) << store->OpenWarnings()[0];
      continue;
    }
    EXPECT_GE(store->FrameCount(), 2);
    EXPECT_FALSE(store->GoToFrame(1, messages));
    ASSERT_EQ(messages.Texts(MessageKind::kModal).size(), 1u);
    EXPECT_EQ(messages.Texts(MessageKind::kModal)[0].rfind(c.message, 0), 0u)
        << messages.Texts(MessageKind::kModal)[0];
    // The refused header never became the current one.
    EXPECT_EQ(store->Width(), 4);
    EXPECT_EQ(store->Height(), 3);
    EXPECT_EQ(store->CurrentFrame(), 0);
    EXPECT_TRUE(store->NextFrame(messages));
    EXPECT_EQ(store->FrameBuffer()[0], 1);
  }
}

// A valid record with every kind of frame: ADD_INFO, 2-byte data, old size form.
std::vector<uint8_t> SeedRecord() {
  XkvBuilder b;
  ADD_INFO add;
  add.StageX = 5;
  b.Flat(TestHeader(6, 5, 8, 0), 10, &add);
  b.Flat(TestHeader(6, 5, 12, 40), 3000);
  PRM_INFO old = TestHeader(6, 5, 8, 80);
  old.Flags = 0;
  old.Binning = 2;
  old.X0 = 4;
  old.Y0 = 2;
  old.Width = 4 + 12;
  old.Height = 2 + 10;
  b.Flat(old, 20);
  return b.bytes();
}

void Mutate(std::vector<uint8_t>& bytes, Rng& rng) {
  static const int32_t kExtremes[] = {
      0, -1, 1, INT_MIN, INT_MAX, kMaxFramePixels, kMaxFramePixels + 1, 65536, 2001};
  const int count = 1 + static_cast<int>(rng.Next() % 4);
  for (int m = 0; m < count && !bytes.empty(); ++m) {
    const size_t at = rng.Next() % bytes.size();
    switch (rng.Next() % 4) {
      case 0:
        bytes[at] = static_cast<uint8_t>(rng.Next());
        break;
      case 1: {  // an extreme 32-bit value over any aligned field
        const int32_t v = kExtremes[rng.Next() % std::size(kExtremes)];
        const size_t p = at & ~size_t{3};
        for (size_t k = 0; k < 4 && p + k < bytes.size(); ++k)
          bytes[p + k] = static_cast<uint8_t>(v >> (8 * k));
        break;
      }
      case 2:
        bytes.resize(at);
        break;
      default:  // flip the size form or the ADD_INFO flag of some header
        bytes[at] ^= (rng.Next() & 1) ? 0x80 : 0x01;
        break;
    }
  }
}

TEST(HostileFiles, MutatedRecordsNeverCrashOrHang) {
  NullReporter quiet;
  auto store = RecordStore::Create(quiet);
  const std::vector<uint8_t> seed = SeedRecord();
  const std::string path = TempPath("mutant.xkv");
  Rng rng(2024);
  int opened = 0;
  for (int i = 0; i < 3000; ++i) {
    std::vector<uint8_t> bytes = seed;
    Mutate(bytes, rng);
    XkvBuilder::SaveBytes(path, bytes);
    // A mutant whose frame 0 cannot be read is refused at opening.
    if (!store->Open(path, quiet)) continue;
    ++opened;
    const int32_t n = store->FrameCount();
    ASSERT_LE(n, 3 + static_cast<int32_t>(bytes.size() / kPrmInfoBytes));
    for (int step = 0; step < n + 2; ++step) {
      store->NextFrame(quiet);
      ASSERT_GT(store->Width(), 0);
      ASSERT_GT(store->Height(), 0);
      ASSERT_LE(static_cast<int64_t>(store->Width()) * store->Height(), kMaxFramePixels);
      ASSERT_LT(store->CurrentFrame(), std::max(n, 1));
    }
    store->GoToFrame(static_cast<int32_t>(rng.Next() % 4), quiet);
    store->PrevFrame(quiet);
    store->FirstFrame(quiet);
    ASSERT_LT(store->CurrentFrame(), std::max(n, 1));
  }
  EXPECT_GT(opened, 1500) << "most mutants keep a readable frame 0";
}

// TIFF files that lie: each is refused with the file named and the reason
// given, or opens with the frames before the damage and a warning. The record
// open before a refusal stays open.
struct HostileTiff {
  const char* name;
  void (*spoil)(std::vector<uint8_t>&);
  std::string_view message;  // the message box, or the start of the warning
  const char* detail;        // part of the message box's detail or of the warning
  int32_t frames;            // frames of the record when it opens, -1 when refused
};

const HostileTiff kTiffCases[] = {
    {"huge dimensions",
     [](std::vector<uint8_t>& b) {
       testing::PatchTag(b, 0, 256, 60000);
       testing::PatchTag(b, 0, 257, 60000);
     },
     kTiffUnsupportedPage, "60000 x 60000 pixels is above the largest frame", -1},
    {"strip offset past the end", [](std::vector<uint8_t>& b) { testing::PatchTag(b, 0, 273, 0x7FFFFF00); },
     kTiffUnsupportedPage, "lies beyond the end of the file", -1},
    {"a compression nobody knows", [](std::vector<uint8_t>& b) { testing::PatchTag(b, 0, 259, 60001); },
     kTiffUnsupportedPage, "compression 60001 can not be decoded", -1},
    {"12-bit samples", [](std::vector<uint8_t>& b) { testing::PatchTag(b, 0, 258, 12); },
     kTiffUnsupportedPage, "12-bit unsigned samples are not read", -1},
    {"three samples per pixel", [](std::vector<uint8_t>& b) { testing::PatchTag(b, 0, 277, 3); },
     kTiffUnsupportedPage, "3 samples per pixel", -1},
    {"no page at all", [](std::vector<uint8_t>& b) { b.resize(8); b[4] = b[5] = b[6] = b[7] = 0; },
     kTiffFileError, "", -1},
    {"the header only", [](std::vector<uint8_t>& b) { b.resize(4); }, kTiffFileError, "", -1},
    {"the second page too large",
     [](std::vector<uint8_t>& b) {
       testing::PatchTag(b, 1, 256, 60000);
       testing::PatchTag(b, 1, 257, 60000);
     },
     kTiffPageRefused, "page 1: 60000 x 60000 pixels", 1},
    {"the chain loops back to the first page",
     [](std::vector<uint8_t>& b) { testing::PatchNextIfd(b, 2, testing::IfdOffset(b, 0)); },
     kTiffChainBroken, "after page 2", 3},
    {"a page that points at itself",
     [](std::vector<uint8_t>& b) { testing::PatchNextIfd(b, 1, testing::IfdOffset(b, 1)); },
     kTiffChainBroken, "after page 1", 2},
    {"cut short inside the last directory", [](std::vector<uint8_t>& b) { b.erase(b.end() - 20, b.end()); },
     kTiffChainBroken, "after page 1", 2},
    {"cut to two thirds", [](std::vector<uint8_t>& b) { b.resize(b.size() * 2 / 3); },
     kTiffChainBroken, "after page 0", 1},
};

TEST(HostileFiles, TiffRefusedWithTheFileAndTheReason) {
  CollectingReporter messages;
  auto store = RecordStore::Create(messages);
  const std::string good = TempPath("good.tif");
  testing::TiffLayout shape;
  shape.pages = 3;
  testing::WriteTiff(good, shape);
  const std::vector<uint8_t> seed = testing::ReadBytes(good);
  for (const HostileTiff& c : kTiffCases) {
    SCOPED_TRACE(c.name);
    ASSERT_TRUE(store->Open(good, messages));
    messages.Clear();
    std::vector<uint8_t> bytes = seed;
    c.spoil(bytes);
    const std::string path = TempPath("hostile.tif");
    testing::WriteBytes(path, bytes);
    const bool opened = store->Open(path, messages);
    if (c.frames < 0) {
      EXPECT_FALSE(opened);
      ASSERT_EQ(messages.Texts(MessageKind::kModal), std::vector<std::string>{std::string(c.message)});
      ASSERT_EQ(messages.Details().size(), 1u);
      EXPECT_EQ(messages.Details()[0].rfind(path, 0), 0u) << messages.Details()[0];
      EXPECT_NE(messages.Details()[0].find(c.detail), std::string::npos) << messages.Details()[0];
      EXPECT_EQ(store->RecordFileName(), good);
      EXPECT_TRUE(store->NextFrame(messages));
      continue;
    }
    ASSERT_TRUE(opened) << ::testing::PrintToString(messages.Texts());
    EXPECT_EQ(store->FrameCount(), c.frames);
    ASSERT_EQ(store->OpenWarnings().size(), 1u);
    EXPECT_EQ(store->OpenWarnings()[0].rfind(c.message, 0), 0u) << store->OpenWarnings()[0];
    EXPECT_NE(store->OpenWarnings()[0].find(c.detail), std::string::npos) << store->OpenWarnings()[0];
    for (int32_t f = 0; f < c.frames; ++f) EXPECT_TRUE(store->GoToFrame(f, messages));
    EXPECT_EQ(store->FrameBuffer()[1], static_cast<uint16_t>(shape.value(1, 0, c.frames - 1)));
  }
}

// Mutants of a compressed, tiled stack with ImageJ metadata, of a BigTIFF and
// of an OME-TIFF whose XML the mutations reach:
// whatever libtiff makes of them, opening and reading never crashes, hangs,
// or shows a frame larger than the frame buffer.
TEST(HostileFiles, MutatedTiffsNeverCrashOrHang) {
  NullReporter quiet;
  auto store = RecordStore::Create(quiet);
  std::vector<std::vector<uint8_t>> seeds;
  for (int k = 0; k < 3; ++k) {
    testing::TiffLayout shape;
    shape.width = 40, shape.height = 20, shape.pages = 4;
    shape.compression = k == 0 ? 5 : 8;
    shape.tile = k == 0 ? 16 : 0;
    shape.rows_per_strip = 6;
    shape.big = k == 1;
    shape.description =
        k < 2 ? "ImageJ=1.54f\nimages=4\nchannels=2\nframes=2\nunit=micron\nfinterval=0.1\n"
              : "<OME><Image><Pixels DimensionOrder=\"XYCTZ\" SizeC=\"2\" SizeZ=\"1\" "
                "SizeT=\"2\" PhysicalSizeX=\"0.1\" TimeIncrement=\"0.1\"><TiffData IFD=\"0\" "
                "PlaneCount=\"4\"/><Plane TheC=\"1\" TheT=\"1\" DeltaT=\"0.2\"/></Pixels>"
                "</Image></OME>";
    shape.xres = 10;
    const std::string path = TempPath("tiff-seed.tif");
    testing::WriteTiff(path, shape);
    seeds.push_back(testing::ReadBytes(path));
  }
  const std::string path = TempPath("mutant.tif");
  Rng rng(77);
  int opened = 0;
  for (int i = 0; i < 1500; ++i) {
    const std::vector<uint8_t>& seed = seeds[i % 3];
    std::vector<uint8_t> bytes = seed;
    // Keep the magic so the TIFF reader, not the XKV one, meets the damage.
    Mutate(bytes, rng);
    if (bytes.size() >= 4) std::copy(seed.begin(), seed.begin() + 4, bytes.begin());
    testing::WriteBytes(path, bytes);
    if (!store->Open(path, quiet)) continue;
    ++opened;
    const int32_t n = store->FrameCount();
    ASSERT_LE(n, 4);
    for (int step = 0; step < n + 2; ++step) {
      store->NextFrame(quiet);
      ASSERT_LE(static_cast<int64_t>(store->Width()) * store->Height(), kMaxFramePixels);
    }
    store->GoToFrame(1, quiet);
    store->PrevFrame(quiet);
  }
  EXPECT_GT(opened, 300) << "many mutants keep a readable frame 0";
}

}  // namespace
}  // namespace lumetra
