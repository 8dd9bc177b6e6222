#include "lab/journal.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/support/machine.h"

namespace {

using Texts = std::vector<std::wstring>;

TEST(LabJournal, KeepsOneLinePerEvent) {
  const tests::Machine machine;
  lab::Record(lab::kPrinted, L"tab\there");
  lab::Record(lab::kRestart, L"two\r\nlines");
  EXPECT_EQ(lab::Recorded(lab::kRestart), Texts{L"two\\nlines"});
  EXPECT_EQ(lab::Recorded(), (Texts{L"printed\ttab\\there", L"restart\ttwo\\nlines"}));
}

TEST(LabJournal, LosesNothingBetweenThreads) {
  const tests::Machine machine;
  const std::wstring path = lab::JournalPath();
  const auto append = [&] {
    for (int i = 0; i < 500; ++i) lab::RecordIn(path, lab::kPrinted, L"line \u00e4");
  };
  std::thread first(append);
  append();
  first.join();
  EXPECT_EQ(lab::Recorded(lab::kPrinted), Texts(1000, L"line \u00e4"));
}

}  // namespace
