#include "lab/journal.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/support/machine.h"

namespace {

using Texts = std::vector<std::wstring>;

Texts g_heard;

TEST(LabJournal, KeepsOneLinePerEventButWhileSomebodyListens) {
  const tests::Machine machine;
  lab::Record(lab::kPrinted, L"tab\there");
  lab::SetJournalListener([](std::wstring_view kind, std::wstring_view text) {
    g_heard.push_back(std::wstring(kind) + L": " + std::wstring(text));
  });
  lab::Record(lab::kPrinted, L"heard\n");
  lab::SetJournalListener(nullptr);
  lab::Record(lab::kRestart, L"two\r\nlines");
  EXPECT_EQ(lab::Recorded(lab::kRestart), Texts{L"two\\nlines"});
  EXPECT_EQ(lab::Recorded(), (Texts{L"printed\ttab\\there", L"restart\ttwo\\nlines"}));
  EXPECT_EQ(g_heard, Texts{L"printed: heard\n"});
}

TEST(LabJournal, LosesNothingBetweenThreads) {
  const tests::Machine machine;
  const auto append = [] {
    for (int i = 0; i < 500; ++i) lab::Record(lab::kPrinted, L"line \u00e4");
  };
  std::thread first(append);
  append();
  first.join();
  EXPECT_EQ(lab::Recorded(lab::kPrinted), Texts(1000, L"line \u00e4"));
}

}  // namespace
