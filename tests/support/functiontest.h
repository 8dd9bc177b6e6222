// What function tests share: machines that are made by the commands of scenarios.
#pragma once

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "platform/comtext.h"
#include "platform/wmi.h"
#include "tests/scenario/interpreter.h"
#include "tests/support/hresult.h"

namespace tests {

class FunctionTest : public ::testing::Test {
 protected:
  /// Runs a line of commands (tests/scenarios/README.md) and gives what is seen, a line each.
  std::string Tell(const std::string& line) { return m_interpreter.Replay("> " + line + "\n").substr(line.size() + 3); }

  scenario::Interpreter m_interpreter;
};

/// Texts of the events of a kind since the last call, or since the last Tell; the other events are forgotten.
inline std::vector<std::string> Events(const std::string& kind) {
  std::vector<std::string> texts;
  for (const scenario::Event& event : scenario::TakeEvents()) {
    if (event.kind == kind) texts.push_back(event.text);
  }
  return texts;
}

/// A property as text: "null", the decimal of VT_I4, the text of VT_BSTR.
inline std::wstring PropertyText(IWbemClassObject* object, const wchar_t* name) {
  qvrn::Variant value;
  if (FAILED(object->Get(name, 0, value.Put(), nullptr, nullptr))) return L"no such property";
  if (value.IsText()) return value.Text();
  return value.IsInteger() ? std::to_wstring(value.Integer()) : L"null";
}

inline const std::wstring kClassKey =
    L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E972-E325-11CE-BFC1-08002bE10318}\\";

}  // namespace tests
