#include "cli/mask_option.h"

#include "cli/cli_common.h"

namespace lumetra::cli {

ArgParser& AddMaskOptions(ArgParser& p) {
  return p
      .Option("mask", "MASK.xkv",
              "a one-frame XKV mask of the record's size: only its pixels above 0 are analysed")
      .Option("mask-mode", "boolean|subtract|equalize",
              "boolean: pixels where the mask is 0 become 0; subtract: the mask is subtracted "
              "(floored at 0); equalize: pixel x mean / mask",
              "boolean");
}

std::optional<int> ApplyMaskOptions(const ArgParser& p, RecordStore& store, MaskStep& step,
                                    Reporter& reporter, const std::string& command) {
  if (!p.Has("mask")) return std::nullopt;
  const std::string mode = p.Value("mask-mode");
  if (mode != "boolean" && mode != "subtract" && mode != "equalize")
    return Fail(command, "--mask-mode must be boolean, subtract or equalize", 2);
  auto mask = ReadMaskFile(p.Value("mask"), reporter);
  if (!mask || !MaskFitsRecord(*mask, store.Width(), store.Height(), reporter)) return 1;
  step.SetMask(std::move(*mask));
  step.boolean_ = mode == "boolean";
  step.subtract_ = mode == "subtract";
  step.equalize_ = mode == "equalize";
  store.AddStep(&step);
  return std::nullopt;
}

}  // namespace lumetra::cli
