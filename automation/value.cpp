#include "qorvintr/value.h"

#include "qorvintr/error.h"

namespace qorvintr::automation {

const std::u16string& Value::NoText() noexcept {
  static const std::u16string none;
  return none;
}

const ObjectRef& Value::NoObject() noexcept {
  static const ObjectRef none;
  return none;
}

bool Value::SameAs(const Value& other) const noexcept {
  if (type_ != other.type_) return false;
  switch (type_) {
    case VarType::Empty:
    case VarType::Null: return true;
    case VarType::Boolean:
    case VarType::Integer: return num_.i2 == other.num_.i2;
    case VarType::Long:
    case VarType::Error: return num_.i4 == other.num_.i4;
    case VarType::Single: return num_.r4 == other.num_.r4;
    case VarType::Double:
    case VarType::Date: return num_.r8 == other.num_.r8;
    case VarType::String: return str_ == other.str_;
    case VarType::Object: return obj_ == other.obj_;
  }
  return false;
}

std::u16string TypeName(const Value& v) {
  switch (v.Type()) {
    case VarType::Empty: return u"Empty";
    case VarType::Null: return u"Null";
    case VarType::Integer: return u"Integer";
    case VarType::Long: return u"Long";
    case VarType::Single: return u"Single";
    case VarType::Double: return u"Double";
    case VarType::Date: return u"Date";
    case VarType::String: return u"String";
    case VarType::Error: return u"Error";
    case VarType::Boolean: return u"Boolean";
    case VarType::Object: return v.GetObject() ? v.GetObject()->ClassName() : u"Nothing";
  }
  return u"Unknown";
}

Value Dereference(const Value& v) {
  if (!v.IsObject()) return v;
  Value current = v;
  // Values wrap values (an IF's value holds its branch's field, an ELSEIF chain one per link),
  // so the chain is followed as far as it goes; only a default member that keeps answering
  // objects without end (a cycle) is given up on.
  for (int depth = 0; depth < 1 << 20; ++depth) {
    const ObjectRef& obj = current.GetObject();
    if (!obj) Raise(err::ObjectVariableNotSet);
    Value next = obj->DefaultValue();
    if (!next.IsObject()) return next;
    current = std::move(next);
  }
  Raise(err::MemberNotSupported);
}

}  // namespace qorvintr::automation
