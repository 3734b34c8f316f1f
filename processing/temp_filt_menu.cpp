#include "processing/temp_filt_menu.h"

#include "processing/processing_messages.h"

namespace lumetra {

TempFiltMenu RebuildTempFiltMenu(const TempFiltChecks& c) {
  TempFiltMenu m;
  m.caption = std::string(kTempFiltCaption);
  if (c.by3frames) {
    m.caption += "(Med3)";
    m.median_frames = 3;
  }
  if (c.by5frames) {
    m.caption += "(Med5)";
    m.median_frames = 5;
  }
  if (c.by7frames) {
    m.caption += "(Med7)";
    m.median_frames = 7;
  }
  const std::string size = std::to_string(c.running_buffer_size);
  if (c.running_sum) m.caption += "(Sum" + size + ")";
  if (c.running_average) m.caption += "(Aver" + size + ")";
  if (c.subtr_prev_frame) m.caption += "(-PrevFr)";
  return m;
}

}  // namespace lumetra
