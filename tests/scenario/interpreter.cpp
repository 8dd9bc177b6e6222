#include "tests/scenario/interpreter.h"

#include <algorithm>
#include <regex>
#include <sstream>
#include <stdexcept>

#include "mux/notifyob/notifytrace.h"
#include "platform/assertion.h"
#include "tests/scenario/comproxy.h"
#include "tests/scenario/events.h"
#include "tests/scenario/platformcalls.h"

namespace scenario {
namespace {

// What a scenario shows unless it says otherwise.
const std::set<std::string> kAlwaysShown = {"indicate", "result", "init",   "assertion",
                                            "box",      "kept",   "client", "error"};

void NoteAssertion(const char* expression, const char* file, unsigned line) {
  const Observation unobserved(false);
  // People look for this one by its line; others move.
  const std::string place = std::string(file) == "cvlanmanager" ? " " + std::to_string(line) : "";
  Note("assertion", "", "assertion \"" + std::string(expression) + "\" " + file + place);
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// The key parts of a VLAN are the same for all.
std::string WithoutKeyParts(const std::string& text) {
  static const std::regex parts(R"re( (CreationClassName|SystemCreationClassName|SystemName)="[^"]*")re");
  return std::regex_replace(text, parts, "");
}

constexpr char kArrow[] = " => ";

bool IsCommand(const std::string& line) { return line.starts_with("> "); }
// One line for a command and what is seen.
bool IsRow(const std::string& line) { return line.starts_with(">> "); }
bool IsSeen(const std::string& line) {
  return !line.empty() && !IsCommand(line) && !IsRow(line) && line.front() != '#';
}

std::string Joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all += (all.empty() ? "" : " | ") + text;
  return all;
}

}  // namespace

Interpreter::Interpreter() : m_shown(kAlwaysShown) {
  qvrn::SetAssertionReporter(NoteAssertion);
  qvrn::SetPrinter([](const char* text) {
    const Observation unobserved(false);
    Note("printed", "", Quoted(Wide(text).c_str()));
  });
}

Interpreter::~Interpreter() {
  m_service.Reset();
  m_machine.reset();
}

std::string Interpreter::Replay(const std::string& text) {
  std::string replayed;
  const std::vector<std::string> lines = Lines(text);
  for (std::size_t at = 0; at < lines.size();) {
    const std::string& line = lines[at++];
    if (IsRow(line)) {
      const std::string command = line.substr(0, line.find(kArrow));
      replayed += command + kArrow + Joined(Tell(command.substr(3))) + "\n";
      continue;
    }
    replayed += line + "\n";
    if (!IsCommand(line)) continue;
    while (at < lines.size() && IsSeen(lines[at])) ++at;
    for (const std::string& seen : Tell(line.substr(2))) replayed += seen + "\n";
  }
  return replayed;
}

std::vector<std::string> Interpreter::Tell(const std::string& command) {
  std::vector<std::string> seen = Run(command);
  if (command.starts_with("machine")) m_story.clear();
  if (!command.starts_with("sweep")) m_story.push_back(command);
  return seen;
}

// What a line does, one after the other: "; " and the name of a command stand between commands.
std::vector<std::string> Interpreter::CommandsOf(const std::string& line) {
  std::vector<std::string> commands = {line};
  for (std::size_t at = 0; (at = commands.back().find("; ", at)) != std::string::npos; ++at) {
    const std::string next = commands.back().substr(at + 2);
    if (!Commands().contains(next.substr(0, next.find(' ')))) continue;
    commands.back().erase(at);
    commands.push_back(next);
    at = static_cast<std::size_t>(-1);
  }
  return commands;
}

std::vector<std::string> Interpreter::Run(const std::string& line) {
  try {
    TakeEvents();
    for (const std::string& command : CommandsOf(line)) RunNested(command);
    return Seen();
  } catch (const std::exception& error) {
    return {"error: " + std::string(error.what())};
  }
}

void Interpreter::RunNested(const std::string& line) {
  Words words(line);
  const std::string name = words.Take();
  const auto command = Commands().find(name);
  if (command == Commands().end()) throw std::runtime_error("no such command: " + name);
  (this->*command->second)(words);
  if (!words.AtEnd()) throw std::runtime_error("too many words: " + words.TakeRest());
}

// By kind, by name, or by "KIND:PART" of the text.
bool Interpreter::IsShown(const Event& event) const {
  if (m_shown.contains(event.kind) || (!event.name.empty() && m_shown.contains(event.name))) return true;
  const std::string prefix = event.kind + ":";
  for (auto part = m_shown.lower_bound(prefix); part != m_shown.end() && part->starts_with(prefix); ++part) {
    if (event.text.find(part->substr(prefix.size())) != std::string::npos) return true;
  }
  return false;
}

bool Interpreter::ShowsRegistry() const {
  return std::any_of(m_shown.begin(), m_shown.end(),
                     [](const std::string& name) { return name.starts_with("registry"); });
}

std::string Interpreter::Line(const Event& event) const {
  const bool isPlain = event.kind == "result" || event.kind == "assertion" || event.kind == "client" ||
                       event.kind == "error" || !event.name.empty();
  const bool isWhole = event.kind != "indicate" || m_shown.contains("SystemName");
  const std::string text = isWhole ? event.text : WithoutKeyParts(event.text);
  return isPlain ? text : event.kind + " " + text;
}

std::vector<std::string> Interpreter::Seen() {
  std::vector<std::string> seen;
  for (Event& event : TakeEvents()) {
    // Short names are given in the order of all events, so that showing more changes none.
    if (m_aliases != nullptr) event.text = m_aliases->Shorten(event.text);
    if (IsShown(event)) seen.push_back(Line(event));
  }
  return seen;
}

const std::map<std::string, Interpreter::Command>& Interpreter::Commands() {
  static const std::map<std::string, Command> commands = {
      {"machine", &Interpreter::MakeMachine},
      {"adapter", &Interpreter::AddAdapter},
      {"parameter", &Interpreter::AddParameter},
      {"vlan", &Interpreter::AddVlan},
      {"registry-set", &Interpreter::WriteRegistry},
      {"registry-delete", &Interpreter::DeleteRegistry},
      {"registry", &Interpreter::ShowRegistry},
      {"level", &Interpreter::SetLevel},
      {"lock", &Interpreter::SetLock},
      {"links", &Interpreter::SetLinks},
      {"host", &Interpreter::SetHost},
      {"file", &Interpreter::WriteFile},
      {"cat", &Interpreter::ShowFile},
      {"fail", &Interpreter::Fail},
      {"before", &Interpreter::Before},
      {"answer", &Interpreter::Answer},
      {"show", &Interpreter::Show},
      {"hide", &Interpreter::Hide},
      {"provider", &Interpreter::UseProvider},
      {"enumerate", &Interpreter::Enumerate},
      {"get", &Interpreter::Get},
      {"put", &Interpreter::Put},
      {"change", &Interpreter::Change},
      {"delete", &Interpreter::Delete},
      {"method", &Interpreter::CallMethod},
      {"add-miniport", &Interpreter::AddMiniport},
      {"remove-miniport", &Interpreter::RemoveMiniport},
      {"install", &Interpreter::InstallDriver},
      {"call", &Interpreter::Call},
      {"qvrnctl", &Interpreter::RunClient},
      {"sweep", &Interpreter::Sweep},
  };
  return commands;
}

}  // namespace scenario
