// Runs scenarios: text files of commands, each with what was seen below it.
//
//   # A comment.
//   > machine adapters
//   > enumerate QvrnEN_VLAN
//   result 0x80041002, sink 0x80041002 0x80041002
//
// or, on one line, >> COMMAND or COMMAND => what is seen | and so on. tests/scenarios/README.md lists the commands.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/scenario/aliases.h"
#include "tests/scenario/events.h"
#include "tests/scenario/requests.h"
#include "tests/scenario/sandbox.h"
#include "tests/scenario/words.h"

namespace scenario {

class Interpreter {
 public:
  Interpreter();
  ~Interpreter();
  Interpreter(const Interpreter&) = delete;
  Interpreter& operator=(const Interpreter&) = delete;

  /// The file as it would be if what is seen now were right; equal to `text` when the scenario holds.
  std::string Replay(const std::string& text);

  // What commands work on.
  std::optional<Sandbox> machine;
  Aliases aliases;
  Service service;
  std::set<std::string> shown;  ///< kinds, names of calls, KIND:PART

  /// Runs one command; what it does is in the list of events.
  void RunCommand(const std::string& line);
  std::string Expanded(Words& words) const { return aliases.Expand(words.Take()); }
  /// NAME="TEXT" | NAME=NUMBER | NAME=null ..., to the end.
  std::vector<PropertyValue> TakeProperties(Words& words) const;
  /// The machine, which there must be.
  const Sandbox& Machine() const;

 private:
  static std::vector<std::string> CommandsOf(const std::string& line);
  /// Runs a line of the story; gives what is seen.
  std::vector<std::string> Tell(const std::string& line);
  std::vector<std::string> Run(const std::string& line);
  bool IsShown(const Event& event) const;
  bool ShowsRegistry() const;
  /// An event as a scenario shows it.
  std::string Line(const Event& event) const;

  // Failing calls: sweep.cpp.
  void Sweep(Words& words);
  std::vector<Event> RunAnew(const std::string& command, const std::set<std::string>& kinds, const Event* failing,
                             int earlier, std::uint32_t code);
  std::string Consequence(const std::vector<Event>& whole, const std::vector<Event>& failed, std::size_t from) const;

  std::vector<std::string> m_story;  ///< lines since the machine was made, which make it anew
};

using Commands = std::map<std::string, void (*)(Interpreter& stage, Words& words)>;
/// Those that arrange a machine or look at it: commands_machine.cpp.
const Commands& ArrangingCommands();
/// Those that act on it: commands_requests.cpp. What they change is told, and answers and failures are for one of them.
const Commands& ActingCommands();

}  // namespace scenario
