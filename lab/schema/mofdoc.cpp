// Writes the reference of the classes of a MOF file, as Markdown on standard output: qvrnmofdoc FILE. What
// docs/guide/classes.md holds comes from here.
#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <string>

#include "lab/modulepath.h"
#include "lab/schema/mofreader.h"

namespace {

using lab::ClassDefinition;
using lab::Method;
using lab::Property;
using lab::Qualifier;

constexpr char kHeading[] =
    "# Classes\n\nAll classes are in the namespace `root\\cimv2`. A property that is not marked `write` cannot be "
    "changed. "
    "This page says\nwhat the classes themselves say; [Behaviours that surprise](behaviours.md) has what clients meet "
    "beyond it.\n";

// A cell of a table must not end at a bar of its text.
std::wstring Escaped(std::wstring text) {
  for (std::size_t at = 0; (at = text.find(L'|', at)) != std::wstring::npos; at += 2) text.insert(at, 1, L'\\');
  return text;
}

std::vector<std::wstring> Texts(const std::vector<Qualifier>& qualifiers, const wchar_t* name) {
  const Qualifier* const qualifier = lab::FindQualifier(qualifiers, name);
  if (qualifier == nullptr) return {};
  if (const auto* list = std::get_if<std::vector<std::wstring>>(&qualifier->value)) return *list;
  const auto* const number = std::get_if<std::int64_t>(&qualifier->value);
  return {number == nullptr ? std::get<std::wstring>(qualifier->value) : std::to_wstring(*number)};
}

// Empty where there is none.
std::wstring Text(const std::vector<Qualifier>& qualifiers, const wchar_t* name) {
  const std::vector<std::wstring> texts = Texts(qualifiers, name);
  return texts.empty() ? std::wstring() : texts.front();
}

std::wstring TypeOf(const Property& property) {
  return property.reference.empty() ? lab::CimTypeOf(property.type).name : property.reference + L" ref";
}

std::wstring AccessOf(const Property& property) {
  std::wstring access;
  for (const wchar_t* qualifier : {L"key", L"read", L"write"}) {
    if (property.Has(qualifier)) access += (access.empty() ? L"" : L", ") + std::wstring(qualifier);
  }
  return access;
}

// "0 Disabled, 1 Enabled", or the bounds that the class declares, with their unit.
std::wstring ValuesOf(const Property& property) {
  const std::vector<std::wstring> values = Texts(property.qualifiers, L"ValueMap");
  const std::vector<std::wstring> meanings = Texts(property.qualifiers, L"Values");
  std::wstring text;
  for (std::size_t i = 0; i < values.size() && i < meanings.size(); ++i) {
    text += (text.empty() ? L"" : L", ") + values[i] + L" " + meanings[i];
  }
  if (!text.empty()) return text;
  const std::wstring least = Text(property.qualifiers, L"MinValue");
  const std::wstring most = Text(property.qualifiers, L"MaxValue");
  const std::wstring longest = Text(property.qualifiers, L"MaxLen");
  const std::wstring unit = Text(property.qualifiers, L"Units");
  if (!longest.empty()) return L"at most " + longest + L" characters";
  if (!most.empty()) text = least + L" to " + most;
  if (most.empty() && !least.empty()) text = L"from " + least;
  return unit.empty() ? text : text + L" " + unit;
}

std::wstring KeywordOf(const Property& property) {
  const std::wstring mapping = Text(property.qualifiers, L"MappingStrings");
  const std::size_t bar = mapping.find(L'|');
  return bar == std::wstring::npos ? std::wstring() : L"`" + mapping.substr(bar + 1) + L"`";
}

std::wstring SupportOf(const ClassDefinition& definition) {
  std::wstring support = definition.Has(L"Association") ? L"An association. " : L"";
  support += L"Get and enumeration";
  for (const auto& [qualifier, operation] :
       {std::pair(L"SupportsCreate", L"create"), {L"SupportsUpdate", L"update"}, {L"SupportsDelete", L"delete"}}) {
    if (definition.Has(qualifier)) support += std::wstring(L", ") + operation;
  }
  return support + (definition.methods.empty() ? L"." : L", methods.");
}

std::wstring Row(const Property& property) {
  return L"| `" + property.name + L"` | " + TypeOf(property) + L" | " + AccessOf(property) + L" | " +
         Escaped(ValuesOf(property)) + L" | " + KeywordOf(property) + L" | " +
         Escaped(Text(property.qualifiers, L"Description")) + L" |\n";
}

std::wstring Section(const Method& method) {
  std::wstring parameters;
  std::wstring lines;
  for (const Property& parameter : method.in == nullptr ? std::vector<Property>() : method.in->properties) {
    parameters += (parameters.empty() ? L"" : L", ") + TypeOf(parameter) + L" " + parameter.name;
    lines += L"- `" + parameter.name + L"`: " + Text(parameter.qualifiers, L"Description") + L"\n";
  }
  return L"\n### " + method.name + L"(" + parameters + L")\n\n" + Text(method.qualifiers, L"Description") + L"\n\n" +
         lines;
}

std::wstring Section(const ClassDefinition& definition) {
  std::wstring text =
      L"\n## " + definition.name + L"\n\n" + Text(definition.qualifiers, L"Description") + L"\n\n" +
      SupportOf(definition) +
      L"\n\n| property | type | access | values | driver's keyword | meaning |\n|---|---|---|---|---|---|\n";
  for (const Property& property : definition.properties) text += Row(property);
  for (const Method& method : definition.methods) text += Section(method);
  return text;
}

}  // namespace

extern "C" int wmain(int count, wchar_t** words) {
  if (count != 2) return 2;
  try {
    lab::Schema schema;
    lab::ReadMofFile(lab::ModuleFolder() + L"platform.mof", schema);
    const std::size_t ofPlatform = schema.classes.size();
    lab::ReadMofFile(words[1], schema);
    ::_setmode(::_fileno(stdout), _O_BINARY);
    std::fputs(kHeading, stdout);
    for (std::size_t i = ofPlatform; i < schema.classes.size(); ++i) {
      const std::wstring section = Section(*schema.classes[i]);  // plain ASCII, as the file is
      std::fputs(std::string(section.begin(), section.end()).c_str(), stdout);
    }
    return 0;
  } catch (const lab::MofError& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
