#include "bench/commands.h"

#include <windows.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/handle.h"
#include "tools/qvrnctl/client.h"
#include "tools/qvrnctl/requests.h"

namespace bench {
namespace {

constexpr int kVlans = 60;

std::atomic<int> requests = 0;

void CountAndRun(const std::function<void()>& work) {
  ++requests;
  work();
}

/// What the client prints goes nowhere while this lives.
class Silence {
 public:
  Silence() {
    for (std::size_t i = 0; i < 2; ++i) ::SetStdHandle(kStreams[i], m_nowhere.Get());
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;
  ~Silence() {
    for (std::size_t i = 0; i < 2; ++i) ::SetStdHandle(kStreams[i], m_before[i]);
  }

 private:
  static constexpr DWORD kStreams[] = {STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
  HANDLE m_before[2] = {::GetStdHandle(kStreams[0]), ::GetStdHandle(kStreams[1])};
  qvrn::FileHandle m_nowhere{::CreateFileW(L"NUL", GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr)};
};

void Run(const std::vector<std::wstring>& words) {
  const Silence silence;
  if (qvrn::RunClient(words) != 0) throw std::runtime_error("a command of the client failed");
}

std::wstring Path(const wchar_t* name) { return (std::filesystem::temp_directory_path() / name).wstring(); }

/// A state file: VLANs 1 to 60 of adapter 7, the first `renamed` of them with other names.
std::wstring WriteState(const wchar_t* name, int renamed) {
  std::wstring path = Path(name);
  std::ofstream file{std::filesystem::path(path)};
  file << R"({"adapters": [{"id": "7", "vlans": [)";
  for (int i = 1; i <= kVlans; ++i) {
    file << (i > 1 ? ", " : "") << R"({"number": )" << i << R"(, "name": ")" << (i <= renamed ? "Other " : "VLAN ") << i
         << R"("})";
  }
  file << "]}]}";
  return path;
}

std::vector<std::wstring> Removal(int count) {
  std::vector<std::wstring> words = {L"vlan", L"remove"};
  for (int i = 1; i <= count; ++i) words.push_back(L"7/" + std::to_wstring(i));
  return words;
}

}  // namespace

void MeasureCommands() {
  qvrn::SetRequestRunner(&CountAndRun);
  const std::wstring full = WriteState(L"qvrn-full.json", 0);
  const std::wstring saved = Path(L"qvrn-full.xml");
  const std::vector<std::wstring> fill = {L"apply", full, L"--yes"};
  Run(fill);
  Run({L"save", saved});
  const struct {
    const char* name;
    std::vector<std::wstring> words;
  } rows[] = {
      {"`vlans`", {L"vlans"}},
      {"`vlan remove` of 1", Removal(1)},
      {"`vlan remove` of 10", Removal(10)},
      {"`vlan remove` of 30", Removal(30)},
      {"`restore` of 60", {L"restore", saved, L"--yes"}},
      {"`apply`, no difference", fill},
      {"`apply`, 1 VLAN differs", {L"apply", WriteState(L"qvrn-one.json", 1), L"--yes"}},
      {"`apply`, 60 VLANs differ", {L"apply", WriteState(L"qvrn-all.json", kVlans), L"--yes"}},
  };
  std::printf("\n| command, 60 VLANs | WMI requests | ms |\n|---|--:|--:|\n");
  for (const auto& [name, words] : rows) {
    Run(fill);
    requests = 0;
    const auto start = std::chrono::steady_clock::now();
    Run(words);
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    std::printf("| %s | %d | %.0f |\n", name, requests.load(), time.count());
    std::fflush(stdout);
  }
}

}  // namespace bench
