// Object paths and namespace names as clients write them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace lab {

/// An object path taken apart.
struct ObjectPath {
  std::wstring space;       ///< namespace with its server, as written; empty when the path is relative
  std::wstring relative;    ///< class and keys, as written
  std::wstring className;   ///< as written
  bool isInstance = false;  ///< names an instance by its keys, not a class
};

/// Nothing when the text is no object path.
std::optional<ObjectPath> ParseObjectPath(std::wstring_view text);

enum class NamespaceMatch { kOurs, kOtherNamespace, kOtherComputer };

/// Whether a namespace name means root\cimv2 of this computer: any case, either slash, with or without "\\.\",
/// "\\localhost\" or "\\NAME-OF-THIS-COMPUTER\". An empty name is the default namespace, which is root\cimv2.
NamespaceMatch MatchNamespace(std::wstring_view name);

std::wstring ComputerName();

}  // namespace lab
