#include "tests/scenario/comproxy.h"

#include <netcfgx.h>
#include <objbase.h>
#include <oleauto.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <utility>

#include "platform/comtext.h"
#include "platform/wmi.h"
#include "tests/scenario/events.h"

namespace scenario {
namespace {

using Word = std::uintptr_t;
// More than any method has; what a caller did not give is handed on unread.
using Arguments = std::array<Word, 9>;

struct StandIn {
  const void* const* table;
  IUnknown* target;
  const Interface* face;
  std::string label;
  std::atomic<ULONG> references;
};

const std::string kQuery = "query";

std::mutex g_lock;
std::set<const StandIn*> g_counted;
std::map<std::wstring, qvrn::Variant> g_answers;

const Interface* FindInterface(REFIID id) {
  const auto& known = KnownInterfaces();
  const auto found = std::find_if(known.begin(), known.end(), [&](const Interface& face) { return *face.id == id; });
  return found == known.end() ? nullptr : &*found;
}

std::string ArgumentText(char letter, Word argument) {
  switch (letter) {
    case 's':
      return Quoted(reinterpret_cast<const wchar_t*>(argument));
    case 'n':
      return std::to_string(static_cast<std::int32_t>(argument));
    case 'b':
      return static_cast<VARIANT_BOOL>(argument) == VARIANT_FALSE ? "false" : "true";
    case 'x':
      return Hex(static_cast<std::uint32_t>(argument));
    case 'c':
      return argument == 0 ? "" : "context";
    case 'Q':
    case 'g':
      return argument == 0 ? "(null)" : GuidName(*reinterpret_cast<const GUID*>(argument));
    case 't':
      return argument == 0 ? "" : "on behalf " + std::to_string(reinterpret_cast<const OBO_TOKEN*>(argument)->Type);
    case 'v':
      return argument == 0 ? "(null)" : VariantText(*reinterpret_cast<const VARIANT*>(argument));
    default:
      return {};
  }
}

std::string CallText(const StandIn& object, const Method& method, const Arguments& arguments) {
  std::string text;
  for (std::size_t i = 0; i < method.arguments.size(); ++i) {
    const std::string argument = ArgumentText(method.arguments[i], arguments[i]);
    if (!argument.empty()) text += (text.empty() ? "" : ", ") + argument;
  }
  return object.face->name + "::" + method.name + "(" + text + ")";
}

HRESULT CallTarget(const StandIn& object, int slot, const Arguments& a) {
  using Function = HRESULT(STDMETHODCALLTYPE*)(void*, Word, Word, Word, Word, Word, Word, Word, Word, Word);
  void* const* const table = *reinterpret_cast<void* const* const*>(object.target);
  const auto function = reinterpret_cast<Function>(table[slot]);
  return function(object.target, a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7], a[8]);
}

// Wraps what the call handed out.
void WrapResults(const Method& method, const Arguments& arguments) {
  const IID* id = method.out;
  for (std::size_t i = 0; i < method.arguments.size(); ++i) {
    if (method.arguments[i] == 'q' || method.arguments[i] == 'Q') id = reinterpret_cast<const IID*>(arguments[i]);
    auto* const result = reinterpret_cast<IUnknown**>(arguments[i]);
    if (method.arguments[i] == 'o' && id != nullptr && result != nullptr && *result != nullptr)
      *result = Wrap(*result, *id);
  }
}

// Whether the call reads a property that has an answer, which it gives then.
bool Answer(const std::string& name, const Arguments& arguments) {
  if (name != "IWbemClassObject::Get") return false;
  const std::lock_guard guard(g_lock);
  const auto answer = g_answers.find(reinterpret_cast<const wchar_t*>(arguments[0]));
  if (answer == g_answers.end()) return false;
  return SUCCEEDED(::VariantCopy(reinterpret_cast<VARIANT*>(arguments[2]), answer->second.Get()));
}

HRESULT Forward(StandIn& object, int slot, Arguments arguments) {
  const auto& methods = object.face->methods;
  const auto method = std::find_if(methods.begin(), methods.end(), [slot](const Method& m) { return m.slot == slot; });
  const bool observed = IsObserved();
  const Observation unobserved(false);
  if (method == methods.end()) return CallTarget(object, slot, arguments);
  const std::string name = object.face->name + "::" + method->name;
  const std::string& kind = slot == 0 ? kQuery : object.face->kind;
  std::string text = CallText(object, *method, arguments);
  const bool isAnswered = observed && Answer(name, arguments);
  if (const auto code = observed ? FailureOf(name, text) : std::nullopt) {
    for (std::size_t i = 0; i < method->arguments.size(); ++i) {
      if (method->arguments[i] == 'o' && arguments[i] != 0) *reinterpret_cast<void**>(arguments[i]) = nullptr;
    }
    Note(kind, name, text + " fails");
    return static_cast<HRESULT>(*code);
  }
  for (std::size_t i = 0; i < method->arguments.size(); ++i) {
    if (method->arguments[i] == 'i')
      arguments[i] = reinterpret_cast<Word>(Unwrap(reinterpret_cast<IUnknown*>(arguments[i])));
  }
  const HRESULT hr = isAnswered ? S_OK : CallTarget(object, slot, arguments);
  if (SUCCEEDED(hr) && observed) WrapResults(*method, arguments);
  if (hr != S_OK) text += " = " + Hex(static_cast<std::uint32_t>(hr));
  if (observed) Note(kind, name, std::move(text));
  return hr;
}

// --- The virtual table of all stand-ins ----------------------------------------------------------------------------

ULONG Counted(const StandIn& self, ULONG references) {
  if (!self.label.empty()) Note("references", "", self.label + " " + std::to_string(references));
  return references;
}

ULONG STDMETHODCALLTYPE AddReference(StandIn* self) { return Counted(*self, ++self->references); }

ULONG STDMETHODCALLTYPE ReleaseReference(StandIn* self) {
  const ULONG references = Counted(*self, --self->references);
  if (references != 0) return references;
  const Observation unobserved(false);
  {
    const std::lock_guard guard(g_lock);
    g_counted.erase(self);
  }
  self->target->Release();
  delete self;
  return 0;
}

template <int Slot>
HRESULT STDMETHODCALLTYPE CallStandIn(StandIn* self, Word a, Word b, Word c, Word d, Word e, Word f, Word g, Word h,
                                      Word i) {
  return Forward(*self, Slot, {a, b, c, d, e, f, g, h, i});
}

template <int... Slots>
const void* const* MakeTable(std::integer_sequence<int, Slots...>) {
  static const void* const table[] = {
      reinterpret_cast<const void*>(&CallStandIn<0>), reinterpret_cast<const void*>(&AddReference),
      reinterpret_cast<const void*>(&ReleaseReference), reinterpret_cast<const void*>(&CallStandIn<Slots + 3>)...};
  return table;
}

const void* const* Table() { return MakeTable(std::make_integer_sequence<int, 96>()); }

}  // namespace

std::string VariantText(const VARIANT& value) {
  if (value.vt == VT_NULL) return "null";
  if (value.vt == VT_BSTR) return Quoted(value.bstrVal);
  return value.vt == VT_I4 ? std::to_string(value.lVal) : "VT " + std::to_string(value.vt);
}

IUnknown* Wrap(IUnknown* target, REFIID id, const std::string& label) {
  const Interface* face = FindInterface(id);
  if (face == nullptr || target == nullptr) return target;
  const Observation unobserved(false);
  auto* const object = new StandIn{Table(), target, face, label, {1}};
  const std::lock_guard guard(g_lock);
  g_counted.insert(object);
  return reinterpret_cast<IUnknown*>(object);
}

IUnknown* Unwrap(IUnknown* object) {
  if (object == nullptr || *reinterpret_cast<const void* const* const*>(object) != Table()) return object;
  return Unwrap(reinterpret_cast<StandIn*>(object)->target);
}

void AnswerProperty(const std::wstring& name, const VARIANT& value) {
  const std::lock_guard guard(g_lock);
  ::VariantCopy(g_answers[name].Put(), const_cast<VARIANT*>(&value));
}

void ForgetAnswers() {
  const std::lock_guard guard(g_lock);
  g_answers.clear();
}

std::string LiveStandIns() {
  std::map<std::string, int> counts;
  {
    const std::lock_guard guard(g_lock);
    for (const StandIn* object : g_counted) ++counts[object->face->name];
  }
  std::string text;
  for (const auto& [name, count] : counts) text += (text.empty() ? "" : ", ") + name + " " + std::to_string(count);
  return text;
}

void ForgetStandIns() {
  const std::lock_guard guard(g_lock);
  g_counted.clear();
}

}  // namespace scenario
