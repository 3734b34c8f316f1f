// The step-detection window under the offscreen platform: Detect, Tracking
// and the tests through its handlers, the refusals of its input boxes, Esc,
// the results file, the question before results are dropped, and what it asks
// of the main window (frames, the cross) through its host.
#include "steps/gui/detect_form.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QTableWidget>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "graph/gui/xk_graph.h"
#include "record/simulator.h"
#include "steps/steps_messages.h"
#include "tests/support/xkv_builder.h"

namespace lumetra {
namespace {

namespace fs = std::filesystem;

QApplication& App() {
  static int argc = 1;
  static char name[] = "steps_gui_tests";
  static char* argv[] = {name, nullptr};
  static QApplication app(argc, argv);
  return app;
}

// Immobile spots that bleach in single steps within the record.
std::string BleachingRecord(const std::string& name, int frames, int size = 64) {
  SimulationParams p;
  p.width = p.height = size;
  p.frames = frames;
  p.spots = 6;
  p.diffusion = 0;
  p.bleach_prob = 0.01;
  p.seed = 5;
  const std::string path = testing::TempPath(name);
  NullReporter quiet;
  SimulateRecord(p, path, quiet);
  return path;
}

class DetectForm : public ::testing::Test {
 protected:
  void Open(const std::string& path) {
    App();
    record_ = RecordStore::Create(quiet_);
    ASSERT_TRUE(record_->Open(path, quiet_));
    form_ = std::make_unique<TDetectForm>(*record_);
    form_->Messages().show_modal = [this](const QString& t) { modals_ << t; };
    form_->AskText = [this](const QString& title, const QString& label,
                            const QString& offered) -> std::optional<QString> {
      asked_ << title + "|" + label + "|" + offered;
      if (answers_.isEmpty()) return std::nullopt;  // Cancel
      return answers_.takeFirst();
    };
    form_->AskYesNo = [this](const QString&, const QString& question) {
      questions_ << question;
      return yes_;
    };
    form_->OpenOnRecord();
  }
  void Run(void (TDetectForm::*click)()) {
    (form_.get()->*click)();
    form_->FinishPlayback();
  }
  QString Caption(const char* name) { return form_->Item(QString::fromLatin1(name))->text(); }

  NullReporter quiet_;
  std::unique_ptr<RecordStore> record_;
  std::unique_ptr<TDetectForm> form_;
  QStringList modals_, asked_, answers_, questions_;
  bool yes_ = false;
};

TEST_F(DetectForm, DetectTrackingAndTestsThroughTheHandlers) {
  Open(BleachingRecord("detect_form_flow.xkv", 150));
  EXPECT_EQ(form_->windowTitle(), "Lumetra - Single Fluorophore Detection (SFDA)");
  EXPECT_TRUE(form_->StatusText().endsWith("Mb allocated - Click 'Detect'"));
  EXPECT_FALSE(form_->Item("Collect")->isEnabled()) << "Tracking needs Detect first";

  // A test before Tracking is refused with its message.
  form_->ShowStestClick();
  EXPECT_EQ(modals_, QStringList{"No traces yet - Click 'Tracking' first"});
  modals_.clear();

  form_->StartTrClick();
  EXPECT_TRUE(form_->Playing());
  EXPECT_FALSE(form_->Item("StartTr")->isEnabled()) << "no second Detect while one plays";
  form_->FinishPlayback();
  EXPECT_FALSE(form_->Playing());
  EXPECT_EQ(form_->ShowTestsText(), "Drops");
  EXPECT_EQ(form_->ProgressText(), "Detect finished: 150 frames");
  EXPECT_TRUE(form_->StatusText().contains(" spots above Thresh(10) (up to "))
      << form_->StatusText().toStdString();
  // The frame buffer holds the drop image.
  const StepMaps& maps = form_->Analysis().Maps();
  for (size_t p = 0; p < maps.DropMap.size(); p += 97)
    ASSERT_EQ(record_->FrameBuffer()[p], static_cast<uint16_t>(maps.DropMap[p]));
  const int chosen = static_cast<int>(form_->Analysis().Objects().size());
  ASSERT_GT(chosen, 0);
  EXPECT_EQ(form_->ObjectTable()->rowCount(), chosen);

  Run(&TDetectForm::CollectClick);
  EXPECT_EQ(form_->ProgressText(),
            QStringLiteral("Tracking finished: %1 traces of 150 frames").arg(chosen));
  form_->ShowStestClick();
  EXPECT_TRUE(modals_.isEmpty()) << modals_.join("|").toStdString();
  EXPECT_TRUE(form_->Unsaved());
  EXPECT_EQ(form_->ShowTestsText(), "S-test");
  EXPECT_TRUE(form_->StatusText().endsWith("objects above S-test Thr=15"));

  // The first object above threshold is on show with its trace and fitted levels.
  const int32_t first = form_->CurrentObject();
  ASSERT_GE(first, 0);
  EXPECT_TRUE(form_->Analysis().AboveThreshold(static_cast<size_t>(first)));
  EXPECT_TRUE(form_->ReadoutText().contains("Stest=")) << form_->ReadoutText().toStdString();
  EXPECT_TRUE(form_->ReadoutText().contains(" MStest="));
  const TXKgraph& trace = form_->TraceGraph();
  EXPECT_EQ(trace.Data.RowLength, 150);
  EXPECT_TRUE(trace.Curves[2].Show) << "the fitted levels are drawn";
  const StepScores& s = form_->Analysis().Scores()[static_cast<size_t>(first)];
  EXPECT_FLOAT_EQ(trace.Data.Value(2, 0), s.upper);
  EXPECT_FLOAT_EQ(trace.Data.Value(2, 149), s.lower);
  // Rows list every traced object, those below threshold greyed; the
  // histograms count the others.
  int above = 0, black = 0;
  for (size_t i = 0; i < form_->Analysis().Scores().size(); ++i)
    above += form_->Analysis().AboveThreshold(i);
  QTableWidget* table = form_->ObjectTable();
  ASSERT_EQ(table->rowCount(), chosen);
  for (int r = 0; r < table->rowCount(); ++r)
    black += table->item(r, 5)->foreground().color() != QColor(150, 150, 150);
  EXPECT_EQ(black, above);
  int counted = 0;
  const TXKgraph& amp = form_->AmplitudeGraph();
  for (int k = 0; k < amp.Data.RowLength; ++k) counted += static_cast<int>(amp.Data.Value(1, k));
  EXPECT_EQ(counted, above);

  // Next and previous walk through the objects above threshold only.
  form_->NextObjectClick();
  const int32_t second = form_->CurrentObject();
  if (above > 1) {
    EXPECT_EQ(second, form_->Analysis().NextObject(first));
    form_->PrevObjectClick();
    EXPECT_EQ(form_->CurrentObject(), first);
  } else {
    EXPECT_EQ(second, first) << "no next object: the view stays";
  }

  // The P-test: its threshold caption and the pulse length on the time axis.
  form_->ShowPtestClick();
  EXPECT_EQ(form_->ShowTestsText(), "P-test");
  EXPECT_EQ(form_->TimeGraph().TitleX, "Pulse length (s)");
  form_->ShowMStestClick();
  EXPECT_EQ(form_->ShowTestsText(), "MS-test");
}

TEST_F(DetectForm, InputBoxesRefuseOutOfRangeValuesAndKeepWhatWasThere) {
  Open(BleachingRecord("detect_form_inputs.xkv", 60));
  EXPECT_EQ(Caption("WindLen"), "Window=10fr");
  answers_ = {"11", "0", "3"};
  form_->WindLenClick();
  form_->WindLenClick();
  form_->WindLenClick();
  EXPECT_EQ(Caption("WindLen"), "Window=3fr");
  EXPECT_EQ(asked_.front(), "Set Filter Size (window)|Filter LEngth (frames)=|10");
  form_->WindLenClick();  // cancelled: nothing changes, nothing said
  EXPECT_EQ(form_->Analysis().Params().window, 3);

  answers_ = {"1", "10", "1001"};
  form_->LimitNofStepsClick();
  form_->LimitNofStepsClick();
  form_->StestThrClick();
  EXPECT_EQ(Caption("LimitNofSteps"), "Max N of Steps=9");
  EXPECT_EQ(Caption("StestThr"), "S-test Thr=15");
  answers_ = {"0", "70000", "25", "-3", "0", "2.5"};
  form_->InpThrClick();
  form_->InpThrClick();
  form_->InpThrClick();
  form_->PtestThrClick();
  form_->AmpBinClick();
  form_->TimeBinClick();
  EXPECT_EQ(
      modals_,
      (QStringList{"Value out of Order (1-10)", "Value out of Order (1-10)",
                   "Steps Number must be between 2 and 9", "Steps Number must be between 2 and 9",
                   "Test Threshold Out of Order (0-1000)", "Drop Threshold Out of Range",
                   "Drop Threshold Out of Range", "Test Threshold Out of Order (0-1000)",
                   "Intensity bin size Out of Order"}));
  EXPECT_EQ(Caption("InpThr"), "Set Drop Threshold (25)");
  EXPECT_EQ(Caption("PtestThr"), "P-test Thr=15");
  EXPECT_EQ(Caption("TimeBin"), "Time Bin=2.5 s");

  // The spot size menu follows its items; the background item is a check item.
  form_->Aver3X3Click();
  EXPECT_EQ(form_->findChild<QMenu*>("Spat")->title(), "SpotSize(3X3)");
  EXPECT_EQ(form_->Analysis().Params().half_size, 1);
  EXPECT_EQ(Caption("Aver3X3"), "3X3 pixels ");
  form_->Item("NoBackgrSubtr")->trigger();
  EXPECT_TRUE(form_->Analysis().Params().no_background);
  EXPECT_TRUE(form_->Item("NoBackgrSubtr")->isChecked());
}

TEST_F(DetectForm, EscStopsAPassAndSaysSo) {
  Open(BleachingRecord("detect_form_esc.xkv", 80));
  form_->StartTrClick();
  ASSERT_TRUE(form_->Playing());
  form_->Item("Stop")->trigger();  // Esc
  form_->FinishPlayback();
  EXPECT_FALSE(form_->Playing());
  EXPECT_TRUE(form_->ProgressText().startsWith("Detect stopped at frame "))
      << form_->ProgressText().toStdString();
  EXPECT_TRUE(form_->ProgressText().endsWith(" of 80"));
  EXPECT_TRUE(form_->Analysis().Detected()) << "the maps of the frames played stay";
  EXPECT_TRUE(form_->Item("StartTr")->isEnabled());
}

TEST_F(DetectForm, ResultsAreSavedUnderTheRecordsNameAndNotDroppedUnasked) {
  const std::string path = BleachingRecord("detect_form_save.xkv", 120);
  Open(path);
  Run(&TDetectForm::StartTrClick);
  Run(&TDetectForm::CollectClick);
  form_->ShowStestClick();
  const size_t traced = form_->Analysis().Traces().objects.size();
  ASSERT_GT(traced, 0u);

  // Tracking again would drop the scores: the user is asked, and "No" keeps them.
  form_->CollectClick();
  EXPECT_FALSE(form_->Playing());
  ASSERT_EQ(questions_.size(), 1);
  EXPECT_TRUE(questions_[0].contains(QString::number(traced)));
  EXPECT_TRUE(form_->Analysis().Scores().size() == traced && form_->Unsaved());

  // The save dialog offers the record's name with .txt beside it.
  QString offered;
  const std::string out = testing::TempPath("detect_form_results.txt");
  form_->AskSaveFile = [&](const QString&, const QString&, const QString& name) {
    offered = name;
    return QString::fromStdString(out);
  };
  form_->SaveTXTClick();
  EXPECT_EQ(fs::path(offered.toStdString()), fs::path(path).replace_extension(".txt"));
  EXPECT_FALSE(form_->Unsaved());
  std::ifstream in(out);
  std::stringstream stream;
  stream << in.rdbuf();
  const std::string text = stream.str();
  EXPECT_EQ(text.rfind(std::string(kResultsHeader), 0), 0u);
  EXPECT_EQ(static_cast<size_t>(std::count(text.begin(), text.end(), '\n')), traced + 1);

  // Saved: the next Tracking goes ahead without a question.
  Run(&TDetectForm::CollectClick);
  EXPECT_EQ(questions_.size(), 1);
  EXPECT_TRUE(modals_.isEmpty()) << modals_.join("|").toStdString();
}

// The main window's part, played synchronously by a host that records what it is asked.
TEST_F(DetectForm, ObjectsAndStepsMoveTheMainWindowAndMarkTheSpot) {
  Open(BleachingRecord("detect_form_host.xkv", 150));
  std::vector<int32_t> frames;
  std::vector<std::pair<int32_t, int32_t>> marks;
  int shown = 0;
  DetectHost host;
  host.play = [&](std::vector<FrameConsumer*> passes) {
    CollectingReporter r;
    Playback(*record_, std::move(passes)).Run(r);
    form_->PlaybackEnded(true);
    return true;
  };
  host.stop = [](bool) {};
  host.show_frame = [&] { ++shown; };
  host.go_to_frame = [&](int32_t f) { frames.push_back(f); };
  host.mark = [&](int32_t x, int32_t y) { marks.emplace_back(x, y); };
  int32_t median = 5;
  host.median_frames = [&] { return median; };
  form_->SetHost(host);

  // The main window's temporal median delays the first comparison by its length.
  form_->StartTrClick();
  EXPECT_EQ(form_->Analysis().Detector().FirstComputedFrame(), 25);
  median = 0;
  form_->StartTrClick();
  EXPECT_EQ(form_->Analysis().Detector().FirstComputedFrame(), 20);
  EXPECT_FALSE(form_->Playing());
  EXPECT_EQ(shown, 2) << "the drop image is painted once each Detect ends";
  form_->CollectClick();
  form_->ShowPtestClick();
  const StepObject o = form_->Analysis().Traces().objects[0];
  frames.clear();
  marks.clear();
  form_->ObjectClick(0);
  EXPECT_EQ(frames, std::vector<int32_t>{o.drop_frame});
  ASSERT_FALSE(marks.empty());
  EXPECT_EQ(marks.back(), std::make_pair(o.x, o.y));
  // A click on the trace goes to the nearest step: the rise under the P-test.
  frames.clear();
  form_->TraceClickAtFrame(o.rise_frame + 0.4);
  form_->TraceClickAtFrame(o.drop_frame - 0.4);
  EXPECT_EQ(frames, (std::vector<int32_t>{o.rise_frame, o.drop_frame}));

  // A spot handed over from a track, off the chosen objects: its trace is
  // collected with theirs and scored by every test, and it is on show.
  const size_t chosen = form_->Analysis().Traces().objects.size();
  const int32_t sx = 1, sy = 1;
  const StepMaps& maps = form_->Analysis().Maps();
  yes_ = true;
  form_->AnalyseSpotAt(sx, sy);
  const std::vector<StepObject>& traced = form_->Analysis().Traces().objects;
  ASSERT_EQ(traced.size(), chosen + 1);
  const int32_t current = form_->CurrentObject();
  ASSERT_GE(current, 0);
  EXPECT_EQ(traced[static_cast<size_t>(current)].x, sx);
  EXPECT_EQ(traced[static_cast<size_t>(current)].drop_frame, maps.DropFrame[maps.Index(sx, sy)]);
  EXPECT_EQ(form_->Analysis().Shown(), StepTest::kS);
  EXPECT_EQ(marks.back(), std::make_pair(sx, sy));
  EXPECT_TRUE(form_->ReadoutText().contains("x=1 y=1")) << form_->ReadoutText().toStdString();
  // Closing clears the mark through the host, whose lambdas hold this test's locals.
  form_.reset();
  EXPECT_EQ(marks.back(), std::make_pair(-1, -1));
}

// Noise-free levels leave nothing to divide by: the message comes once for all
// the objects it concerns, not once per object.
TEST_F(DetectForm, APerObjectMessageOfATestIsShownOnceWithItsCount) {
  testing::XkvBuilder b;
  for (int f = 0; f < 60; ++f) {
    std::vector<uint16_t> px(24 * 24, 50);
    for (int y = 10; y < 13; ++y)
      for (int x = 10; x < 13; ++x) px[static_cast<size_t>(y * 24 + x)] = f < 30 ? 200 : 100;
    b.Frame(testing::TestHeader(24, 24, 8, f * 50), px);
  }
  const std::string path = testing::TempPath("detect_form_flat.xkv");
  b.Save(path);
  Open(path);
  form_->SpotPixClick();
  EXPECT_EQ(Caption("SpotPix"), "ShowPixels");
  form_->Aver1X1Click();
  form_->NoBackgrSubtrClick();
  Run(&TDetectForm::StartTrClick);
  EXPECT_TRUE(form_->StatusText().startsWith("9 pixs above Thresh(10) (up to "))
      << form_->StatusText().toStdString();
  Run(&TDetectForm::CollectClick);
  form_->ShowStestClick();
  EXPECT_EQ(modals_, QStringList{"wrong SD in S-test (9 objects)"});
  EXPECT_EQ(form_->CurrentObject(), -1);
  EXPECT_EQ(form_->ReadoutText(), "No object above the test threshold");
  EXPECT_EQ(form_->ObjectTable()->rowCount(), 9) << "greyed, and still there to click";
}

TEST_F(DetectForm, ARecordTooShortSaysSoAndTrackingIsRefused) {
  Open(BleachingRecord("detect_form_short.xkv", 15));
  Run(&TDetectForm::StartTrClick);
  EXPECT_TRUE(form_->StatusText().startsWith("Record too short for step detection: 15 frames read"))
      << form_->StatusText().toStdString();
  form_->CollectClick();
  EXPECT_EQ(modals_, QStringList{"No objects above the Drop Threshold"});
  EXPECT_FALSE(form_->Playing());
}

TEST_F(DetectForm, LongRecordsStopAtTheFrameLimitAsFinished) {
  Open(BleachingRecord("detect_form_long.xkv", 1003, 24));
  EXPECT_EQ(modals_,
            QStringList{"Too many frames in record - analysis will be limited to 1000 frames"});
  Run(&TDetectForm::StartTrClick);
  EXPECT_EQ(form_->ProgressText(), "Detect finished: 1000 frames");
  EXPECT_LT(record_->CurrentFrame(), 1002) << "frames past the limit are not read";
}

}  // namespace
}  // namespace lumetra
