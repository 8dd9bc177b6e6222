// sweep: a request once for each call that it makes, each time on a machine made anew, with that call failing.
#include <algorithm>
#include <iterator>

#include "tests/scenario/events.h"
#include "tests/scenario/interpreter.h"

namespace scenario {
namespace {

// Told at the end of a row, where they differ from those of the undisturbed request.
const std::set<std::string> kOutcomes = {"result", "kept", "error", "registry"};

struct Story {
  std::vector<Event> course;
  std::vector<Event> outcome;
};

Story SplitOutcome(const std::vector<Event>& events, std::size_t from) {
  Story split;
  for (std::size_t i = from; i < events.size(); ++i)
    (kOutcomes.contains(events[i].kind) ? split.outcome : split.course).push_back(events[i]);
  return split;
}

// Most that the calls of a row take.
constexpr std::size_t kRowChars = 240;

bool SameText(const Event& a, const Event& b) { return a.text == b.text; }

}  // namespace

std::vector<Event> Interpreter::RunAnew(const std::string& command, const std::set<std::string>& kinds,
                                        const Event* failing, int earlier, std::uint32_t code) {
  for (const std::string& line : m_story) Run(line);
  if (failing != nullptr) FailCalls(failing->name, "", code, earlier, 1);
  RunCommand(command);
  std::vector<Event> events = TakeEvents();
  for (Event& event : events) event.text = aliases.Shorten(event.text);
  std::erase_if(events, [&](const Event& event) { return !kinds.contains(event.kind) && !IsShown(event); });
  return events;
}

std::string Interpreter::Consequence(const std::vector<Event>& whole, const std::vector<Event>& failed,
                                     std::size_t from) const {
  const Story usual = SplitOutcome(whole, from);
  const Story seen = SplitOutcome(failed, from);
  const auto rejoin =
      std::mismatch(seen.course.rbegin(), seen.course.rend(), usual.course.rbegin(), usual.course.rend(), SameText)
          .first.base();
  // Where nothing is new, what is left out shows by what is seen.
  auto parting = std::mismatch(seen.course.begin(), rejoin, usual.course.begin(), usual.course.end(), SameText).first;
  if (parting == rejoin) parting = seen.course.begin();
  std::string text = parting == seen.course.begin() ? "" : " | ...";
  for (auto event = parting; event != rejoin; ++event) text += (text == " | ..." ? " " : " | ") + Line(*event);
  const bool goesOn =
      rejoin == seen.course.begin() && seen.course.size() == usual.course.size() &&
      std::equal(seen.outcome.begin(), seen.outcome.end(), usual.outcome.begin(), usual.outcome.end(), SameText);
  if (goesOn) {
    text += " | goes on";
  } else if (rejoin != seen.course.end()) {
    text += " | ... " + Line(*rejoin);
  }
  for (const Event& event : seen.outcome) {
    const bool isUsual = std::any_of(usual.outcome.begin(), usual.outcome.end(),
                                     [&event](const Event& other) { return SameText(event, other); });
    if (!isUsual || event.kind == "result") text += " | " + Line(event);
  }
  return text;
}

// sweep KIND[,KIND...] CODE COMMAND: a row for each call of these kinds: what is seen between the points where all is as
// without its failure, and the outcome. Neighbours with the same consequence share a row.
void Interpreter::Sweep(Words& words) {
  const std::vector<std::string> list = Split(words.Take(), ",");
  const std::set<std::string> kinds(list.begin(), list.end());
  const auto code = static_cast<std::uint32_t>(words.TakeNumber());
  const std::string command = words.TakeRest();
  const std::vector<Event> whole = RunAnew(command, kinds, nullptr, 0, 0);
  std::vector<std::pair<std::string, std::string>> rows;
  std::map<std::string, int> calls;
  for (std::size_t at = 0; at < whole.size(); ++at) {
    const Event& call = whole[at];
    if (!kinds.contains(call.kind) || call.name.empty()) continue;
    const std::string consequence =
        Consequence(whole, RunAnew(command, kinds, &call, calls[call.name]++, code), at + 1);
    const bool isShared = !rows.empty() && rows.back().second == consequence;
    if (isShared && rows.back().first.size() + call.text.size() < kRowChars) {
      rows.back().first += "; " + call.text;
    } else {
      rows.emplace_back(call.text, consequence);
    }
  }
  for (const std::string& line : m_story) Run(line);
  TakeEvents();
  for (const auto& [failing, consequence] : rows) Note("result", "", failing + consequence);
}

}  // namespace scenario
