// The desktop program's batch session: the rows it keeps, the progress line
// and the box at the end of a run, and the settings of the unattended tracking.
#include <gtest/gtest.h>

#include "batch/batch_messages.h"
#include "batch/batch_session.h"

namespace lumetra {
namespace {

BatchSession ThreeRecords() {
  return BatchSession(BatchOptions{}, {"/data/cell1.xkv", "/data/cell2.xkv", "/data/cell3.xkv"});
}

TEST(BatchSession, RowsCarryTheRecordsMessages) {
  BatchSession s = ThreeRecords();
  s.BeginRecord(0);
  s.Log().Status("12 tracks");  // read-outs stay out of the row
  s.Log().Modal("Too few objects (<3)");
  s.EndRecord(true, "/data/cell1-R5L10q8c500.xki", 12);
  s.BeginRecord(1);
  s.Log().Modal("Frame Reading Error", "cell2.xkv: truncated");
  s.Log().Modal("wrong SD in S-test");
  s.Log().Modal("wrong SD in S-test");
  s.EndRecord(false, "/data/cell2-R5L10q8c500.xki", -1, kRecordReadFailed);
  s.EndRecord(false, "twice", -1);  // a record has one row
  ASSERT_EQ(s.Results().size(), 2u);
  EXPECT_EQ(s.Results()[0].status, RecordStatus::kOk);
  EXPECT_EQ(s.Results()[0].message, "Too few objects (<3)");
  EXPECT_EQ(s.Results()[0].count, 12);
  EXPECT_EQ(s.Results()[1].file, "/data/cell2.xkv");
  EXPECT_EQ(s.Results()[1].message,
            std::string(kRecordReadFailed) +
                ": Frame Reading Error: cell2.xkv: truncated; wrong SD in S-test (2 times)");
  // A new record starts with an empty log.
  s.BeginRecord(2);
  s.EndRecord(false, "x", -1);
  EXPECT_EQ(s.Results()[2].message, kBatchNoOutput);
}

TEST(BatchSession, StopFailsTheRecordUnderWayAndLeavesTheRestNotRun) {
  BatchSession s = ThreeRecords();
  s.BeginRecord(0);
  s.EndRecord(true, "/data/cell1-R5L10q8c500.xki", 3);
  s.BeginRecord(1);
  EXPECT_EQ(s.StatusText(17, 60), "file 2 of 3: cell2.xkv   frame 17 of 60 (Esc stops)");
  EXPECT_EQ(s.StatusText(), "file 2 of 3: cell2.xkv");
  s.Stop();
  s.Stop();
  ASSERT_EQ(s.Results().size(), 3u);
  EXPECT_EQ(s.Results()[1].message, kRecordStopped);
  EXPECT_EQ(s.Results()[1].output, "/data/cell2-R5L10q8c500.xki");
  EXPECT_EQ(s.Results()[2].message, kRecordNotRun);
  EXPECT_EQ(s.StatusText(), "") << "no record under way";
  const BatchEndBox box = s.EndBox();
  EXPECT_TRUE(box.stopped);
  EXPECT_EQ(box.title, kBatchStopped);
  EXPECT_EQ(box.text, "1 ok, 2 failed");
  EXPECT_EQ(box.detail, "cell2.xkv: " + std::string(kRecordStopped) + "\ncell3.xkv: " +
                            std::string(kRecordNotRun));
}

TEST(BatchSession, UnattendedTrackingTakesTheStoredSettings) {
  Settings stored;
  stored.MaxTrackingJump = 7;
  stored.MinTrackLength = 20;
  stored.Q_threshold = 6;
  stored.ClusterThreshold = 900;
  stored.FwhmNm = 300;
  const BatchOptions o = AutoTrackOptions(stored);
  EXPECT_EQ(o.kind, BatchKind::kTrack);
  EXPECT_FALSE(o.link_tracks);
  EXPECT_FALSE(o.save_zpos);
  EXPECT_EQ(o.tracking.fwhm_nm, 300);
  EXPECT_EQ(BatchOutputName("/data/cell3.xkv", o), "/data/cell3-R7L20q6c900.xki");
}

}  // namespace
}  // namespace lumetra
