#pragma once
// What the interpreter asks of a data field and of the host's collection of them.
//
// The interpreter reaches these objects by member name only, so every member here mirrors one
// dispatch member: a COM build adapts an IDispatch object to these classes (late binding by
// name, DISPID_VALUE for the default member), a C++ host derives from them directly. Any member
// may raise automation::AutomationError; the interpreter's error traps deal with it.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "qorvintr/error.h"
#include "qorvintr/value.h"

namespace qorvintr::contract {

// A named, typed value. DataType holds one of the type words "String", "Long", "Integer",
// "Boolean", "Single", "Double", "Date", "Operator", "Variant"; DataClass tells where the field
// comes from ("Auto" for the interpreter's own temporaries).
class DataField : public automation::Object {
 public:
  virtual automation::Value Data() = 0;
  virtual void SetData(const automation::Value& value) = 0;
  virtual std::u16string DataType() = 0;
  virtual void SetDataType(std::u16string type) = 0;
  virtual std::u16string Name() = 0;
  virtual void SetName(std::u16string name) = 0;
  virtual std::u16string DataClass() = 0;
  virtual void SetDataClass(std::u16string data_class) = 0;

  // Data is the default member: a field used as a value stands for its Data.
  automation::Value DefaultValue() override { return Data(); }
  std::u16string ClassName() const override { return u"DataField"; }
};
using DataFieldRef = std::shared_ptr<DataField>;

// The keyed collection underneath the host's DataFields (its mCol member).
class KeyedCollection : public automation::Object {
 public:
  // The field held under the key.
  virtual DataFieldRef Item(std::u16string_view key) = 0;
  virtual std::int32_t Count() = 0;

  // The default member is Item, which needs an argument.
  automation::Value DefaultValue() override {
    automation::Raise(automation::err::WrongNumberOfArguments);
  }
  std::u16string ClassName() const override { return u"Collection"; }
};
using KeyedCollectionRef = std::shared_ptr<KeyedCollection>;

// The host's collection of data fields. The text arguments are by reference because the
// platform passes them so: a host may change the caller's variable.
class DataFields : public automation::Object {
 public:
  virtual DataFieldRef Item(std::u16string& name) = 0;
  virtual bool Exists(std::u16string& name) = 0;
  // 0 when the field was added; anything else means it was not (nothing changed).
  virtual std::int16_t AddObject(DataFieldRef& field) = 0;
  virtual void Remove(std::u16string& name) = 0;
  // The underlying keyed collection; its Item(name) gives the same field as Item(name) here.
  virtual KeyedCollectionRef mCol() = 0;

  automation::Value DefaultValue() override {
    automation::Raise(automation::err::MemberNotSupported);
  }
  std::u16string ClassName() const override { return u"DataFields"; }
};
using DataFieldsRef = std::shared_ptr<DataFields>;

}  // namespace qorvintr::contract
