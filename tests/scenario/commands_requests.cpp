// The commands that act: requests to the provider, to the network configuration engine, and the command-line client.
#include <windows.h>

#include <shellapi.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <stdexcept>

#include "mux/notifyob/muxinstall.h"
#include "mux/notifyob/notify.h"
#include "platform/comtext.h"
#include "platform/handle.h"
#include "tests/scenario/comproxy.h"
#include "tests/scenario/events.h"
#include "tests/scenario/functions.h"
#include "tests/scenario/interpreter.h"
#include "tools/qvrnctl/client.h"

namespace scenario {
namespace {

using qvrn::Bstr;

/// What a request leaves behind for the next one: nothing. A failure that no call met is a mistake of the scenario.
class RequestEnd {
 public:
  RequestEnd() = default;
  RequestEnd(const RequestEnd&) = delete;
  RequestEnd& operator=(const RequestEnd&) = delete;
  ~RequestEnd() {
    ForgetAnswers();
    for (const std::string& unused : ForgetFailures()) Note("error", "", "no call failed: " + unused);
  }
};

/// Notes what the registry is after the command that it was not before; only where that is shown, as it costs time.
class RegistryWatch {
 public:
  RegistryWatch(const Sandbox& machine, bool isShown) : m_machine(machine), m_isShown(isShown) {
    if (m_isShown) m_before = machine.Registry();
  }
  RegistryWatch(const RegistryWatch&) = delete;
  RegistryWatch& operator=(const RegistryWatch&) = delete;
  ~RegistryWatch() {
    if (!m_isShown) return;
    for (std::string& change : Changes(m_before, m_machine.Registry())) Note("registry", "", std::move(change));
  }

 private:
  const Sandbox& m_machine;
  bool m_isShown;
  Snapshot m_before;
};

void NoteResult(HRESULT hr) { Note("result", "", "result " + Hex(static_cast<std::uint32_t>(hr))); }

/// One of the program's standard handles, into a file while it lives. The platform's own processes that are started
/// meanwhile inherit it and keep the file open, so each time it is another one.
class Redirection {
 public:
  explicit Redirection(DWORD stream) : m_stream(stream), m_before(::GetStdHandle(stream)) {
    static int number = 0;
    m_path = Sandbox::Folder() + L"stream" + std::to_wstring(++number);
    m_file = qvrn::FileHandle(::CreateFileW(m_path.c_str(), GENERIC_WRITE,
                                            FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                            CREATE_ALWAYS, 0, nullptr));
    ::SetStdHandle(stream, m_file.Get());
  }
  Redirection(const Redirection&) = delete;
  Redirection& operator=(const Redirection&) = delete;
  ~Redirection() { ::SetStdHandle(m_stream, m_before); }

  /// Notes what was written, each line with `mark` before it; an empty line is a tilde, a carriage return is "\r". Gives
  /// whether there was any.
  bool NoteLines(const std::string& mark) const {
    std::ifstream file(Utf8(m_path), std::ios::binary);
    std::istringstream text(std::string(std::istreambuf_iterator<char>(file), {}));
    static const std::regex returns("\r");
    for (std::string line; std::getline(text, line);)
      Note("client", "", mark + (line.empty() ? "~" : std::regex_replace(line, returns, "\\r")));
    return !text.str().empty();
  }

 private:
  DWORD m_stream;
  std::wstring m_path;
  HANDLE m_before;
  qvrn::FileHandle m_file;
};

// "(null)" stands for none.
Bstr TextOrNone(const std::string& text) { return text == "(null)" ? Bstr() : Bstr(Wide(text).c_str()); }

LONG TakeFlags(Words& words) {
  LONG flags = 0;
  while (words.Accept("flags")) flags = static_cast<LONG>(words.TakeNumber());
  return flags;
}

// [context]: one that is only ever passed on.
IWbemContext* TakeContext(Words& words) {
  return words.Accept("context") ? reinterpret_cast<IWbemContext*>(0x5A) : nullptr;
}

}  // namespace

// NAME="TEXT" | NAME=NUMBER | NAME=null ...
std::vector<PropertyValue> Interpreter::TakeProperties(Words& words) {
  std::vector<PropertyValue> properties;
  while (!words.AtEnd()) {
    const auto [name, value, quoted] = words.TakeAssignment();
    PropertyValue property;
    property.name = Wide(name);
    if (quoted) {
      property.type = VT_BSTR;
      property.text = Wide(m_aliases->Expand(value));
    } else if (value != "null") {
      property.type = VT_I4;
      property.number = std::stol(value);
    }
    properties.push_back(std::move(property));
  }
  return properties;
}

// provider new N [without-namespace] | use N | release N
void Interpreter::UseProvider(Words& words) {
  const std::string verb = words.Take();
  const int number = static_cast<int>(words.TakeNumber());
  if (verb == "new") {
    m_service.Create(number, !words.Accept("without-namespace"));
  } else if (verb == "use") {
    m_service.Use(number);
  } else if (verb == "release") {
    m_service.Release(number);
  } else {
    throw std::runtime_error("unknown: provider " + verb);
  }
}

// enumerate [flags N] [context] CLASS
void Interpreter::Enumerate(Words& words) {
  const RequestEnd end;
  const RegistryWatch watch(Machine(), ShowsRegistry());
  const LONG flags = TakeFlags(words);
  IWbemContext* const context = TakeContext(words);
  const Bstr name = TextOrNone(words.Take());
  m_service.Run([&](IWbemServices* services, IWbemObjectSink* sink) {
    return services->CreateInstanceEnumAsync(name.Get(), flags, context, sink);
  });
}

// get [flags N] [context] PATH
void Interpreter::Get(Words& words) {
  const RequestEnd end;
  const RegistryWatch watch(Machine(), ShowsRegistry());
  const LONG flags = TakeFlags(words);
  IWbemContext* const context = TakeContext(words);
  const Bstr path = TextOrNone(m_aliases->Expand(words.TakeRest()));
  m_service.Run([&](IWbemServices* services, IWbemObjectSink* sink) {
    return services->GetObjectAsync(path.Get(), flags, context, sink);
  });
}

// put [flags N] CLASS NAME=VALUE... | (null): an instance that has just these values.
void Interpreter::Put(Words& words) {
  const RequestEnd end;
  const RegistryWatch watch(Machine(), ShowsRegistry());
  const LONG flags = TakeFlags(words);
  const std::string className = words.Take();
  Microsoft::WRL::ComPtr<IWbemClassObject> instance;
  if (className != "(null)") instance = m_service.Instance(Wide(className), TakeProperties(words));
  m_service.Run([&](IWbemServices* services, IWbemObjectSink* sink) {
    return services->PutInstanceAsync(instance.Get(), flags, nullptr, sink);
  });
}

// change [flags N] PATH NAME=VALUE...: puts what a get gives with these values changed.
void Interpreter::Change(Words& words) {
  const RequestEnd end;
  const RegistryWatch watch(Machine(), ShowsRegistry());
  const LONG flags = TakeFlags(words);
  const std::wstring path = Wide(m_aliases->Expand(words.Take()));
  const auto instance = m_service.Instance(L"", TakeProperties(words), path);
  TakeEvents();
  m_service.Run([&](IWbemServices* services, IWbemObjectSink* sink) {
    return services->PutInstanceAsync(instance.Get(), flags, nullptr, sink);
  });
}

// delete [flags N] PATH
void Interpreter::Delete(Words& words) {
  const RequestEnd end;
  const RegistryWatch watch(Machine(), ShowsRegistry());
  const LONG flags = TakeFlags(words);
  const Bstr path = TextOrNone(m_aliases->Expand(words.TakeRest()));
  m_service.Run([&](IWbemServices* services, IWbemObjectSink* sink) {
    return services->DeleteInstanceAsync(path.Get(), flags, nullptr, sink);
  });
}

// method PATH NAME [NAME=VALUE... | (none)]: of the class before the path's first dot.
void Interpreter::CallMethod(Words& words) {
  const RequestEnd end;
  const RegistryWatch watch(Machine(), ShowsRegistry());
  const std::string path = words.Take();
  const std::string method = words.Take();
  Microsoft::WRL::ComPtr<IWbemClassObject> in;
  if (!words.Accept("(none)")) in = m_service.InParameters(L"QvrnEN_VLAN", Wide(method), TakeProperties(words));
  const Bstr object = TextOrNone(path);
  const Bstr name = TextOrNone(method);
  m_service.Run([&](IWbemServices* services, IWbemObjectSink* sink) {
    return services->ExecMethodAsync(object.Get(), name.Get(), 0, nullptr, in.Get(), sink);
  });
}

// add-miniport ADAPTER NUMBER NAME PRIORITY: straight to the network configuration engine.
void Interpreter::AddMiniport(Words& words) {
  const RequestEnd end;
  const RegistryWatch watch(Machine(), ShowsRegistry());
  const std::wstring adapter = Wide(Expanded(words));
  const std::wstring number = Wide(words.Take());
  const std::wstring name = Wide(words.Take());
  const std::wstring priority = Wide(words.Take());
  wchar_t guid[64] = L"";
  HRESULT hr = S_OK;
  RunObserved(3, [&] {
    hr = qvrn::ConfigureVlanMiniport(adapter.c_str(), guid, true, number.c_str(), name.c_str(), priority.c_str());
  });
  NoteResult(hr);
}

// remove-miniport ADAPTER MINIPORT
void Interpreter::RemoveMiniport(Words& words) {
  const RequestEnd end;
  const RegistryWatch watch(Machine(), ShowsRegistry());
  const std::wstring adapter = Wide(Expanded(words));
  std::wstring miniport = Wide(Expanded(words));
  HRESULT hr = S_OK;
  RunObserved(3, [&] { hr = qvrn::ConfigureVlanMiniport(adapter.c_str(), miniport.data(), false, L"", L"", L""); });
  NoteResult(hr);
}

// install FOLDER CLASS-INDEX: the intermediate driver.
void Interpreter::InstallDriver(Words& words) {
  const RequestEnd end;
  const RegistryWatch watch(Machine(), ShowsRegistry());
  const Bstr folder = TextOrNone(Expanded(words));
  const DWORD index = words.TakeNumber();
  HRESULT hr = S_OK;
  RunObserved(3, [&] { hr = qvrn::InstallMuxDriver(folder.Get(), index); });
  NoteResult(hr);
}

// call FUNCTION ARGUMENT... [| ARGUMENT...]...: once for each list of arguments.
void Interpreter::Call(Words& words) {
  const RequestEnd end;
  const RegistryWatch watch(Machine(), m_shown.contains("registry"));
  const std::string name = words.Take();
  std::string results;
  do {
    std::vector<std::wstring> arguments;
    while (!words.AtEnd() && !words.Accept("|")) arguments.push_back(Wide(Expanded(words)));
    const std::string result = CallFunction(name, arguments);
    if (!result.empty()) results += (results.empty() ? "result " : " | ") + result;
  } while (!words.AtEnd());
  if (!results.empty()) Note("result", "", results);
}

// qvrnctl WORDS...: the client's lines as they are, those of standard error with "! " before them, or "!N " where it
// ended with N; "exit N" where a failure says nothing.
void Interpreter::RunClient(Words& words) {
  const RequestEnd end;
  const RegistryWatch watch(Machine(), ShowsRegistry());
  const std::wstring line = L"qvrnctl " + Wide(m_aliases->Expand(words.TakeRest()));
  int count = 0;
  wchar_t** const split = ::CommandLineToArgvW(line.c_str(), &count);
  const std::vector<std::wstring> arguments(split + 1, split + count);
  ::LocalFree(split);
  int status = 0;
  {
    const Redirection out(STD_OUTPUT_HANDLE);
    const Redirection error(STD_ERROR_HANDLE);
    {
      const Observation observed(true);
      status = qvrn::RunClient(arguments);
    }
    const bool hasSpoken = error.NoteLines("!" + (status == 0 ? "" : std::to_string(status)) + " ");
    out.NoteLines("");
    if (status != 0 && !hasSpoken) Note("client", "", "exit " + std::to_string(status));
  }
}

}  // namespace scenario
