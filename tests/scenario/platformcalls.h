// The platform's functions as code under observation calls them: each call is noted with its arguments and can be made
// to fail by name (see events.h).
//
// In a program that has the code linked in, its memory has garbage in it when it is new and a guarded zone behind it, so
// that reading or writing past a block shows; blocks that it keeps are counted.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace scenario {

/// What the platform answers, as scenarios set it; a new machine starts with a default one.
struct Platform {
  bool windowStationVisible = false;
  unsigned long processors = 4;
  std::optional<std::wstring> typed;  ///< what a person types on the console; none where there is no console
  std::vector<std::pair<std::string, bool>> interfaces = {{"lo", true}};  ///< names, and whether each is up
  int (*interruptHandler)(unsigned long) = nullptr;  ///< of Ctrl-C, while code under observation has one
};
Platform& ThePlatform();

/// What stands in for an imported function.
struct Replacement {
  const char* function;
  void* with;
};
/// For the import table of a module under observation.
std::span<const Replacement> Replacements();

/// Blocks that code under observation allocated and nobody has freed; 0 where it has memory of its own.
long LiveBlocks() noexcept;

}  // namespace scenario
