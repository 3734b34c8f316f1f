#include "mpi/record_ledger.h"

#include <gtest/gtest.h>

#include "batch/batch_messages.h"

namespace lumetra {
namespace {

TEST(RecordLedger, TableNamesWhatIsMissingAtEveryMoment) {
  BatchOptions options;
  RecordLedger ledger({"a.xkv", "b.xkv", "a.xkv", "c.xkv"}, options);
  // Before anything is handed out every record reads "not run", except the
  // one listed again, which has its row from the start.
  auto rows = ledger.Rows();
  ASSERT_EQ(rows.size(), 4u);
  EXPECT_EQ(rows[0].status, RecordStatus::kFailed);
  EXPECT_EQ(rows[0].message, kRecordNotRun);
  EXPECT_EQ(rows[0].output, BatchOutputName("a.xkv", options));
  EXPECT_EQ(rows[2].status, RecordStatus::kSkipped);

  EXPECT_EQ(ledger.Next(0), 0u);
  EXPECT_EQ(ledger.Next(2), 1u);
  EXPECT_EQ(ledger.Next(1), 3u);  // the repeated a.xkv is never handed out
  EXPECT_FALSE(ledger.Next(1));
  EXPECT_TRUE(ledger.AllHandedOut());
  EXPECT_EQ(ledger.InHand(), 3u);
  EXPECT_EQ(ledger.HeldBy(2), std::vector<size_t>{1});

  rows = ledger.Rows();
  EXPECT_EQ(rows[1].status, RecordStatus::kFailed);
  EXPECT_EQ(rows[1].message, "not finished: rank 2 was working on it when the run ended");

  RecordResult done;
  done.status = RecordStatus::kOk;
  done.file = "b.xkv mangled";
  done.count = 7;
  EXPECT_FALSE(ledger.Finished(1, 1, done)) << "rank 1 was not given record 1";
  EXPECT_FALSE(ledger.Finished(9, 2, done));
  EXPECT_TRUE(ledger.Finished(1, 2, done));
  EXPECT_FALSE(ledger.Finished(1, 2, done)) << "a record reports once";
  rows = ledger.Rows();
  EXPECT_EQ(rows[1].status, RecordStatus::kOk);
  EXPECT_EQ(rows[1].file, "b.xkv");  // the list's spelling
  EXPECT_EQ(rows[1].count, 7);
  EXPECT_EQ(ledger.InHand(), 2u);
  EXPECT_TRUE(ledger.HeldBy(2).empty());
}

TEST(RecordLedger, OutputClashIsNeverHandedOut) {
  RecordLedger ledger({"x/cell.xkv", "x/cell.dat"}, BatchOptions{});
  EXPECT_EQ(ledger.Next(0), 0u);
  EXPECT_FALSE(ledger.Next(0));
  EXPECT_EQ(ledger.Rows()[1].status, RecordStatus::kFailed);
  EXPECT_NE(ledger.Rows()[1].message, kRecordNotRun);
}

TEST(RankMessages, RoundTripAndRefuseGarbage) {
  RecordResult r;
  r.file = "dir/cell 3.xkv";
  r.status = RecordStatus::kFailed;
  r.output = "dir/cell 3-R5L10q8c500.xki";
  r.seconds = 1.25;
  r.count = -1;
  r.message = "Frame Reading Error:\tframe 12\nshort";
  size_t index = 0;
  RecordResult back;
  ASSERT_TRUE(DecodeReport(EncodeReport(41, r), index, back));
  EXPECT_EQ(index, 41u);
  EXPECT_EQ(back.file, r.file);
  EXPECT_EQ(back.status, r.status);
  EXPECT_EQ(back.output, r.output);
  EXPECT_DOUBLE_EQ(back.seconds, 1.25);
  EXPECT_EQ(back.count, -1);
  EXPECT_EQ(back.message, "Frame Reading Error: frame 12 short");

  std::string path;
  ASSERT_TRUE(DecodeTask(EncodeTask(3, "odd\tname.xkv"), index, path));
  EXPECT_EQ(index, 3u);
  EXPECT_EQ(path, "odd\tname.xkv");

  for (const char* bad : {"", "3", "\tx.xkv", "x\tx.xkv", "3x\tx.xkv", "3\t"})
    EXPECT_FALSE(DecodeTask(bad, index, path)) << bad;
  for (const char* bad : {"", "7", "7\tonly\tthree\tfields", "7\ta\tmaybe\tb\t1\t\t"})
    EXPECT_FALSE(DecodeReport(bad, index, back)) << bad;
}

}  // namespace
}  // namespace lumetra
