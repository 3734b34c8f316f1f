// lumetra-cli eval-steps RESULTS.tsv STEPS.tsv: how well a step detector's
// results find the steps of a simulated record.
#include <cmath>
#include <fstream>
#include <iostream>

#include "cli/cli_common.h"
#include "common/common_messages.h"
#include "common/text_format.h"
#include "spots/step_eval.h"

namespace lumetra::cli {
namespace {

constexpr const char* kCommand = "eval-steps";

std::string Num(double v, int decimals) {
  return std::isfinite(v) ? FormatFixed(v, decimals) : std::string("NA");
}

bool ParseTest(const std::string& text, StepTest& test) {
  if (text == "s")
    test = StepTest::kS;
  else if (text == "p")
    test = StepTest::kP;
  else if (text == "ms")
    test = StepTest::kMS;
  else
    return false;
  return true;
}

}  // namespace

int RunEvalSteps(const std::vector<std::string>& args) {
  ArgParser p(kCommand,
              "Scores a step detector's results (lumetra-cli steps --tsv) against the step\n"
              "table of a simulated record (OUT.steps.tsv of lumetra-cli simulate).\n"
              "\n"
              "Matching, one object to one true step: an object counts when its score for\n"
              "--test is above --threshold (score > T; nan or NA never counts). It matches a\n"
              "true step whose position (x, y) lies within --match-px pixels of the object's\n"
              "pixel and whose frame lies within --match-frames frames of the object's step\n"
              "frame. Pairs closest in frames are taken first, then closest in space; each\n"
              "object and each true step is used once. Objects above the threshold left\n"
              "unmatched are false positives.\n"
              "  s, ms: true drops against drop_frame, drop_amp and s_test or ms_test;\n"
              "  p:     true rises (binding) against rise_frame, rise_amp and p_test.\n"
              "A spot of several fluorophores has one true drop per bleaching, and one\n"
              "object can match only one of them. The frame error is detected - true frame\n"
              "(the true frame is the first frame showing the new level); the rise frame of\n"
              "the detector's map lies 2 frames before it by design.\n"
              "\n"
              "Amplitude: the detector's amplitude is in counts per pixel of the spot box,\n"
              "background ring subtracted. Each match is compared with the amplitude the true\n"
              "step gives through the same arithmetic: the step's photons times the fraction\n"
              "of a Gaussian spot (--fwhm-nm, --nm-per-pixel) at the true position that falls\n"
              "in the box around the object's pixel, divided by the box's pixel count, minus\n"
              "the fraction in the ring divided by 8, 40 or 56 (--spot 1, 3, 5; no ring with\n"
              "--no-background). The ratio detected / expected is 1 for an exact amplitude;\n"
              "counts_per_photon is that conversion for a spot centred on its pixel.\n"
              "\n"
              "Prints one tab-separated row with a header: test, threshold, true_steps,\n"
              "objects, above_threshold, true_positives, false_positives, recall,\n"
              "fp_per_true_step, frame_error_mean, frame_error_median, frame_error_rms,\n"
              "amplitude_ratio_mean, amplitude_ratio_median, amplitude_ratio_sd,\n"
              "counts_per_photon (NA where undefined). --roc writes the matching at the\n"
              "thresholds 0, --roc-step, 2 x --roc-step ... up to the first one no score\n"
              "exceeds: threshold, true_positives, false_positives, recall, fp_per_true_step.");
  p.Positional("RESULTS.tsv", "columns object, x, y, drop_frame, rise_frame, drop_amp, ...")
      .Positional("STEPS.tsv", "columns particle, x, y, frame, kind, photons_before, ...")
      .Option("test", "s|p|ms", "the test whose score is thresholded", "s")
      .Option("threshold", "T", "score threshold", "15")
      .Option("match-px", "PIXELS", "largest distance of a match", "2")
      .Option("match-frames", "N", "largest frame difference of a match", "3")
      .Option("roc", "ROC.tsv", "write the ROC table over the score threshold")
      .Option("roc-step", "T", "threshold step of the ROC table", "1")
      .Option("spot", "1|3|5", "the detector's spot size", "5")
      .Flag("no-background", "the detector ran without background subtraction")
      .Option("fwhm-nm", "NM", "FWHM of the simulated spots", "250")
      .Option("nm-per-pixel", "NM", "pixel size", "100");
  if (auto code = ParseOrExit(p, args)) return *code;

  std::string error;
  StepEvalOptions o;
  int64_t match_frames = 3, spot = 5;
  double roc_step = 1, fwhm = 250, scale = 100;
  if (!p.Real("threshold", o.threshold, error) || !p.Real("match-px", o.match_px, error) ||
      !p.Int("match-frames", match_frames, error) || !p.Real("roc-step", roc_step, error) ||
      !p.Int("spot", spot, error) || !p.Real("fwhm-nm", fwhm, error) ||
      !p.Real("nm-per-pixel", scale, error))
    return Fail(kCommand, error, 2);
  if (!ParseTest(p.Value("test"), o.test))
    return Fail(kCommand, "--test must be s, p or ms, not '" + p.Value("test") + "'", 2);
  if (!(o.match_px >= 0) || match_frames < 0 || match_frames > 100000)
    return Fail(kCommand, "--match-px and --match-frames must not be negative", 2);
  if (spot != 1 && spot != 3 && spot != 5) return Fail(kCommand, "--spot must be 1, 3 or 5", 2);
  if (!(roc_step > 0) || !(fwhm > 0) || !(scale > 0))
    return Fail(kCommand, "--roc-step, --fwhm-nm and --nm-per-pixel must be above 0", 2);
  o.match_frames = static_cast<int32_t>(match_frames);
  o.amplitude.half_size = static_cast<int32_t>(spot / 2);
  o.amplitude.background_subtracted = !p.Has("no-background");
  o.amplitude.sigma_px = fwhm / (2.0 * std::sqrt(2.0 * std::log(2.0))) / scale;

  std::vector<DetectedStep> objects;
  std::vector<TrueStep> truth;
  {
    FileLines in;
    if (!in.Open(p.Arg(0))) return Fail(kCommand, std::string(kFileOpenError) + ": " + p.Arg(0));
    if (!ReadStepResults(in, o.test, objects, error)) return Fail(kCommand, p.Arg(0) + " " + error);
  }
  {
    FileLines in;
    if (!in.Open(p.Arg(1))) return Fail(kCommand, std::string(kFileOpenError) + ": " + p.Arg(1));
    if (!ReadTrueSteps(in, truth, error)) return Fail(kCommand, p.Arg(1) + " " + error);
  }

  if (p.Has("roc")) {
    const std::vector<RocRow> roc = StepRoc(objects, truth, o, roc_step);
    if (roc.empty())
      return Fail(kCommand, "the ROC table would exceed 100000 rows: raise --roc-step");
    std::ofstream out(p.Value("roc"), std::ios::binary);
    if (!out) return Fail(kCommand, std::string(kCanNotOpenForWriting) + ": " + p.Value("roc"));
    out << "threshold\ttrue_positives\tfalse_positives\trecall\tfp_per_true_step\n";
    for (const RocRow& r : roc)
      out << FormatGeneral(r.threshold) << '\t' << r.true_positives << '\t' << r.false_positives
          << '\t' << Num(r.recall, 4) << '\t' << Num(r.fp_per_true_step, 4) << '\n';
    out.flush();
    if (!out) return Fail(kCommand, "File write error: " + p.Value("roc"));
  }

  const StepEvalResult r = EvaluateSteps(objects, truth, o);
  std::cout << "test\tthreshold\ttrue_steps\tobjects\tabove_threshold\ttrue_positives\t"
               "false_positives\trecall\tfp_per_true_step\tframe_error_mean\t"
               "frame_error_median\tframe_error_rms\tamplitude_ratio_mean\t"
               "amplitude_ratio_median\tamplitude_ratio_sd\tcounts_per_photon\n"
            << p.Value("test") << '\t' << FormatGeneral(o.threshold) << '\t' << r.true_steps << '\t'
            << r.objects << '\t' << r.above_threshold << '\t' << r.true_positives << '\t'
            << r.false_positives << '\t' << Num(r.Recall(), 4) << '\t'
            << Num(r.FalsePositivesPerTrueStep(), 4) << '\t' << Num(MeanOf(r.frame_errors), 3)
            << '\t' << Num(MedianOf(r.frame_errors), 3) << '\t' << Num(RmsOf(r.frame_errors), 3)
            << '\t' << Num(MeanOf(r.amplitude_ratios), 4) << '\t'
            << Num(MedianOf(r.amplitude_ratios), 4) << '\t' << Num(SdOf(r.amplitude_ratios), 4)
            << '\t' << Num(CountsPerPhoton(o.amplitude, 0, 0, 0, 0), 8) << '\n';
  return 0;
}

}  // namespace lumetra::cli
