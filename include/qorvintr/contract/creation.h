#pragma once
// Creating objects by programmatic identifier, as the platform's CreateObject does.
//
// The registry is process-wide, like the platform's class registration. A host puts its own
// creators here (or calls components::RegisterDefaultComponents() for the stock ones); the
// interpreter asks for "QorvDFld.DataField" for every temporary and for "QorvLog.Log" when the
// debug log opens. Identifiers are matched without regard to case, as the platform matches them.

#include <functional>
#include <memory>
#include <string_view>

#include "qorvintr/error.h"
#include "qorvintr/value.h"

namespace qorvintr::contract {

inline constexpr std::u16string_view kDataFieldProgId = u"QorvDFld.DataField";
inline constexpr std::u16string_view kLogProgId = u"QorvLog.Log";

using Creator = std::function<automation::ObjectRef()>;

// Registers (or replaces) the creator of an identifier. An empty creator unregisters.
void RegisterCreator(std::u16string_view prog_id, Creator creator);
// Registers the creator only when the identifier has none yet; true when it was registered.
bool RegisterCreatorIfAbsent(std::u16string_view prog_id, Creator creator);
// Removes the creator; true when there was one.
bool UnregisterCreator(std::u16string_view prog_id);
bool IsRegistered(std::u16string_view prog_id);

// A new object of the identifier. An identifier nobody registered, or a creator that gives no
// object, raises 429 "ActiveX component can't create object"; a creator's own error goes through.
automation::ObjectRef CreateObject(std::u16string_view prog_id);

// The same, as the interface the caller is about to use; an object that does not implement it
// raises 430 (the class does not support the expected interface).
template <class Interface>
std::shared_ptr<Interface> CreateObjectAs(std::u16string_view prog_id) {
  automation::ObjectRef object = CreateObject(prog_id);
  std::shared_ptr<Interface> typed = std::dynamic_pointer_cast<Interface>(std::move(object));
  if (!typed) automation::Raise(automation::err::NoAutomationSupport);
  return typed;
}

}  // namespace qorvintr::contract
