// The commands that arrange a machine, and those that look at it.
#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "lab/labkey.h"
#include "platform/comtext.h"
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

// "KEY:NAME"; the name begins behind the last colon.
std::pair<std::wstring, std::wstring> SplitName(const std::string& text) {
  const std::size_t colon = std::min(text.rfind(':'), text.size());
  return {Wide(text.substr(0, colon)), Wide(text.substr(std::min(colon + 1, text.size())))};
}

// Writes REG_SZ values of a key of the stage's machine.
void WriteTexts(const Interpreter& stage, const std::string& key, const std::map<std::string, std::string>& texts) {
  for (const auto& [name, text] : texts)
    stage.Machine().Write(Wide(stage.aliases.Expand(key)), Wide(name), TextValue(Wide(stage.aliases.Expand(text))));
}

std::string AdapterKey(const std::string& index) {
  return "<class>\\" + std::string(index.size() < 4 ? 4 - index.size() : 0, '0') + index;
}

// machine [NAME]: a fresh one, then the commands of machines/NAME.txt.
void MakeMachine(Interpreter& stage, Words& words) {
  stage.service.Reset();
  stage.machine.emplace();
  stage.aliases = {};
  ForgetFailures();
  ForgetAnswers();
  ThePlatform() = {};
  qvrn::g_hResourceModule = nullptr;
  qvrn::p_bIsOs2008 = false;
  if (words.AtEnd()) return;
  for (const std::string& line : Split(ReadFile(kScenarios + "/machines/" + words.Take() + ".txt"), "\n")) {
    if (line.starts_with("> ")) stage.RunCommand(line.substr(2));
  }
}

// adapter INDEX[,INDEX...] [COMPONENT-ID] [absent]: instances of the network class; absent ones have no device.
void AddAdapter(Interpreter& stage, Words& words) {
  const std::vector<std::string> indexes = Split(words.Take(), ",");
  const bool absent = words.Accept("absent");
  const std::string component = absent || words.AtEnd() ? "qvx4\\halvex_eth" : words.Take();
  const bool isPresent = !absent && !words.Accept("absent");
  for (const std::string& index : indexes) {
    const std::string key = AdapterKey(index);
    WriteTexts(
        stage, key,
        {{"NetCfgInstanceId", "{" + index + "}"}, {"ComponentId", component}, {"DriverDesc", "Adapter " + index}});
    if (!isPresent) continue;
    const std::string device = "PCI\\VEN_51A0&DEV_4801\\4&" + index;
    WriteTexts(stage, key, {{"DeviceInstanceID", device}});
    WriteTexts(stage, "SYSTEM\\CurrentControlSet\\Enum\\" + device,
               {{"ClassGUID", "{4D36E972-E325-11CE-BFC1-08002bE10318}"}});
  }
}

// parameter ADAPTER[,ADAPTER...] KEYWORD[,KEYWORD...] NAME=VALUE... [enum VALUE...]: descriptions below Ndi\config;
// ParamDesc is the keyword unless given, each value of an enumeration its own description, # the keyword's number.
void AddParameter(Interpreter& stage, Words& words) {
  const std::vector<std::string> adapters = Split(words.Take(), ",");
  const std::vector<std::string> keywords = Split(words.Take(), ",");
  std::map<std::string, std::string> texts;
  std::map<std::string, std::string> values;
  while (!words.AtEnd() && !words.Accept("enum")) {
    const auto [name, value, quoted] = words.TakeAssignment();
    texts[name] = value;
  }
  while (!words.AtEnd()) {
    const std::string value = words.Take();
    values[value] = value;
  }
  for (const std::string& adapter : adapters) {
    int number = 0;
    for (const std::string& keyword : keywords) {
      const std::string key = AdapterKey(adapter) + "\\Ndi\\config\\" + keyword;
      WriteTexts(stage, key, {{"ParamDesc", keyword}});
      ++number;
      for (const auto& [name, text] : texts)
        WriteTexts(stage, key, {{name, text == "#" ? std::to_string(number) : text}});
      WriteTexts(stage, key + "\\Enum", values);
    }
  }
}

// vlan ADAPTER NUMBER NAME [PRIORITY]: created by a put of which nothing is shown.
void AddVlan(Interpreter& stage, Words& words) {
  const std::string parent = words.Take();
  const std::string number = words.Take();
  const std::string name = words.Take();
  const std::string priority = words.AtEnd() ? "0" : words.Take();
  stage.RunCommand("put QvrnEN_VLAN ParentDeviceID=\"" + parent + "\" VLANName=\"" + name + "\" VLANNumber=" + number +
                   " VLANPriority=" + priority);
  for (const Event& event : TakeEvents()) stage.aliases.Shorten(event.text);
}

// registry-set KEY[:NAME] ["TEXT" | multi "TEXT"... [times N] | dword NUMBER | type NUMBER HEX...]; without a value only
// the key.
void WriteRegistry(Interpreter& stage, Words& words) {
  const auto [key, name] = SplitName(stage.Expanded(words));
  StoredValue value;
  if (words.Accept("multi")) {
    std::vector<std::wstring> texts;
    while (!words.AtEnd() && !words.Accept("times")) texts.push_back(Wide(stage.Expanded(words)));
    if (!words.AtEnd()) texts.resize(words.TakeNumber(), texts.back());
    value = MultiStringValue(texts);
  } else if (words.Accept("dword")) {
    const DWORD number = words.TakeNumber();
    const auto* bytes = reinterpret_cast<const BYTE*>(&number);
    value = {REG_DWORD, {bytes, bytes + sizeof number}};
  } else if (words.Accept("type")) {
    value.type = words.TakeNumber();
    while (!words.AtEnd()) value.data.push_back(static_cast<BYTE>(std::stoul(words.Take(), nullptr, 16)));
  } else if (!words.AtEnd()) {
    // Raw: characters as they are, without a terminator of their own.
    const bool isRaw = words.Accept("raw");
    value = TextValue(Wide(stage.Expanded(words)));
    if (isRaw) value.data.resize(value.data.size() - sizeof(wchar_t));
  }
  stage.Machine().Write(key, name, value);
}

void DeleteRegistry(Interpreter& stage, Words& words) {
  const auto [key, name] = SplitName(stage.Expanded(words));
  stage.Machine().Delete(key, name);
}

// registry PART: the values whose path contains it.
void ShowRegistry(Interpreter& stage, Words& words) {
  const std::string part = stage.Expanded(words);
  for (const auto& [name, value] : stage.Machine().Registry()) {
    const std::string path = Utf8(name);
    if (path.find(part) == std::string::npos || value.type == REG_NONE) continue;
    Note("result", "", path + " " + ValueText(value));
  }
}

// level anonymous | identify | impersonate | delegate | none: of the client from here on.
void SetLevel(Interpreter& stage, Words& words) {
  static const std::map<std::string, DWORD> levels = {
      {"none", 0}, {"anonymous", 1}, {"identify", 2}, {"impersonate", 3}, {"delegate", 4}};
  stage.service.level = levels.at(words.Take());
}

// lock "NAME" | off: another program holds the write lock of the network configuration.
void SetLock(Interpreter& stage, Words& words) {
  if (words.Accept("off")) {
    stage.Machine().Delete(lab::kLabKey, L"ForeignLock");
  } else {
    stage.Machine().Write(lab::kLabKey, L"ForeignLock", TextValue(Wide(words.Take())));
  }
}

// links NAME=up|down...: the network interfaces that the platform lists.
void SetLinks(Interpreter& stage, Words& words) {
  ThePlatform().interfaces = {{"lo", true}};
  while (!words.AtEnd()) {
    const auto [name, value, quoted] = words.TakeAssignment();
    ThePlatform().interfaces.emplace_back(stage.aliases.Expand(name), value == "up");
  }
}

// host [visible] [messages] [os2008] [processors N] [console TYPED]: what a host of the code may set, or the platform may be.
void SetHost(Interpreter&, Words& words) {
  if (words.Accept("visible")) ThePlatform().windowStationVisible = true;
  if (words.Accept("messages")) qvrn::g_hResourceModule = ::GetModuleHandleW(nullptr);
  if (words.Accept("os2008")) qvrn::p_bIsOs2008 = true;
  if (words.Accept("processors")) ThePlatform().processors = words.TakeNumber();
  if (words.Accept("console")) ThePlatform().typed = Wide(words.Take());
}

// file [utf-16] PATH TEXT: writes a file; text in quotes may have more lines than one.
void WriteFile(Interpreter& stage, Words& words) {
  const bool isWide = words.Accept("utf-16");
  const std::string path = stage.Expanded(words);
  std::string text = words.TakeRest();
  if (text.starts_with('"')) text = Words(text).Take();
  const std::wstring wide = L"\uFEFF" + Wide(text);
  const std::string_view bytes(reinterpret_cast<const char*>(wide.data()), wide.size() * sizeof(wchar_t));
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << (isWide ? bytes : std::string_view(text));
}

// interrupt: Ctrl-C, as the console tells it.
void Interrupt(Interpreter&, Words&) {
  if (ThePlatform().interruptHandler != nullptr) ThePlatform().interruptHandler(CTRL_C_EVENT);
}

// cat PATH: a file, without the line ends at its end.
void ShowFile(Interpreter& stage, Words& words) {
  std::string text = ReadFile(stage.Expanded(words));
  text.erase(text.find_last_not_of("\r\n") + 1);
  Note("result", "", text);
}

// fail CALL [PART] CODE [skip N] [times N]: lets calls under observation fail, once unless said otherwise.
void Fail(Interpreter& stage, Words& words) {
  const std::string name = words.Take();
  std::string part = stage.Expanded(words);
  Words rest = words;
  const bool isCode = rest.AtEnd() || rest.Accept("skip") || rest.Accept("times");
  const auto code = static_cast<std::uint32_t>(isCode ? std::stoul(part, nullptr, 0) : words.TakeNumber());
  if (isCode) part.clear();
  const int skip = words.Accept("skip") ? static_cast<int>(words.TakeNumber()) : 0;
  const int times = words.Accept("times") ? static_cast<int>(words.TakeNumber()) : 1;
  FailCalls(name, part, code, skip, times);
}

// before CALL [PART] [skip N] do COMMAND: what another program does meanwhile.
void Before(Interpreter& stage, Words& words) {
  const std::string name = words.Take();
  std::string part;
  int skip = 0;
  while (!words.Accept("do")) {
    if (words.Accept("skip")) {
      skip = static_cast<int>(words.TakeNumber());
    } else {
      part = stage.Expanded(words);
    }
  }
  FailCalls(name, part, 0, skip, 1, [&stage, command = words.TakeRest()] { stage.RunCommand(command); });
}

// answer NAME=VALUE...: what every object answers when this property is read in the next request.
void Answer(Interpreter& stage, Words& words) {
  for (const PropertyValue& property : stage.TakeProperties(words)) {
    qvrn::Variant value;
    property.Set(*value.Get());
    AnswerProperty(property.name, *value.Get());
  }
}

// provider new N [without-namespace] | use N | release N
void UseProvider(Interpreter& stage, Words& words) {
  const std::string verb = words.Take();
  const int number = static_cast<int>(words.TakeNumber());
  if (verb == "new") stage.service.Create(number, !words.Accept("without-namespace"));
  if (verb == "use") stage.service.Use(number);
  if (verb == "release") stage.service.Release(number);
}

// show KIND|CALL...: also shows these from here on; hide takes them back.
void Show(Interpreter& stage, Words& words) {
  while (!words.AtEnd()) stage.shown.insert(words.Take());
}

void Hide(Interpreter& stage, Words& words) {
  while (!words.AtEnd()) stage.shown.erase(words.Take());
}

}  // namespace

const Commands& ArrangingCommands() {
  static const Commands commands = {{"machine", MakeMachine},
                                    {"adapter", AddAdapter},
                                    {"parameter", AddParameter},
                                    {"vlan", AddVlan},
                                    {"registry-set", WriteRegistry},
                                    {"registry-delete", DeleteRegistry},
                                    {"registry", ShowRegistry},
                                    {"level", SetLevel},
                                    {"lock", SetLock},
                                    {"links", SetLinks},
                                    {"host", SetHost},
                                    {"file", WriteFile},
                                    {"cat", ShowFile},
                                    {"interrupt", Interrupt},
                                    {"fail", Fail},
                                    {"before", Before},
                                    {"answer", Answer},
                                    {"show", Show},
                                    {"hide", Hide},
                                    {"provider", UseProvider}};
  return commands;
}

}  // namespace scenario
