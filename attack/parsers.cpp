// The parsers of text, fed by a fuzzer on the machine that builds: object paths of clients, multi-strings of the registry,
// MOF files, queries, and state files. The first byte chooses one.
#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>
#include <vector>

#include "lab/schema/lexer.h"
#include "lab/schema/mofreader.h"
#include "platform/multistring.h"
#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/statedescription.h"
#include "tools/wmi/qvrnwmiprovider/objectpath.h"

HRESULT IWbemClassObject::Get(const wchar_t*, LONG, VARIANT*, CIMTYPE*, LONG*) { return E_FAIL; }

qvrn::ClientError qvrn::Failed(std::wstring message) { return {kExitFailed, std::move(message)}; }

namespace {

std::wstring Wide(const std::string& bytes) { return {bytes.begin(), bytes.end()}; }

void ReadPath(const std::wstring& path) {
  // As long as the path and a terminator, so that one character too many is seen.
  std::wstring name(path.size(), L'\0');
  qvrn::ClassNameFromPath(path.c_str(), name.data(), name.size() + 1);
  const qvrn::QuotedKeyPath key(path.c_str());
  const qvrn::ReferenceDigits digits(path.c_str());
  if (key.Key() != nullptr && std::wcslen(key.Key()) + std::wcslen(digits.Text()) > 520) std::abort();
}

void ReadMultiString(const std::wstring& text) {
  const std::wstring entry = text.substr(0, text.size() / 3);
  // Blocks of their own: without a terminator behind it, and with one.
  std::vector<wchar_t> data(text.begin(), text.end());
  data.shrink_to_fit();
  qvrn::ContainsEntry(data.data(), data.size(), entry.c_str());
  data.push_back(L'\0');
  data.shrink_to_fit();
  qvrn::EntriesWithout(data, data.size() - 1, entry.c_str());
}

void ReadMof(const std::string& text) {
  lab::Schema schema;
  try {
    lab::ReadMof(text, "fuzz", schema);
  } catch (const lab::MofError&) {
    return;
  }
}

void ReadTokens(const std::wstring& text) {
  for (lab::Lexer lexer(text, L"'\""); !lexer.IsAtEnd();) {
    if (lexer.Take().kind == lab::TokenKind::kBad) break;
  }
}

void ReadState(const std::string& bytes) try {
  const qvrn::Json json = qvrn::ParseJson(L"fuzz", qvrn::DecodeText(bytes));
  qvrn::ReadDescription(json);
  qvrn::FormatOnOneLine(json);
} catch (const qvrn::ClientError&) {
  return;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  switch (data[0] % 5) {
    case 0:
      ReadPath(Wide(text));
      break;
    case 1:
      ReadMultiString(Wide(text));
      break;
    case 2:
      ReadMof(text);
      break;
    case 3:
      ReadState(text);
      break;
    default:
      ReadTokens(Wide(text));
      break;
  }
  return 0;
}
