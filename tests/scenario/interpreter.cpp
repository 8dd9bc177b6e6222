#include "tests/scenario/interpreter.h"

#include <algorithm>
#include <regex>
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

const std::string kEach = "> each ";
constexpr char kArrow[] = " => ";
constexpr char kOr[] = " or ";

void NoteAssertion(const char* expression, const char* file, unsigned line) {
  const Observation unobserved(false);
  // People look for this one by its line; others move.
  const std::string place = std::string(file) == "cvlanmanager" ? " " + std::to_string(line) : "";
  Note("assertion", "", "assertion \"" + std::string(expression) + "\" " + file + place);
}

// The key parts of a VLAN are the same for all.
std::string WithoutKeyParts(const std::string& text) {
  static const std::regex parts(R"re( (CreationClassName|SystemCreationClassName|SystemName)="[^"]*")re");
  return std::regex_replace(text, parts, "");
}

bool IsCommand(const std::string& line) { return line.starts_with("> "); }
// One line for a command and what is seen.
bool IsRow(const std::string& line) { return line.starts_with(">> "); }
// The rest of a command that is too long for one line.
bool IsContinuation(const std::string& line) { return line.starts_with("+ "); }
bool IsSeen(const std::string& line) {
  return !line.empty() && !IsCommand(line) && !IsRow(line) && !IsContinuation(line) && line.front() != '#';
}

std::string Joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all += (all.empty() ? "" : " | ") + text;
  return all;
}

/// An acting command while it runs: notes what the registry is afterwards that it was not before, only where that is
/// shown, as it costs time. A failure that no call met is a mistake of the scenario.
class Act {
 public:
  Act(const Sandbox& machine, bool isShown) : m_machine(machine), m_isShown(isShown) {
    if (m_isShown) m_before = machine.Registry();
  }
  Act(const Act&) = delete;
  Act& operator=(const Act&) = delete;
  ~Act() {
    if (m_isShown) {
      for (const std::string& change : Changes(m_before, m_machine.Registry())) Note("registry", "", change);
    }
    ForgetAnswers();
    for (const std::string& unused : ForgetFailures()) Note("error", "", "no call failed: " + unused);
  }

 private:
  const Sandbox& m_machine;
  bool m_isShown;
  Snapshot m_before;
};

}  // namespace

Interpreter::Interpreter() : shown(kAlwaysShown) {
  qvrn::SetAssertionReporter(NoteAssertion);
  qvrn::SetPrinter([](const char* text) {
    const Observation unobserved(false);
    Note("printed", "", Quoted(Wide(text).c_str()));
  });
}

Interpreter::~Interpreter() { service.Reset(); }

const Sandbox& Interpreter::Machine() const {
  if (!machine) throw std::runtime_error("there is no machine yet");
  return *machine;
}

std::vector<PropertyValue> Interpreter::TakeProperties(Words& words) const {
  std::vector<PropertyValue> properties;
  while (!words.AtEnd()) {
    const auto [name, value, quoted] = words.TakeAssignment();
    PropertyValue property = {Wide(name), VT_NULL, L"", 0};
    if (quoted) {
      property = {Wide(name), VT_BSTR, Wide(aliases.Expand(value)), 0};
    } else if (value != "null") {
      property = {Wide(name), VT_I4, L"", std::stol(value)};
    }
    properties.push_back(property);
  }
  return properties;
}

std::string Interpreter::Replay(const std::string& text) {
  std::string replayed;
  std::string each;
  const std::vector<std::string> lines = Split(text, "\n");
  for (std::size_t at = 0; at < lines.size();) {
    const std::string& line = lines[at++];
    if (IsRow(line)) {
      std::string last;
      for (const std::string& words : Split(line.substr(3, line.find(kArrow) - 3), kOr)) {
        const std::string seen = Joined(Tell(each.empty() ? words : Replaced(each, "{}", words)));
        const std::string end = (seen.empty() ? "" : kArrow + seen) + "\n";
        // What the command before it has seen as well stands there once.
        if (end == last) replayed.erase(replayed.size() - end.size());
        replayed += (end == last ? kOr : ">> ") + words + end;
        last = end;
      }
      continue;
    }
    // What stands below no command is not seen.
    if (IsSeen(line)) continue;
    replayed += line + "\n";
    if (!IsCommand(line)) continue;
    each = line.starts_with(kEach) ? line.substr(kEach.size()) : "";
    if (!each.empty()) continue;
    std::string command = line.substr(2);
    for (; at < lines.size() && IsContinuation(lines[at]); ++at) {
      command += lines[at].substr(2);
      replayed += lines[at] + "\n";
    }
    while (at < lines.size() && IsSeen(lines[at])) ++at;
    for (const std::string& seen : Tell(command)) replayed += seen + "\n";
  }
  return replayed;
}

std::vector<std::string> Interpreter::Tell(const std::string& line) {
  std::vector<std::string> seen = Run(line);
  if (line.starts_with("machine")) m_story.clear();
  if (!line.starts_with("sweep")) m_story.push_back(line);
  return seen;
}

// What a line does, one after the other: "; " and the name of a command stand between commands.
std::vector<std::string> Interpreter::CommandsOf(const std::string& line) {
  std::vector<std::string> commands;
  for (const std::string& part : Split(line, "; ")) {
    const std::string name = part.substr(0, part.find(' '));
    if (commands.empty() || name == "sweep" || ArrangingCommands().contains(name) || ActingCommands().contains(name)) {
      commands.push_back(part);
    } else {
      commands.back() += "; " + part;
    }
  }
  return commands;
}

std::vector<std::string> Interpreter::Run(const std::string& line) {
  try {
    TakeEvents();
    for (const std::string& command : CommandsOf(line)) RunCommand(command);
  } catch (const std::exception& error) {
    return {"error: " + std::string(error.what())};
  }
  std::vector<std::string> seen;
  for (Event& event : TakeEvents()) {
    // Short names are given in the order of all events, so that showing more changes none.
    event.text = aliases.Shorten(event.text);
    if (IsShown(event)) seen.push_back(Line(event));
  }
  return seen;
}

void Interpreter::RunCommand(const std::string& line) {
  Words words(line);
  const std::string name = words.Take();
  if (const auto arranging = ArrangingCommands().find(name); arranging != ArrangingCommands().end()) {
    arranging->second(*this, words);
  } else if (const auto acting = ActingCommands().find(name); acting != ActingCommands().end()) {
    const Act act(Machine(), ShowsRegistry());
    acting->second(*this, words);
  } else if (name == "sweep") {
    Sweep(words);
  } else {
    throw std::runtime_error("no such command: " + name);
  }
  if (!words.AtEnd()) throw std::runtime_error("too many words: " + words.TakeRest());
}

// By kind, by name, or by "KIND:PART" of the text.
bool Interpreter::IsShown(const Event& event) const {
  if (shown.contains(event.kind) || (!event.name.empty() && shown.contains(event.name))) return true;
  const std::string prefix = event.kind + ":";
  for (auto part = shown.lower_bound(prefix); part != shown.end() && part->starts_with(prefix); ++part) {
    if (event.text.find(part->substr(prefix.size())) != std::string::npos) return true;
  }
  return false;
}

bool Interpreter::ShowsRegistry() const {
  return std::any_of(shown.begin(), shown.end(), [](const std::string& name) { return name.starts_with("registry"); });
}

std::string Interpreter::Line(const Event& event) const {
  const bool isPlain = event.kind == "result" || event.kind == "assertion" || event.kind == "client" ||
                       event.kind == "error" || !event.name.empty();
  const bool isWhole = event.kind != "indicate" || shown.contains("SystemName");
  const std::string text = isWhole ? event.text : WithoutKeyParts(event.text);
  return isPlain ? text : event.kind + " " + text;
}

}  // namespace scenario
