// The commands that arrange a machine, and those that look at it.
#include <windows.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "lab/labkey.h"
#include "tests/scenario/comproxy.h"
#include "tests/scenario/events.h"
#include "tests/scenario/interpreter.h"
#include "tests/scenario/platformcalls.h"
#include "tools/winhalvextune/common.h"
#include "tools/winhalvextune/cparameters.h"

namespace scenario {
namespace {

const std::string kScenarios = SCENARIOS;

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("no such file: " + path);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string FourDigits(unsigned long index) {
  std::string text = std::to_string(index);
  return std::string(text.size() < 4 ? 4 - text.size() : 0, '0') + text;
}

// "A,B,C"
std::vector<std::string> Listed(const std::string& text) {
  std::vector<std::string> parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, ',');) parts.push_back(part);
  return parts;
}

// "KEY:NAME"; the name begins behind the last colon.
std::pair<std::wstring, std::wstring> SplitName(const std::string& text) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos) return {Wide(text), L""};
  return {Wide(text.substr(0, colon)), Wide(text.substr(colon + 1))};
}

}  // namespace

Sandbox& Interpreter::Machine() {
  if (m_machine == nullptr) throw std::runtime_error("there is no machine yet");
  return *m_machine;
}

// machine [NAME]: a fresh one, then the commands of machines/NAME.txt.
void Interpreter::MakeMachine(Words& words) {
  m_service.Reset();
  m_machine.reset();
  m_machine = std::make_unique<Sandbox>();
  m_aliases = std::make_unique<Aliases>();
  ForgetFailures();
  ForgetAnswers();
  ThePlatform() = {};
  qvrn::g_hResourceModule = nullptr;
  qvrn::p_bIsOs2008 = false;
  if (words.AtEnd()) return;
  std::istringstream commands(ReadFile(kScenarios + "/machines/" + words.Take() + ".txt"));
  for (std::string line; std::getline(commands, line);) {
    if (line.starts_with("> ")) RunNested(line.substr(2));
  }
}

// adapter INDEX[,INDEX...] [COMPONENT-ID] [absent]: instances of the network class; absent ones have no device.
void Interpreter::AddAdapter(Words& words) {
  const std::vector<std::string> indexes = Listed(words.Take());
  const bool absent = words.Accept("absent");
  const std::string component = absent || words.AtEnd() ? "qvx4\\halvex_eth" : words.Take();
  const bool isPresent = !absent && !words.Accept("absent");
  for (const std::string& name : indexes) {
    const std::string key = "<class>\\" + FourDigits(std::stoul(name));
    RunNested("registry-set " + key + ":NetCfgInstanceId \"{" + name + "}\"");
    RunNested("registry-set " + key + ":ComponentId \"" + component + "\"");
    RunNested("registry-set " + key + ":DriverDesc \"Adapter " + name + "\"");
    if (!isPresent) continue;
    const std::string device = "PCI\\VEN_51A0&DEV_4801\\4&" + name;
    RunNested("registry-set " + key + ":DeviceInstanceID \"" + device + "\"");
    RunNested("registry-set SYSTEM\\CurrentControlSet\\Enum\\" + device +
              ":ClassGUID \"{4D36E972-E325-11CE-BFC1-08002bE10318}\"");
  }
}

// parameter ADAPTER[,ADAPTER...] KEYWORD[,KEYWORD...] NAME=VALUE... [enum VALUE...]: descriptions below Ndi\config;
// ParamDesc is the keyword unless given, each value of an enumeration its own description, # the keyword's number.
void Interpreter::AddParameter(Words& words) {
  const std::vector<std::string> adapters = Listed(words.Take());
  const std::vector<std::string> keywords = Listed(words.Take());
  const std::string description = words.TakeRest();
  for (const std::string& adapter : adapters) {
    for (std::size_t at = 0; at < keywords.size(); ++at) {
      const std::string key = "<class>\\" + FourDigits(std::stoul(adapter)) + "\\Ndi\\config\\" + keywords[at];
      RunNested("registry-set " + key + ":ParamDesc \"" + keywords[at] + "\"");
      Words rest(description);
      while (!rest.AtEnd() && !rest.Accept("enum")) {
        const auto [name, value, quoted] = rest.TakeAssignment();
        RunNested("registry-set " + key + ":" + name + " \"" + (value == "#" ? std::to_string(at + 1) : value) + "\"");
      }
      while (!rest.AtEnd()) {
        const std::string value = rest.Take();
        RunNested("registry-set " + key + "\\Enum:" + value + " \"" + value + "\"");
      }
    }
  }
}

// vlan ADAPTER NUMBER NAME [PRIORITY]: created by a put of which nothing is shown.
void Interpreter::AddVlan(Words& words) {
  const std::string parent = words.Take();
  const std::string number = words.Take();
  const std::string name = words.Take();
  const std::string priority = words.AtEnd() ? "0" : words.Take();
  RunNested("put QvrnEN_VLAN ParentDeviceID=\"" + parent + "\" VLANName=\"" + name + "\" VLANNumber=" + number +
            " VLANPriority=" + priority);
  for (const Event& event : TakeEvents()) m_aliases->Shorten(event.text);
}

// registry-set KEY[:NAME] ["TEXT" | multi "TEXT"... [times N] | dword NUMBER | type NUMBER HEX...]; without a value only
// the key.
void Interpreter::WriteRegistry(Words& words) {
  const auto [key, name] = SplitName(Expanded(words));
  StoredValue value;
  if (words.Accept("multi")) {
    std::vector<std::wstring> texts;
    while (!words.AtEnd() && !words.Accept("times")) texts.push_back(Wide(Expanded(words)));
    if (!words.AtEnd()) texts.resize(words.TakeNumber(), texts.back());
    value = MultiStringValue(texts);
  } else if (words.Accept("dword")) {
    const DWORD number = words.TakeNumber();
    const auto* bytes = reinterpret_cast<const BYTE*>(&number);
    value = {REG_DWORD, {bytes, bytes + sizeof number}};
  } else if (words.Accept("type")) {
    value.type = words.TakeNumber();
    while (!words.AtEnd()) value.data.push_back(static_cast<BYTE>(std::stoul(words.Take(), nullptr, 16)));
  } else if (words.Accept("raw")) {
    // Characters as they are, without a terminator of their own.
    value = TextValue(Wide(Expanded(words)));
    value.data.resize(value.data.size() - sizeof(wchar_t));
  } else if (!words.AtEnd()) {
    value = TextValue(Wide(Expanded(words)));
  }
  Machine().Write(key, name, value);
}

void Interpreter::DeleteRegistry(Words& words) {
  const auto [key, name] = SplitName(Expanded(words));
  Machine().Delete(key, name);
}

// registry PART: the values whose path contains it.
void Interpreter::ShowRegistry(Words& words) {
  const std::string part = Expanded(words);
  for (const auto& [name, value] : Machine().Registry()) {
    const std::string path = Utf8(name);
    if (path.find(part) == std::string::npos || value.type == REG_NONE) continue;
    Note("result", "", path + " " + ValueText(value));
  }
}

// level anonymous | identify | impersonate | delegate | none: of the client from here on.
void Interpreter::SetLevel(Words& words) {
  static const std::map<std::string, DWORD> levels = {
      {"none", 0}, {"anonymous", 1}, {"identify", 2}, {"impersonate", 3}, {"delegate", 4}};
  m_service.level = levels.at(words.Take());
}

// lock "NAME" | off: another program holds the write lock of the network configuration.
void Interpreter::SetLock(Words& words) {
  if (words.Accept("off")) {
    Machine().Delete(lab::kLabKey, L"ForeignLock");
  } else {
    Machine().Write(lab::kLabKey, L"ForeignLock", TextValue(Wide(words.Take())));
  }
}

// links NAME=up|down...: the network interfaces that the platform lists.
void Interpreter::SetLinks(Words& words) {
  ThePlatform().interfaces = {{"lo", true}};
  while (!words.AtEnd()) {
    const auto [name, value, quoted] = words.TakeAssignment();
    ThePlatform().interfaces.emplace_back(m_aliases->Expand(name), value == "up");
  }
}

// host messages|visible|os2008|processors N|console TYPED...: what a host of the code may set, or the platform may be.
void Interpreter::SetHost(Words& words) {
  while (!words.AtEnd()) {
    if (words.Accept("messages")) {
      qvrn::g_hResourceModule = ::GetModuleHandleW(nullptr);
    } else if (words.Accept("visible")) {
      ThePlatform().windowStationVisible = true;
    } else if (words.Accept("os2008")) {
      qvrn::p_bIsOs2008 = true;
    } else if (words.Accept("processors")) {
      ThePlatform().processors = words.TakeNumber();
    } else if (words.Accept("console")) {
      ThePlatform().typed = Wide(words.Take());
    } else {
      throw std::runtime_error("unknown: host " + words.TakeRest());
    }
  }
}

// file [utf-16] PATH TEXT: writes a file; text in quotes may have more lines than one.
void Interpreter::WriteFile(Words& words) {
  const bool isWide = words.Accept("utf-16");
  const std::string path = Expanded(words);
  std::string text = words.TakeRest();
  if (text.starts_with('"')) text = Words(text).Take();
  const std::wstring wide = L"\uFEFF" + Wide(text);
  const std::string_view bytes(reinterpret_cast<const char*>(wide.data()), wide.size() * sizeof(wchar_t));
  std::ofstream(path, std::ios::binary) << (isWide ? bytes : std::string_view(text));
}

// cat PATH: a file, without the line ends at its end.
void Interpreter::ShowFile(Words& words) {
  std::string text = ReadFile(Expanded(words));
  text.erase(text.find_last_not_of("\r\n") + 1);
  Note("result", "", text);
}

// fail CALL [PART] CODE [skip N] [times N]: lets calls under observation fail, once unless said otherwise.
void Interpreter::Fail(Words& words) {
  const std::string name = words.Take();
  std::string part = Expanded(words);
  Words rest = words;
  const bool isCode = rest.AtEnd() || rest.Accept("skip") || rest.Accept("times");
  const auto code = static_cast<std::uint32_t>(isCode ? std::stoul(part, nullptr, 0) : words.TakeNumber());
  if (isCode) part.clear();
  const int skip = words.Accept("skip") ? static_cast<int>(words.TakeNumber()) : 0;
  const int times = words.Accept("times") ? static_cast<int>(words.TakeNumber()) : 1;
  FailCalls(name, part, code, skip, times);
}

// before CALL [PART] [skip N] do COMMAND: what another program does meanwhile.
void Interpreter::Before(Words& words) {
  const std::string name = words.Take();
  std::string part;
  int skip = 0;
  while (!words.Accept("do")) {
    if (words.Accept("skip")) {
      skip = static_cast<int>(words.TakeNumber());
    } else {
      part = Expanded(words);
    }
  }
  BeforeCalls(name, part, skip, 1, [this, command = words.TakeRest()] { RunNested(command); });
}

// answer NAME=VALUE: what every object answers when this property is read in the next request.
void Interpreter::Answer(Words& words) {
  for (const PropertyValue& property : TakeProperties(words)) {
    VARIANT value = {};
    value.vt = property.type;
    if (property.type == VT_I4) value.lVal = property.number;
    if (property.type == VT_BSTR) value.bstrVal = ::SysAllocString(property.text.c_str());
    AnswerProperty(property.name, value);
    ::VariantClear(&value);
  }
}

// show KIND|CALL...: also shows these from here on; hide takes them back.
void Interpreter::Show(Words& words) {
  while (!words.AtEnd()) m_shown.insert(words.Take());
}

void Interpreter::Hide(Words& words) {
  while (!words.AtEnd()) m_shown.erase(words.Take());
}

}  // namespace scenario
