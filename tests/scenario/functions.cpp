#include "tests/scenario/functions.h"

#include <windows.h>

#include <algorithm>
#include <map>
#include <memory>
#include <stdexcept>

#include "tests/scenario/events.h"
#include "tests/scenario/requests.h"
#include "tools/winhalvextune/common.h"
#include "tools/wmi/qvrnwmiprovider/utils.h"

namespace scenario {
namespace {

using Arguments = std::vector<std::wstring>;

unsigned long Number(const std::wstring& word) { return std::stoul(word, nullptr, 0); }

/// A buffer of exactly the size told, full of '#', for functions that write a text.
class Buffer {
 public:
  explicit Buffer(const std::wstring& size) : m_chars(Number(size)), m_text(std::make_unique<wchar_t[]>(m_chars)) {
    std::fill_n(m_text.get(), m_chars, L'#');
  }
  wchar_t* Get() const { return m_text.get(); }
  std::size_t Chars() const { return m_chars; }
  std::string Text() const {
    return " " + Quoted(std::wstring(m_text.get(), ::wcsnlen(m_text.get(), m_chars)).c_str());
  }

 private:
  std::size_t m_chars;
  std::unique_ptr<wchar_t[]> m_text;
};

std::string Code(LONG code) { return Hex(static_cast<std::uint32_t>(code)); }
std::string Bool(bool value) { return value ? "true" : "false"; }
qvrn::Message Id(const std::wstring& word) { return static_cast<qvrn::Message>(Number(word)); }

std::string DeviceNode(const Arguments& words) {
  const Buffer buffer(words.at(1));
  GUID guid = {};
  ::CLSIDFromString(words.at(0).c_str(), &guid);
  const HRESULT hr = qvrn::GetAdapterPnpDevNodeId(guid, buffer.Get(), buffer.Chars());
  return Code(hr) + buffer.Text();
}

template <typename Function>
std::string IntoBuffer(const Arguments& words, Function function) {
  const Buffer buffer(words.at(1));
  const LONG result = function(words.at(0).c_str(), buffer.Get(), buffer.Chars());
  return Code(result) + buffer.Text();
}

std::string Formatted(const Arguments& words) {
  const wchar_t* inserts[] = {words.at(1).c_str()};
  std::wstring text = L"as before";
  const bool result = qvrn::FormatResourceMessage(Id(words.at(0)), text, inserts);
  return Bool(result) + " " + Quoted(text.c_str());
}

std::string Shown(const Arguments& words) {
  const wchar_t* inserts[] = {words.at(1).c_str()};
  qvrn::ShowMessage(Id(words.at(0)), inserts);
  return "";
}

using Function = std::string (*)(const Arguments& words);

const std::map<std::string, Function>& Functions() {
  static const std::map<std::string, Function> functions = {
      {"CheckAdapterIndex", [](const Arguments& w) { return Code(qvrn::CheckAdapterIndex(Number(w.at(0)))); }},
      {"FindParentAdapterIndex", [](const Arguments& w) { return IntoBuffer(w, qvrn::FindParentAdapterIndex); }},
      {"GetAdapterIndexByInstanceId",
       [](const Arguments& w) { return IntoBuffer(w, qvrn::GetAdapterIndexByInstanceId); }},
      {"GetAdapterPnpDevNodeId", DeviceNode},
      {"GetDeviceNodeId", [](const Arguments& w) { return IntoBuffer(w, qvrn::GetDeviceNodeId); }},
      {"RenameVlanComponent",
       [](const Arguments& w) { return Bool(qvrn::RenameVlanComponent(w.at(0).c_str(), w.at(1).c_str())); }},
      {"RestartAdapter", [](const Arguments& w) { return Bool(qvrn::RestartAdapter(w.at(0).c_str())); }},
      {"RestartDevice", [](const Arguments& w) { return Bool(qvrn::RestartDevice(w.at(0).c_str())); }},
      {"FormatResourceMessage", Formatted},
      {"ShowMessage", Shown},
      {"ShowSystemError",
       [](const Arguments& w) { return qvrn::ShowSystemError(Id(w.at(0)), Number(w.at(1))), std::string(); }},
      {"ShowHexError",
       [](const Arguments& w) { return qvrn::ShowHexError(Id(w.at(0)), Number(w.at(1))), std::string(); }},
  };
  return functions;
}

}  // namespace

std::string CallFunction(const std::string& name, const std::vector<std::wstring>& arguments) {
  const auto function = Functions().find(name);
  if (function == Functions().end()) throw std::runtime_error("no such function: " + name);
  std::string result;
  RunObserved(3, [&] {
    const std::string text = function->second(arguments);
    const Observation unobserved(false);
    result = std::string(text);
  });
  return result;
}

}  // namespace scenario
