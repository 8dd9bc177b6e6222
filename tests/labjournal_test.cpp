#include "lab/journal.h"

#include <thread>

#include "tests/support/functiontest.h"

namespace {

using LabJournal = tests::FunctionTest;

TEST_F(LabJournal, KeepsOneLinePerEventOfEachThread) {
  Tell("machine; registry-set SOFTWARE\\QvrnLab:Journal \"<temp>journal.txt\"");
  lab::Record(lab::kPrinted, L"tab\there");
  lab::Record(lab::kRestart, L"two\r\nlines");
  EXPECT_THAT(lab::Recorded(), ::testing::ElementsAre(L"printed\ttab\\there", L"restart\ttwo\\nlines"));
  lab::ClearJournal();
  const auto append = [] {
    for (int i = 0; i < 100; ++i) lab::Record(lab::kPrinted, L"line \u00e4");
  };
  std::thread first(append);
  append();
  first.join();
  EXPECT_EQ(lab::Recorded(lab::kPrinted), std::vector<std::wstring>(200, L"line \u00e4"));
}

}  // namespace
