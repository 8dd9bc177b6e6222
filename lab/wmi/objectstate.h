// What a class object or an instance knows of itself, apart from its COM face.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lab/schema/schema.h"
#include "platform/comtext.h"

namespace lab {

class ObjectState {
 public:
  ObjectState(std::shared_ptr<const ClassDefinition> definition, bool isInstance);
  ObjectState(const ObjectState& other);
  ObjectState(ObjectState&&) noexcept = default;
  ObjectState& operator=(const ObjectState&) = delete;
  ~ObjectState() = default;

  const std::shared_ptr<const ClassDefinition>& Definition() const { return m_definition; }
  bool IsInstance() const { return m_isInstance; }

  /// An instance with the values of this class object.
  ObjectState Spawn() const;

  /// Hides all properties but these. An instance that loses a key has no path any more, unless the path was asked for.
  void Keep(const std::vector<std::wstring>& names);

  /// The names that the flags of IWbemClassObject::GetNames select, system properties first. `qualifier` may be null.
  std::vector<std::wstring> Names(LONG flags, const wchar_t* qualifier) const;

  /// Index of a property among the definition's, unless it is hidden.
  std::optional<std::size_t> Find(std::wstring_view name) const;
  const Property& Declaration(std::size_t index) const { return m_definition->properties[index]; }
  bool IsLocal(std::size_t index) const;
  const VARIANT& Value(std::size_t index) const { return *m_values[index].Get(); }
  /// Takes a value as StoreVariant does, or any value when the definition is lax.
  HRESULT Set(std::size_t index, const VARIANT& value);
  /// Gives a property the value of its declaration.
  void Reset(std::size_t index);

  /// Value and type of a system property ("__CLASS" and so on); false for a name that is none.
  bool GetSystem(std::wstring_view name, qvrn::Variant& value, CIMTYPE& type) const;

  /// Relative path; empty for an instance that has none.
  std::wstring RelativePath() const;
  /// The object in MOF, without qualifiers other than key and without methods.
  std::wstring Text() const;

 private:
  bool Selects(std::size_t index, LONG flags, const wchar_t* qualifier) const;
  std::wstring InstanceText() const;
  std::wstring ClassText() const;
  void StoreInitial(std::size_t index, VARIANT& value) const;

  std::shared_ptr<const ClassDefinition> m_definition;
  bool m_isInstance;
  bool m_hasPath = true;
  std::vector<qvrn::Variant> m_values;  ///< one per property of the definition
  std::vector<bool> m_hidden;           ///< one per property of the definition
};

}  // namespace lab
