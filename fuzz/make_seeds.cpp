// Writes the seed corpus of every fuzz target into fuzz/corpus/NAME/, made by
// the tests' own builders and the program's own writers: small valid files
// (a few hundred bytes to a few KB) that reach deep into each reader.
//   build/fuzz/fuzz_make_seeds fuzz/corpus
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "batch/batch_summary.h"
#include "processing/bmp_writer.h"
#include "record/simulator.h"
#include "settings/ini_file.h"
#include "spots/track_export.h"
#include "spots/xki_file.h"
#include "tests/support/tiff_builder.h"
#include "tests/support/xkv_builder.h"

namespace fs = std::filesystem;
using namespace lumetra;
using testing::TestHeader;
using testing::XkvBuilder;

namespace {

fs::path root;

void Seed(const std::string& target, const std::string& name, const std::vector<uint8_t>& b) {
  fs::create_directories(root / target);
  XkvBuilder::SaveBytes((root / target / name).string(), b);
}

std::vector<uint8_t> Text(std::string_view s) {
  return {s.begin(), s.end()};
}

std::vector<uint8_t> Prefixed(uint8_t first, std::string_view s) {
  std::vector<uint8_t> b{first};
  b.insert(b.end(), s.begin(), s.end());
  return b;
}

std::vector<uint16_t> Ramp(size_t n, uint16_t step) {
  std::vector<uint16_t> v(n);
  for (size_t i = 0; i < n; ++i) v[i] = static_cast<uint16_t>(i * step);
  return v;
}

void XkvSeeds() {
  ADD_INFO add;
  add.StageX = 1200;
  add.Zoom = 1.5f;
  PRM_INFO old = TestHeader(0, 0, 8);
  old.Flags = 0;  // old size form: right and bottom edges, binned by 2
  old.X0 = 10, old.Width = 30, old.Y0 = 4, old.Height = 12, old.Binning = 2, old.PixelCount = 40;
  PRM_INFO scales = TestHeader(6, 5, 8, 0);
  scales.ScaleX = 0.0f, scales.ScaleY = 0.5f;
  PRM_INFO far = TestHeader(6, 5, 12, 30);
  far.X0 = 2147483647, far.Y0 = -2147483647;  // sensor origins at the ends of the range

  std::vector<std::pair<std::string, XkvBuilder>> records;
  records.emplace_back("two-frames-8bit-add-info", XkvBuilder());
  records.back()
      .second.Frame(TestHeader(6, 4, 8, 0), Ramp(24, 10), &add)
      .Frame(TestHeader(6, 4, 8, 50), Ramp(24, 3), &add);
  records.emplace_back("one-frame-16bit", XkvBuilder());
  records.back().second.Frame(TestHeader(5, 5, 12, 0), Ramp(25, 170));
  records.emplace_back("old-size-form", XkvBuilder());
  records.back().second.Frame(old, Ramp(40, 5)).Frame(old, Ramp(40, 6));
  records.emplace_back("mixed-depths-and-sizes", XkvBuilder());
  records.back()
      .second.Frame(TestHeader(6, 5, 8, 0), Ramp(30, 8))
      .Frame(TestHeader(6, 5, 16, 40), Ramp(30, 2000))
      .Frame(TestHeader(4, 4, 8, 80), Ramp(16, 1))
      .Frame(far, Ramp(30, 100));
  records.emplace_back("scales-below-one", XkvBuilder());
  records.back().second.Flat(scales, 1).Flat(scales, 2).Flat(scales, 3);
  records.emplace_back("last-frame-cut", XkvBuilder());
  records.back()
      .second.Flat(TestHeader(8, 8, 8, 0), 5)
      .Flat(TestHeader(8, 8, 8, 10), 6)
      .Truncate(20);
  for (auto& [name, b] : records) {
    Seed("xkv_frame", name, b.bytes());
    Seed("record_store", name, b.bytes());
  }
  std::vector<uint8_t> many;  // twelve small frames, for go-to and the wrap
  for (int i = 0; i < 12; ++i) {
    XkvBuilder b;
    b.Frame(TestHeader(5, 5, i % 2 ? 10 : 8, i * 20), Ramp(25, static_cast<uint16_t>(i + 1)));
    many.insert(many.end(), b.bytes().begin(), b.bytes().end());
  }
  Seed("record_store", "twelve-frames", many);
}

void TiffSeeds(const fs::path& scratch) {
  struct Case {
    std::string name;
    testing::TiffLayout shape;
  };
  std::vector<Case> cases(7);
  cases[0].name = "three-pages-16bit";
  cases[1].name = "two-pages-8bit-lzw";
  cases[1].shape.bits = 8, cases[1].shape.pages = 2, cases[1].shape.compression = 5;
  cases[2].name = "float-samples";
  cases[2].shape.bits = 32, cases[2].shape.sample_format = 3, cases[2].shape.pages = 2;
  cases[3].name = "tiled-deflate";
  cases[3].shape.width = 16, cases[3].shape.height = 16, cases[3].shape.tile = 16;
  cases[3].shape.pages = 2, cases[3].shape.compression = 8;
  cases[4].name = "bigtiff-strips";
  cases[4].shape.big = true, cases[4].shape.rows_per_strip = 2;
  cases[5].name = "imagej-description";
  cases[5].shape.description =
      "ImageJ=1.54f\nimages=4\nchannels=2\nframes=2\nfinterval=0.04\nunit=micron\n";
  cases[5].shape.pages = 4, cases[5].shape.xres = 10, cases[5].shape.yres = 10;
  cases[6].name = "ome-xml";
  cases[6].shape.pages = 2;
  cases[6].shape.description =
      "<?xml version=\"1.0\"?><OME><Image><Pixels DimensionOrder=\"XYZCT\" SizeX=\"7\" "
      "SizeY=\"5\" SizeZ=\"1\" SizeC=\"1\" SizeT=\"2\" PhysicalSizeX=\"0.065\" "
      "PhysicalSizeY=\"0.065\" TimeIncrement=\"0.03\"><TiffData IFD=\"0\" PlaneCount=\"2\"/>"
      "<Plane TheT=\"0\" DeltaT=\"0\" ExposureTime=\"0.02\"/></Pixels></Image></OME>";
  for (const Case& c : cases) {
    const std::string path = (scratch / "seed.tif").string();
    testing::WriteTiff(path, c.shape);
    Seed("tiff_record", c.name, testing::ReadBytes(path));
  }
}

void XkiSeeds() {
  TrackStore s;
  s.Reset(20);
  for (int32_t slot = 0; slot < 3; ++slot) {
    TrackRec& t = s.Use(slot);
    t.completed = 1;
    t.first_frame = 2 * slot;
    t.point_count = 3 + slot;
    t.X = 30 + slot;
    t.Y = 40 - slot;
    for (int32_t i = 0; i < t.point_count; ++i) {
      t.intensity[t.first_frame + i] = 100.5f + i;
      t.x[t.first_frame + i] = 0.01f * i;
      t.y[t.first_frame + i] = -0.02f * i;
      t.z[t.first_frame + i] = 7.0f + i;
    }
  }
  s.track_count = s.completed_count = 3;
  XkiWriteOptions o;
  o.parameter = 100;
  Seed("xki_file", "current-layout", EncodeXki(s, o));
  o.layout = XkiLayout::kOlder;
  Seed("xki_file", "older-layout", EncodeXki(s, o));
  o.layout = XkiLayout::kCurrent;
  o.save_zpos = true;
  Seed("xki_file", "current-layout-zpos", EncodeXki(s, o));

  // The same tracks as the tables the statistics and eval read.
  const std::string tidy = TidyTracksText(s, 100, 100);
  Seed("tables", "track-table", Prefixed(0, tidy));
  Seed("tables", "tidy-tracks", Prefixed(2, tidy));
}

void IniSeeds() {
  Settings s;
  Seed("ini_file", "defaults", Text(IniText(s)));
  s.TrackingLimit = 0.25;
  s.Zoom = 4;
  s.MaxTrackingJump = 7;
  std::string text = IniText(s);
  std::string crlf;
  for (char c : text) {
    if (c == '\n') crlf += '\r';
    crlf += c == '.' ? ',' : c;
  }
  Seed("ini_file", "changed-crlf-decimal-comma", Text(crlf));
}

// The 16-byte head of the import target: kind, width - 5, height - 5, offset
// (8 bytes), frame header (4 bytes), files of a sequence - 1.
std::vector<uint8_t> ImportHead(uint8_t kind, int w, int h, uint64_t offset, uint32_t header,
                                uint8_t files) {
  std::vector<uint8_t> b{kind, static_cast<uint8_t>(w - 5), static_cast<uint8_t>(h - 5)};
  for (int i = 0; i < 8; ++i) b.push_back(static_cast<uint8_t>(offset >> (8 * i)));
  for (int i = 0; i < 4; ++i) b.push_back(static_cast<uint8_t>(header >> (8 * i)));
  b.push_back(files);
  return b;
}

void ImportSeeds(const fs::path& scratch) {
  auto with = [](std::vector<uint8_t> head, size_t n) {
    for (size_t i = 0; i < n; ++i) head.push_back(static_cast<uint8_t>(i * 7));
    return head;
  };
  Seed("import", "raw-1byte-three-frames", with(ImportHead(0, 6, 5, 0, 0, 0), 90));
  Seed("import", "raw-2byte-big-endian-cut", with(ImportHead(4, 5, 5, 0, 0, 0), 130));
  Seed("import", "raw-2byte-little-endian-short", with(ImportHead(12, 5, 5, 0, 0, 0), 70));
  Seed("import", "raw-offset-and-frame-headers", with(ImportHead(0, 5, 5, 7, 3, 0), 120));
  Seed("import", "raw-sequence-of-two", with(ImportHead(1, 5, 5, 2, 0, 1), 60));
  // Two grey bitmaps from the export's own writer.
  std::vector<uint8_t> bmps = ImportHead(2, 6, 5, 0, 0, 1);
  for (int k = 0; k < 2; ++k) {
    RgbImage img;
    img.Resize(6, 5, 0);
    for (size_t i = 0; i < img.pixels.size(); ++i)
      img.pixels[i] = static_cast<uint32_t>((i * 9 + k) & 0xFF) * 0x010101u;
    const std::string path = (scratch / "seed.bmp").string();
    WriteBmp(path, img);
    const std::vector<uint8_t> b = testing::ReadBytes(path);
    bmps.insert(bmps.end(), b.begin(), b.end());
  }
  Seed("import", "bmp-sequence-of-two", bmps);
}

void TableSeeds(const fs::path& scratch) {
  SimulationParams p;
  p.width = p.height = 24;
  p.frames = 3;
  p.spots = 3;
  p.fluorophores_max = 2;
  p.bleach_prob = 0.3;
  const std::string record = (scratch / "sim.xkv").string();
  NullReporter quiet;
  SimulateRecord(p, record, quiet);
  const std::vector<uint8_t> truth = testing::ReadBytes(TruthPathFor(record));
  const std::vector<uint8_t> steps = testing::ReadBytes(StepsPathFor(record));
  Seed("tables", "truth-table", Prefixed(1, std::string(truth.begin(), truth.end())));
  Seed("tables", "true-steps", Prefixed(5, std::string(steps.begin(), steps.end())));
  Seed("tables", "step-results",
       Prefixed(4,
                "object\tx\ty\tdrTm\tdrAmp\tS\n0\t3\t4\t12\t250.5\t17.25\n1\t9\t2\t7\tnan\tNA\n"));
  Seed("tables", "plot-table-with-header",
       Prefixed(3, "# drift\ntime_s\tx_nm\ty_nm\n0\t0\t0\n0.05\t1.5\t-\n0.1\tnan\t2.25\n"));
  Seed("tables", "plot-table-blanks", Prefixed(3, "1 2 3\n2 4.5 6\n3  7e2   -1\n"));

  RecordResult ok{"a/cell1.xkv", RecordStatus::kOk, "a/cell1.xki", 1.25, 14, ""};
  RecordResult failed{
      "b/cell2.xkv", RecordStatus::kFailed, "b/cell2.xki", 0, -1, "Frame Reading Error: frame 3"};
  Seed("batch_tables", "summary", Prefixed(1, SummaryText({ok, failed})));
  Seed("batch_tables", "manifest",
       Prefixed(0, "# the day's records\na/cell1.xkv\n\n  \nb/cell2.xkv\r\n"));
}

void ArgSeeds() {
  auto args = [](uint8_t command, const std::vector<std::string>& list) {
    std::vector<uint8_t> b{command};
    for (size_t i = 0; i < list.size(); ++i) {
      if (i) b.push_back(0);
      b.insert(b.end(), list[i].begin(), list[i].end());
    }
    return b;
  };
  Seed("arg_parser", "frame-options",
       args(0, {"cell.xkv", "--out", "f.png", "--index=12", "--region", "1,2,30,40", "--verbose"}));
  Seed("arg_parser", "frame-out-of-range", args(0, {"cell.xkv", "--index", "4294967296"}));
  Seed("arg_parser", "fuse-records",
       args(1, {"--out", "all.xkv", "a.xkv", "b.xkv", "--zoom", "3"}));
  Seed("arg_parser", "help", args(1, {"--help"}));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: fuzz_make_seeds CORPUS_FOLDER\n");
    return 2;
  }
  root = argv[1];
  const fs::path scratch = fs::temp_directory_path() / "lumetra-fuzz-seeds";
  fs::create_directories(scratch);
  XkvSeeds();
  TiffSeeds(scratch);
  XkiSeeds();
  IniSeeds();
  ImportSeeds(scratch);
  TableSeeds(scratch);
  ArgSeeds();
  fs::remove_all(scratch);
  return 0;
}
