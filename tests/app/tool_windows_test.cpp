// The main window opens the tracking window on its record, hands it the
// spot-window keys while it is open, and closes it before another record opens.
#include <gtest/gtest.h>

#include <fstream>

#include "app/main_form.h"
#include "spots/gui/spot_form.h"
#include "spots/gui/spot_view.h"
#include "tests/app/app_fixture.h"

namespace lumetra {
namespace {

QString windowTitle(const TMainForm& form) {
  return form.windowTitle();
}

TEST(ToolWindows, TrackingWindowFollowsTheMainWindowsRecord) {
  testing::App();
  TMainForm form;
  QStringList modals;
  form.Messages().show_modal = [&](const QString& t) { modals << t; };
  form.SpotingClick();
  EXPECT_EQ(form.SpotForm(), nullptr) << "no record, no tracking window";

  ASSERT_TRUE(form.OpenRecord(QString::fromStdString(testing::SimulatedRecord("spots.xkv", 12))));
  form.SpotingClick();
  TSpotForm* spots = form.SpotForm();
  ASSERT_NE(spots, nullptr);
  spots->Messages().show_modal = [&](const QString& t) { modals << t; };
  spots->DetectClick();
  spots->FinishPlayback();
  EXPECT_GT(spots->Tracks().track_count, 0);
  // F8 (current spots) and F7 (refresh) reach the open window without a fault.
  form.FormKeyDown(Qt::Key_F8, Qt::NoModifier);
  form.FormKeyDown(Qt::Key_F7, Qt::NoModifier);
  form.SpotingClick();
  EXPECT_EQ(form.SpotForm(), spots) << "a second click shows the same window";

  // Another record with the tracks unsaved: Cancel keeps the record, the
  // window and its tracks; Discard opens the other and closes the window.
  const QString first = windowTitle(form);
  const int32_t tracks = spots->Tracks().completed_count;
  ASSERT_GT(tracks, 0);
  int asked = 0;
  TSpotForm::UnsavedAnswer answer = TSpotForm::UnsavedAnswer::kCancel;
  spots->AskUnsavedTracks = [&] {
    ++asked;
    return answer;
  };
  const QString other = QString::fromStdString(testing::SimulatedRecord("spots2.xkv"));
  EXPECT_FALSE(form.OpenRecord(other));
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(form.SpotForm(), spots);
  EXPECT_EQ(windowTitle(form), first);
  EXPECT_EQ(spots->Tracks().completed_count, tracks);
  answer = TSpotForm::UnsavedAnswer::kDiscard;
  ASSERT_TRUE(form.OpenRecord(other));
  EXPECT_EQ(asked, 2);
  EXPECT_EQ(form.SpotForm(), nullptr);
  form.FormKeyDown(Qt::Key_F5, Qt::NoModifier);  // no window: nothing happens
  EXPECT_TRUE(modals.isEmpty()) << modals.join("; ").toStdString();
}

// The tracking window follows the main window: its frame, its FWHM and the
// tracking settings of a settings file; Esc there stops a pass here.
TEST(ToolWindows, TrackingWindowFollowsFrameAndSettings) {
  testing::App();
  TMainForm form;
  QStringList modals;
  form.Messages().show_modal = [&](const QString& t) { modals << t; };
  ASSERT_TRUE(form.OpenRecord(QString::fromStdString(testing::SimulatedRecord("follow.xkv", 20))));
  form.SpotingClick();
  TSpotForm* spots = form.SpotForm();
  ASSERT_NE(spots, nullptr);
  auto* view = spots->findChild<SpotView*>();
  ASSERT_NE(view, nullptr);
  spots->CurrentSpotsClick();
  form.FrameTrackBarChange(7);
  EXPECT_EQ(view->FrameShown(), 7);
  EXPECT_EQ(view->SpotsFrame(), 7);

  form.AskText = [](const QString&, const QString&, const QString&) -> std::optional<QString> {
    return QStringLiteral("300");
  };
  form.SetFWHMClick();
  EXPECT_EQ(spots->Params().fwhm_nm, 300);
  EXPECT_EQ(spots->Captions().settings, "Settings(R5,FWHM300)");
  EXPECT_EQ(spots->Captions().max_radius, "Max.Radius=5pix");

  const std::string ini = testing::TempPath("follow.ini");
  std::ofstream(ini) << "MaxTrackingJump 7\nMinTrackLength 12\n";
  form.AskOpenFile = [&](const QString&, const QString&) { return QString::fromStdString(ini); };
  form.ReadSettingsFileClick();
  EXPECT_EQ(spots->Params().max_radius, 7);
  EXPECT_EQ(spots->Params().min_track, 12);
  EXPECT_EQ(spots->Captions().max_radius, "Max.(R)adius=7 pix");
  EXPECT_EQ(spots->Captions().min_track, "Track(L)en>=12 steps");
  EXPECT_EQ(spots->Captions().sens_thr, "Q-thresh=8");

  // Esc in the main window stops Detect; the main window then shows where it stopped.
  spots->DetectClick();
  ASSERT_TRUE(spots->Playing());
  form.FormKeyDown(Qt::Key_Escape, Qt::NoModifier);
  spots->FinishPlayback();
  EXPECT_TRUE(spots->ProgressText().startsWith("stopped at frame "));
  EXPECT_EQ(form.FramePanelText(), QStringLiteral("Frame=%1").arg(form.Store()->CurrentFrame()));

  // Closing the program with unsaved tracks asks too; Cancel keeps it open.
  spots->DetectClick();
  spots->FinishPlayback();
  ASSERT_TRUE(spots->HasUnsavedTracks());
  int asked = 0;
  spots->AskUnsavedTracks = [&] {
    ++asked;
    return TSpotForm::UnsavedAnswer::kCancel;
  };
  form.show();
  EXPECT_FALSE(form.close());
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(form.SpotForm(), spots);
  spots->AskUnsavedTracks = [] { return TSpotForm::UnsavedAnswer::kDiscard; };
  EXPECT_TRUE(form.close());
  EXPECT_EQ(form.SpotForm(), nullptr);
  EXPECT_TRUE(modals.isEmpty()) << modals.join("; ").toStdString();
}

}  // namespace
}  // namespace lumetra
