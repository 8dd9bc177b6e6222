// The command line: what was asked, and the help that says what may be asked.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace qvrn {

struct Command;

/// A parsed command line.
struct Arguments {
  const Command* command = nullptr;  ///< null only with `help` or `version`
  std::vector<std::wstring> operands;
  std::wstring computer;  ///< without leading backslashes; empty for this one
  std::wstring nameSpace = L"root\\cimv2";
  std::wstring vlanId;  ///< empty when not given, as the two below
  std::wstring vlanName;
  std::wstring priority;
  std::wstring timeout;        ///< of one WMI request, in seconds; empty for the client's own
  std::wstring confirmWithin;  ///< in seconds; empty when no confirmation is asked for
  bool json = false;
  bool association = false;
  bool whatIf = false;
  bool yes = false;
  bool ifExists = false;
  bool status = false;
  bool noColour = false;  ///< taken for the sake of scripts: nothing is coloured
  bool help = false;
  bool version = false;
};

/// Options as bits, so that a command can say which ones it takes. Help, version and no colour are taken everywhere.
enum Option : unsigned {
  kOptionComputer = 1,
  kOptionNamespace = 2,
  kOptionJson = 4,
  kOptionWhatIf = 8,
  kOptionYes = 16,
  kOptionHelp = 32,
  kOptionVersion = 64,
  kOptionAssociation = 128,
  kOptionId = 256,
  kOptionName = 512,
  kOptionPriority = 1024,
  kOptionNoColour = 2048,
  kOptionTimeout = 4096,
  kOptionConfirmWithin = 8192,
  kOptionIfExists = 16384,
  kOptionStatus = 32768,
};
inline constexpr unsigned kReadingOptions = kOptionComputer | kOptionNamespace | kOptionJson | kOptionTimeout;
inline constexpr unsigned kChangingOptions = kReadingOptions | kOptionWhatIf | kOptionYes;
inline constexpr unsigned kVlanOptions = kChangingOptions | kOptionId | kOptionName | kOptionPriority;

inline constexpr std::size_t kAnyNumber = static_cast<std::size_t>(-1);

/// One command: a row of the client's table. The name may be of two words ("noun verb").
struct Command {
  const wchar_t* name;
  const wchar_t* operands;  ///< for the usage line; null for a command that the help does not show
  std::size_t least;        ///< fewest operands
  std::size_t most;         ///< most operands
  unsigned options;
  unsigned needed;         ///< those of the options that must be given
  const wchar_t* summary;  ///< one line
  const wchar_t* details;  ///< whole lines
  const wchar_t* example;  ///< its words as a person would type them
  int (*run)(const Arguments& arguments);
};

/// Parses the words after the program's name. `help COMMAND` and `/?` mean --help. Throws ClientError (wrong usage) with
/// the usage that would be right.
Arguments ParseArguments(std::span<const std::wstring> words, std::span<const Command> commands);

/// The whole number of seconds that an option's text is. Throws ClientError (wrong usage) for anything else.
unsigned ParseSeconds(const wchar_t* option, const std::wstring& text);

/// What `--help` prints without a command.
std::wstring GeneralHelp(std::span<const Command> commands);
/// What `--help` prints for one command.
std::wstring CommandHelp(const Command& command);

}  // namespace qvrn
