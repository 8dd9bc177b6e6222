#include "tests/scenario/words.h"

#include <stdexcept>
#include <utility>

namespace scenario {

std::vector<std::string> Split(const std::string& text, const std::string& separator) {
  std::vector<std::string> parts;
  for (std::size_t at = 0; at < text.size(); at += parts.back().size() + separator.size())
    parts.push_back(text.substr(at, text.find(separator, at) - at));
  return parts;
}

bool Words::AtEnd() {
  m_rest.erase(0, m_rest.find_first_not_of(' '));
  return m_rest.empty();
}

std::string Words::TakeValue(bool& quoted) {
  quoted = !m_rest.empty() && m_rest.front() == '"';
  if (!quoted) {
    const std::size_t end = m_rest.find(' ');
    std::string word = m_rest.substr(0, end);
    m_rest.erase(0, end == std::string::npos ? m_rest.size() : end);
    return word;
  }
  std::string word;
  std::size_t at = 1;
  for (; at < m_rest.size() && m_rest[at] != '"'; ++at) {
    const char next = m_rest[at] == '\\' && at + 1 < m_rest.size() ? m_rest[at + 1] : '\0';
    if (next == '"' || next == 'n' || next == '0') {
      word += next == '"' ? '"' : (next == 'n' ? '\n' : '\0');
      ++at;
    } else {
      word += m_rest[at];
    }
  }
  if (at >= m_rest.size()) throw std::runtime_error("a quote is not closed");
  m_rest.erase(0, at + 1);
  return word;
}

std::string Words::Take() {
  if (AtEnd()) throw std::runtime_error("a word is missing");
  bool quoted = false;
  return TakeValue(quoted);
}

bool Words::Accept(std::string_view word) {
  if (AtEnd() || !m_rest.starts_with(word)) return false;
  if (m_rest.size() > word.size() && m_rest[word.size()] != ' ') return false;
  m_rest.erase(0, word.size());
  return true;
}

unsigned long Words::TakeNumber() { return std::stoul(Take(), nullptr, 0); }

std::string Words::TakeRest() {
  AtEnd();
  return std::exchange(m_rest, {});
}

Words::Assignment Words::TakeAssignment() {
  if (AtEnd()) throw std::runtime_error("NAME=VALUE is missing");
  const std::size_t equals = m_rest.find('=');
  if (equals == std::string::npos) throw std::runtime_error("NAME=VALUE expected: " + m_rest);
  Assignment assignment;
  assignment.name = m_rest.substr(0, equals);
  m_rest.erase(0, equals + 1);
  assignment.value = TakeValue(assignment.quoted);
  return assignment;
}

}  // namespace scenario
