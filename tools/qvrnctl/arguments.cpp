#include "tools/qvrnctl/arguments.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/output.h"
#include "tools/qvrnctl/properties.h"

namespace qvrn {
namespace {

struct OptionRow {
  const wchar_t* name;
  Option bit;
  std::wstring Arguments::*text;  // null for a switch
  bool Arguments::*flag;          // null for an option with a value
  const wchar_t* placeholder;
  const wchar_t* help;
};

constexpr OptionRow kOptions[] = {
    {L"--computer", kOptionComputer, &Arguments::computer, nullptr, L" HOST", L"ask another computer (over DCOM)"},
    {L"--namespace", kOptionNamespace, &Arguments::nameSpace, nullptr, L" NS", L"WMI namespace instead of root\\cimv2"},
    {L"--id", kOptionId, &Arguments::vlanId, nullptr, L" N", L"number of the VLAN, 1 to 4095"},
    {L"--name", kOptionName, &Arguments::vlanName, nullptr, L" NAME", L"name of the VLAN"},
    {L"--priority", kOptionPriority, &Arguments::priority, nullptr, L" P", L"priority of the VLAN, 0 to 7"},
    {L"--association", kOptionAssociation, nullptr, &Arguments::association, L"",
     L"find the properties by way of the association, and show it"},
    {L"--confirm-within", kOptionConfirmWithin, &Arguments::confirmWithin, nullptr, L" S",
     L"take the change back unless `qvrnctl confirm` comes within S seconds"},
    {L"--if-exists", kOptionIfExists, nullptr, &Arguments::ifExists, L"", L"what is not there needs no removal"},
    {L"--status", kOptionStatus, nullptr, &Arguments::status, L"",
     L"say what waits for a confirmation, and change nothing"},
    {L"--timeout", kOptionTimeout, &Arguments::timeout, nullptr, L" S",
     L"give up a WMI request after S seconds (default: 3600)"},
    {L"--json", kOptionJson, nullptr, &Arguments::json, L"", L"print JSON for programs"},
    {L"--what-if", kOptionWhatIf, nullptr, &Arguments::whatIf, L"", L"say what would be done, and do nothing"},
    {L"--yes", kOptionYes, nullptr, &Arguments::yes, L"", L"ask for no confirmation"},
    {L"--no-color", kOptionNoColour, nullptr, &Arguments::noColour, L"", L"nothing is coloured, with or without this"},
    {L"--help", kOptionHelp, nullptr, &Arguments::help, L"", L"print this help, or that of a command"},
    {L"--version", kOptionVersion, nullptr, &Arguments::version, L"", L"print the version"},
};
constexpr unsigned kOptionsEverywhere = kOptionHelp | kOptionVersion | kOptionNoColour;

constexpr wchar_t kExitStatuses[] = L"\nexit status: 0 done, 1 failed, 2 wrong usage, 3 differences (diff)\n";

constexpr wchar_t kGeneralUsage[] = L"usage: qvrnctl COMMAND [ARGUMENTS...] [OPTIONS...]; try qvrnctl --help";

std::wstring Usage(const Command& command) {
  std::wstring usage = std::wstring(L"usage: qvrnctl ") + command.name;
  if (command.operands != nullptr && *command.operands != L'\0') usage += std::wstring(L" ") + command.operands;
  return usage + L" [OPTIONS...]";
}

const OptionRow& FindOption(std::wstring_view name) {
  const auto* row = std::find_if(std::begin(kOptions), std::end(kOptions),
                                 [&](const OptionRow& known) { return known.name == name; });
  if (row == std::end(kOptions)) {
    throw WrongUsage(L"there is no option " + std::wstring(name) + L"\n" + kGeneralUsage);
  }
  return *row;
}

// Parses the words in one pass; what is no option is an operand, the command's name included.
class Parser {
 public:
  explicit Parser(std::span<const std::wstring> words) : m_words(words) {}

  Arguments Parse(std::span<const Command> commands) {
    while (m_next < m_words.size()) TakeWord(m_words[m_next++]);
    TakeHelp();
    FindCommand(commands);
    if (m_arguments.help && m_arguments.command == nullptr && !m_arguments.operands.empty()) RefuseCommand();
    if (!m_arguments.help && !m_arguments.version) CheckCommand();
    return std::move(m_arguments);
  }

 private:
  void TakeWord(const std::wstring& word) {
    if (word == L"/?" && !m_onlyOperands) {
      m_arguments.help = true;
    } else if (m_onlyOperands || word.size() < 2 || word[0] != L'-') {
      m_arguments.operands.push_back(word);
    } else if (word == L"--") {
      m_onlyOperands = true;
    } else {
      TakeOption(word == L"-h" || word == L"-?" ? L"--help" : word);
    }
  }

  void TakeOption(const std::wstring& word) {
    const std::size_t equals = word.find(L'=');
    const OptionRow& option = FindOption(std::wstring_view(word).substr(0, equals));
    if ((m_options & option.bit) != 0) throw WrongUsage(std::wstring(option.name) + L" is given twice");
    m_options |= option.bit;
    if (option.flag != nullptr) {
      if (equals != std::wstring::npos) throw WrongUsage(std::wstring(option.name) + L" takes no value");
      m_arguments.*option.flag = true;
    } else {
      m_arguments.*option.text = TakeValue(option, word, equals);
    }
  }

  std::wstring TakeValue(const OptionRow& option, const std::wstring& word, std::size_t equals) {
    std::wstring value;
    if (equals != std::wstring::npos) {
      value = word.substr(equals + 1);
    } else if (m_next < m_words.size() && !m_words[m_next].starts_with(L'-')) {
      value = m_words[m_next++];
    }
    if (option.bit == kOptionComputer) value.erase(0, value.find_first_not_of(L'\\'));
    if (value.empty()) throw WrongUsage(std::wstring(option.name) + L" needs a value:" + option.placeholder);
    return value;
  }

  // `help COMMAND` as other tools have it.
  void TakeHelp() {
    auto& operands = m_arguments.operands;
    if (operands.empty() || operands[0] != L"help") return;
    m_arguments.help = true;
    operands.erase(operands.begin());
  }

  // Takes the command's one or two words off the operands.
  void FindCommand(std::span<const Command> commands) {
    auto& operands = m_arguments.operands;
    if (operands.size() > 1 && operands[0] == L"vlan" && operands[1] == L"list") {
      operands.erase(operands.begin());
      operands[0] = L"vlans";
    }
    for (std::size_t count = std::min<std::size_t>(2, operands.size()); count > 0; --count) {
      const std::wstring name = count == 2 ? operands[0] + L" " + operands[1] : operands[0];
      const auto row = std::find_if(commands.begin(), commands.end(), [&](const Command& c) { return c.name == name; });
      if (row == commands.end()) continue;
      m_arguments.command = &*row;
      operands.erase(operands.begin(), operands.begin() + static_cast<std::ptrdiff_t>(count));
      return;
    }
  }

  [[noreturn]] void RefuseCommand() const {
    throw WrongUsage(L"there is no command \"" + m_arguments.operands[0] + L"\"\n" + kGeneralUsage);
  }

  void CheckCommand() const {
    if (m_arguments.command == nullptr) {
      if (m_arguments.operands.empty()) throw WrongUsage(std::wstring(L"a command is missing\n") + kGeneralUsage);
      RefuseCommand();
    }
    const Command& command = *m_arguments.command;
    const std::size_t count = m_arguments.operands.size();
    if (count < command.least) throw WrongUsage(L"too few arguments\n" + Usage(command));
    if (count > command.most) {
      throw WrongUsage(L"too many arguments: \"" + m_arguments.operands[command.most] + L"\"\n" + Usage(command));
    }
    for (const OptionRow& option : kOptions) {
      if ((m_options & option.bit & ~(command.options | kOptionsEverywhere)) == 0) continue;
      throw WrongUsage(std::wstring(command.name) + L" does not take " + option.name + L"\n" + Usage(command));
    }
    for (const OptionRow& option : kOptions) {
      if ((option.bit & command.needed & ~m_options) == 0) continue;
      throw WrongUsage(std::wstring(command.name) + L" needs " + option.name + option.placeholder + L"\n" +
                       Usage(command));
    }
  }

  std::span<const std::wstring> m_words;
  std::size_t m_next = 0;
  bool m_onlyOperands = false;
  unsigned m_options = 0;
  Arguments m_arguments;
};

std::wstring OptionLines(unsigned options) {
  std::wstring lines;
  for (const OptionRow& option : kOptions) {
    if ((option.bit & options) == 0) continue;
    std::wstring left = std::wstring(option.name) + option.placeholder;
    left.resize(std::max<std::size_t>(left.size() + 2, 18), L' ');
    lines += L"  " + left + option.help + L"\n";
  }
  return lines;
}

}  // namespace

Arguments ParseArguments(std::span<const std::wstring> words, std::span<const Command> commands) {
  return Parser(words).Parse(commands);
}

unsigned ParseSeconds(const wchar_t* option, const std::wstring& text) {
  constexpr std::int64_t kLongest = 7 * 24 * 60 * 60;
  const std::optional<std::int64_t> seconds = ParseNumber(text);
  if (seconds && *seconds >= 1 && *seconds <= kLongest) return static_cast<unsigned>(*seconds);
  throw WrongUsage(std::wstring(option) + L" cannot be \"" + text + L"\": it takes 1 to " + std::to_wstring(kLongest) +
                   L" seconds");
}

std::wstring GeneralHelp(std::span<const Command> commands) {
  std::wstring help = L"usage: qvrnctl COMMAND [ARGUMENTS...] [OPTIONS...]\n\ncommands:\n";
  std::vector<TableRow> rows;
  for (const Command& command : commands) {
    if (command.operands == nullptr) continue;
    rows.push_back({std::wstring(L"  ") + command.name + L" " + command.operands, command.summary});
  }
  help += FormatTable(rows) + L"\noptions:\n" + OptionLines(~0U);
  return help + kExitStatuses;
}

std::wstring CommandHelp(const Command& command) {
  return Usage(command) + L"\n\n" + command.details + L"\nexample:\n  qvrnctl " + command.example + L"\n\noptions:\n" +
         OptionLines(command.options | kOptionHelp) + kExitStatuses;
}

}  // namespace qvrn
