// The ImageDescription parser: ImageJ keys, OME-XML attributes with their
// units, and the plane order.
#include <gtest/gtest.h>

#include <cmath>

#include "record/tiff_metadata.h"

namespace lumetra {
namespace {

TEST(TiffMetadata, ImageJKeysAndTheirProblems) {
  const TiffDescription d = ParseTiffDescription(
      "ImageJ=1.54f\nimages=60\nchannels=3\nslices=x\nframes=20\nunit=\\u00B5m\n"
      "finterval=-1\nspacing=0.5\n");
  EXPECT_EQ(d.kind, TiffMetaKind::kImageJ);
  EXPECT_EQ(d.images, 60);
  EXPECT_EQ(d.size_c, 3);
  EXPECT_EQ(d.size_z, 1);
  EXPECT_EQ(d.size_time, 20);
  EXPECT_EQ(d.frame_ms, 0);
  EXPECT_EQ(d.unit_nm, 0);  // ImageJ's escaped micro sign is not a unit we know
  EXPECT_EQ(d.problems, (std::vector<std::string>{"ImageJ slices=x ignored",
                                                  "ImageJ finterval=-1 ignored"}));
  EXPECT_EQ(ParseTiffDescription("ImageJ=1.5\nunit=micron\n").unit_nm, 1000);
  EXPECT_EQ(ParseTiffDescription("Acquired by a camera").kind, TiffMetaKind::kNone);
}

TEST(TiffMetadata, OmeAttributesWithUnitsPrefixesAndEntities) {
  const TiffDescription d = ParseTiffDescription(
      "<?xml version='1.0'?><ome:OME xmlns:ome='x'><ome:Image Name=\"a &amp; b\">"
      "<ome:Pixels DimensionOrder = 'XYCTZ' SizeC=\"2\" SizeZ=\"4\" SizeT=\"10\" "
      "PhysicalSizeX=\"0.1&#181;\" PhysicalSizeY=\"1.5\" PhysicalSizeYUnit=\"&#xB5;m\" "
      "TimeIncrement=\"250\" TimeIncrementUnit=\"ms\">"
      "<ome:Plane TheC=\"1\" TheT=\"3\" DeltaT=\"2\" DeltaTUnit=\"min\" ExposureTime=\"0.01\"/>"
      "<![CDATA[<Plane TheT=\"9\"/>]]></ome:Pixels></ome:Image></ome:OME>");
  EXPECT_EQ(d.kind, TiffMetaKind::kOme);
  EXPECT_EQ(d.order, "XYCTZ");
  EXPECT_EQ(d.size_c, 2);
  EXPECT_EQ(d.size_z, 4);
  EXPECT_EQ(d.size_time, 10);
  EXPECT_EQ(d.nm_x, 0);  // "0.1µ" is no number
  EXPECT_EQ(d.nm_y, 1500);
  EXPECT_EQ(d.frame_ms, 250);
  ASSERT_EQ(d.planes.size(), 1u);
  EXPECT_EQ(d.planes[0].c, 1);
  EXPECT_EQ(d.planes[0].t, 3);
  EXPECT_EQ(d.planes[0].delta_ms, 120000);
  EXPECT_EQ(d.planes[0].exposure_ms, 10);
  ASSERT_EQ(d.problems.size(), 1u);
  EXPECT_NE(d.problems[0].find("PhysicalSizeX"), std::string::npos);
}

TEST(TiffMetadata, UnitsOfLengthAndTime) {
  for (const char* um : {"um", "micron", "\xC2\xB5m", "\xCE\xBCm", "\xB5m"})
    EXPECT_EQ(LengthUnitNm(um), 1000.0) << um;
  EXPECT_EQ(LengthUnitNm("nm"), 1.0);
  EXPECT_EQ(LengthUnitNm("pixel"), std::nullopt);
  EXPECT_EQ(TimeUnitMs("s"), 1000.0);
  EXPECT_EQ(TimeUnitMs("\xC2\xB5s"), 1e-3);
  EXPECT_EQ(TimeUnitMs("fortnight"), std::nullopt);
}

TEST(TiffMetadata, PlaneIndexFollowsTheDimensionOrder) {
  // C = 2, Z = 3, T = 4; plane (c 1, z 2, t 3).
  EXPECT_EQ(PlaneIndex("XYCZT", 2, 3, 4, 1, 2, 3), 1 + 2 * 2 + 3 * 6);
  EXPECT_EQ(PlaneIndex("XYZCT", 2, 3, 4, 1, 2, 3), 2 + 1 * 3 + 3 * 6);
  EXPECT_EQ(PlaneIndex("XYTZC", 2, 3, 4, 1, 2, 3), 3 + 2 * 4 + 1 * 12);
  EXPECT_EQ(PlaneIndex("XYCCT", 2, 3, 4, 0, 0, 0), -1);
  EXPECT_EQ(PlaneIndex("XYZT", 2, 3, 4, 0, 0, 0), -1);
}

}  // namespace
}  // namespace lumetra
