#include "com/errors.h"

#include <new>
#include <utility>

#include "com/variant.h"
#include "support/thread_object.h"

namespace qorvintr::com {

namespace err = automation::err;

namespace {

constexpr std::int32_t kBadVarType = 458;
constexpr std::int32_t kNamedArgumentNotFound = 448;
constexpr std::int32_t kAutomationError = 440;
constexpr std::int32_t kNotACollection = 451;

// The last error ReturnError recorded on this thread, for the EXCEPINFO of the dispatch call
// that is returning it (hr S_OK: none).
struct PendingError {
  HRESULT hr = S_OK;
  std::int32_t number = 0;
  std::u16string source;
  std::u16string description;
};
// One per thread, destroyed when the thread ends or the DLL unloads: an error left by an
// early-bound call (nobody asks for its EXCEPINFO) stays only until the next one. (A
// thread_local with a destructor would keep the DLL loaded until the thread ends, and mingw-w64
// frees such thread-locals before their destructors run.) Null when none can be had: the error
// then goes without its texts.
PendingError* Pending() noexcept { return support::ThreadObject<PendingError>::Get(); }
// The pending error of this thread when it is the one HR tells of.
PendingError* PendingFor(HRESULT hr) noexcept {
  PendingError* pending = Pending();
  return pending != nullptr && pending->hr == hr && hr != S_OK ? pending : nullptr;
}

std::u16string DescriptionOf(std::int32_t number) {
  std::u16string_view d = automation::ErrorDescription(number);
  if (!d.empty()) return std::u16string(d);
  return std::u16string(automation::ErrorDescription(kAutomationError));
}

}  // namespace

std::int32_t ErrorNumberOfHresult(HRESULT hr) noexcept {
  switch (hr) {
    case DISP_E_MEMBERNOTFOUND:
    case DISP_E_UNKNOWNNAME: return err::MemberNotSupported;
    case DISP_E_TYPEMISMATCH: return err::TypeMismatch;
    case DISP_E_BADPARAMCOUNT: return err::WrongNumberOfArguments;
    case DISP_E_PARAMNOTOPTIONAL: return err::ArgumentNotOptional;
    case DISP_E_PARAMNOTFOUND: return kNamedArgumentNotFound;
    case DISP_E_NOTACOLLECTION: return kNotACollection;
    case DISP_E_NONAMEDARGS: return err::NamedArgumentsNotSupported;
    case DISP_E_OVERFLOW: return err::Overflow;
    case DISP_E_BADVARTYPE: return kBadVarType;
    case DISP_E_BADINDEX: return err::SubscriptOutOfRange;
    case DISP_E_ARRAYISLOCKED: return err::ArrayFixedOrLocked;
    case DISP_E_DIVBYZERO: return err::DivisionByZero;
    case E_OUTOFMEMORY: return err::OutOfMemory;
    case E_NOINTERFACE: return err::NoAutomationSupport;
    case E_INVALIDARG: return err::InvalidProcedureCall;
    case E_POINTER:
    case E_UNEXPECTED: return hr;
    default: break;
  }
  // The language runtime's own errors travel in the control facility.
  if (HRESULT_FACILITY(hr) == FACILITY_CONTROL && (hr & 0xFFFF) != 0) return hr & 0xFFFF;
  return hr;
}

void RaiseFromDispatch(HRESULT hr, EXCEPINFO* info) {
  std::int32_t number = 0;
  std::u16string source;
  std::u16string description;
  if (hr == DISP_E_EXCEPTION && info) {
    if (info->pfnDeferredFillIn) {
      info->pfnDeferredFillIn(info);
      info->pfnDeferredFillIn = nullptr;
    }
    try {
      source = FromBstr(info->bstrSource);
      description = FromBstr(info->bstrDescription);
    } catch (const std::bad_alloc&) {
      // Without memory for the callee's texts the number still travels, with our description.
    }
    if (info->wCode != 0) {
      number = info->wCode;
    } else if (info->scode != 0) {
      number = ErrorNumberOfHresult(info->scode);
    } else {
      number = kAutomationError;
    }
  } else {
    number = ErrorNumberOfHresult(hr);
  }
  if (info) {
    SysFreeString(info->bstrSource);
    SysFreeString(info->bstrDescription);
    SysFreeString(info->bstrHelpFile);
    info->bstrSource = info->bstrDescription = info->bstrHelpFile = nullptr;
  }
  if (description.empty()) description = DescriptionOf(number);
  throw automation::AutomationError(number, std::move(source), std::move(description));
}

HRESULT HresultOfNumber(std::int32_t number) noexcept {
  if (number > 0 && number <= 0xFFFF) {
    return static_cast<HRESULT>(MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, number));
  }
  if (number == 0) return E_FAIL;
  return static_cast<HRESULT>(number);
}

automation::AutomationError CurrentError() noexcept {
  try {
    throw;
  } catch (const automation::AutomationError& e) {
    return e;
  } catch (const std::bad_alloc&) {
    return automation::AutomationError(err::OutOfMemory);
  } catch (...) {
    // Anything that is neither of the above is the platform's 51 "Internal error".
    return automation::AutomationError(51);
  }
}

HRESULT ReturnError(const automation::AutomationError& error, REFIID iid) noexcept {
  HRESULT hr = HresultOfNumber(error.Number());
  PendingError* pending = Pending();
  if (pending != nullptr) {
    try {
      pending->hr = hr;
      pending->number = error.Number();
      pending->source = error.Source();
      pending->description = error.Description();
      if (pending->description.empty()) pending->description = DescriptionOf(error.Number());
    } catch (const std::bad_alloc&) {
      // No texts to hand on: the error information goes without them.
      pending->hr = S_OK;
    }
  }
  ICreateErrorInfo* create = nullptr;
  if (SUCCEEDED(CreateErrorInfo(&create))) {
    create->SetGUID(iid);
    if (PendingError* p = PendingFor(hr)) {
      create->SetSource(const_cast<LPOLESTR>(WideOf(p->source)));
      create->SetDescription(const_cast<LPOLESTR>(WideOf(p->description)));
    }
    IErrorInfo* info = nullptr;
    if (SUCCEEDED(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)))) {
      SetErrorInfo(0, info);
      info->Release();
    }
    create->Release();
  }
  return hr;
}

HRESULT ReturnCurrentError(REFIID iid) noexcept { return ReturnError(CurrentError(), iid); }

void FillExcepInfo(EXCEPINFO* info, const automation::AutomationError& error) noexcept {
  if (!info) return;
  info->wCode = 0;
  info->scode = HresultOfNumber(error.Number());
  info->pfnDeferredFillIn = nullptr;
  try {
    std::u16string description = error.Description();
    if (description.empty()) description = DescriptionOf(error.Number());
    info->bstrSource = ToBstr(error.Source());
    info->bstrDescription = ToBstr(description);
  } catch (const std::bad_alloc&) {
    // The EXCEPINFO goes without the texts there was no memory for.
  }
}

void FillExcepInfo(EXCEPINFO* info, HRESULT hr) noexcept {
  if (!info) return;
  if (PendingError* pending = PendingFor(hr)) {
    SysFreeString(info->bstrSource);
    SysFreeString(info->bstrDescription);
    info->bstrSource = info->bstrDescription = nullptr;
    try {
      FillExcepInfo(info, automation::AutomationError(pending->number, pending->source,
                                                      pending->description));
    } catch (const std::bad_alloc&) {
      // No memory to copy the pending error: the EXCEPINFO keeps only its code.
    }
    // Handed on: the texts go too, so that a thread keeps no error's texts between failures.
    pending->hr = S_OK;
    std::u16string().swap(pending->source);
    std::u16string().swap(pending->description);
    return;
  }
  info->scode = hr;
  if (!info->bstrDescription) {
    IErrorInfo* error = nullptr;
    if (GetErrorInfo(0, &error) == S_OK && error) {
      error->GetDescription(&info->bstrDescription);
      if (!info->bstrSource) error->GetSource(&info->bstrSource);
      error->Release();
    }
  }
}

}  // namespace qorvintr::com
