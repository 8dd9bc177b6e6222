#include "tools/qvrnctl/driverregistry.h"

#include <algorithm>
#include <cwchar>

#include "tools/qvrnctl/errors.h"

namespace qvrn {
namespace {

// The provider looks at no more of a driver's parameters.
constexpr std::size_t kMostParameters = 30;

// As the provider reads it: what is no number is 0.
std::optional<std::int64_t> ReadNumber(const StoredTexts& texts, const std::wstring& key, const wchar_t* name) {
  const std::optional<std::wstring> text = texts.Read(key, name);
  return text ? std::optional<std::int64_t>(_wtoi(text->c_str())) : std::nullopt;
}

std::vector<NamedValue> ReadValues(const StoredTexts& texts, const std::wstring& key) {
  std::vector<NamedValue> values;
  for (const std::wstring& name : texts.ValueNames(key)) {
    if (!name.empty()) values.push_back({name, texts.Read(key, name).value_or(L"")});
  }
  std::ranges::stable_sort(values, {}, [](const NamedValue& value) { return _wtoi(value.value.c_str()); });
  return values;
}

// What is wrong with a parameter, as the provider sees it; empty when nothing is.
std::wstring ParameterFault(const StoredTexts& texts, const std::wstring& adapterId, const std::wstring& keyword) {
  const std::wstring key = ParametersKey(adapterId) + L"\\" + keyword;
  if (texts.Read(key, L"Group") == L"None") return {};
  if (!texts.Read(key, L"ParamDesc")) return L"has no name (ParamDesc)";
  const std::optional<std::wstring> type = texts.Read(key, L"type");
  if (!type && texts.Read(key, L"ParamDesc") != L"Number of Receive Rings") return L"is free text, without a type";
  if (type && type != L"int" && type != L"enum") return L"is of the type \"" + *type + L"\", which is not known";
  for (const wchar_t* name : {L"min", L"max", L"default"}) {
    if ((type == L"int" || std::wstring(name) == L"default") && !texts.Read(key, name))
      return std::wstring(L"has no ") + name;
  }
  if (ReadNumber(texts, AdapterKey(adapterId), keyword.c_str()) == -1)
    return L"is stored as -1, which counts as unreadable";
  return {};
}

}  // namespace

const StoredTexts* DriverRegistry::Texts() {
  if (!m_connected) try {
      m_connected = true;
      m_texts.emplace(m_arguments);
    } catch (const ClientError&) {
      m_texts.reset();
    }
  return m_texts ? &*m_texts : nullptr;
}

std::optional<DriverParameter> DriverRegistry::ReadParameter(const std::wstring& key) const try {
  DriverParameter parameter;
  parameter.type = m_texts->Read(key, L"type").value_or(L"");
  parameter.least = ReadNumber(*m_texts, key, L"min");
  parameter.most = ReadNumber(*m_texts, key, L"max");
  parameter.step = ReadNumber(*m_texts, key, L"step");
  parameter.defaultValue = ReadNumber(*m_texts, key, L"default");
  if (parameter.type == L"enum") parameter.values = ReadValues(*m_texts, key + L"\\Enum");
  return parameter;
} catch (const ClientError&) {
  return std::nullopt;  // no rights to read it
}

std::optional<DriverParameter> DriverRegistry::Parameter(const std::wstring& adapterId, const PropertyInfo& info) {
  if (info.keyword.empty() || Texts() == nullptr) return std::nullopt;
  const auto [known, isNew] = m_parameters.try_emplace({adapterId, info.keyword});
  if (isNew) known->second = ReadParameter(ParametersKey(adapterId) + L"\\" + info.keyword);
  return known->second;
}

ParameterReader DriverRegistry::ReaderFor(const std::wstring& adapterId) {
  return [this, adapterId](const PropertyInfo& info) { return Parameter(adapterId, info); };
}

Value DriverRegistry::Meaning(const std::wstring& adapterId, const PropertyState& state) try {
  const auto& [info, value] = state;
  if (!info.namedValues.empty() || value == Value()) return MeaningOf(info.namedValues, value);
  if (info.keyword.empty() || Texts() == nullptr) return {};
  const auto meaning = m_texts->Read(ParametersKey(adapterId) + L"\\" + info.keyword + L"\\Enum", FormatValue(value));
  return meaning ? Value(*meaning) : Value();
} catch (const ClientError&) {
  return {};
}

std::wstring DriverRegistry::WhyLeftOut(const std::wstring& adapterId) try {
  if (Texts() == nullptr) return {};
  std::vector<std::wstring> keywords = m_texts->SubkeyNames(ParametersKey(adapterId));
  if (keywords.empty()) return L"the driver's parameters (" + ParametersKey(adapterId) + L") cannot be read";
  keywords.resize(std::min(keywords.size(), kMostParameters));
  for (const std::wstring& keyword : keywords) {
    const std::wstring fault = ParameterFault(*m_texts, adapterId, keyword);
    if (!fault.empty()) return L"its driver's parameter " + keyword + L" " + fault;
  }
  return {};
} catch (const ClientError&) {
  return {};
}

}  // namespace qvrn
