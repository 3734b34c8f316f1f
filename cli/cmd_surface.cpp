// lumetra-cli surface FILE.xkv --index N --region L,T,R,B --out S.png
//   [--tilt A --turn B --height H --blocks --size WxH --palette NAME]
#include <iostream>

#include "cli/cli_common.h"
#include "display/palette.h"
#include "record/record_store.h"
#include "surface/surface_render.h"

namespace lumetra::cli {

int RunSurface(const std::vector<std::string>& args) {
  ArgParser p("surface",
              "Draws the region of frame N (0-based) as a tilted 3D surface, or as a block\n"
              "per pixel, coloured through the palette, as the 3D window shows it, and\n"
              "saves it as PNG or BMP (by the name's ending). Heights run from the region's\n"
              "lowest count to its highest; a flat region lies flat.");
  p.Positional("FILE.xkv", "the record")
      .Option("index", "N", "0-based number of the frame", "0")
      .Option("region", "L,T,R,B",
              "the region in frame pixels, right and bottom exclusive "
              "(default: the whole frame)")
      .Option("out", "S.png", "the picture to write (.png or .bmp)")
      .Option("tilt", "A", "degrees above the plane: 0 edge-on, 90 from above", "40")
      .Option("turn", "B", "degrees about the vertical axis, -360 to 360", "30")
      .Option("height", "H", "height of the brightest pixel, times the region's longer side (0-5)",
              "0.3")
      .Flag("blocks", "a block per pixel instead of a smooth surface")
      .Option("size", "WxH", "picture size in pixels, 16 to 4000 a side", "800x600")
      .Option("palette", "NAME", "ryw, bgyr, grey, green, blue or red", "ryw");
  AddTiffOptions(p);
  if (auto code = ParseOrExit(p, args)) return *code;
  std::string error;
  int64_t index = 0;
  double tilt = 40, turn = 30, height = 0.3;
  if (!p.Int("index", index, error) || !p.Real("tilt", tilt, error) ||
      !p.Real("turn", turn, error) || !p.Real("height", height, error))
    return Fail("surface", error, 2);
  if (!p.Has("out")) return Fail("surface", "--out S.png is required", 2);
  if (!KnownPictureName(p.Value("out")))
    return Fail("surface", "--out must end in .png or .bmp, not '" + p.Value("out") + "'", 2);
  ConsoleReporter console;
  SurfaceView view;
  view.blocks = p.Has("blocks");
  if (!SetTilt(view, tilt, console) || !SetTurn(view, turn, console) ||
      !SetHeightScale(view, height, console))
    return 2;
  const auto size = ParsePictureSize(p.Value("size"), console);
  if (!size) return 2;
  const auto type = PaletteTypeFromName(p.Value("palette"));
  if (!type) return Fail("surface", "unknown --palette '" + p.Value("palette") + "'", 2);
  Region user;
  if (p.Has("region")) {
    std::vector<int64_t> r;
    if (!p.IntList("region", 4, r, error)) return Fail("surface", error, 2);
    user = Region{static_cast<int32_t>(r[0]), static_cast<int32_t>(r[1]),
                  static_cast<int32_t>(r[2]), static_cast<int32_t>(r[3]), true};
    if (user.right <= user.left || user.bottom <= user.top)
      return Fail("surface", "--region needs L < R and T < B", 2);
  }

  auto store = RecordStore::Create(console);
  if (!store) return 1;
  if (auto code = ApplyTiffOptions(p, *store, "surface")) return *code;
  if (!OpenRecordWithFrames(*store, p.Arg(0), console)) return 1;
  if (index < 0 || index >= store->FrameCount())
    return Fail("surface", "--index " + std::to_string(index) + " is outside the record (0-" +
                               std::to_string(store->FrameCount() - 1) + ")");
  if (!store->GoToFrame(static_cast<int32_t>(index), console) || store->CurrentFrame() != index)
    return Fail("surface", "frame " + std::to_string(index) + " could not be read");
  const auto region = SurfaceRegion(user, store->Width(), store->Height());
  if (!region || (user.active && (user.right > store->Width() || user.bottom > store->Height())))
    return Fail("surface",
                "--region lies outside the " + std::to_string(store->Width()) + " x " +
                    std::to_string(store->Height()) + " frame",
                2);
  std::vector<uint32_t> palette;
  if (!BuildPalette(palette, store->MaxLevel(), *type, console)) return 1;
  RgbImage picture;
  picture.Resize(size->first, size->second, kSurfaceBackground);
  SurfaceRenderer renderer;
  renderer.Render(store->FrameBuffer(), store->Width(), *region, palette, view, picture);
  return SaveSurfacePicture(p.Value("out"), picture, console) ? 0 : 1;
}

}  // namespace lumetra::cli
