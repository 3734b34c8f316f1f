#include "steps/step_results.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "common/file_handle.h"
#include "steps/steps_messages.h"

namespace lumetra {

namespace {

void Append(std::string& s, const char* format, double v) {
  char cell[64];
  std::snprintf(cell, sizeof cell, format, v);
  s += cell;
}

}  // namespace

std::string ResultsText(const TraceSet& traces, const std::vector<StepScores>& scores,
                        StepTest shown) {
  std::string s(kResultsHeader);
  for (size_t i = 0; i < traces.objects.size() && i < scores.size(); ++i) {
    const StepObject& o = traces.objects[i];
    const StepScores& c = scores[i];
    const bool p = shown == StepTest::kP, ms = shown == StepTest::kMS;
    s += std::to_string(o.drop_frame);
    Append(s, "\t%.2f", ms ? c.ms_drop_amp : c.drop_amp);
    s += '\t' + std::to_string(o.rise_frame);
    Append(s, "\t%.2f", ms ? c.ms_rise_amp : c.rise_amp);
    Append(s, "\t%.2f", c.lower);
    Append(s, "\t%.2f", p ? c.p_up_sd : c.s_up_sd);
    Append(s, "\t%.2f", p ? c.p_dn_sd : c.s_dn_sd);
    Append(s, "\t%.2f", c.s_test);
    Append(s, "\t%.2f", c.p_test);
    s += '\t' + std::to_string(o.x) + '\t' + std::to_string(o.y) + '\n';
  }
  return s;
}

std::string StepTableText(const TraceSet& traces, const std::vector<StepScores>& scores) {
  std::string s(kStepTableHeader);
  for (size_t i = 0; i < traces.objects.size() && i < scores.size(); ++i) {
    const StepObject& o = traces.objects[i];
    const StepScores& c = scores[i];
    s += std::to_string(i) + '\t' + std::to_string(o.x) + '\t' + std::to_string(o.y) + '\t' +
         std::to_string(o.drop_frame) + '\t' + std::to_string(o.rise_frame);
    Append(s, "\t%.3f", traces.drop_time[i]);
    Append(s, "\t%.3f", traces.rise_time[i]);
    for (float v : {c.upper, c.lower, c.drop_amp, c.rise_amp, c.s_up_sd, c.s_dn_sd, c.s_test,
                    c.p_test, c.ms_test})
      Append(s, "\t%.2f", v);
    s += '\t' + std::to_string(c.ms_steps) + '\t' + (c.good ? "1" : "0");
    for (float v : {c.p_up_sd, c.p_dn_sd, c.ms_drop_amp, c.ms_rise_amp}) Append(s, "\t%.2f", v);
    s += '\n';
  }
  return s;
}

std::string TraceTableText(const TraceSet& traces) {
  std::string s(kTraceTableHeader);
  char line[96];
  for (size_t i = 0; i < traces.objects.size(); ++i) {
    const float* x = traces.Trace(i);
    for (int32_t f = 0; f < traces.frames; ++f) {
      if (!traces.played[static_cast<size_t>(f)]) continue;
      std::snprintf(line, sizeof line, "%zu\t%d\t%.3f\t%.2f\n", i, f,
                    static_cast<double>(traces.frame_time[static_cast<size_t>(f)]),
                    static_cast<double>(x[f]));
      s += line;
    }
  }
  return s;
}

std::string MapTableText(const StepMaps& m) {
  std::string s(kMapTableHeader);
  char line[96];
  for (int32_t y = 0; y < m.height; ++y)
    for (int32_t x = 0; x < m.width; ++x) {
      const size_t p = m.Index(x, y);
      std::snprintf(line, sizeof line, "%d\t%d\t%d\t%d\t%d\t%d\n", x, y, m.DropMap[p],
                    m.DropFrame[p], m.RiseMap[p], m.RiseFrame[p]);
      s += line;
    }
  return s;
}

bool WriteTextAtomically(const std::string& path, const std::string& text, Reporter& reporter) {
  const std::string part = path + ".part";
  {
    FileHandle f = OpenFile(part, "wb");
    if (!f) {
      reporter.Modal(kCanNotOpenForWriting);
      return false;
    }
    if (std::fwrite(text.data(), 1, text.size(), f.get()) != text.size() ||
        std::fflush(f.get()) != 0) {
      f.reset();
      std::remove(part.c_str());
      reporter.Modal(kFileWritingErrorSteps);
      return false;
    }
  }
  if (std::rename(part.c_str(), path.c_str()) != 0) {
    std::remove(part.c_str());
    reporter.Modal(kFileWritingErrorSteps);
    return false;
  }
  return true;
}

Histogram MakeHistogram(const std::vector<float>& values, double bin) {
  Histogram h;
  h.bin = bin > 0 ? bin : 1;
  bool any = false;
  double lo = 0, hi = 0;
  for (float v : values) {
    if (!std::isfinite(v)) continue;
    lo = any ? std::min(lo, double{v}) : v;
    hi = any ? std::max(hi, double{v}) : v;
    any = true;
  }
  if (!any) return h;
  h.start = std::floor(lo / h.bin) * h.bin;
  const double span = std::floor((hi - h.start) / h.bin) + 1;
  h.counts.assign(static_cast<size_t>(std::min(span, 100000.0)), 0);
  for (float v : values) {
    if (!std::isfinite(v)) continue;
    const double k = std::floor((v - h.start) / h.bin);
    if (k >= 0 && k < static_cast<double>(h.counts.size())) ++h.counts[static_cast<size_t>(k)];
  }
  return h;
}

}  // namespace lumetra
