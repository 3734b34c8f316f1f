// "Save Record As" TIFF stacks: the export streams through the chain and the
// stack reads back with every pixel, the scale and the timing; Python's
// tifffile, where installed, reads the same shape and metadata.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "processing/export_transform.h"
#include "processing/processing_messages.h"
#include "tests/processing/test_records.h"

namespace lumetra {
namespace {

using test::OpenRecord;
using test::Ramp;
using test::ScratchDir;

TEST(TiffExport, BothFlavoursReadBackWithEveryPixelScaleAndTime) {
  ScratchDir dir;
  const std::string xkv = dir.Path("cell.xkv");
  std::vector<std::vector<uint16_t>> frames;
  for (uint16_t f = 0; f < 5; ++f) frames.push_back(Ramp(6, 4, static_cast<uint16_t>(1000 * f)));
  test::WriteRecord(xkv, 6, 4, frames, {0, 40, 80, 120, 160});
  for (const char* transform : {"tiff", "ome-tiff"}) {
    SCOPED_TRACE(transform);
    CollectingReporter r;
    auto store = OpenRecord(xkv, r);
    std::string error;
    const auto request = ParseTransformRequest(transform, error);
    ASSERT_TRUE(request) << error;
    const std::string out = dir.Path(std::string("out-") + transform + ".tif");
    ExportJob job{*store, r, {}, {}, nullptr, {}};
    TransformContext context;
    const ExportResult res = RunTransform(job, *request, out, context);
    ASSERT_TRUE(res.ok) << ::testing::PrintToString(r.Texts());
    EXPECT_EQ(res.frames_written, 5);
    EXPECT_TRUE(r.Contains(kTiffWritten));

    auto back = OpenRecord(out, r);
    ASSERT_EQ(back->FrameCount(), 5);
    EXPECT_FLOAT_EQ(back->Prm().ScaleX, store->Prm().ScaleX);
    for (int32_t f = 0; f < 5; ++f) {
      ASSERT_TRUE(back->GoToFrame(f, r));
      EXPECT_EQ(back->Prm().TimeMs, 40 * f);
      ASSERT_TRUE(std::equal(frames[f].begin(), frames[f].end(), back->FrameBuffer()));
    }
    // The export refuses to overwrite the record it reads.
    r.Clear();
    ExportJob self{*back, r, {}, {}, nullptr, {}};
    EXPECT_FALSE(RunTransform(self, *request, out, context).ok);
  }
}

// tifffile is an optional check: the test is skipped where it is not installed.
TEST(TiffExport, TifffileReadsShapeScaleAndInterval) {
  const char* python = "/usr/bin/python3";
  if (std::system((std::string(python) + " -c 'import tifffile' 2>/dev/null").c_str()) != 0)
    GTEST_SKIP() << "python3-tifffile is not installed";
  ScratchDir dir;
  const std::string xkv = dir.Path("cell.xkv");
  std::vector<std::vector<uint16_t>> frames(3, Ramp(8, 5, 300));
  test::WriteRecord(xkv, 8, 5, frames, {0, 25, 50});
  CollectingReporter r;
  auto store = OpenRecord(xkv, r);  // the test header's scale: 100 nm per pixel
  TransformContext context;
  std::string error;
  for (const char* transform : {"tiff", "ome-tiff"}) {
    ExportJob job{*store, r, {}, {}, nullptr, {}};
    ASSERT_TRUE(RunTransform(job, *ParseTransformRequest(transform, error),
                             dir.Path(std::string(transform) + ".tif"), context)
                    .ok);
  }
  const std::string script = dir.Path("check.py");
  std::ofstream(script) << "import sys, tifffile\n"
                           "t = tifffile.TiffFile(sys.argv[1])\n"
                           "ij = t.imagej_metadata\n"
                           "xr = t.pages[0].tags['XResolution'].value\n"
                           "print(t.series[0].shape, ij['finterval'], ij['unit'], xr[0] / xr[1])\n"
                           "o = tifffile.TiffFile(sys.argv[2])\n"
                           "import re\n"
                           "m = o.ome_metadata\n"
                           "print(o.series[0].shape, re.search(r'PhysicalSizeX=\"([^\"]+)\"', m)[1],"
                           " re.search(r'TimeIncrement=\"([^\"]+)\"', m)[1])\n";
  const std::string result = dir.Path("result.txt");
  ASSERT_EQ(std::system((std::string(python) + " " + script + " " + dir.Path("tiff.tif") + " " +
                         dir.Path("ome-tiff.tif") + " > " + result)
                            .c_str()),
            0);
  std::ifstream in(result);
  std::string line1, line2;
  std::getline(in, line1);
  std::getline(in, line2);
  EXPECT_EQ(line1, "(3, 5, 8) 0.025 micron 10.0");
  EXPECT_EQ(line2, "(3, 5, 8) 0.100000 0.025000");
}

}  // namespace
}  // namespace lumetra
