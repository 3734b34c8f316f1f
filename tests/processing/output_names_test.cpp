#include "processing/output_names.h"

#include <gtest/gtest.h>

namespace lumetra {
namespace {

TransformRequest Req(TransformKind kind, int32_t n = 0, int32_t first = 0, int32_t second = 0) {
  TransformRequest r;
  r.kind = kind;
  r.n = n;
  r.first = first;
  r.second = second;
  return r;
}

TEST(OutputNames, SaveDialogsOfferANameFromTheRecord) {
  const std::string rec = "/data/run.2/cell3.xkv";
  struct Case {
    TransformRequest request;
    const char* want;
  };
  const Case cases[] = {
      {Req(TransformKind::kSum, 10), "/data/run.2/cell3_sum10.xkv"},
      {Req(TransformKind::kMedian5), "/data/run.2/cell3_med5.xkv"},
      {Req(TransformKind::kPart, 0, 3, 50), "/data/run.2/cell3_part3-50.xkv"},
      {Req(TransformKind::kThinOut, 0, 2, 5), "/data/run.2/cell3_thin1of5_from2.xkv"},
      {Req(TransformKind::kBinning, 2), "/data/run.2/cell3_bin2.xkv"},
      {Req(TransformKind::kBinning, -3), "/data/run.2/cell3_expand3.xkv"},
      {Req(TransformKind::kThreshold, 120), "/data/run.2/cell3_thresh120.xkv"},
      {Req(TransformKind::kInverse), "/data/run.2/cell3_inverse.xkv"},
      {Req(TransformKind::kRaw), "/data/run.2/cell3.raw"},
      {Req(TransformKind::kRawSeq), "/data/run.2/cell3_frame.raw"},
      {Req(TransformKind::kBmpSeq), "/data/run.2/cell3_frame.bmp"},
      {Req(TransformKind::kPage), "/data/run.2/cell3_page.bmp"},
      {Req(TransformKind::kProfile), "/data/run.2/cell3_profile.xkv"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.want);
    EXPECT_EQ(DefaultTransformName(rec, c.request), c.want);
  }
  EXPECT_EQ(DefaultFrameName(rec, 17), "/data/run.2/cell3_frame17.xkv");
  EXPECT_EQ(DefaultFusedName(rec), "/data/run.2/cell3_fused.xkv");
  EXPECT_EQ(DefaultDriftCorrectedName(rec), "/data/run.2/cell3-driftcorr.xkv");
  EXPECT_EQ(DefaultImportName("/data/cam/cell3_0001.raw"), "/data/cam/cell3_0001.xkv");
}

TEST(OutputNames, TiffStacksAreNeverOfferedTheirOwnRecord) {
  EXPECT_EQ(DefaultTransformName("/d/cell3.xkv", Req(TransformKind::kTiff)), "/d/cell3.tif");
  EXPECT_EQ(DefaultTransformName("/d/cell3.xkv", Req(TransformKind::kTiff, 1)), "/d/cell3.ome.tif");
  EXPECT_EQ(DefaultTransformName("/d/cell3.tif", Req(TransformKind::kTiff)), "/d/cell3_16bit.tif");
  EXPECT_EQ(DefaultTransformName("/d/cell3.ome.tif", Req(TransformKind::kTiff, 1)),
            "/d/cell3_16bit.ome.tif");
  EXPECT_EQ(DefaultTransformName("/d/cell3.ome.tif", Req(TransformKind::kTiff)), "/d/cell3.tif");
}

TEST(OutputNames, BaseKeepsDotsOfFoldersAndHiddenFiles) {
  EXPECT_EQ(RecordBase("/data/run.2/cell3"), "/data/run.2/cell3");
  EXPECT_EQ(RecordBase("/data/.rec"), "/data/.rec");
  EXPECT_EQ(RecordBase("a.b.xkv"), "a.b");
}

}  // namespace
}  // namespace lumetra
