#pragma once
// Errors across the dispatch boundary, both ways.
//
// Calling out: a late-bound call that fails becomes the platform's run-time error, as the
// language runtime maps it (DISP_E_MEMBERNOTFOUND is 438, DISP_E_TYPEMISMATCH 13, an exception's
// EXCEPINFO gives its own number, source and description).
// Answering in: an error of ours (automation::AutomationError, running out of memory, anything
// else) becomes the HRESULT a COM method returns plus the error information the caller reads,
// and the EXCEPINFO of a dispatch call.

#include <windows.h>
#include <oleauto.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "qorvintr/error.h"
#include "com/variant.h"

namespace qorvintr::com {

// The run-time error number of a failed call's HRESULT (without an EXCEPINFO).
std::int32_t ErrorNumberOfHresult(HRESULT hr) noexcept;

// Raises the platform's error for a failed IDispatch::Invoke (or GetIDsOfNames). Frees the
// strings of the EXCEPINFO.
[[noreturn]] void RaiseFromDispatch(HRESULT hr, EXCEPINFO* info);

// The HRESULT of a run-time error number: 1 to 65535 in the control facility (0x800A0000 + n),
// anything else is an HRESULT already.
HRESULT HresultOfNumber(std::int32_t number) noexcept;

// The error in flight (call only inside a catch block) as a run-time error.
automation::AutomationError CurrentError() noexcept;

// Records the error as the thread's error information (SetErrorInfo, for the interface iid and
// remembered for FillExcepInfo) and answers the HRESULT to return.
HRESULT ReturnError(const automation::AutomationError& error, REFIID iid) noexcept;
// The same for the error in flight; call only inside a catch block.
HRESULT ReturnCurrentError(REFIID iid) noexcept;

// Runs the body of a COM method of the interface iid and answers its HRESULT; whatever it throws
// is answered as ReturnCurrentError does.
template <class Body>
HRESULT Guard(REFIID iid, Body&& body) noexcept {
  try {
    return body();
  } catch (...) {
    // No exception may cross a COM method: every error becomes its answer and error information.
    return ReturnCurrentError(iid);
  }
}

// A text property's read under Guard: *ret gets a new BSTR of the text the body answers (null on
// failure).
template <class Body>
HRESULT GuardText(REFIID iid, BSTR* ret, Body&& body) noexcept {
  if (!ret) return E_POINTER;
  *ret = nullptr;
  return Guard(iid, [&] {
    *ret = ToBstr(body());
    return S_OK;
  });
}

// Fills an EXCEPINFO for the error of a failed dispatch call: from the error ReturnError recorded
// last on this thread when its HRESULT matches, else from the thread's error information.
void FillExcepInfo(EXCEPINFO* info, HRESULT hr) noexcept;
// Fills an EXCEPINFO directly.
void FillExcepInfo(EXCEPINFO* info, const automation::AutomationError& error) noexcept;

}  // namespace qorvintr::com
