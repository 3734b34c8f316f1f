// The profile and kymograph window follows the main window's line and plays
// the record through it; the two-colour and drift-corrected records stream the
// open record from the File menu and leave it as it was.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>

#include "app/main_form.h"
#include "profile/gui/prof_form.h"
#include "profile/profile_messages.h"
#include "tests/app/app_fixture.h"

namespace lumetra {
namespace {

void RunUntil(const std::function<bool()>& done) {
  QElapsedTimer t;
  t.start();
  while (!done() && t.elapsed() < 5000) QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

TEST(ProfileWindow, ProfileKymographStopAndSave) {
  testing::App();
  TMainForm form;
  QStringList modals;
  form.Messages().show_modal = [&](const QString& t) { modals << t; };
  ASSERT_TRUE(form.OpenRecord(QString::fromStdString(testing::SimulatedRecord("prof.xkv", 60))));
  form.SetLine({2, 5, 40, 5});
  form.ProfilesClick();
  TProfForm* prof = form.ProfForm();
  ASSERT_NE(prof, nullptr);
  EXPECT_EQ(prof->Profile().mean.size(), 38u);
  EXPECT_EQ(prof->StatusText(), "Profile: 38 points, width 3 pixels, frame 0");

  // Esc in the main window stops the kymograph; what was measured stays.
  prof->KymographClick();
  EXPECT_TRUE(form.Playing());
  form.FormKeyDown(Qt::Key_Escape, Qt::NoModifier);
  RunUntil([&] { return !form.Playing(); });
  EXPECT_TRUE(prof->StatusText().startsWith("Kymograph stopped at frame "))
      << prof->StatusText().toStdString();
  EXPECT_TRUE(prof->KymographUnsaved());
  prof->AskYesNo = [](const QString&) { return false; };
  EXPECT_FALSE(form.close()) << "an unsaved kymograph keeps both windows open";
  EXPECT_NE(form.ProfForm(), nullptr);
  // A new one asks first; "No" keeps the one there.
  int asked = 0;
  bool answer = false;
  prof->AskYesNo = [&](const QString&) {
    ++asked;
    return answer;
  };
  prof->KymographClick();
  EXPECT_EQ(asked, 1);
  EXPECT_FALSE(form.Playing());
  answer = true;
  prof->KymographClick();
  RunUntil([&] { return !form.Playing(); });
  EXPECT_EQ(prof->StatusText(), "Kymograph: 60 frames of 38 points");
  ASSERT_NE(prof->Kymograph(), nullptr);
  EXPECT_EQ(prof->Kymograph()->Rows(), 60);

  QString offered;
  const QString png = QString::fromStdString(testing::TempPath("prof-kymo.png"));
  prof->AskSaveFile = [&](const QString&, const QString&, const QString& name) {
    offered = name;
    return png;
  };
  prof->SaveKymographPngClick();
  EXPECT_TRUE(offered.endsWith("prof-kymograph.png")) << offered.toStdString();
  EXPECT_TRUE(QFileInfo::exists(png));
  EXPECT_FALSE(prof->KymographUnsaved());

  // A line off the frame: an empty profile, said so, and nothing to save.
  form.SetLine({100, 100, 140, 100});
  prof->ShowProfile();
  EXPECT_TRUE(prof->Profile().Empty());
  EXPECT_EQ(prof->StatusText(), QString::fromUtf8(kEmptyProfile.data()));
  prof->SaveProfileClick();
  EXPECT_EQ(modals, QStringList{QString::fromUtf8(kEmptyProfile.data())});
}

TEST(ProfileWindow, SplitAndDriftCorrectedRecordsFromTheMenu) {
  testing::App();
  TMainForm form;
  QStringList modals;
  form.Messages().show_modal = [&](const QString& t) { modals << t; };
  const std::string rec = testing::SimulatedRecord("split.xkv", 30);
  ASSERT_TRUE(form.OpenRecord(QString::fromStdString(rec)));
  form.FrameTrackBarChange(4);
  form.AskText = [](const QString&, const QString&, const QString&) -> std::optional<QString> {
    return QStringLiteral("2");
  };
  const QString base = QString::fromStdString(testing::TempPath("split-out.xkv"));
  QString offered;
  form.AskSaveFile = [&](const QString&, const QString&, const QString&) {
    offered = form.SaveDialogName();
    return base;
  };
  form.SplitTwoColourClick();
  EXPECT_TRUE(offered.endsWith("split.xkv")) << offered.toStdString();
  EXPECT_TRUE(QFileInfo::exists(QString::fromStdString(testing::TempPath("split-out-ch1.xkv"))));
  EXPECT_TRUE(QFileInfo::exists(QString::fromStdString(testing::TempPath("split-out-ch2.xkv"))));
  EXPECT_EQ(form.Store()->CurrentFrame(), 4) << "the frame shown is read again";

  const QString drift = QString::fromStdString(testing::TempPath("split-drift.xkv"));
  form.AskSaveFile = [&](const QString&, const QString&, const QString&) {
    offered = form.SaveDialogName();
    return drift;
  };
  form.DriftXcorrRecClick();
  EXPECT_TRUE(offered.endsWith("split-driftcorr.xkv")) << offered.toStdString();
  EXPECT_TRUE(QFileInfo::exists(drift));
  EXPECT_TRUE(modals.isEmpty()) << modals.join("; ").toStdString();

  // A drift table that is none: the file and the reason, nothing written.
  const std::string bad = testing::TempPath("not-a-table.tsv");
  testing::XkvBuilder::SaveBytes(bad, {'a', '\t', 'b', '\n', '1', '\t', '2', '\n'});
  form.AskOpenFile = [&](const QString&, const QString&) { return QString::fromStdString(bad); };
  form.DriftTableRecClick();
  ASSERT_EQ(modals.size(), 1);
  EXPECT_TRUE(modals[0].startsWith("Not a drift table")) << modals[0].toStdString();
}

}  // namespace
}  // namespace lumetra
