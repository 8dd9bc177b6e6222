#include "lab/schema/mofclassreader.h"

#include <algorithm>
#include <iterator>

#include "lab/schema/textcompare.h"

namespace lab {
namespace {

std::int64_t ParameterId(const Property& parameter) {
  return std::get<std::int64_t>(FindQualifier(parameter.qualifiers, L"id")->value);
}

std::shared_ptr<const ClassDefinition> Signature(const std::vector<Property>& parameters, const wchar_t* direction,
                                                 CIMTYPE result) {
  auto signature = std::make_shared<ClassDefinition>();
  signature->name = L"__PARAMETERS";
  std::copy_if(parameters.begin(), parameters.end(), std::back_inserter(signature->properties),
               [&](const Property& parameter) { return parameter.Has(direction); });
  if (result != CIM_EMPTY) signature->properties.push_back({L"ReturnValue", result, {}, {}, {{direction, true}}, {}});
  return signature->properties.empty() ? nullptr : signature;
}

}  // namespace

DeclaredClass MofClassReader::Read(MofQualifiers qualifiers) {
  auto definition = std::make_shared<ClassDefinition>();
  definition->qualifiers = m_parser.InScope(std::move(qualifiers), kOnClass);
  const MofToken name = m_parser.Expect(MofTokenKind::Identifier, L"a class name");
  if (m_find(name.text) != nullptr) m_parser.Refuse(name, L"class", L"is declared twice");
  definition->name = name.text;
  if (m_parser.Accept(L':')) Inherit(*definition);
  m_parser.Expect(L'{');
  while (!m_parser.Accept(L'}')) ReadMember(*definition);
  m_parser.Expect(L';');
  CheckClass(*definition, name);
  return {std::move(definition), name.position};
}

void MofClassReader::Inherit(ClassDefinition& definition) {
  const MofToken name = m_parser.Expect(MofTokenKind::Identifier, L"a superclass");
  const auto superclass = m_find(name.text);
  if (superclass == nullptr) m_parser.Refuse(name, L"unknown superclass", L"");
  definition.superclass = superclass->name;
  definition.derivation = superclass->derivation;
  definition.derivation.insert(definition.derivation.begin(), superclass->name);
  definition.properties = superclass->properties;
  definition.methods = superclass->methods;
  const auto keepOrigin = [&](auto& member) {
    if (member.origin.empty()) member.origin = superclass->name;
  };
  std::for_each(definition.properties.begin(), definition.properties.end(), keepOrigin);
  std::for_each(definition.methods.begin(), definition.methods.end(), keepOrigin);
}

void MofClassReader::ReadMember(ClassDefinition& definition) {
  MofQualifiers qualifiers = m_parser.ReadQualifiers();
  const MofType type = m_parser.ReadType();
  const MofToken name = m_parser.Expect(MofTokenKind::Identifier, L"a name");
  if (type.type == CIM_EMPTY || m_parser.Current().Is(L'(')) {
    AddMethod(definition, std::move(qualifiers), type, name);
  } else {
    AddProperty(definition, ReadDeclarator(std::move(qualifiers), kOnProperty, type, name), name);
  }
  m_parser.Expect(L';');
}

Property MofClassReader::ReadDeclarator(MofQualifiers qualifiers, MofScope scope, const MofType& type,
                                        const MofToken& name) {
  if (type.type == CIM_EMPTY) m_parser.Refuse(type.position, L"only a method may be void");
  Property property{name.text, type.type, type.reference, {}, m_parser.InScope(std::move(qualifiers), scope), {}};
  if (type.type == CIM_REFERENCE) m_used.push_back({type.reference, type.position});
  if (m_parser.Accept(L'[')) {
    m_parser.Expect(L']');
    property.type |= CIM_FLAG_ARRAY;
  }
  if (m_parser.Accept(L'=')) property.initial = m_parser.ReadValueOf(property.type, L"'" + name.text + L"'");
  return property;
}

void MofClassReader::AddProperty(ClassDefinition& definition, Property property, const MofToken& name) const {
  const Property* known = definition.Find(property.name);
  if (known == nullptr) return definition.properties.push_back(std::move(property));
  if (known->origin.empty()) m_parser.Refuse(name, L"property", L"is declared twice");
  if (known->type != property.type) m_parser.Refuse(name, L"property", L"has another type than in the superclass");
  for (const Qualifier& inherited : known->qualifiers) {
    if (!property.Has(inherited.name.c_str())) property.qualifiers.push_back(inherited);
  }
  definition.properties[static_cast<std::size_t>(known - definition.properties.data())] = std::move(property);
}

void MofClassReader::AddMethod(ClassDefinition& definition, MofQualifiers qualifiers, const MofType& result,
                               const MofToken& name) {
  const Method* known = definition.FindMethod(name.text);
  if (known != nullptr && known->origin.empty()) m_parser.Refuse(name, L"method", L"is declared twice");
  if (result.type == CIM_REFERENCE) m_parser.Refuse(result.position, L"a method cannot return a reference");
  std::vector<Property> parameters = ReadParameters();
  NumberParameters(parameters, name.position);
  Method method{name.text, {}, m_parser.InScope(std::move(qualifiers), kOnMethod), {}, {}};
  method.in = Signature(parameters, L"in", CIM_EMPTY);
  method.out = Signature(parameters, L"out", result.type);
  if (known == nullptr) return definition.methods.push_back(std::move(method));
  definition.methods[static_cast<std::size_t>(known - definition.methods.data())] = std::move(method);
}

std::vector<Property> MofClassReader::ReadParameters() {
  std::vector<Property> parameters;
  m_parser.Expect(L'(');
  if (m_parser.Accept(L')')) return parameters;
  do {
    const MofPosition position = m_parser.Current().position;
    parameters.push_back(ReadParameter());
    const auto isLast = [&](const Property& earlier) { return SameText(earlier.name, parameters.back().name); };
    if (std::find_if(parameters.begin(), parameters.end(), isLast) != std::prev(parameters.end())) {
      m_parser.Refuse(position, L"parameter '" + parameters.back().name + L"' is declared twice");
    }
  } while (m_parser.Accept(L','));
  m_parser.Expect(L')');
  return parameters;
}

Property MofClassReader::ReadParameter() {
  MofQualifiers qualifiers = m_parser.ReadQualifiers();
  const MofType type = m_parser.ReadType();
  const MofToken name = m_parser.Expect(MofTokenKind::Identifier, L"a parameter name");
  Property parameter = ReadDeclarator(std::move(qualifiers), kOnParameter, type, name);
  if (!parameter.Has(L"in") && !parameter.Has(L"out")) {
    m_parser.Refuse(name, L"parameter", L"is neither 'in' nor 'out'");
  }
  return parameter;
}

// Puts parameters in the order of their numbers, which run from 0; numbers are given to all or to none.
void MofClassReader::NumberParameters(std::vector<Property>& parameters, MofPosition position) const {
  const auto hasId = [](const Property& parameter) { return parameter.Has(L"id"); };
  std::int64_t next = 0;
  if (std::none_of(parameters.begin(), parameters.end(), hasId)) {
    for (Property& parameter : parameters) parameter.qualifiers.push_back({L"ID", next++});
    return;
  }
  if (!std::all_of(parameters.begin(), parameters.end(), hasId)) {
    m_parser.Refuse(position, L"give an ID to all parameters or to none");
  }
  std::sort(parameters.begin(), parameters.end(),
            [](const Property& left, const Property& right) { return ParameterId(left) < ParameterId(right); });
  for (const Property& parameter : parameters) {
    if (ParameterId(parameter) != next++) m_parser.Refuse(position, L"the parameters' IDs do not run from 0");
  }
}

void MofClassReader::CheckClass(const ClassDefinition& definition, const MofToken& name) const {
  const auto count = [&](auto predicate) {
    return std::count_if(definition.properties.begin(), definition.properties.end(), predicate);
  };
  const auto keys = count([](const Property& property) { return property.IsKey(); });
  if (definition.Has(L"association")) {
    const auto isEnd = [](const Property& property) { return property.type == CIM_REFERENCE && property.IsKey(); };
    if (keys != 2 || count(isEnd) != 2) m_parser.Refuse(name, L"association", L"needs two references as its keys");
  }
  const bool dynamic = definition.Has(L"dynamic");
  if (dynamic && definition.Provider().empty()) m_parser.Refuse(name, L"dynamic class", L"names no provider");
  if (!dynamic && definition.Has(L"provider")) m_parser.Refuse(name, L"class", L"has a provider but is not dynamic");
  if (dynamic && keys == 0 && !definition.properties.empty() && !definition.Has(L"singleton")) {
    m_parser.Refuse(name, L"dynamic class", L"has no key");
  }
}

}  // namespace lab
