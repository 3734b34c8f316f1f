// The manual tracking and 3D windows opened from the main window: clicks on
// the image mark and advance, the 3D view follows the frame, and unsaved
// marks hold back closing the main window until the user lets them go.
#include <gtest/gtest.h>

#include <QAction>

#include "app/image_view.h"
#include "app/main_form.h"
#include "manual/gui/track_form.h"
#include "surface/gui/ddd_form.h"
#include "tests/app/app_fixture.h"

namespace lumetra {
namespace {

TEST(ManualMainWindow, ClicksMarkTheOpenRecordAndClosingAsks) {
  testing::App();
  TMainForm form;
  ASSERT_TRUE(
      form.OpenRecord(QString::fromStdString(testing::SimulatedRecord("manual_main.xkv", 8))));
  form.MenuItem("ManualTracking")->trigger();
  TTrackForm* track = form.TrackForm();
  ASSERT_NE(track, nullptr);
  int asked = 0;
  bool answer = false;
  track->AskYesNo = [&](const QString&) { return ++asked, answer; };
  emit form.View()->Clicked(20, 15);
  emit form.View()->Clicked(21, 15);
  EXPECT_TRUE(track->Objects().HasPoint(0, 0));
  EXPECT_TRUE(track->Objects().HasPoint(0, 1));
  EXPECT_EQ(form.Store()->CurrentFrame(), 2);

  form.MenuItem("SurfaceView")->trigger();
  TDDDform* ddd = form.DDDform();
  ASSERT_NE(ddd, nullptr);
  EXPECT_TRUE(ddd->StatusText().startsWith("No region"));
  form.NextFrClick();
  EXPECT_TRUE(ddd->StatusText().contains("frame 3,"));

  form.show();
  EXPECT_FALSE(form.close());  // "No": the marks and the window stay
  EXPECT_EQ(asked, 1);
  EXPECT_NE(form.TrackForm(), nullptr);
  answer = true;
  EXPECT_TRUE(form.close());
  EXPECT_EQ(form.TrackForm(), nullptr);
}

}  // namespace
}  // namespace lumetra
