// What the main window shows besides the frame itself: the per-frame filters
// of the TempFilt and Filters menus, the LUT editor and its curve, the colour
// bar and the read-out under the cursor.
#include <QAction>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QStatusBar>

#include "app/image_view.h"
#include "app/main_form.h"
#include "app/qt_text.h"
#include "display/gui/lut_form.h"
#include "display/gui/tool_window.h"
#include "processing/processing_messages.h"

namespace lumetra {
namespace {

constexpr FrameFilter kTemporalItems[] = {FrameFilter::kRunningSum, FrameFilter::kRunningAverage,
                                          FrameFilter::kSubtrPrevFrame, FrameFilter::kSDimON,
                                          FrameFilter::kAccumulate};
constexpr FrameFilter kSpatialItems[] = {
    FrameFilter::kSpatMed3,   FrameFilter::kSpatMed5, FrameFilter::kSmoothing,
    FrameFilter::kSharpening, FrameFilter::kSobel,    FrameFilter::kSubtractLocalBackground};

}  // namespace

void TMainForm::AddFilterItems() {
  auto add = [this](QMenu* menu, FrameFilter f) {
    const FrameFilterInfo& info = InfoOf(f);
    QAction* a = menu->addAction(Q(info.caption));
    a->setCheckable(true);
    connect(a, &QAction::triggered, this, &TMainForm::RebuildTempFilt);
    items_[Q(info.control)] = a;
  };
  TempFilt->addSeparator();
  for (FrameFilter f : kTemporalItems) add(TempFilt, f);
  items_[QStringLiteral("ClearAccum")] =
      TempFilt->addAction(QStringLiteral("Clear Accumulator"), this, &TMainForm::ClearAccumClick);
  filters_menu_ = menuBar()->addMenu(Q(kFiltersCaption));
  for (FrameFilter f : kSpatialItems) add(filters_menu_, f);
  // Ring lengths, the background radius and the sharpening strength come
  // from the settings.
  connect(this, &TMainForm::SettingsChanged, this, &TMainForm::RebuildTempFilt);
}

FilterChoice TMainForm::MenuFilterChoice() const {
  FilterChoice c;
  for (const FrameFilterInfo& info : FrameFilterTable())
    if (QAction* a = MenuItem(Q(info.control))) c.on[static_cast<int>(info.filter)] = a->isChecked();
  const Settings& s = settings_.values();
  c.params.sum_frames = c.params.average_frames = c.params.sd_frames = s.RunningBufSize;
  c.params.background_radius = s.LocalBackgrRad;
  c.params.sharp_strength = s.SharpStrength;
  return c;
}

void TMainForm::ShowFilterChoice() {
  const FilterChoice& c = filters_.Choice();
  for (const FrameFilterInfo& info : FrameFilterTable())
    if (QAction* a = MenuItem(Q(info.control))) a->setChecked(c[info.filter]);
  filters_menu_->setTitle(Q(FiltersMenuCaption(c)));
}

void TMainForm::ClearAccumClick() {
  filters_.ClearAccumulator();
  statusBar()->showMessage(QStringLiteral("Accumulator cleared"), 3000);
}

void TMainForm::AddLutItems(QMenu* view) {
  view->addSeparator();
  items_[QStringLiteral("LUT")] =
      view->addAction(QStringLiteral("LUT Editor..."), this, &TMainForm::LutFormClick);
  ColourBar = view->addAction(QStringLiteral("Show Colour Bar"), this, &TMainForm::ColourBarClick);
  ColourBar->setCheckable(true);
  items_[QStringLiteral("ColourBar")] = ColourBar;
}

TLUTform* TMainForm::LutForm() const { return lut_form_.data(); }

void TMainForm::LutFormClick() {
  if (!lut_form_) {
    lut_form_ = new TLUTform(reporter_, this);
    lut_form_->setAttribute(Qt::WA_DeleteOnClose);
    connect(lut_form_, &TLUTform::CurveChanged, this, [this] { SetLut(lut_form_->Curve()); });
    // The histogram follows the frame shown, during playback too.
    connect(this, &TMainForm::FrameShown, lut_form_, [this] {
      if (lut_form_ && lut_form_->isVisible() && store_->HasFrame())
        lut_form_->SetFrame(store_->FrameBuffer(),
                            static_cast<size_t>(store_->Width()) * store_->Height(),
                            store_->MaxLevel());
    });
    lut_form_->resize(560, 420);
    PlaceToolWindow(lut_form_, this);
  }
  lut_form_->SetCurve(lut_);
  lut_form_->SetPalette(palette_);
  if (store_ && store_->HasFrame())
    lut_form_->SetFrame(store_->FrameBuffer(),
                        static_cast<size_t>(store_->Width()) * store_->Height(), store_->MaxLevel());
  lut_form_->show();
  lut_form_->raise();
  lut_form_->activateWindow();
}

void TMainForm::SetLut(const LutCurve& curve) {
  lut_ = curve;
  // "Rec with Thresh. subtr." offers the threshold the editor shows.
  lut_threshold_ = curve.threshold;
  if (lut_form_ && !(lut_form_->Curve() == curve)) lut_form_->SetCurve(curve);
  RebuildPalette();
  ShowFrame();
}

void TMainForm::ColourBarClick() { ShowColourBar(); }

void TMainForm::ShowColourBar() {
  if (!ColourBar || !ColourBar->isChecked()) {
    view_->SetColourBar({}, {}, {});
    return;
  }
  // The table from the minimum to the maximum, one colour a count (at most 256 steps).
  const std::vector<uint32_t> table = DisplayTable();
  std::vector<uint32_t> colours;
  const int32_t span = std::max(1, lut_.max - lut_.min);
  const int32_t steps = std::min(span, 255);
  for (int32_t k = 0; k <= steps; ++k)
    colours.push_back(table[static_cast<size_t>(lut_.min + static_cast<int64_t>(span) * k / steps)]);
  const auto [top, bottom] = ColourBarLabels(lut_);
  view_->SetColourBar(std::move(colours), Q(top), Q(bottom));
}

QString TMainForm::CursorPanelText() const { return cursor_panel_->text(); }

}  // namespace lumetra
