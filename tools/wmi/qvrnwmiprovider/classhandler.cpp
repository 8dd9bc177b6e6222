#include "tools/wmi/qvrnwmiprovider/classhandler.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include "platform/hresult.h"
#include "platform/lock.h"

namespace qvrn {
namespace {

struct Loan {
  const IWbemServices* lender;
  IWbemServices* wmiNamespace;
};

Lock g_loansLock;
std::vector<Loan> g_loans;  // the oldest first

auto FindLoan(const IWbemServices* lender) noexcept {
  return std::find_if(g_loans.begin(), g_loans.end(), [lender](const Loan& loan) { return loan.lender == lender; });
}

}  // namespace

void LendNamespace(const IWbemServices* lender, IWbemServices* wmiNamespace) {
  const std::lock_guard<Lock> guard(g_loansLock);
  if (FindLoan(lender) == g_loans.end()) g_loans.push_back({lender, wmiNamespace});
}

void WithdrawNamespace(const IWbemServices* lender) noexcept {
  const std::lock_guard<Lock> guard(g_loansLock);
  const auto loan = FindLoan(lender);
  if (loan != g_loans.end()) g_loans.erase(loan);
}

Microsoft::WRL::ComPtr<IWbemServices> BorrowNamespace() noexcept {
  const std::lock_guard<Lock> guard(g_loansLock);
  return g_loans.empty() ? nullptr : g_loans.front().wmiNamespace;
}

HRESULT FinishRequest(IWbemObjectSink* sink, HRESULT status) noexcept {
  sink->SetStatus(WBEM_STATUS_COMPLETE, status, nullptr, nullptr);
  return status;
}

HRESULT WbemResultFromCurrentException() noexcept {
  return HresultFromCurrentException() == E_OUTOFMEMORY ? static_cast<HRESULT>(WBEM_E_OUT_OF_MEMORY)
                                                        : static_cast<HRESULT>(WBEM_E_FAILED);
}

HRESULT ClassHandler::QueryInterface(REFIID riid, void** ppv) noexcept {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (riid != IID_IWbemServices) return E_NOINTERFACE;
  *ppv = static_cast<IWbemServices*>(this);
  AddRef();
  return S_OK;
}

ULONG ClassHandler::Release() noexcept {
  const ULONG references = --m_references;
  if (references == 0) delete this;
  return references;
}

}  // namespace qvrn
