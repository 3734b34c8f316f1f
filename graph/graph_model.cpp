#include "graph/graph_model.h"

#include <algorithm>
#include <cmath>

#include "graph/graph_messages.h"

namespace lumetra {

GraphModel::GraphModel()
    : TitleX(kDefaultTitleX),
      TitleY0(kDefaultTitleY0),
      TitleY1(kDefaultTitleY1),
      FontName(kGraphFontName) {
  // Curves 1 to 5: blue, red, black, green, red; the rest black.
  constexpr std::array<uint32_t, 5> kFirstColors = {0xFF0000, 0x0000FF, 0x000000, 0x008000,
                                                    0x0000FF};
  for (size_t k = 0; k < kFirstColors.size(); ++k) Curves[k + 1].Color = kFirstColors[k];
  Y0.TickStyle = kTickDotted;
  Y1.TickStyle = kTickDashed;
  Notes[0] = kNoData;
}

bool GraphModel::Validate() {
  bool valid = true;
  // A NaN or infinite end is as unusable as a reversed range.
  for (GraphAxis* a : {&X, &Y0, &Y1}) {
    if (!(a->First < a->Last) || !std::isfinite(a->First) || !std::isfinite(a->Last) ||
        !std::isfinite(a->Last - a->First)) {
      a->First = 0;
      a->Last = 10;
      valid = false;
    }
  }
  // A negative or infinite distance would never reach the last tick.
  for (GraphAxis* a : {&X, &Y0, &Y1}) {
    if (!(a->Tick > 0) || !std::isfinite(a->Tick)) {
      a->Tick = 1.0;
      valid = false;
    }
  }
  return valid;
}

void GraphModel::SetData(const float* matrix, int curve_count, int row_length) {
  Data.Matrix = matrix;
  Data.CurveCount = curve_count;
  Data.RowLength = row_length;
  Data.FirstPoint = 0;
  Data.LastPoint = row_length;
}

int32_t GraphModel::FirstPoint() const {
  return std::clamp(Data.FirstPoint, 0, std::max(Data.RowLength, 0));
}

int32_t GraphModel::LastPoint() const {
  if (Data.Matrix == nullptr) return 0;
  return std::clamp(Data.LastPoint, FirstPoint(), std::max(Data.RowLength, 0));
}

int32_t GraphModel::CurveCount() const {
  if (Data.Matrix == nullptr || Data.RowLength <= 0) return 0;
  return std::clamp(Data.CurveCount, 0, kMaxCurves);
}

bool GraphModel::RightAxisInUse() const {
  for (int k = 1; k <= CurveCount(); ++k)
    if (Curves[k].Y1) return true;
  return false;
}

void GraphModel::RaiseFontSize() {
  FontSize = std::max(FontSize, kMinFontSize);
}

}  // namespace lumetra
