// The main window opens the tracking window on its record, hands it the
// spot-window keys while it is open, and closes it before another record opens.
#include <gtest/gtest.h>

#include "app/main_form.h"
#include "spots/gui/spot_form.h"
#include "tests/app/app_fixture.h"

namespace lumetra {
namespace {

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

  // Another record closes the window that worked on the first.
  ASSERT_TRUE(form.OpenRecord(QString::fromStdString(testing::SimulatedRecord("spots2.xkv"))));
  EXPECT_EQ(form.SpotForm(), nullptr);
  form.FormKeyDown(Qt::Key_F5, Qt::NoModifier);  // no window: nothing happens
  EXPECT_TRUE(modals.isEmpty()) << modals.join("; ").toStdString();
}

}  // namespace
}  // namespace lumetra
