// Reads class declarations.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "lab/schema/mofparser.h"
#include "lab/schema/schema.h"

namespace lab {

struct DeclaredClass {
  std::shared_ptr<const ClassDefinition> definition;
  MofPosition position;
};

struct UsedClass {
  std::wstring name;
  MofPosition position;
};

class MofClassReader {
 public:
  using Find = std::function<std::shared_ptr<const ClassDefinition>(std::wstring_view name)>;

  /// `find` gives the classes known so far.
  MofClassReader(MofParser& parser, Find find) : m_parser(parser), m_find(std::move(find)) {}

  /// A declaration from behind "class" to its semicolon.
  DeclaredClass Read(MofQualifiers qualifiers);
  /// The classes that references named; they may be declared later.
  const std::vector<UsedClass>& Used() const { return m_used; }

 private:
  void Inherit(ClassDefinition& definition);
  void ReadMember(ClassDefinition& definition);
  Property ReadDeclarator(MofQualifiers qualifiers, MofScope scope, const MofType& type, const MofToken& name);
  void AddProperty(ClassDefinition& definition, Property property, const MofToken& name) const;
  void AddMethod(ClassDefinition& definition, MofQualifiers qualifiers, const MofType& result, const MofToken& name);
  std::vector<Property> ReadParameters();
  Property ReadParameter();
  void NumberParameters(std::vector<Property>& parameters, MofPosition position) const;
  void CheckClass(const ClassDefinition& definition, const MofToken& name) const;

  MofParser& m_parser;
  Find m_find;
  std::vector<UsedClass> m_used;
};

}  // namespace lab
