// The words of a scenario's command line.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace scenario {

/// What stands between separators; a separator at the end has nothing behind it.
std::vector<std::string> Split(const std::string& text, const std::string& separator);

/// Takes a line apart. Quotes hold blanks together; inside them \" is a quote, \n a line end, \0 a zero, other
/// backslashes are themselves.
class Words {
 public:
  explicit Words(std::string line) : m_rest(std::move(line)) {}

  bool AtEnd();
  /// The next word, without quotes around it; throws std::runtime_error when there is none.
  std::string Take();
  /// The next word if it is `word`.
  bool Accept(std::string_view word);
  /// The next word as a number, decimal or 0x hexadecimal.
  unsigned long TakeNumber();
  /// Everything up to the end, as it stands.
  std::string TakeRest();
  /// NAME=VALUE: the name, and the value, whose quotes tell a text.
  struct Assignment {
    std::string name;
    std::string value;
    bool quoted = false;
  };
  Assignment TakeAssignment();

 private:
  std::string TakeValue(bool& quoted);

  std::string m_rest;
};

}  // namespace scenario
