// Inputs that nobody sane would send, from a seed.
#pragma once

#include <random>
#include <string>

#include "tests/scenario/requests.h"

namespace attack {

class Hostile {
 public:
  explicit Hostile(unsigned seed) : m_random(seed) {}

  /// A command of a scenario: a request with a hostile path, value or file, or a registry value that no driver writes.
  std::string Command();

 private:
  std::string Text();
  std::string Bytes();
  std::string MultiString();
  std::string Xml();
  template <std::size_t Size>
  std::string Pick(const char* const (&choices)[Size]) {
    return choices[m_random() % Size];
  }

  std::mt19937 m_random;
};

/// One request of any kind on a thread of its own, with values from `random`.
void RunSomeRequest(scenario::Service& service, std::mt19937& random);

}  // namespace attack
