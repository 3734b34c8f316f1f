// The import window "Lumetra - Import Data" driven through its controls with
// scripted dialogs: field checks on focus loss and one raw-file conversion.
#include "record/gui/com_form.h"

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <filesystem>

#include "record/record_store.h"
#include "tests/app/app_fixture.h"

namespace lumetra {
namespace {

namespace fs = std::filesystem;

class ComFormTest : public ::testing::Test {
 protected:
  void SetUp() override {
    testing::App();
    ComFormHooks hooks;
    hooks.ask_open_file = [this](const QString& title, const QString&) {
      dialogs_ << title;
      return source_;
    };
    hooks.ask_save_file = [this](const QString& title, const QString&, const QString&) {
      dialogs_ << title;
      return out_;
    };
    hooks.header_template = [] {
      PRM_INFO p = DefaultPrmInfo();
      p.Gain = 7;
      return p;
    };
    hooks.save_2bytes = [] { return false; };
    hooks.clear_region = [this] { ++regions_cleared_; };
    hooks.open_record = [this] { return open_record_; };
    hooks.open_in_main = [this](const QString& path) { opened_ << path; };
    form_ = std::make_unique<TComForm>(std::move(hooks));
    form_->show_modal = [this](const QString& t) { modals_ << t; };
  }

  // Types into a field and leaves it, as the user does.
  void Type(QLineEdit* edit, const QString& text) {
    edit->setText(text);
    emit edit->editingFinished();
  }

  std::unique_ptr<TComForm> form_;
  QStringList modals_, dialogs_, opened_;
  QString source_, out_, open_record_;
  int regions_cleared_ = 0;
};

TEST_F(ComFormTest, FieldsAreCheckedWhenTheyLoseFocus) {
  EXPECT_EQ(form_->windowTitle(), "Lumetra - Import Data");
  Type(form_->WidthEdit, "4");
  EXPECT_EQ(form_->WidthEdit->text(), "512");  // the previous value comes back
  Type(form_->HeightEdit, "2000");
  Type(form_->WidthEdit, "2000");
  EXPECT_EQ(form_->Settings().width, 2000);
  Type(form_->WidthEdit, "2001");
  EXPECT_EQ(form_->WidthEdit->text(), "2000");
  Type(form_->HeightEdit, "4");
  Type(form_->TmIntEdit, "0");
  Type(form_->ScaleXEdit, "0.0001");
  Type(form_->ScaleYEdit, "2000000");
  Type(form_->OffsetEdit, "-1");
  Type(form_->HeaderEdit, "-3");
  EXPECT_EQ(modals_,
            QStringList({"Image Width is too small", "Image Size is too Big (>4 Mpix)",
                         "Image Height is too Small", "Wrong time interval",
                         "Scale X is out of order", "Scale Y is out of order",
                         "Offset size should be >= 0 bytes", "Frame header should be >= 0 bytes"}));
  EXPECT_EQ(form_->HeaderEdit->text(), "0");
  Type(form_->ScaleXEdit, "64.5");
  EXPECT_FLOAT_EQ(form_->Settings().scale_x, 64.5f);

  // Bitmaps bring their own pixel format: the raw-only controls rest.
  form_->TypeComBox->setCurrentIndex(2);
  EXPECT_FALSE(form_->OffsetEdit->isEnabled());
  EXPECT_FALSE(form_->BytesChBox->isEnabled());
  form_->TypeComBox->setCurrentIndex(0);
  EXPECT_TRUE(form_->OffsetEdit->isEnabled());
  EXPECT_FALSE(form_->LEorderBox->isEnabled());  // only with 2 bytes per pixel
  form_->BytesChBox->setChecked(true);
  EXPECT_TRUE(form_->LEorderBox->isEnabled());
}

// A 1-byte raw file of three 10 x 10 frames after a 6-byte offset gives a
// record of 3 frames at 0, T and 2T ms.
TEST_F(ComFormTest, ConvertsOneRawFileAndOffersItToTheMainWindow) {
  source_ = QString::fromStdString(testing::TempPath("com_form.raw"));
  out_ = QString::fromStdString(testing::TempPath("com_form.xkv"));
  fs::remove(out_.toStdString());
  std::vector<uint8_t> bytes(6, 0xEE);
  for (int i = 0; i < 300; ++i) bytes.push_back(static_cast<uint8_t>(i % 251));
  testing::XkvBuilder::SaveBytes(source_.toStdString(), bytes);

  Type(form_->WidthEdit, "10");
  Type(form_->HeightEdit, "10");
  Type(form_->TmIntEdit, "40");
  Type(form_->OffsetEdit, "6");
  EXPECT_FALSE(form_->OpenBt->isEnabled());
  form_->GoBtClick();
  EXPECT_TRUE(modals_.isEmpty()) << modals_.join("; ").toStdString();
  EXPECT_EQ(regions_cleared_, 1);
  EXPECT_EQ(dialogs_, QStringList({"Open RAW data file", "Save Imported Data as XKV Data File"}));
  EXPECT_EQ(form_->ProgressText(), "3 frames written");

  NullReporter quiet;
  auto store = RecordStore::Create(quiet);
  ASSERT_TRUE(store->Open(out_.toStdString(), quiet));
  ASSERT_EQ(store->FrameCount(), 3);
  for (int f = 0; f < 3; ++f) {
    if (f > 0) {
      ASSERT_TRUE(store->NextFrame(quiet));
    }
    EXPECT_EQ(store->Prm().TimeMs, 40 * f);
    EXPECT_EQ(store->Prm().Gain, 7);  // from the main window's header
    EXPECT_EQ(store->FrameBuffer()[5], (100 * f + 5) % 251);
  }

  ASSERT_TRUE(form_->OpenBt->isEnabled());
  form_->OpenBt->click();
  EXPECT_EQ(opened_, QStringList({out_}));

  // The record open in the main window is never the import's output.
  open_record_ = out_;
  const auto before = testing::ReadBytes(out_.toStdString());
  form_->GoBtClick();
  EXPECT_EQ(modals_, QStringList({"The XKV file is the record open in the main window: choose "
                                  "another file name"}));
  EXPECT_EQ(testing::ReadBytes(out_.toStdString()), before);
}

// The little-endian import keeps writing the last data up to the frame limit,
// as it always has; the window says where the source ended.
TEST_F(ComFormTest, LittleEndianImportSaysWhereTheSourceEnded) {
  source_ = QString::fromStdString(testing::TempPath("com_form_le.raw"));
  out_ = QString::fromStdString(testing::TempPath("com_form_le.xkv"));
  testing::XkvBuilder::SaveBytes(source_.toStdString(), std::vector<uint8_t>(2 * 5 * 5 * 2, 3));
  Type(form_->WidthEdit, "5");
  Type(form_->HeightEdit, "5");
  form_->BytesChBox->setChecked(true);
  ASSERT_TRUE(form_->LEorderBox->isChecked());
  form_->GoBtClick();
  EXPECT_EQ(form_->ProgressText(),
            "9999 frames written; the source ended at frame 3, its last data were written again");
  EXPECT_FALSE(form_->Running());
  EXPECT_TRUE(form_->GoBt->isEnabled());
}

}  // namespace
}  // namespace lumetra
