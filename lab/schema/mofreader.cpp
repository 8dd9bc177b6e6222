#include "lab/schema/mofreader.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <utility>

#include "lab/schema/lexer.h"
#include "lab/schema/textcompare.h"

namespace lab {
namespace {

/// Where a qualifier may stand; values combine.
enum Scope : unsigned { kOnClass = 1, kOnProperty = 2, kOnMethod = 4, kOnParameter = 8, kAnywhere = 15 };

constexpr struct {
  const wchar_t* name;
  ValueKind kind;
  unsigned scopes;
} kQualifiers[] = {
    {L"association", ValueKind::kFlag, kOnClass},    {L"createby", ValueKind::kText, kOnClass},
    {L"deleteby", ValueKind::kText, kOnClass},       {L"description", ValueKind::kText, kAnywhere},
    {L"dynamic", ValueKind::kFlag, kOnClass},        {L"id", ValueKind::kNumber, kOnParameter},
    {L"implemented", ValueKind::kFlag, kOnMethod},   {L"in", ValueKind::kFlag, kOnParameter},
    {L"key", ValueKind::kFlag, kOnProperty},         {L"mappingstrings", ValueKind::kTexts, kOnProperty},
    {L"maxlen", ValueKind::kNumber, kOnProperty},    {L"maxvalue", ValueKind::kNumber, kOnProperty},
    {L"minvalue", ValueKind::kNumber, kOnProperty},  {L"out", ValueKind::kFlag, kOnParameter},
    {L"provider", ValueKind::kText, kOnClass},       {L"read", ValueKind::kFlag, kOnProperty},
    {L"static", ValueKind::kFlag, kOnMethod},        {L"supportscreate", ValueKind::kFlag, kOnClass},
    {L"supportsdelete", ValueKind::kFlag, kOnClass}, {L"supportsupdate", ValueKind::kFlag, kOnClass},
    {L"units", ValueKind::kText, kOnProperty},       {L"updateby", ValueKind::kText, kOnClass},
    {L"valuemap", ValueKind::kTexts, kOnProperty},   {L"values", ValueKind::kTexts, kOnProperty},
    {L"write", ValueKind::kFlag, kOnProperty},
};

/// For messages; what is not ASCII cannot come from a file that is read.
std::string Narrow(std::wstring_view text) {
  std::string narrow;
  std::transform(text.begin(), text.end(), std::back_inserter(narrow),
                 [](wchar_t c) { return c > 0 && c < 128 ? static_cast<char>(c) : '?'; });
  return narrow;
}

class MofReader {
 public:
  MofReader(std::wstring_view text, const std::string& file, Schema schema)
      : m_lexer(text, L"\""), m_file(file), m_schema(std::move(schema)) {}

  Schema Read() {
    while (!m_lexer.IsAtEnd()) ReadStatement();
    return std::move(m_schema);
  }

 private:
  [[noreturn]] void Refuse(const Token& token, const std::string& message) const {
    throw MofError(m_file + ":" + std::to_string(token.line) + ":" + std::to_string(token.column) + ": " + message);
  }
  [[noreturn]] void RefuseCurrent(const std::string& expected) const {
    const Token& token = m_lexer.Current();
    if (token.kind == TokenKind::kBad) Refuse(token, Narrow(token.text));
    Refuse(token, "expected " + expected + " instead of " +
                      (m_lexer.IsAtEnd() ? "the file's end" : "'" + Narrow(token.text) + "'"));
  }
  Token Expect(TokenKind kind, const std::string& what) {
    if (m_lexer.Current().kind != kind) RefuseCurrent(what);
    return m_lexer.Take();
  }
  Token ExpectName(const std::string& what) { return Expect(TokenKind::kName, what); }
  void Expect(wchar_t character) {
    if (!m_lexer.Accept(character)) RefuseCurrent("'" + Narrow({&character, 1}) + "'");
  }
  void Expect(std::wstring_view word) {
    if (!m_lexer.Accept(word)) RefuseCurrent("'" + Narrow(word) + "'");
  }

  std::shared_ptr<const ClassDefinition> ExpectClass() {
    const Token name = ExpectName("a class");
    auto definition = m_schema.Find(name.text);
    if (definition == nullptr) Refuse(name, "unknown class '" + Narrow(name.text) + "'");
    return definition;
  }

  void ReadStatement() {
    if (m_lexer.Accept(L'#')) return ReadPragma();
    if (m_lexer.Accept(L"instance")) return ReadInstance();
    const std::vector<Qualifier> qualifiers = ReadQualifiers();
    CheckScope(kOnClass);
    if (!m_lexer.Accept(L"class")) RefuseCurrent("'class', 'instance of' or '#pragma'");
    ReadClass(qualifiers);
  }

  void ReadPragma() {
    Expect(L"pragma");
    const Token name = ExpectName("a pragma");
    if (SameText(name.text, L"autorecover")) return;
    Expect(L'(');
    const Token argument = Expect(TokenKind::kText, "a text");
    if (SameText(name.text, L"namespace")) {
      if (!SameText(argument.text, L"\\\\.\\root\\cimv2")) Refuse(argument, "the namespace is not root\\cimv2");
    } else if (SameText(name.text, L"classflags")) {
      if (!SameText(argument.text, L"forceupdate")) Refuse(argument, "unknown class flag");
    } else {
      ReadDeletion(name, argument.text);
    }
    Expect(L')');
  }

  void ReadDeletion(const Token& pragma, const std::wstring& name) {
    const bool isClass = SameText(pragma.text, L"deleteclass");
    if (!isClass && !SameText(pragma.text, L"deleteinstance")) Refuse(pragma, "unknown pragma");
    Expect(L',');
    Expect(L"nofail");
    if (isClass) {
      std::erase_if(m_schema.classes, [&](const auto& known) { return SameText(known->name, name); });
    } else {
      std::erase_if(m_schema.instances, [&](const auto& known) { return SameText(known.path, name); });
    }
  }

  void ReadInstance() {
    Expect(L"of");
    const Token start = m_lexer.Current();
    const auto definition = ExpectClass();
    InstanceDefinition instance{definition->name, {}, {}};
    for (const Property& property : definition->properties) instance.values[property.name] = property.initial;
    const std::wstring alias = m_lexer.Accept(L"as") ? ReadAlias() : L"";
    Expect(L'{');
    while (!m_lexer.Accept(L'}')) ReadAssignment(instance, *definition);
    Expect(L';');
    const Property* const key = definition->FindKey();
    const auto* const text = key == nullptr ? nullptr : std::get_if<std::wstring>(&instance.values[key->name]);
    if (text == nullptr) Refuse(start, "the instance has no value for its key");
    instance.path = definition->name + L"." + key->name + L"=" + Quoted(*text);
    if (!alias.empty()) m_aliases[alias] = instance.path;
    m_schema.instances.push_back(std::move(instance));
  }

  std::wstring ReadAlias() {
    Expect(L'$');
    return ExpectName("an alias").text;
  }

  void ReadAssignment(InstanceDefinition& instance, const ClassDefinition& definition) {
    const Token name = ExpectName("a property");
    const Property* const property = definition.Find(name.text);
    if (property == nullptr) Refuse(name, "the class does not declare '" + Narrow(name.text) + "'");
    Expect(L'=');
    instance.values[property->name] = property->reference.empty() ? ReadValue(*property) : ReadReference(*property);
    Expect(L';');
  }

  std::wstring ReadReference(const Property& property) {
    const Token start = m_lexer.Current();
    std::wstring path = m_aliases[ReadAlias()];
    if (!path.starts_with(property.reference + L".")) Refuse(start, "the alias does not name what the property takes");
    return path;
  }

  Value ReadValue(const Property& property) {
    const CimType& type = CimTypeOf(property.type);
    const Token start = m_lexer.Current();
    Value value = ReadLiteral(type.kind);
    const auto* const number = std::get_if<std::int64_t>(&value);
    if (number != nullptr && (*number < type.minimum || *number > type.maximum)) Refuse(start, "value out of range");
    return value;
  }

  Value ReadLiteral(ValueKind kind) {
    if (kind == ValueKind::kNumber) return Expect(TokenKind::kNumber, "a number").number;
    if (kind == ValueKind::kText) return ReadText();
    if (m_lexer.Accept(L"true")) return true;
    if (m_lexer.Accept(L"false")) return false;
    RefuseCurrent("TRUE or FALSE");
  }

  /// Literals that stand side by side are one text.
  std::wstring ReadText() {
    std::wstring text = Expect(TokenKind::kText, "a text").text;
    while (m_lexer.Current().kind == TokenKind::kText) text += m_lexer.Take().text;
    return text;
  }

  /// What stands in brackets before a declaration; CheckScope has to follow as soon as its kind is known.
  std::vector<Qualifier> ReadQualifiers() {
    std::vector<Qualifier> qualifiers;
    m_scopes.clear();
    if (!m_lexer.Accept(L'[')) return qualifiers;
    do {
      const Token name = ExpectName("a qualifier");
      const auto* const rule = std::find_if(std::begin(kQualifiers), std::end(kQualifiers),
                                            [&](const auto& known) { return SameText(known.name, name.text); });
      if (rule == std::end(kQualifiers)) Refuse(name, "unknown qualifier '" + Narrow(name.text) + "'");
      m_scopes.emplace_back(name, rule->scopes);
      qualifiers.push_back({name.text, ReadQualifierValue(rule->kind)});
    } while (m_lexer.Accept(L','));
    Expect(L']');
    return qualifiers;
  }

  /// A flag has none: some readers of a schema take one that is there for true, whatever its value.
  Value ReadQualifierValue(ValueKind kind) {
    if (kind == ValueKind::kFlag) return true;
    const bool isList = kind == ValueKind::kTexts;
    std::vector<std::wstring> texts;
    Expect(isList ? L'{' : L'(');
    Value value = isList ? Value() : ReadLiteral(kind);
    if (isList) {
      do {
        texts.push_back(ReadText());
      } while (m_lexer.Accept(L','));
      value = std::move(texts);
    }
    Expect(isList ? L'}' : L')');
    return value;
  }

  void CheckScope(Scope scope) const {
    for (const auto& [name, scopes] : m_scopes) {
      if ((scopes & scope) == 0) Refuse(name, "qualifier '" + Narrow(name.text) + "' does not belong here");
    }
  }

  void ReadClass(const std::vector<Qualifier>& qualifiers) {
    const Token name = ExpectName("a class name");
    if (m_schema.Find(name.text) != nullptr) Refuse(name, "the class is declared twice");
    auto definition = std::make_shared<ClassDefinition>();
    definition->name = name.text;
    definition->qualifiers = qualifiers;
    Expect(L'{');
    while (!m_lexer.Accept(L'}')) ReadMember(*definition);
    Expect(L';');
    if (definition->Has(L"dynamic")) CheckServed(*definition, name);
    m_schema.classes.push_back(std::move(definition));
  }

  /// The service takes a class whose provider is not registered, and then answers every request with an error.
  void CheckServed(const ClassDefinition& definition, const Token& name) const {
    const std::wstring provider = definition.Provider();
    if (definition.FindKey() == nullptr) Refuse(name, "the dynamic class has no key");
    if (m_schema.ProviderClassId(provider).empty()) Refuse(name, "no instance of __Win32Provider is its provider");
    if (m_schema.FindRegistration(L"__InstanceProviderRegistration", provider) == nullptr) {
      Refuse(name, "its provider is not registered for instances");
    }
    if (!definition.methods.empty() &&
        m_schema.FindRegistration(L"__MethodProviderRegistration", provider) == nullptr) {
      Refuse(name, "its provider is not registered for methods");
    }
  }

  /// Type, name and qualifiers, as properties, parameters and methods begin.
  Property ReadDeclaration() {
    Property property;
    property.qualifiers = ReadQualifiers();
    const CimType* const type = FindCimType(m_lexer.Current().text);
    property.type = type == nullptr ? kReferenceType.type : type->type;
    if (type != nullptr) {
      m_lexer.Take();
    } else {
      property.reference = ExpectClass()->name;
      Expect(kReferenceType.name);
    }
    property.name = ExpectName("a name").text;
    return property;
  }

  void ReadMember(ClassDefinition& definition) {
    const Token start = m_lexer.Current();
    Property property = ReadDeclaration();
    if (definition.Find(property.name) != nullptr || definition.FindMethod(property.name) != nullptr) {
      Refuse(start, "'" + Narrow(property.name) + "' is declared twice");
    }
    const bool isMethod = m_lexer.Accept(L'(');
    CheckScope(isMethod ? kOnMethod : kOnProperty);
    if (isMethod) {
      definition.methods.push_back(ReadMethod(std::move(property)));
    } else {
      if (m_lexer.Accept(L'=')) property.initial = ReadValue(property);
      definition.properties.push_back(std::move(property));
    }
    Expect(L';');
  }

  /// From behind the bracket that opens the parameters.
  Method ReadMethod(Property declared) {
    auto in = std::make_shared<ClassDefinition>();
    auto out = std::make_shared<ClassDefinition>();
    in->name = out->name = L"__PARAMETERS";
    for (std::int64_t id = 0; !m_lexer.Accept(L')'); ++id) {
      if (id > 0) Expect(L',');
      const Token start = m_lexer.Current();
      Property parameter = ReadDeclaration();
      CheckScope(kOnParameter);
      if (parameter.type == FindCimType(L"string")->type && m_lexer.Accept(L'[')) {
        Expect(L']');
        parameter.type |= kArrayFlag;
      }
      if (m_lexer.Accept(L'=')) parameter.initial = ReadValue(parameter);
      const Qualifier* const given = FindQualifier(parameter.qualifiers, L"id");
      if (given != nullptr && given->value != Value(id)) Refuse(start, "the parameters' IDs do not run from 0");
      if (parameter.Has(L"in") == parameter.Has(L"out")) Refuse(start, "the parameter is not one of 'in' and 'out'");
      (parameter.Has(L"in") ? in : out)->properties.push_back(std::move(parameter));
    }
    out->properties.push_back({L"ReturnValue", declared.type, {}, {}, {}});
    if (in->properties.empty()) in = nullptr;
    return {std::move(declared.name), std::move(declared.qualifiers), std::move(in), std::move(out)};
  }

  Lexer m_lexer;
  const std::string& m_file;
  Schema m_schema;
  std::map<std::wstring, std::wstring> m_aliases;    ///< without their '$', to paths
  std::vector<std::pair<Token, unsigned>> m_scopes;  ///< of the qualifiers read last
};

}  // namespace

void ReadMof(std::string_view text, const std::string& file, Schema& schema) {
  std::wstring wide;
  for (const char c : text) wide += static_cast<wchar_t>(static_cast<unsigned char>(c));
  if (std::any_of(wide.begin(), wide.end(), [](wchar_t c) { return c > 127; })) {
    throw MofError(file + ":1:1: the file is not plain ASCII");
  }
  schema = MofReader(wide, file, schema).Read();
}

void ReadMofFile(const std::wstring& path, Schema& schema) {
  std::ifstream file(std::filesystem::path(path), std::ios::binary);
  if (!file) throw MofError(Narrow(path) + ":1:1: the file cannot be read");
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  ReadMof(text, Narrow(path), schema);
}

}  // namespace lab
