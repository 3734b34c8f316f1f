// Drives the main window's handlers under the offscreen platform.
#include "app/main_form.h"

#include <gtest/gtest.h>

#include "tests/app/app_fixture.h"

namespace lumetra {
namespace {

using testing::App;

TEST(MainForm, OpensASimulatedRecordAndStepsThroughIt) {
  App();
  SimulationParams p;
  p.width = 64;
  p.height = 40;
  p.frames = 5;
  p.spots = 3;
  const std::string path = testing::TempPath("sim.xkv");
  CollectingReporter sim;
  ASSERT_TRUE(SimulateRecord(p, path, sim));

  TMainForm form;
  QStringList modals;
  form.Messages().show_modal = [&](const QString& t) { modals << t; };
  ASSERT_TRUE(form.OpenRecord(QString::fromStdString(path)));
  EXPECT_TRUE(form.windowTitle().startsWith("Lumetra - "));
  EXPECT_TRUE(form.windowTitle().endsWith("(5 frames, 0 Mb)"));
  EXPECT_EQ(form.FrameImage().width(), 64);
  form.NextFrClick();
  form.NextFrClick();
  EXPECT_EQ(form.FramePanelText(), "Frame=2");
  EXPECT_EQ(form.TimePanelText(), "Time=0.1 s");
  form.PrevFrClick();
  EXPECT_EQ(form.Store()->CurrentFrame(), 1);
  form.FrameTrackBarChange(4);
  EXPECT_EQ(form.Store()->CurrentFrame(), 4);
  form.FirstFrameClick();
  EXPECT_EQ(form.Store()->CurrentFrame(), 0);
  EXPECT_TRUE(modals.isEmpty());

  // The selected part of the record through scripted input boxes.
  QStringList answers = {"3", "abc", "2"};
  QStringList titles;
  form.AskText = [&](const QString& title, const QString&,
                     const QString& offered) -> std::optional<QString> {
    titles << title + ":" + offered;
    if (answers.isEmpty()) return std::nullopt;
    return answers.takeFirst();
  };
  form.UsePartOfRecordClick();
  EXPECT_TRUE(form.Store()->UsePartOfRecord());
  form.SelectFirstFrameClick();
  form.SelectFirstFrameClick();
  form.SelectLastFrameClick();
  form.SelectLastFrameClick();  // cancelled: nothing changes
  EXPECT_EQ(form.Store()->SelFirstFrame(), 3);
  EXPECT_EQ(form.Store()->SelLastFrame(), 10);
  EXPECT_EQ(titles, (QStringList{"Select First Frame for Play/Analysis:0",
                                 "Select First Frame for Play/Analysis:3",
                                 "Select Last Frame for Play/Analysis:10",
                                 "Select Last Frame for Play/Analysis:10"}));
  EXPECT_EQ(modals, (QStringList{"First Selected Frame is out of range (0-Last Selected Frame",
                                 "Last Selected Frame is out of range (> First Selected Frame"}));
  modals.clear();

  EXPECT_FALSE(form.OpenRecord(QString::fromStdString(testing::TempPath("missing.xkv"))));
  EXPECT_EQ(modals, QStringList{"File open ERROR"});
  EXPECT_EQ(form.Store()->FrameCount(), 5);
}

}  // namespace
}  // namespace lumetra
