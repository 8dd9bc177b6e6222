#include <cstdio>
#include <exception>

#include "lab/journal.h"
#include "lab/unknown.h"
#include "lab/wmi/clientsecurity.h"
#include "lab/wmi/wbemenumerator.h"
#include "lab/wmi/wbemhost.h"
#include "lab/wmi/wbemrequests.h"
#include "platform/hresult.h"

using qvrn::HresultFromCurrentException;

namespace lab {
namespace {

constexpr wchar_t kSchemaEvent[] = L"schema";

/// Requests of this namespace end before the call that makes them returns: there is nothing to wait for.
bool WantsCallResult(IWbemCallResult** result) {
  if (result != nullptr) *result = nullptr;
  return result != nullptr;
}

/// The first object of a reply, null when there is none.
HRESULT Deliver(const Reply& reply, IWbemClassObject** object) {
  if (object != nullptr && SUCCEEDED(reply.status) && !reply.objects.empty()) reply.objects.front().CopyTo(object);
  return reply.status;
}

HRESULT Deliver(const Reply& reply, IWbemObjectSink* sink) {
  for (const auto& object : reply.objects) sink->Indicate(1, const_cast<IWbemClassObject**>(object.GetAddressOf()));
  sink->SetStatus(WBEM_STATUS_COMPLETE, reply.status, nullptr, nullptr);
  return WBEM_S_NO_ERROR;
}

HRESULT Deliver(Reply reply, LONG flags, IEnumWbemClassObject** enumerator) {
  if (reply.refused) return reply.status;
  *enumerator = MakeEnumerator(std::move(reply), flags).Detach();
  return WBEM_S_NO_ERROR;
}

/// Its first reference is never given up, so it outlives every provider that borrows it.
class WbemNamespace final : public Unknown<IWbemServices> {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) noexcept override {
    return id == IID_IClientSecurity ? GetClientSecurity(object) : Unknown::QueryInterface(id, object);
  }

  HRESULT STDMETHODCALLTYPE GetObject(const BSTR path, LONG flags, IWbemContext* context, IWbemClassObject** object,
                                      IWbemCallResult** result) noexcept override try {
    if (object != nullptr) *object = nullptr;
    if (WantsCallResult(result)) return WBEM_E_NOT_SUPPORTED;
    if (object == nullptr) return WBEM_E_INVALID_PARAMETER;
    return Deliver(GetByPath(path, flags, context), object);
  } catch (...) {
    return HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE GetObjectAsync(const BSTR path, LONG flags, IWbemContext* context,
                                           IWbemObjectSink* sink) noexcept override try {
    if (sink == nullptr) return WBEM_E_INVALID_PARAMETER;
    return Deliver(GetByPath(path, flags, context), sink);
  } catch (...) {
    return HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE PutInstance(IWbemClassObject* instance, LONG flags, IWbemContext* context,
                                        IWbemCallResult** result) noexcept override try {
    if (WantsCallResult(result)) return WBEM_E_NOT_SUPPORTED;
    return Put(instance, flags, context).status;
  } catch (...) {
    return HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE PutInstanceAsync(IWbemClassObject* instance, LONG flags, IWbemContext* context,
                                             IWbemObjectSink* sink) noexcept override try {
    if (sink == nullptr) return WBEM_E_INVALID_PARAMETER;
    return Deliver(Put(instance, flags, context), sink);
  } catch (...) {
    return HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE DeleteInstance(const BSTR path, LONG flags, IWbemContext* context,
                                           IWbemCallResult** result) noexcept override try {
    if (WantsCallResult(result)) return WBEM_E_NOT_SUPPORTED;
    return DeleteByPath(path, flags, context).status;
  } catch (...) {
    return HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE DeleteInstanceAsync(const BSTR path, LONG flags, IWbemContext* context,
                                                IWbemObjectSink* sink) noexcept override try {
    if (sink == nullptr) return WBEM_E_INVALID_PARAMETER;
    return Deliver(DeleteByPath(path, flags, context), sink);
  } catch (...) {
    return HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE CreateInstanceEnum(const BSTR className, LONG flags, IWbemContext* context,
                                               IEnumWbemClassObject** enumerator) noexcept override try {
    if (enumerator == nullptr) return WBEM_E_INVALID_PARAMETER;
    *enumerator = nullptr;
    return Deliver(Enumerate(className, flags, context), flags, enumerator);
  } catch (...) {
    return HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE CreateInstanceEnumAsync(const BSTR className, LONG flags, IWbemContext* context,
                                                    IWbemObjectSink* sink) noexcept override try {
    if (sink == nullptr) return WBEM_E_INVALID_PARAMETER;
    return Deliver(Enumerate(className, flags, context), sink);
  } catch (...) {
    return HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE ExecQuery(const BSTR language, const BSTR query, LONG flags, IWbemContext* context,
                                      IEnumWbemClassObject** enumerator) noexcept override try {
    if (enumerator == nullptr) return WBEM_E_INVALID_PARAMETER;
    *enumerator = nullptr;
    return Deliver(ExecuteQuery(language, query, flags, context), flags, enumerator);
  } catch (...) {
    return HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE ExecQueryAsync(const BSTR language, const BSTR query, LONG flags, IWbemContext* context,
                                           IWbemObjectSink* sink) noexcept override try {
    if (sink == nullptr) return WBEM_E_INVALID_PARAMETER;
    return Deliver(ExecuteQuery(language, query, flags, context), sink);
  } catch (...) {
    return HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE ExecMethod(const BSTR path, const BSTR method, LONG flags, IWbemContext* context,
                                       IWbemClassObject* in, IWbemClassObject** out,
                                       IWbemCallResult** result) noexcept override try {
    if (out != nullptr) *out = nullptr;
    if (WantsCallResult(result)) return WBEM_E_NOT_SUPPORTED;
    return Deliver(ExecuteMethod(path, method, flags, context, in), out);
  } catch (...) {
    return HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE ExecMethodAsync(const BSTR path, const BSTR method, LONG flags, IWbemContext* context,
                                            IWbemClassObject* in, IWbemObjectSink* sink) noexcept override try {
    if (sink == nullptr) return WBEM_E_INVALID_PARAMETER;
    return Deliver(ExecuteMethod(path, method, flags, context, in), sink);
  } catch (...) {
    return HresultFromCurrentException();
  }

  // One namespace, a fixed schema, no events.

  HRESULT STDMETHODCALLTYPE OpenNamespace(const BSTR, LONG, IWbemContext*, IWbemServices**,
                                          IWbemCallResult**) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE CancelAsyncCall(IWbemObjectSink*) noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE QueryObjectSink(LONG, IWbemObjectSink**) noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE PutClass(IWbemClassObject*, LONG, IWbemContext*, IWbemCallResult**) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE PutClassAsync(IWbemClassObject*, LONG, IWbemContext*, IWbemObjectSink*) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE DeleteClass(const BSTR, LONG, IWbemContext*, IWbemCallResult**) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE DeleteClassAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE CreateClassEnum(const BSTR, LONG, IWbemContext*, IEnumWbemClassObject**) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE CreateClassEnumAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE ExecNotificationQuery(const BSTR, const BSTR, LONG, IWbemContext*,
                                                  IEnumWbemClassObject**) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE ExecNotificationQueryAsync(const BSTR, const BSTR, LONG, IWbemContext*,
                                                       IWbemObjectSink*) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
};

void ReportSchemaError(const char* message) {
  std::fprintf(stderr, "qvrnlab: %s\n", message);
  const std::string text(message);
  Record(kSchemaEvent, std::wstring(text.begin(), text.end()));
}

}  // namespace

IWbemServices* Namespace() {
  static WbemNamespace& services = *new WbemNamespace;
  try {
    NamespaceSchema();
    return &services;
  } catch (const std::exception& error) {
    ReportSchemaError(error.what());
    return nullptr;
  }
}

}  // namespace lab
