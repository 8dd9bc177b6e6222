#include "tools/qvrnctl/statedescription.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <set>
#include <string_view>

#include "tools/qvrnctl/errors.h"

namespace qvrn {
namespace {

constexpr const char* kNames[] = {"id", "name", "connection", "guid", "pnpDeviceId"};

// --- form ------------------------------------------------------------------------------------------------------------

class DescriptionReader {
 public:
  StateDescription Read(const Json& json) {
    if (!json.is_object() || !json.contains("adapters")) {
      Refuse(L"the file", L"has no list \"adapters\"");
    } else {
      CheckKeys(json, L"the file", {"adapters"});
      ForEach(json["adapters"], L"adapters", [this](const Json& adapter, const std::wstring& place) {
        if (CheckObject(adapter, place)) ReadAdapter(adapter, place);
      });
    }
    return std::move(m_description);
  }

 private:
  void Refuse(const std::wstring& place, const std::wstring& why) {
    m_description.faults.push_back(place + L": " + why);
  }

  template <typename Action>
  void ForEach(const Json& list, const std::wstring& place, Action action) {
    if (!list.is_array()) return Refuse(place, L"is not a list");
    for (std::size_t i = 0; i < list.size(); ++i) action(list[i], place + L"[" + std::to_wstring(i) + L"]");
  }

  bool CheckObject(const Json& json, const std::wstring& place) {
    if (!json.is_object()) Refuse(place, L"is not an object");
    return json.is_object();
  }

  void CheckKeys(const Json& object, const std::wstring& place, std::initializer_list<std::string_view> known) {
    for (const auto& [key, value] : object.items()) {
      if (std::ranges::find(known, key) != known.end()) continue;
      std::wstring keys;
      for (const std::string_view name : known) keys += (keys.empty() ? L"" : L", ") + FromUtf8(name);
      Refuse(place, L"the key \"" + FromUtf8(key) + L"\" is not known; there are " + keys);
    }
  }

  // None for null, and after a fault.
  std::optional<std::wstring> ReadText(const Json& json, const std::wstring& place) {
    if (json.is_string()) return FromUtf8(json.get_ref<const std::string&>());
    if (!json.is_null()) Refuse(place, L"takes a text, not " + FormatOnOneLine(json));
    return std::nullopt;
  }

  std::optional<std::int64_t> ReadNumber(const Json& json, const std::wstring& place) {
    const bool fits =
        !json.is_number_unsigned() || json.get<std::uint64_t>() <= std::numeric_limits<std::int32_t>::max();
    if (json.is_number_integer() && fits) return json.get<std::int64_t>();
    Refuse(place, L"takes a whole number, not " + FormatOnOneLine(json));
    return std::nullopt;
  }

  void ReadAdapter(const Json& json, const std::wstring& place) {
    CheckKeys(json, place, {"id", "name", "connection", "guid", "pnpDeviceId", "properties", "vlans"});
    DescribedAdapter adapter = {place, {}, {}, {}};
    for (const char* name : kNames) {
      if (!json.contains(name)) continue;
      const Json& value = json[name];  // people write the id as a number, too
      const auto text =
          value.is_number_integer() ? FromUtf8(value.dump()) : ReadText(value, place + L"." + FromUtf8(name));
      if (text) adapter.names.emplace_back(FromUtf8(name), *text);
    }
    if (adapter.names.empty()) Refuse(place, L"names no adapter");
    if (json.contains("properties") && CheckObject(json["properties"], place + L".properties")) {
      ReadProperties(json["properties"], adapter);
    }
    if (json.contains("vlans")) ReadVlans(json["vlans"], adapter);
    m_description.adapters.push_back(std::move(adapter));
  }

  void ReadProperties(const Json& json, DescribedAdapter& adapter) {
    for (const auto& [key, value] : json.items()) {
      const std::wstring place = adapter.place + L".properties." + FromUtf8(key);
      if (value.is_string()) {
        adapter.properties.emplace_back(FromUtf8(key), *ReadText(value, place));
      } else if (const auto number = ReadNumber(value, place)) {
        adapter.properties.emplace_back(FromUtf8(key), *number);
      }
    }
  }

  // A list with a fault is not taken: what it lacks would be removed.
  void ReadVlans(const Json& json, DescribedAdapter& adapter) {
    const std::size_t faults = m_description.faults.size();
    std::vector<DescribedVlan> vlans;
    ForEach(json, adapter.place + L".vlans", [&](const Json& element, const std::wstring& place) {
      if (CheckObject(element, place)) vlans.push_back(ReadVlan(element, place));
    });
    if (m_description.faults.size() == faults) adapter.vlans = std::move(vlans);
  }

  DescribedVlan ReadVlan(const Json& json, const std::wstring& place) {
    CheckKeys(json, place, {"number", "name", "priority", "guid"});
    DescribedVlan vlan = {place, 0, {}, {}};
    for (const char* needed : {"number", "name"}) {
      if (!json.contains(needed)) Refuse(place, L"has no \"" + FromUtf8(needed) + L"\"");
    }
    if (json.contains("number")) vlan.number = ReadNumber(json["number"], place + L".number").value_or(0);
    if (json.contains("name")) {
      if (json["name"].is_null()) Refuse(place + L".name", L"takes a text, not null");
      vlan.name = ReadText(json["name"], place + L".name").value_or(L"");
    }
    if (json.contains("priority")) vlan.priority = ReadNumber(json["priority"], place + L".priority");
    if (json.contains("guid")) ReadText(json["guid"], place + L".guid");
    return vlan;
  }

  StateDescription m_description;
};

// --- text ------------------------------------------------------------------------------------------------------------

std::wstring LineAndColumn(std::string_view text, std::size_t offset) {
  const std::string_view before = text.substr(0, offset);
  const std::size_t line = 1 + static_cast<std::size_t>(std::ranges::count(before, '\n'));
  const std::size_t column = 1 + before.size() - (before.rfind('\n') + 1);  // npos + 1 is 0
  return L"line " + std::to_wstring(line) + L", column " + std::to_wstring(column);
}

// Walks through a text and leaves word of where it is.
class Position {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  Position(const char* at, const char** reached) : m_at(at), m_reached(reached) {}
  reference operator*() const { return *m_at; }
  Position& operator++() {
    *m_reached = ++m_at;
    return *this;
  }
  bool operator==(const Position& other) const { return m_at == other.m_at; }
  bool operator!=(const Position& other) const { return m_at != other.m_at; }

 private:
  const char* m_at;
  const char** m_reached;
};

// The library's own words behind its number and place, without what a long text would add.
std::wstring Explain(const Json::exception& error) {
  constexpr std::size_t kLongest = 200;
  const std::string text = error.what();
  const std::size_t place = text.find(": ");
  const std::size_t start = place == std::string::npos ? text.find("] ") : place;
  return FromUtf8(text.substr(start == std::string::npos ? 0 : start + 2, kLongest));
}

}  // namespace

std::string DecodeText(const std::string& bytes) {
  if (bytes.starts_with("\xEF\xBB\xBF")) return bytes.substr(3);
  const bool little = bytes.starts_with("\xFF\xFE") || (bytes.size() > 1 && bytes[0] != '\0' && bytes[1] == '\0');
  const bool big = bytes.starts_with("\xFE\xFF") || (bytes.size() > 1 && bytes[0] == '\0' && bytes[1] != '\0');
  if (!little && !big) return bytes;
  std::wstring text;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto low = static_cast<unsigned char>(bytes[little ? i : i + 1]);
    const auto high = static_cast<unsigned char>(bytes[little ? i + 1 : i]);
    text += static_cast<wchar_t>(high << 8 | low);
  }
  return ToUtf8(text.starts_with(L'\xFEFF') ? std::wstring_view(text).substr(1) : text);
}

Json ParseJson(const std::wstring& path, const std::string& text) {
  const char* reached = text.data();
  std::vector<std::set<std::string>> keys;  // of the objects around the current place
  std::wstring twice;
  const auto watch = [&](int, Json::parse_event_t event, Json& parsed) {
    if (event == Json::parse_event_t::object_start) keys.emplace_back();
    if (event == Json::parse_event_t::object_end) keys.pop_back();
    if (event == Json::parse_event_t::key && !keys.back().insert(parsed.get<std::string>()).second && twice.empty()) {
      twice = LineAndColumn(text, static_cast<std::size_t>(reached - text.data())) + L": the key \"" +
              FromUtf8(parsed.get_ref<const std::string&>()) + L"\" is given twice";
    }
    return true;
  };
  const char* end = text.data() + text.size();
  try {
    Json json = Json::parse(Position(text.data(), &reached), Position(end, &reached), watch);
    if (!twice.empty()) throw Failed(path + L": " + twice);
    return json;
  } catch (const Json::parse_error& error) {
    const std::size_t offset = error.byte == 0 ? 0 : error.byte - 1;
    throw Failed(path + L": " + LineAndColumn(text, std::min(offset, text.size())) + L": " + Explain(error));
  } catch (const Json::exception& error) {  // a number that is too large
    const auto offset = static_cast<std::size_t>(reached - text.data());
    throw Failed(path + L": " + LineAndColumn(text, offset) + L": " + Explain(error));
  }
}

StateDescription ReadDescription(const Json& json) { return DescriptionReader().Read(json); }

}  // namespace qvrn
