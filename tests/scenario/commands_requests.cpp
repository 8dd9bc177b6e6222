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
#include "tools/qvrnctl/requests.h"

namespace scenario {
namespace {

using qvrn::Bstr;

// Runs code of the network configuration engine.
void RunEngine(const std::function<HRESULT()>& code) {
  HRESULT hr = S_OK;
  RunObserved(3, [&] { hr = code(); });
  Note("result", "", "result " + Hex(static_cast<std::uint32_t>(hr)));
}

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

LONG TakeFlags(Words& words) { return words.Accept("flags") ? static_cast<LONG>(words.TakeNumber()) : 0; }

using NamedRequest = HRESULT (STDMETHODCALLTYPE IWbemServices::*)(BSTR, long, IWbemContext*, IWbemObjectSink*);

// enumerate CLASS, get PATH, delete PATH, each with [flags N] [context]; the context is one that is only ever passed on.
template <NamedRequest Method>
void Request(Interpreter& stage, Words& words) {
  const LONG flags = TakeFlags(words);
  auto* const context = reinterpret_cast<IWbemContext*>(words.Accept("context") ? 0x5A : 0);
  const Bstr name = TextOrNone(stage.aliases.Expand(words.TakeRest()));
  stage.service.Run([&](IWbemServices* services, IWbemObjectSink* sink) {
    return (services->*Method)(name.Get(), flags, context, sink);
  });
}

// put [flags N] CLASS NAME=VALUE... | (null): an instance that has just these values; change PATH NAME=VALUE...: what a
// get gives with these values changed.
void Put(Interpreter& stage, Words& words) {
  const LONG flags = TakeFlags(words);
  const std::string what = stage.Expanded(words);
  Microsoft::WRL::ComPtr<IWbemClassObject> instance;
  if (what != "(null)") instance = stage.service.Instance(Wide(what), stage.TakeProperties(words));
  stage.service.Run([&](IWbemServices* services, IWbemObjectSink* sink) {
    return services->PutInstanceAsync(instance.Get(), flags, nullptr, sink);
  });
}

// method PATH NAME [NAME=VALUE... | (none)]
void CallMethod(Interpreter& stage, Words& words) {
  const Bstr path = TextOrNone(words.Take());
  const Bstr name = TextOrNone(words.Take());
  Microsoft::WRL::ComPtr<IWbemClassObject> in;
  if (!words.Accept("(none)")) in = stage.service.InParameters(name.Get(), stage.TakeProperties(words));
  stage.service.Run([&](IWbemServices* services, IWbemObjectSink* sink) {
    return services->ExecMethodAsync(path.Get(), name.Get(), 0, nullptr, in.Get(), sink);
  });
}

// add-miniport ADAPTER NUMBER NAME PRIORITY: straight to the network configuration engine.
void AddMiniport(Interpreter& stage, Words& words) {
  const std::wstring adapter = Wide(stage.Expanded(words));
  const std::wstring number = Wide(words.Take());
  const std::wstring name = Wide(words.Take());
  const std::wstring priority = Wide(words.Take());
  wchar_t guid[64] = L"";
  RunEngine([&] {
    return qvrn::ConfigureVlanMiniport(adapter.c_str(), guid, true, number.c_str(), name.c_str(), priority.c_str());
  });
}

// remove-miniport ADAPTER MINIPORT
void RemoveMiniport(Interpreter& stage, Words& words) {
  const std::wstring adapter = Wide(stage.Expanded(words));
  std::wstring miniport = Wide(stage.Expanded(words));
  RunEngine([&] { return qvrn::ConfigureVlanMiniport(adapter.c_str(), miniport.data(), false, L"", L"", L""); });
}

// install FOLDER CLASS-INDEX: the intermediate driver.
void InstallDriver(Interpreter& stage, Words& words) {
  const Bstr folder = TextOrNone(stage.Expanded(words));
  const DWORD index = words.TakeNumber();
  RunEngine([&] { return qvrn::InstallMuxDriver(folder.Get(), index); });
}

// call FUNCTION ARGUMENT... [| ARGUMENT...]...: once for each list of arguments.
void Call(Interpreter& stage, Words& words) {
  const std::string name = words.Take();
  std::string results;
  do {
    std::vector<std::wstring> arguments;
    while (!words.AtEnd() && !words.Accept("|")) arguments.push_back(Wide(stage.Expanded(words)));
    const std::string result = CallFunction(name, arguments);
    if (!result.empty()) results += (results.empty() ? "result " : " | ") + result;
  } while (!words.AtEnd());
  if (!results.empty()) Note("result", "", results);
}

void WatchRequest(const std::function<void()>& work) {
  const Observation observed(true);
  work();
}

// qvrnctl WORDS...: the client's lines as they are, those of standard error with "! " before them, or "!N " where it
// ended with N; "exit N" where a failure says nothing.
void RunClient(Interpreter& stage, Words& words) {
  const std::wstring line = L"qvrnctl " + Wide(stage.aliases.Expand(words.TakeRest()));
  int count = 0;
  wchar_t** const split = ::CommandLineToArgvW(line.c_str(), &count);
  const std::vector<std::wstring> arguments(split + 1, split + count);
  ::LocalFree(split);
  int status = 0;
  const Redirection out(STD_OUTPUT_HANDLE);
  const Redirection error(STD_ERROR_HANDLE);
  {
    const Observation observed(true);
    qvrn::SetRequestRunner(&WatchRequest);
    status = qvrn::RunClient(arguments);
  }
  const bool hasSpoken = error.NoteLines("!" + (status == 0 ? "" : std::to_string(status)) + " ");
  out.NoteLines("");
  if (status != 0 && !hasSpoken) Note("client", "", "exit " + std::to_string(status));
}

}  // namespace

const Commands& ActingCommands() {
  static const Commands commands = {{"enumerate", Request<&IWbemServices::CreateInstanceEnumAsync>},
                                    {"get", Request<&IWbemServices::GetObjectAsync>},
                                    {"delete", Request<&IWbemServices::DeleteInstanceAsync>},
                                    {"put", Put},
                                    {"change", Put},
                                    {"method", CallMethod},
                                    {"add-miniport", AddMiniport},
                                    {"remove-miniport", RemoveMiniport},
                                    {"install", InstallDriver},
                                    {"call", Call},
                                    {"qvrnctl", RunClient}};
  return commands;
}

}  // namespace scenario
