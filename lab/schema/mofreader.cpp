// Reads MOF statements into a schema.
#include <algorithm>
#include <fstream>
#include <iterator>

#include "lab/schema/cimtypes.h"
#include "lab/schema/mofclassreader.h"
#include "lab/schema/schema.h"
#include "lab/schema/textcompare.h"

namespace lab {
namespace {

struct Alias {
  std::wstring name;
  std::shared_ptr<const ClassDefinition> definition;
  std::wstring path;
};

class MofReader {
 public:
  // `platform` holds classes that may be used but are no part of the schema.
  MofReader(std::wstring text, const std::string& file, const Schema& platform, Schema schema)
      : m_parser(std::move(text), file),
        m_classes(m_parser, [this](std::wstring_view name) { return FindClass(name); }),
        m_platform(platform),
        m_schema(std::move(schema)) {}

  Schema Read();

 private:
  struct Pragma {
    const wchar_t* name;
    std::size_t leastArguments;
    std::size_t mostArguments;
    void (MofReader::*run)(const std::vector<MofToken>& arguments);
  };

  std::shared_ptr<const ClassDefinition> FindClass(std::wstring_view name) const;

  void ReadStatement();
  void ReadPragma();
  void UseNamespace(const std::vector<MofToken>& arguments);
  void UseClassFlags(const std::vector<MofToken>& arguments);
  void DeleteClass(const std::vector<MofToken>& arguments);
  void DeleteInstance(const std::vector<MofToken>& arguments);
  void RequireFound(bool found, const std::vector<MofToken>& arguments) const;

  void ReadInstance();
  void ReadAssignment(InstanceDefinition& instance, const ClassDefinition& definition);
  Value ReadReference(const Property& property);
  void CheckGiven(const InstanceDefinition& instance, const ClassDefinition& definition, const MofToken& name) const;
  std::wstring PathOf(const InstanceDefinition& instance, const ClassDefinition& definition) const;

  void CheckProvider(const DeclaredClass& declared) const;
  bool IsRegistered(const std::wstring& registration, const std::wstring& provider) const;

  MofParser m_parser;
  MofClassReader m_classes;
  const Schema& m_platform;
  Schema m_schema;
  std::vector<DeclaredClass> m_declared;
  std::vector<Alias> m_aliases;
};

const Value* GivenValue(const InstanceDefinition& instance, std::wstring_view name) {
  const auto found = std::find_if(instance.values.begin(), instance.values.end(),
                                  [&](const auto& value) { return SameText(value.first, name); });
  return found == instance.values.end() ? nullptr : &found->second;
}

Schema MofReader::Read() {
  while (m_parser.Current().kind != MofTokenKind::End) ReadStatement();
  for (const UsedClass& used : m_classes.Used()) {
    if (FindClass(used.name) == nullptr) m_parser.Refuse(used.position, L"unknown class '" + used.name + L"'");
  }
  for (const DeclaredClass& declared : m_declared) CheckProvider(declared);
  return std::move(m_schema);
}

std::shared_ptr<const ClassDefinition> MofReader::FindClass(std::wstring_view name) const {
  auto definition = m_schema.Find(name);
  return definition == nullptr ? m_platform.Find(name) : definition;
}

void MofReader::ReadStatement() {
  const MofPosition start = m_parser.Current().position;
  if (m_parser.Accept(L'#')) return ReadPragma();
  MofQualifiers qualifiers = m_parser.ReadQualifiers();
  if (m_parser.AcceptWord(L"class")) {
    m_declared.push_back(m_classes.Read(std::move(qualifiers)));
    m_schema.classes.push_back(m_declared.back().definition);
    return;
  }
  if (!qualifiers.items.empty()) m_parser.Refuse(start, L"only a class or its members may have qualifiers");
  if (m_parser.AcceptWord(L"instance")) return ReadInstance();
  m_parser.Refuse(start, L"expected 'class', 'instance of' or '#pragma'");
}

void MofReader::ReadPragma() {
  static constexpr Pragma kPragmas[] = {{L"autorecover", 0, 0, nullptr},
                                        {L"namespace", 1, 1, &MofReader::UseNamespace},
                                        {L"classflags", 1, 4, &MofReader::UseClassFlags},
                                        {L"deleteclass", 1, 2, &MofReader::DeleteClass},
                                        {L"deleteinstance", 1, 2, &MofReader::DeleteInstance}};
  if (!m_parser.AcceptWord(L"pragma")) m_parser.Refuse(m_parser.Current().position, L"expected 'pragma' behind '#'");
  const MofToken name = m_parser.Expect(MofTokenKind::Identifier, L"a pragma");
  std::vector<MofToken> arguments;
  if (m_parser.Accept(L'(')) {
    do {
      arguments.push_back(m_parser.Take());
    } while (m_parser.Accept(L','));
    m_parser.Expect(L')');
  }
  const auto* const pragma = std::find_if(std::begin(kPragmas), std::end(kPragmas),
                                          [&](const Pragma& known) { return SameText(known.name, name.text); });
  if (pragma == std::end(kPragmas)) m_parser.Refuse(name, L"unknown pragma");
  if (arguments.size() < pragma->leastArguments || arguments.size() > pragma->mostArguments) {
    m_parser.Refuse(name, L"pragma", L"has a wrong number of arguments");
  }
  if (pragma->run != nullptr) (this->*pragma->run)(arguments);
}

void MofReader::UseNamespace(const std::vector<MofToken>& arguments) {
  std::wstring_view path = arguments.front().text;
  if (path.starts_with(L"\\\\.\\")) path.remove_prefix(4);
  if (!SameText(path, L"root\\cimv2")) m_parser.Refuse(arguments.front(), L"namespace", L"is not root\\cimv2");
}

void MofReader::UseClassFlags(const std::vector<MofToken>& arguments) {
  static constexpr const wchar_t* kFlags[] = {L"createonly", L"forceupdate", L"safeupdate", L"updateonly"};
  for (const MofToken& argument : arguments) {
    const bool known = std::any_of(std::begin(kFlags), std::end(kFlags),
                                   [&](const wchar_t* flag) { return SameText(flag, argument.text); });
    if (!known) m_parser.Refuse(argument, L"unknown class flag");
  }
}

void MofReader::DeleteClass(const std::vector<MofToken>& arguments) {
  const auto erased = std::erase_if(
      m_schema.classes, [&](const auto& definition) { return SameText(definition->name, arguments.front().text); });
  RequireFound(erased != 0, arguments);
}

void MofReader::DeleteInstance(const std::vector<MofToken>& arguments) {
  const auto erased = std::erase_if(m_schema.instances, [&](const InstanceDefinition& instance) {
    return SameText(instance.path, arguments.front().text);
  });
  RequireFound(erased != 0, arguments);
}

void MofReader::RequireFound(bool found, const std::vector<MofToken>& arguments) const {
  const bool mayLack = arguments.size() > 1 && SameText(arguments[1].text, L"nofail");
  if (arguments.size() > 1 && !mayLack && !SameText(arguments[1].text, L"fail")) {
    m_parser.Refuse(arguments[1], L"expected 'fail' or 'nofail' instead of");
  }
  if (!found && !mayLack) m_parser.Refuse(arguments.front(), L"there is no", L"to delete");
}

void MofReader::ReadInstance() {
  if (!m_parser.AcceptWord(L"of")) m_parser.Refuse(m_parser.Current().position, L"expected 'of' behind 'instance'");
  const MofToken name = m_parser.Expect(MofTokenKind::Identifier, L"a class name");
  const auto definition = FindClass(name.text);
  if (definition == nullptr) m_parser.Refuse(name, L"unknown class");
  InstanceDefinition instance;
  instance.className = definition->name;
  if (m_parser.AcceptWord(L"as")) {
    const MofToken alias = m_parser.Expect(MofTokenKind::Alias, L"an alias");
    for (const Alias& known : m_aliases) {
      if (SameText(known.name, alias.text)) m_parser.Refuse(alias, L"alias", L"is given twice");
    }
    instance.alias = alias.text;
  }
  m_parser.Expect(L'{');
  while (!m_parser.Accept(L'}')) ReadAssignment(instance, *definition);
  m_parser.Expect(L';');
  CheckGiven(instance, *definition, name);
  instance.path = PathOf(instance, *definition);
  if (!instance.alias.empty()) m_aliases.push_back({instance.alias, definition, instance.path});
  m_schema.instances.push_back(std::move(instance));
}

void MofReader::ReadAssignment(InstanceDefinition& instance, const ClassDefinition& definition) {
  const MofToken name = m_parser.Expect(MofTokenKind::Identifier, L"a property name");
  const Property* property = definition.Find(name.text);
  if (property == nullptr) m_parser.Refuse(name, L"property", L"is not declared by class '" + definition.name + L"'");
  if (GivenValue(instance, name.text) != nullptr) m_parser.Refuse(name, L"property", L"is given twice");
  m_parser.Expect(L'=');
  Value value = m_parser.Current().kind == MofTokenKind::Alias
                    ? ReadReference(*property)
                    : m_parser.ReadValueOf(property->type, L"'" + property->name + L"'");
  instance.values.emplace_back(property->name, std::move(value));
  m_parser.Expect(L';');
}

Value MofReader::ReadReference(const Property& property) {
  const MofToken alias = m_parser.Take();
  const auto target = std::find_if(m_aliases.begin(), m_aliases.end(),
                                   [&](const Alias& known) { return SameText(known.name, alias.text); });
  if (target == m_aliases.end()) m_parser.Refuse(alias, L"unknown alias");
  if (property.type != CIM_REFERENCE || !target->definition->IsA(property.reference)) {
    m_parser.Refuse(alias, L"alias", L"is no reference that '" + property.name + L"' takes");
  }
  return target->name;
}

void MofReader::CheckGiven(const InstanceDefinition& instance, const ClassDefinition& definition,
                           const MofToken& name) const {
  for (const Property& property : definition.properties) {
    if (!property.IsKey() && !property.Has(L"not_null")) continue;
    const Value* value = GivenValue(instance, property.name);
    if (value != nullptr && !std::holds_alternative<std::monostate>(*value)) continue;
    m_parser.Refuse(name, L"instance of", L"lacks a value for '" + property.name + L"'");
  }
}

std::wstring MofReader::PathOf(const InstanceDefinition& instance, const ClassDefinition& definition) const {
  std::wstring path;
  for (const Property& property : definition.properties) {
    if (!property.IsKey()) continue;
    const Value& value = *GivenValue(instance, property.name);
    const auto* text = std::get_if<std::wstring>(&value);
    const auto* number = std::get_if<std::int64_t>(&value);
    const auto alias = std::find_if(m_aliases.begin(), m_aliases.end(),
                                    [&](const Alias& known) { return text != nullptr && known.name == *text; });
    const bool resolves = property.type == CIM_REFERENCE && alias != m_aliases.end();
    path += (path.empty() ? definition.name + L"." : L",") + property.name + L"=";
    if (number != nullptr) path += std::to_wstring(*number);
    if (text != nullptr) path += Quoted(resolves ? alias->path : *text);
  }
  return path;
}

// The service takes a class whose provider is not registered, and then answers every request with an error.
void MofReader::CheckProvider(const DeclaredClass& declared) const {
  const std::wstring provider = declared.definition->Provider();
  if (provider.empty()) return;
  const std::wstring what = L"provider '" + provider + L"' of class '" + declared.definition->name + L"' ";
  if (m_schema.ProviderClassId(provider).empty()) {
    m_parser.Refuse(declared.position, what + L"is named by no instance of __Win32Provider");
  }
  if (!IsRegistered(L"__InstanceProviderRegistration", provider)) {
    m_parser.Refuse(declared.position, what + L"is not registered for instances");
  }
  if (!declared.definition->methods.empty() && !IsRegistered(L"__MethodProviderRegistration", provider)) {
    m_parser.Refuse(declared.position, what + L"is not registered for methods");
  }
}

bool MofReader::IsRegistered(const std::wstring& registration, const std::wstring& provider) const {
  const std::wstring path = registration + L".provider=" + Quoted(L"__Win32Provider.Name=" + Quoted(provider));
  return std::any_of(m_schema.instances.begin(), m_schema.instances.end(),
                     [&](const InstanceDefinition& instance) { return SameText(instance.path, path); });
}

const Schema& PlatformSchema() {
  static const Schema schema = MofReader(WideText(kPlatformClasses), "platform classes", Schema(), Schema()).Read();
  return schema;
}

std::string FromUtf16(std::string_view bytes, bool bigEndian) {
  std::wstring text;
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    const auto first = static_cast<unsigned char>(bytes[at]);
    const auto second = static_cast<unsigned char>(bytes[at + 1]);
    text += static_cast<wchar_t>(bigEndian ? first << 8 | second : second << 8 | first);
  }
  return NarrowText(text);
}

std::string Utf8Of(const std::string& bytes) {
  const std::string_view view = bytes;
  if (view.starts_with("\xFF\xFE")) return FromUtf16(view.substr(2), false);
  if (view.starts_with("\xFE\xFF")) return FromUtf16(view.substr(2), true);
  return std::string(view.starts_with("\xEF\xBB\xBF") ? view.substr(3) : view);
}

}  // namespace

void ReadMof(std::string_view text, const std::string& file, Schema& schema) {
  std::wstring wide;
  try {
    wide = WideText(text);
  } catch (const std::range_error&) {
    throw MofError(file, 1, 1, "the file is neither UTF-8 nor UTF-16 with a byte order mark");
  }
  schema = MofReader(std::move(wide), file, PlatformSchema(), schema).Read();
}

void ReadMofFile(const std::wstring& path, Schema& schema) {
  const std::string name = NarrowText(path);
  std::ifstream file(path.c_str(), std::ios::binary);
  if (!file) throw MofError(name, 1, 1, "the file cannot be read");
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  ReadMof(Utf8Of(bytes), name, schema);
}

}  // namespace lab
