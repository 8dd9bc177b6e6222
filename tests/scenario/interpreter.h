// Runs scenarios: text files of commands, each with what was seen below it.
//
//   # A comment.
//   > machine adapters
//   > enumerate QvrnEN_VLAN
//   result 0x80041002, sink 0x80041002 0x80041002
//
// or, on one line, >> COMMAND => what is seen | and so on. tests/scenarios/README.md lists the commands.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
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

 private:
  using Command = void (Interpreter::*)(Words& words);
  static const std::map<std::string, Command>& Commands();
  static std::vector<std::string> CommandsOf(const std::string& line);

  /// Runs a command of the story; gives what is seen.
  std::vector<std::string> Tell(const std::string& command);
  /// Runs a command; gives what is seen.
  std::vector<std::string> Run(const std::string& line);
  std::vector<std::string> Seen();
  void RunNested(const std::string& line);
  bool IsShown(const Event& event) const;
  bool ShowsRegistry() const;
  /// An event as a scenario shows it.
  std::string Line(const Event& event) const;

  // Arranging: commands_machine.cpp.
  void MakeMachine(Words& words);
  void AddAdapter(Words& words);
  void AddParameter(Words& words);
  void AddVlan(Words& words);
  void WriteRegistry(Words& words);
  void DeleteRegistry(Words& words);
  void ShowRegistry(Words& words);
  void SetLevel(Words& words);
  void SetLock(Words& words);
  void SetLinks(Words& words);
  void SetHost(Words& words);
  void WriteFile(Words& words);
  void ShowFile(Words& words);
  void Fail(Words& words);
  void Before(Words& words);
  void Answer(Words& words);
  void Show(Words& words);
  void Hide(Words& words);
  Sandbox& Machine();

  // Acting: commands_requests.cpp.
  void UseProvider(Words& words);
  void Enumerate(Words& words);
  void Get(Words& words);
  void Put(Words& words);
  void Change(Words& words);
  void Delete(Words& words);
  void CallMethod(Words& words);
  void AddMiniport(Words& words);
  void RemoveMiniport(Words& words);
  void InstallDriver(Words& words);
  void Call(Words& words);
  void RunClient(Words& words);
  std::vector<PropertyValue> TakeProperties(Words& words);

  // Failing calls: sweep.cpp.
  void Sweep(Words& words);
  std::vector<Event> RunAnew(const std::string& command, const std::set<std::string>& kinds, const Event* failing,
                             int earlier, std::uint32_t code);
  std::string Consequence(const std::vector<Event>& whole, const std::vector<Event>& failed, std::size_t from) const;
  std::string Expanded(Words& words) { return m_aliases->Expand(words.Take()); }

  std::unique_ptr<Sandbox> m_machine;
  std::unique_ptr<Aliases> m_aliases;
  Service m_service;
  std::set<std::string> m_shown;
  std::vector<std::string> m_story;  ///< commands since the machine was made, which make it anew
};

}  // namespace scenario
