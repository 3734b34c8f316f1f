// The main window opens the tracking window on its record, hands it the
// spot-window keys while it is open, and closes it before another record opens.
#include <gtest/gtest.h>

#include <QAction>
#include <QElapsedTimer>
#include <fstream>

#include "app/image_view.h"
#include "app/main_form.h"
#include "spots/gui/spot_form.h"
#include "spots/gui/spot_view.h"
#include "steps/gui/detect_form.h"
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

void RunUntil(const std::function<bool()>& done) {
  QElapsedTimer t;
  t.start();
  while (!done() && t.elapsed() < 5000) QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

// Detect plays through the main window's playback and leaves the drop image
// there; a track's spot sent from the tracking window gets its trace and scores.
TEST(ToolWindows, StepWindowPlaysThroughTheMainWindowAndTakesATracksSpot) {
  testing::App();
  TMainForm form;
  QStringList modals;
  form.Messages().show_modal = [&](const QString& t) { modals << t; };
  SimulationParams p;
  p.width = p.height = 48;
  p.frames = 60;
  p.spots = 4;
  p.diffusion = 0;
  p.bleach_prob = 0.02;
  p.seed = 3;
  const std::string path = testing::TempPath("steps_window.xkv");
  NullReporter quiet;
  ASSERT_TRUE(SimulateRecord(p, path, quiet));
  ASSERT_TRUE(form.OpenRecord(QString::fromStdString(path)));
  form.DetectingClick();
  TDetectForm* steps = form.DetectForm();
  ASSERT_NE(steps, nullptr);
  steps->Messages().show_modal = [&](const QString& t) { modals << t; };
  EXPECT_TRUE(steps->StatusText().endsWith("Mb allocated - Click 'Detect'"));

  // Esc in the main window stops Detect, and the window says so.
  steps->StartTrClick();
  EXPECT_TRUE(form.Playing()) << "the main window plays the record";
  form.FormKeyDown(Qt::Key_Escape, Qt::NoModifier);
  RunUntil([&] { return !form.Playing(); });
  EXPECT_TRUE(steps->ProgressText().startsWith("Detect stopped at frame "))
      << steps->ProgressText().toStdString();
  EXPECT_TRUE(steps->Item(QStringLiteral("StartTr"))->isEnabled());

  steps->StartTrClick();
  RunUntil([&] { return !form.Playing(); });
  EXPECT_EQ(steps->ShowTestsText(), "Drops");
  EXPECT_EQ(steps->ProgressText(), "Detect finished: 60 frames");
  const StepMaps& maps = steps->Analysis().Maps();
  EXPECT_EQ(form.Store()->FrameBuffer()[maps.Index(20, 20)],
            static_cast<uint16_t>(maps.DropMap[maps.Index(20, 20)]));

  // A completed track of the tracking window, sent by its number.
  form.SpotingClick();
  TSpotForm* spots = form.SpotForm();
  ASSERT_NE(spots, nullptr);
  spots->Messages().show_modal = [&](const QString& t) { modals << t; };
  spots->DetectClick();
  spots->FinishPlayback();
  int32_t track = -1;
  for (int32_t t = 0; t < spots->Tracks().track_count && track < 0; ++t)
    if (spots->Tracks().Slot(t).completed) track = t;
  ASSERT_GE(track, 0);
  QStringList answers = {"0", QString::number(track + 1)};
  spots->AskText = [&](const QString&, const QString&, const QString&) -> std::optional<QString> {
    return answers.takeFirst();
  };
  spots->SendTrackToStepsClick();
  EXPECT_EQ(modals, QStringList{"No completed track of that number"});
  modals.clear();
  spots->SendTrackToStepsClick();
  RunUntil([&] { return !form.Playing() && !steps->Playing(); });
  const TrackRec& rec = spots->Tracks().Slot(track);
  const int32_t current = steps->CurrentObject();
  ASSERT_GE(current, 0);
  EXPECT_EQ(steps->Analysis().Traces().objects[static_cast<size_t>(current)].x, rec.X);
  EXPECT_EQ(steps->Analysis().Traces().objects[static_cast<size_t>(current)].y, rec.Y);
  EXPECT_TRUE(steps->ReadoutText().contains("Stest="));
  EXPECT_EQ(form.View()->Cross(), QPoint(rec.X, rec.Y)) << "the spot is marked in the main window";

  // A click on the image beside an object: its trace, and the record at its drop.
  const StepObject first = steps->Analysis().Traces().objects[0];
  emit form.View()->Clicked(first.x + 1, first.y - 1);
  EXPECT_EQ(steps->CurrentObject(), 0);
  EXPECT_EQ(form.Store()->CurrentFrame(), first.drop_frame);
  EXPECT_EQ(form.View()->Cross(), QPoint(first.x, first.y));
  form.StopClick();

  // Another record closes the window (its results offered for saving first).
  steps->AskYesNo = [](const QString&, const QString&) { return false; };
  if (form.SpotForm())
    form.SpotForm()->AskUnsavedTracks = [] { return TSpotForm::UnsavedAnswer::kDiscard; };
  ASSERT_TRUE(form.OpenRecord(QString::fromStdString(testing::SimulatedRecord("steps2.xkv"))));
  EXPECT_EQ(form.DetectForm(), nullptr);
  EXPECT_EQ(form.View()->Cross(), QPoint(-1, -1));
  EXPECT_TRUE(modals.isEmpty()) << modals.join("; ").toStdString();
}

}  // namespace
}  // namespace lumetra
