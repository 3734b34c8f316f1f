// The import window "Lumetra - Import Data" (TComForm): the layout of the raw
// data typed into its fields, each checked when it loses focus; GO converts
// one raw file, a sequence of raw files or a sequence of bitmaps into an XKV
// record, and the result can then be opened in the main window.
#pragma once

#include <QString>
#include <QWidget>
#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include "common/report.h"
#include "record/raw_import.h"
#include "record/xkv_format.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace lumetra {

class RecordBusy;

// What the import window takes from the main window.
struct ComFormHooks {
  // The main window's save dialog (title, filter, default suffix); empty when cancelled.
  std::function<QString(const QString&, const QString&, const QString&)> ask_save_file;
  // The open dialog for the source (title, filter); empty when cancelled.
  std::function<QString(const QString&, const QString&)> ask_open_file;
  // The main window's current header: fields the import leaves alone (Gain,
  // Binning, ...) come from it.
  std::function<PRM_INFO()> header_template;
  // "Save XKV 2bytes/pix" of the main window.
  std::function<bool()> save_2bytes;
  // Makes the main window's rectangle inactive, so whole frames are written.
  std::function<void()> clear_region;
  // The record open in the main window (never overwritten); empty when none.
  std::function<QString()> open_record;
  // Opens a written record in the main window.
  std::function<void(const QString&)> open_in_main;
};

class TComForm : public QWidget {
  Q_OBJECT

 public:
  explicit TComForm(ComFormHooks hooks, QWidget* parent = nullptr);
  ~TComForm() override;

  const ImportSettings& Settings() const { return settings_; }
  // The path of the last record written (empty before the first).
  const QString& LastOutput() const { return last_output_; }
  // The source chosen for the run under way or the last one (empty before the first).
  const QString& Source() const { return source_; }
  QString ProgressText() const;
  bool Running() const { return busy_ != nullptr; }

  // Message boxes go here when set (tests).
  std::function<void(const QString&)> show_modal;

  // Controls by their names, for tests and screenshots.
  QComboBox* TypeComBox = nullptr;
  QLineEdit* WidthEdit = nullptr;
  QLineEdit* HeightEdit = nullptr;
  QLineEdit* TmIntEdit = nullptr;
  QLineEdit* ScaleXEdit = nullptr;
  QLineEdit* ScaleYEdit = nullptr;
  QCheckBox* BytesChBox = nullptr;
  QCheckBox* LEorderBox = nullptr;
  QLineEdit* OffsetEdit = nullptr;
  QLineEdit* HeaderEdit = nullptr;
  QPushButton* GoBt = nullptr;
  QPushButton* CloseBt = nullptr;
  QPushButton* OpenBt = nullptr;

 public slots:
  void GoBtClick();
  void CloseBtClick();
  void OpenBtClick();

 protected:
  void keyPressEvent(QKeyEvent* event) override;

 private:
  class Messages;
  struct Field {
    QLineEdit* edit;
    bool (*set)(ImportSettings&, std::string_view, Reporter&);
    std::function<QString(const ImportSettings&)> shown;
  };

  void BuildLayout();
  void AddField(QLineEdit*& edit, bool (*set)(ImportSettings&, std::string_view, Reporter&),
                std::function<QString(const ImportSettings&)> shown);
  // The check of field k when it loses focus: a refused text is reported and
  // the field shows the previous value again.
  void FieldDone(size_t k);
  bool ApplyAllFields();
  void TypeChanged();
  void SetRunning(bool running);
  void ShowProgress(const QString& text);

  ComFormHooks hooks_;
  ImportSettings settings_;
  std::vector<Field> fields_;
  std::unique_ptr<Messages> messages_;
  std::atomic<bool> stop_{false};
  RecordBusy* busy_ = nullptr;
  bool checking_ = false;
  QLabel* ProgLab = nullptr;
  QString last_output_;
  QString source_;
};

}  // namespace lumetra
