#pragma once
// The interpreter's creators of "QorvDFld.DataField" and "QorvLog.Log" in a COM process: each
// creates the registered class by its ProgID (as the platform's CreateObject does) and hands the
// interpreter a late-bound adapter over its IDispatch.

#include <windows.h>
#include <oleauto.h>

#include <string_view>

namespace qorvintr::com {

// Registers both creators in the contract registry (once per process; later calls do nothing).
// A creator makes the class registered for the ProgID as the platform's CreateObject does:
// 429 "ActiveX component can't create object" when it cannot, 430 when the object has no
// IDispatch. While an interpreter lives on the thread, the class's factory is looked up once
// and kept.
void RegisterComCreators();

// The interpreter objects of a thread announce themselves: the kept factories are released when
// the last one goes (so the classes' DLLs can unload, and a class registered anew is found).
void InterpreterCreated() noexcept;
void InterpreterDestroyed() noexcept;

}  // namespace qorvintr::com
