// Short names for what differs from run to run or is long: {7} for an adapter's instance GUID, {A}, {B} ... for others
// in the order in which they appear, <class>, <muxp>, <MUXP>, <lab>, <bin> and <temp> for paths.
#pragma once

#include <map>
#include <string>

namespace scenario {

/// The text with `to` in place of each `from`.
std::string Replaced(std::string text, const std::string& from, const std::string& to);

class Aliases {
 public:
  Aliases();

  /// The text with short names; GUIDs that are new get theirs. A GUID without braces is <A>, one without its last
  /// hyphen <A->.
  std::string Shorten(std::string text);
  /// The text with what the short names stand for.
  std::string Expand(std::string text) const;

 private:
  const std::string& NameOf(const std::string& guid);

  std::map<std::string, std::string> m_paths;  ///< short to long
  std::map<std::string, std::string> m_names;  ///< upper-case GUID without braces to short name
  std::map<std::string, std::string> m_guids;  ///< short name to GUID as it was first seen
  char m_next = 'A';
};

}  // namespace scenario
