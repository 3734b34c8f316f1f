// The main window: owns the open record and everything the tool windows read
// (record store, current frame and header, palette, region, profile line,
// settings), the menu handlers that drive them, playback and the keys.
// Handlers are thin: they ask for input, call the core and show its messages.
#pragma once

#include <QImage>
#include <QMainWindow>
#include <QPointer>
#include <QTimer>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "app/qt_reporter.h"
#include "batch/batch_session.h"
#include "common/region.h"
#include "display/frame_painter.h"
#include "display/key_commands.h"
#include "display/lut_curve.h"
#include "display/palette.h"
#include "processing/filter_set.h"
#include "processing/ghost.h"
#include "processing/mask.h"
#include "processing/temporal_median.h"
#include "processing/thin_out_export.h"
#include "record/playback.h"
#include "record/record_store.h"
#include "settings/settings_model.h"
#include "spots/gui/spot_form.h"
#include "spots/track_series.h"
#include "spots/track_store.h"

class QLabel;
class QSlider;
class QAction;
class QActionGroup;
class QMenu;

namespace lumetra {

class ImageView;
class TComForm;
struct TransformRequest;
class TSpotForm;
class TDetectForm;
class TAreaForm;
class TTrackForm;
class TDDDform;
class TProfForm;
struct ExportJob;
struct ExportResult;
class TLUTform;

class TMainForm : public QMainWindow {
  Q_OBJECT

 public:
  explicit TMainForm(QWidget* parent = nullptr);
  ~TMainForm() override;

  // Opens a record without a dialog (start-up argument, drops, recent files, tests).
  bool OpenRecord(const QString& path);

  RecordStore* Store() { return store_.get(); }
  QtReporter& Messages() { return reporter_; }
  const SettingsModel& SettingsState() const { return settings_; }
  // For the tool windows whose own setters keep their keys in the same model
  // (tracking and step settings); call SettingsWereChanged() afterwards.
  SettingsModel& SettingsState() { return settings_; }
  void SettingsWereChanged() { emit SettingsChanged(); }
  const Settings& CurrentSettings() const { return settings_.values(); }
  // The current frame through the palette at zoom 1, as last shown (painted
  // when asked for, into the same image while the frame size stays).
  const QImage& FrameImage() const;
  const std::vector<uint32_t>& Palette() const { return palette_; }
  int32_t PaletteType() const { return palette_type_; }
  const Region& UserRegion() const { return region_; }
  const ProfileLine& Line() const { return line_; }
  ImageView* View() { return view_; }
  QString FramePanelText() const;
  QString TimePanelText() const;
  QString RegionPanelText() const;
  QStringList RecentFiles() const;
  bool Playing() const { return playback_ != nullptr; }
  // Milliseconds between frames of the playback under way (0: as fast as frames are read).
  int PlayInterval() const { return play_timer_.interval(); }
  // The flag Esc sets; playback and batch loops poll it.
  const std::atomic<bool>& StopFlag() const { return stop_; }
  // A menu item by its control name ("SetFWHM", "RYWpal", "SaveAs"), for captions and tests.
  QAction* MenuItem(const QString& name) const;
  // The single-particle tracking window while it is open, else null.
  TSpotForm* SpotForm() const;
  // True while a playback of this window or of a tool window reads the record.
  bool RecordStreaming() const;
  // The step-detection window while it is open, else null.
  TDetectForm* DetectForm() const;
  // The region time-course window while it is open, else null.
  TAreaForm* AreaForm() const;
  // The profile and kymograph window while it is open, else null.
  TProfForm* ProfForm() const;
  bool LineShown() const { return line_shown_; }

  // Analyses that see every frame of the next playback (not owned).
  void SetPlaybackConsumers(std::vector<FrameConsumer*> consumers) {
    consumers_ = std::move(consumers);
  }
  void SetRegion(const Region& region);
  void SetLine(const ProfileLine& line);

  // Every input box and file dialog of the window goes through these, so tests
  // can script them. Cancel gives nothing / an empty path.
  std::function<std::optional<QString>(const QString& title, const QString& prompt,
                                       const QString& text)>
      AskText;
  std::function<QString(const QString& title, const QString& filter)> AskOpenFile;
  std::function<QString(const QString& title, const QString& filter, const QString& suffix)>
      AskSaveFile;
  // The name the next save dialog offers (set around each AskSaveFile call;
  // empty when the dialog has none to offer).
  const QString& SaveDialogName() const { return save_name_; }
  // The open dialog with multiple selection ("Fuse Records"); empty when cancelled.
  std::function<QStringList(const QString& title, const QString& filter)> AskOpenFiles;

  // The temporal filter in the record's processing chain.
  TemporalMedian& Median() { return median_; }
  // The other per-frame filters of the chain (TempFilt and Filters menus).
  FrameFilterSet& Filters() { return filters_; }
  // The LUT editor's curve, applied to the palette for the screen and the BMP exports.
  const LutCurve& Lut() const { return lut_; }
  void SetLut(const LutCurve& curve);
  // The palette through the curve: one colour for each of the 65536 counts.
  std::vector<uint32_t> DisplayTable() const { return ApplyLut(palette_, lut_); }
  // The LUT editor while it is open, else null.
  TLUTform* LutForm() const;
  // "x=12 y=34 (1200, 3400 nm) cnt=567" under the cursor, empty off the frame.
  QString CursorPanelText() const;
  // The threshold that "Rec with Thresh. subtr." offers (counts); the LUT editor sets it.
  int32_t LutThreshold() const { return lut_threshold_; }
  void SetLutThreshold(int32_t counts) { lut_threshold_ = counts; }
  // The import window, made when first asked for.
  TComForm* ComForm();

  // Batch runs (main_form_batch.cpp). The runs behind the batch menu's
  // dialogs, with the records given: each record is opened here and run
  // through the tool window's own handlers, its messages collected; one box
  // at the end. Esc stops the run; the outputs written so far stay.
  void RunSptBatch(const QStringList& files);
  void RunStepBatch(BatchKind kind, const QStringList& files);
  // The unattended tracking of the open record with the stored settings
  // (start-up option): writes the XKI file under its batch name and closes
  // the tool windows. True when the file was written.
  bool AutoTrack();
  bool BatchRunning() const { return batch_ != nullptr; }
  // Set while one record of a batch run is processed.
  bool BatchFlag() const { return batch_flag_; }
  // The rows and the end box of the last batch run.
  const std::vector<RecordResult>& LastBatchResults() const { return last_batch_results_; }
  const BatchEndBox& LastBatchEnd() const { return last_batch_end_; }
  // "file 2 of 3: cell2.xkv   frame 17 of 60 (Esc stops)" while a batch runs.
  QString BatchPanelText() const;

 signals:
  // A frame was read and shown (also every frame of a playback).
  void FrameShown();
  void PlaybackFinished(bool completed);
  // A setting changed (a Settings menu command or the settings file).
  void SettingsChanged();
  // The region moved, changed size, or was drawn or cleared (the region window follows it).
  void RegionChanged();
  // Keys meant for the single-particle window and the region window.
  void SpotWindowCommandRequested(lumetra::SpotWindowCommand command);
  void BeadViewsRequested(int bead_index);
  // A batch run begins record `index` (0-based) of the run.
  void BatchRecordStarted(int index);

 public slots:
  void OpenClick();
  void SaveAsClick();
  void NextFrClick();
  void PrevFrClick();
  void FirstFrameClick();
  void FrameTrackBarChange(int position);
  void UsePartOfRecordClick();
  void SelectFirstFrameClick();
  void SelectLastFrameClick();
  void PlayClick();
  void StopClick();
  void ZoomInClick();
  void ZoomOutClick();
  void ZoomOneClick();
  void RYWpalClick();
  void BGYRpalClick();
  void GreyPalClick();
  void GreenPalClick();
  void RedPalClick();
  void SetFWHMClick();
  void SetStepClick();
  void SetVelocityStepClick();
  void RunningBufferSizeSetClick();
  void ProfileWidthClick();
  void SetScaleBarSizeClick();
  void SetPrintZoomClick();
  void SetLocalBackgrClick();
  void SetSharpStrengthClick();
  void Shift68Click();
  void SetTiffNmPerPixelClick();
  void SetTiffFrameMsClick();
  void ReadSettingsFileClick();
  void SaveSettingsClick();
  // Processing: the temporal filter, "Save Record As", "Fuse Records", import.
  void By3framesClick();
  void By5framesClick();
  void By7framesClick();
  void N2frClick();
  void N5frClick();
  void N10frClick();
  void N20frClick();
  void N50framesClick();
  void N100framesClick();
  void N150framesClick();
  void N200framesClick();
  void SaveSeqMed5Click();
  void SavePartOfSeqClick();
  void bin2X2Click();
  void bin3X3Click();
  void bin5X5Click();
  void Rev3x3binClick();
  void SaveSeqThreshClick();
  void RecInverseIntensClick();
  void ThinOutRecClick();
  void SaveAsRAWClick();
  void SaveAsRAWseqClick();
  void SaveAsBMPSeqClick();
  void SeqOnPageClick();
  void SaveProfileFileClick();
  void SaveAsTiffClick();
  void SaveAsOmeTiffClick();
  void FuseRecordsClick();
  void AddBlankFrameClick();
  void ImportDataClick();
  // The LUT editor, the colour bar and the accumulator (main_form_view.cpp).
  void LutFormClick();
  void ColourBarClick();
  void ClearAccumClick();
  // Opens the automatic single-particle tracking window on the open record.
  void SpotingClick();
  // Bead tracks: read from an XKI file, one shown at a time; while ShowBeads
  // is checked Page Up and Page Down step through them.
  void LoadBeadTracksClick();
  void ShowBeadsClick();
  int32_t BeadIndex() const { return bead_index_; }
  int32_t BeadCount() const { return bead_count_; }
  // Opens the step-detection window (SFDA) on the open record.
  void DetectingClick();
  // Opens the region time-course window on the open record.
  void AreaClick();
  // Manual object tracking and the 3D surface view (main_form_manual.cpp).
  void ManualTrackingClick();
  void SurfaceViewClick();
  TTrackForm* TrackForm() const;
  TDDDform* DDDform() const;
  // Profiles and kymographs, two-colour records, registration and drift
  // correction (main_form_twocolour.cpp).
  void ProfilesClick();
  void SplitTwoColourClick();
  void RegisterChannelClick();
  void DriftTableRecClick();
  void DriftXcorrRecClick();
  // Masks in the chain's first slot and the ghost frame over the image.
  void LoadMaskClick();
  void MaskModeClick();
  void ClearMaskClick();
  void KeepGhostClick();
  void LoadGhostClick();
  void ClearGhostClick();
  const MaskStep& Mask() const { return mask_step_; }
  bool GhostShown() const;
  // The Batch Analysis menu: tracking, and the S-, P- and MS-test over a
  // group of records chosen in one dialog.
  void DoSPTinFilesClick();
  void BatchStestClick();
  void BatchPtestClick();
  void MStestClick();
  // The key handler of the window and its track bar; Qt key codes. True when
  // the key was one of the window's own (arrows, keypad plus and minus, Esc...).
  bool FormKeyDown(int qt_key, Qt::KeyboardModifiers modifiers);
  // Fires once after start-up: reads "Lumetra.ini" silently when present.
  void OpenTimerTimer();

 protected:
  void closeEvent(QCloseEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void BuildLayout();
  void InstallDialogs();
  void BuildMenus();
  void BuildFileMenu();
  void BuildPlayMenu();
  void BuildViewMenu();
  void BuildPaletteMenu();
  void BuildSettingsMenu();
  void BuildSaveRecordMenu(QMenu* file);
  void BuildTempFiltMenu();
  void AddProcessingSettings(QMenu* settings);
  void RebuildTempFilt();
  // The filter items of the TempFilt menu and the Filters menu.
  void AddFilterItems();
  void AddLutItems(QMenu* view);
  // The ticks of the filter items as a choice with the settings' lengths,
  // and back (a filter whose buffers failed has unticked itself).
  FilterChoice MenuFilterChoice() const;
  void ShowFilterChoice();
  void ShowColourBar();
  void SaveRecordAs(const TransformRequest& request);
  bool BmpRectVisible(bool page);
  void BuildToolsMenu();
  void AddManualTools(QMenu* tools);
  void CloseManualWindows();
  // The manual tracking window's unsaved objects may go (asks the user).
  bool MayDropManualObjects();
  void BuildBatchMenu();
  void AddProfilesItem(QMenu* tools);
  void BuildTwoColourMenu(QMenu* file, QMenu* save);
  void ShowGhost(GhostFrame ghost);
  void RereadShownFrame();
  // Streams `store` (the open record or another channel) through `run` with
  // the hourglass, progress and Esc; afterwards the frame shown is read again.
  ExportResult StreamRecordJob(RecordStore& store,
                               const std::function<ExportResult(ExportJob&)>& run);
  void SaveDriftCorrected(const std::vector<double>& dx, const std::vector<double>& dy);
  // One record of a batch run: opened here (unless it is open already), run
  // through the window's handlers, its row added to batch_.
  // Opens (unless `open` is false: the record is open already) the record of
  // a batch run; false after its row says why it has no output.
  bool OpenBatchRecord(const QString& path, const std::string& planned, bool open);
  void RunSptRecord(const QString& path, const TSpotForm::BatchSetup& setup, bool open);
  void RunStepRecord(const QString& path);
  bool BatchStopRequested() const { return batch_stop_; }
  // Starts and ends a run: messages go to the record's log, menus and keys
  // are held, the status bar shows the progress.
  void BeginBatch(const BatchOptions& options, const QStringList& files);
  void EndBatch(bool show_box);
  // Lets events through (frames, Esc, the progress line) while `busy` holds.
  void WaitWhile(const std::function<bool()>& busy);
  void ShowBatchProgress();
  void BuildBeadMenu(QMenu* menu);
  // Draws the chosen bead track over the image (or nothing while ShowBeads is
  // off); `announce` names it in the status bar.
  void ShowBeadTrack(bool announce = false);
  // Bead `index` as a track in um, for the region window's XY view.
  TrackSeries BeadSeries(int index) const;
  // Closes the tool windows that work on the open record (before another opens).
  void CloseRecordWindows();
  void ShowFrame();
  void RefreshMenus();
  void RebuildPalette();
  void ChoosePalette(int32_t type);
  void RunSettingCommand(SettingCommand command);
  void RefreshSettingCaptions();
  void ApplyZoom(int32_t zoom);
  void PlayTick();
  void EndPlayback();
  // A tool window's pass rides on this window's playback: these consumers
  // for one playback (false when one is under way or it could not start).
  bool PlayWithConsumers(std::vector<FrameConsumer*> consumers);
  // Esc from a tool window: at the next frame, or at once (`now`, when the
  // window goes away with its consumers).
  void StopPlayback(bool now);
  void UpdateRegionReadout();
  void ShowCursorReadout(int x, int y);
  void AddRecentFile(const QString& path);
  void ForgetRecentFile(const QString& path);
  // AskSaveFile offering `name`; the window the user works in stays in front.
  QString AskSaveFileNamed(const QString& title, const QString& filter, const QString& suffix,
                           const QString& name);
  // Dialogs belong to the window the user works in (the import window, say).
  QWidget* DialogParent();
  void RebuildRecentMenu();

  std::unique_ptr<RecordStore> store_;
  QtReporter reporter_;
  SettingsModel settings_;
  std::vector<uint32_t> palette_;
  int32_t palette_type_ = kPaletteRYW;
  FramePainter painter_;
  mutable QImage image_;
  mutable bool image_stale_ = true;
  QString last_folder_;              // where the open dialog starts: the folder of the last record
  QString save_name_;                // offered by the save dialog shown next
  QWidget* dialog_owner_ = nullptr;  // the tool window whose dialog is shown, if any
  Region region_;
  ProfileLine line_;
  bool line_shown_ = false;
  std::atomic<bool> stop_{false};
  std::unique_ptr<Playback> playback_;
  std::vector<FrameConsumer*> consumers_;
  QTimer play_timer_;
  QTimer OpenTimer;
  // Keys of windows that are not open yet: the single-particle window and bead tracks.
  bool spot_window_open_ = false;
  QPointer<TSpotForm> spot_form_;
  QAction* ShowBeads = nullptr;
  std::unique_ptr<TrackStore> beads_;  // bead tracks read from an XKI file
  QPointer<TDetectForm> detect_form_;
  QPointer<TAreaForm> area_form_;
  QPointer<TTrackForm> track_form_;
  QPointer<TDDDform> ddd_form_;
  QPointer<TProfForm> prof_form_;
  MaskStep mask_step_;
  int32_t bead_index_ = 0;
  int32_t bead_count_ = 0;

  ImageView* view_ = nullptr;
  QSlider* FrameTrackBar = nullptr;
  QLabel* frame_panel_ = nullptr;
  QLabel* time_panel_ = nullptr;
  QLabel* region_panel_ = nullptr;
  QLabel* cursor_panel_ = nullptr;
  QMenu* view_menu_ = nullptr;
  QMenu* recent_menu_ = nullptr;
  QMenu* SelectPartOfRec = nullptr;
  QAction* UsePartOfRecord = nullptr;
  QAction* SaveXKV_2bytes = nullptr;
  QActionGroup* palette_group_ = nullptr;
  std::map<QString, QAction*> items_;  // menu items by control name
  std::vector<QAction*> need_frame_;   // items usable only once a frame is shown
  bool moving_track_bar_ = false;
  TemporalMedian median_{reporter_};
  FrameFilterSet filters_{reporter_};
  QMenu* filters_menu_ = nullptr;
  LutCurve lut_;
  QPointer<TLUTform> lut_form_;
  QAction* ColourBar = nullptr;
  ThinOutMemory thin_out_;  // for the program's run, not saved in the settings file
  int32_t lut_threshold_ = 0;
  QMenu* TempFilt = nullptr;
  QAction* AddBlankFrame = nullptr;
  TComForm* com_form_ = nullptr;
  std::unique_ptr<BatchSession> batch_;
  bool batch_flag_ = false;
  bool batch_stop_ = false;
  bool close_after_batch_ = false;
  // The step window's settings when the run began; each record's window starts from them.
  std::optional<StepSettings> batch_steps_;
  QLabel* batch_panel_ = nullptr;
  QObject* batch_keys_ = nullptr;  // holds the keys back while a run is on
  std::vector<RecordResult> last_batch_results_;
  BatchEndBox last_batch_end_;
};

}  // namespace lumetra
