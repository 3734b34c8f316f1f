#include "record/gui/com_form.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>

#include "common/text_format.h"
#include "record/gui/com_form_texts.h"
#include "record/gui/record_busy.h"

namespace lumetra {
namespace {

QString Q(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

bool SameFile(const QString& a, const QString& b) {
  if (a.isEmpty() || b.isEmpty()) return false;
  const QFileInfo fa(a), fb(b);
  if (fa.exists() && fb.exists()) return fa.canonicalFilePath() == fb.canonicalFilePath();
  return fa.absoluteFilePath() == fb.absoluteFilePath();
}

}  // namespace

// Message boxes for the checks and file errors; the progress text of a run
// goes to ProgLab, and each one lets the window breathe.
class TComForm::Messages final : public Reporter {
 public:
  explicit Messages(TComForm& form) : form_(form) {}
  void Report(MessageKind kind, std::string_view text) override {
    if (kind == MessageKind::kModal) {
      if (form_.show_modal)
        form_.show_modal(Q(text));
      else
        QMessageBox::information(&form_, Q(kImportCaption), Q(text));
      return;
    }
    form_.ShowProgress(Q(text));
  }

 private:
  TComForm& form_;
};

TComForm::TComForm(ComFormHooks hooks, QWidget* parent)
    : QWidget(parent, Qt::Window), hooks_(std::move(hooks)), messages_(new Messages(*this)) {
  setObjectName(QStringLiteral("ComForm"));
  setWindowTitle(Q(kImportCaption));
  BuildLayout();
  TypeChanged();
}

TComForm::~TComForm() = default;

void TComForm::AddField(QLineEdit*& edit, bool (*set)(ImportSettings&, std::string_view, Reporter&),
                        std::function<QString(const ImportSettings&)> shown) {
  edit = new QLineEdit(this);
  edit->setText(shown(settings_));
  const size_t k = fields_.size();
  fields_.push_back({edit, set, std::move(shown)});
  connect(edit, &QLineEdit::editingFinished, this, [this, k] { FieldDone(k); });
}

void TComForm::BuildLayout() {
  TypeComBox = new QComboBox(this);
  for (std::string_view name : kImportTypeNames) TypeComBox->addItem(Q(name));
  auto number = [](auto v) { return QString::number(v); };
  AddField(WidthEdit, SetImportWidth, [=](const ImportSettings& s) { return number(s.width); });
  AddField(HeightEdit, SetImportHeight, [=](const ImportSettings& s) { return number(s.height); });
  AddField(TmIntEdit, SetImportInterval,
           [=](const ImportSettings& s) { return number(s.interval_ms); });
  AddField(ScaleXEdit, SetImportScaleX,
           [](const ImportSettings& s) { return Q(FormatGeneral(s.scale_x)); });
  AddField(ScaleYEdit, SetImportScaleY,
           [](const ImportSettings& s) { return Q(FormatGeneral(s.scale_y)); });
  AddField(OffsetEdit, SetImportOffset, [=](const ImportSettings& s) { return number(s.offset); });
  AddField(HeaderEdit, SetImportFrameHeader,
           [=](const ImportSettings& s) { return number(s.frame_header); });
  BytesChBox = new QCheckBox(Q(kImportTwoBytesLabel), this);
  LEorderBox = new QCheckBox(Q(kImportLittleEndianLabel), this);
  BytesChBox->setChecked(settings_.two_bytes);
  LEorderBox->setChecked(settings_.little_endian);
  GoBt = new QPushButton(Q(kImportGo), this);
  CloseBt = new QPushButton(Q(kImportClose), this);
  OpenBt = new QPushButton(Q(kImportOpenResult), this);
  OpenBt->setEnabled(false);
  GoBt->setDefault(true);
  ProgLab = new QLabel(this);
  ProgLab->setObjectName(QStringLiteral("ProgLab"));
  ProgLab->setMinimumWidth(320);
  ProgLab->setWordWrap(true);

  auto* grid = new QGridLayout;
  int row = 0;
  auto add = [&](std::string_view label, QWidget* w, std::string_view unit = {}) {
    grid->addWidget(new QLabel(Q(label), this), row, 0);
    grid->addWidget(w, row, 1);
    if (!unit.empty()) grid->addWidget(new QLabel(Q(unit), this), row, 2);
    ++row;
  };
  add(kImportFromLabel, TypeComBox);
  add(kImportWidthLabel, WidthEdit, kImportPixelsUnit);
  add(kImportHeightLabel, HeightEdit, kImportPixelsUnit);
  add(kImportIntervalLabel, TmIntEdit, kImportIntervalUnit);
  add(kImportScaleXLabel, ScaleXEdit, kImportScaleUnit);
  add(kImportScaleYLabel, ScaleYEdit, kImportScaleUnit);
  grid->addWidget(BytesChBox, row++, 1, 1, 2);
  grid->addWidget(LEorderBox, row++, 1, 1, 2);
  add(kImportOffsetLabel, OffsetEdit, kImportBytesUnit);
  add(kImportHeaderLabel, HeaderEdit, kImportBytesUnit);
  grid->setColumnStretch(1, 1);

  auto* buttons = new QHBoxLayout;
  buttons->addWidget(GoBt);
  buttons->addWidget(OpenBt);
  buttons->addStretch(1);
  buttons->addWidget(CloseBt);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(grid);
  layout->addWidget(ProgLab);
  layout->addLayout(buttons);

  connect(TypeComBox, &QComboBox::currentIndexChanged, this, &TComForm::TypeChanged);
  connect(BytesChBox, &QCheckBox::toggled, this, &TComForm::TypeChanged);
  connect(GoBt, &QPushButton::clicked, this, &TComForm::GoBtClick);
  connect(CloseBt, &QPushButton::clicked, this, &TComForm::CloseBtClick);
  connect(OpenBt, &QPushButton::clicked, this, &TComForm::OpenBtClick);
}

QString TComForm::ProgressText() const {
  return ProgLab->text();
}

void TComForm::FieldDone(size_t k) {
  // A message box takes the focus: the field's second focus loss is not a new edit.
  if (checking_) return;
  checking_ = true;
  CollectingReporter said;
  const Field& f = fields_[k];
  if (!f.set(settings_, f.edit->text().toStdString(), said)) f.edit->setText(f.shown(settings_));
  for (const Message& m : said.messages()) messages_->Report(m.kind, m.text);
  checking_ = false;
}

bool TComForm::ApplyAllFields() {
  for (const Field& f : fields_)
    if (!f.set(settings_, f.edit->text().toStdString(), *messages_)) {
      f.edit->setText(f.shown(settings_));
      f.edit->setFocus();
      return false;
    }
  return true;
}

// Bitmaps carry their own pixel format; byte order and skips belong to raw data.
void TComForm::TypeChanged() {
  const bool raw = TypeComBox->currentIndex() != static_cast<int>(ImportType::kBmpSequence);
  BytesChBox->setEnabled(raw);
  LEorderBox->setEnabled(raw && BytesChBox->isChecked());
  OffsetEdit->setEnabled(raw);
  HeaderEdit->setEnabled(raw);
}

void TComForm::SetRunning(bool running) {
  for (QWidget* w : std::initializer_list<QWidget*>{TypeComBox, GoBt, CloseBt, OpenBt})
    w->setEnabled(!running);
  for (const Field& f : fields_) f.edit->setEnabled(!running);
  BytesChBox->setEnabled(!running);
  LEorderBox->setEnabled(!running);
  if (!running) TypeChanged();
}

void TComForm::ShowProgress(const QString& text) {
  ProgLab->setText(text);
  if (busy_) busy_->Tick();
}

void TComForm::GoBtClick() {
  if (Running() || !ApplyAllFields()) return;
  if (hooks_.clear_region) hooks_.clear_region();
  const auto type = static_cast<ImportType>(TypeComBox->currentIndex());
  const bool bmp = type == ImportType::kBmpSequence;
  const std::string_view title = type == ImportType::kRawFile       ? kImportOpenRawTitle
                                 : type == ImportType::kRawSequence ? kImportOpenRawSeqTitle
                                                                    : kImportOpenBmpSeqTitle;
  const QString source =
      hooks_.ask_open_file(Q(title), Q(bmp ? kImportBmpFilter : kImportRawFilter));
  if (source.isEmpty()) return;
  source_ = source;
  const QString out =
      hooks_.ask_save_file(Q(kImportSaveTitle), Q(kImportSaveFilter), QStringLiteral("xkv"));
  if (out.isEmpty()) return;
  if (hooks_.open_record && SameFile(out, hooks_.open_record())) {
    messages_->Modal(kImportOutputIsOpenRecord);
    return;
  }

  ImportRun run;
  run.type = type;
  run.settings = settings_;
  run.settings.two_bytes = BytesChBox->isChecked();
  run.settings.little_endian = LEorderBox->isChecked();
  if (hooks_.header_template) run.header_template = hooks_.header_template();
  run.save_2bytes = hooks_.save_2bytes && hooks_.save_2bytes();
  run.stop = &stop_;
  ProgLab->setText(Q(kImportEscHint));
  ImportResult r;
  {
    SetRunning(true);
    RecordBusy busy(stop_);
    busy_ = &busy;
    r = RunImport(run, source.toStdString(), out.toStdString(), *messages_);
    busy_ = nullptr;
    SetRunning(false);
  }
  if (!r.ok) return;
  QString text = QString::number(r.frames_written) + Q(kFramesWrittenSuffix);
  if (r.source_short_at > 0) text += Q(kImportSourceEnded).arg(r.source_short_at);
  if (r.stopped) text += Q(kImportStopped);
  ProgLab->setText(text);
  if (r.frames_written > 0) {
    last_output_ = out;
    OpenBt->setEnabled(static_cast<bool>(hooks_.open_in_main));
  }
}

void TComForm::CloseBtClick() {
  close();
}

void TComForm::OpenBtClick() {
  if (!last_output_.isEmpty() && hooks_.open_in_main) hooks_.open_in_main(last_output_);
}

void TComForm::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Escape) {
    stop_ = true;
    return;
  }
  QWidget::keyPressEvent(event);
}

}  // namespace lumetra
