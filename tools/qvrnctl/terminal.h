// What only a person at a terminal sees and does: questions, progress, Ctrl-C.
#pragma once

#include <string>

namespace qvrn {

/// Whether a person can be asked: standard input is a terminal.
bool CanAsk();
/// Asks a question that is answered with yes or no; anything but yes is no.
bool Confirm(const std::wstring& question);

/// One line on standard error that the next one overwrites, and that is gone at the end.
class ProgressLine {
 public:
  ProgressLine() = default;
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ~ProgressLine();

  void Show(const std::wstring& text);

 private:
  std::wstring m_shown;
};

/// While it lives, the first Ctrl-C (or Ctrl-Break) ends nothing: the command looks for it between two steps. The second
/// one ends the process as usual.
class InterruptWatch {
 public:
  InterruptWatch();
  InterruptWatch(const InterruptWatch&) = delete;
  InterruptWatch& operator=(const InterruptWatch&) = delete;
  ~InterruptWatch();

  static bool IsInterrupted() noexcept;
};

}  // namespace qvrn
