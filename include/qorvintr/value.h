#pragma once
// The platform's tagged value.

#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <string_view>

namespace qorvintr::automation {

// The kinds, numbered as the platform numbers them so that a COM build maps them one to one.
enum class VarType : std::uint16_t {
  Empty = 0,
  Null = 1,
  Integer = 2,
  Long = 3,
  Single = 4,
  Double = 5,
  Date = 7,
  String = 8,
  Object = 9,
  Error = 10,
  Boolean = 11,
};

// The error code the platform passes for an optional argument that was left out.
inline constexpr std::int32_t kParamNotFound = static_cast<std::int32_t>(0x80020004u);

class Value;

// A counted object reference. An object used as a value stands for its default member.
class Object {
 public:
  virtual ~Object() = default;
  // What TypeName answers for the object: its class name.
  virtual std::u16string ClassName() const = 0;
  // The default member's value; raises the platform's error when there is none (438).
  virtual Value DefaultValue() = 0;
};
using ObjectRef = std::shared_ptr<Object>;

class Value {
 public:
  Value() noexcept : type_(VarType::Empty) { num_.r8 = 0; }
  // A text or an object lives in the same storage as the numbers: a number is copied, moved and
  // destroyed without touching a string or a counted reference.
  Value(const Value& other) : type_(VarType::Empty) {
    num_ = other.num_;
    CopyPayload(other);
  }
  Value(Value&& other) noexcept : type_(VarType::Empty) {
    num_ = other.num_;
    MovePayload(std::move(other));
  }
  Value& operator=(const Value& other) {
    if (this == &other) return *this;
    if (type_ == VarType::String && other.type_ == VarType::String) {
      str_ = other.str_;  // keeps the storage this text has
      return *this;
    }
    if (type_ != VarType::String && type_ != VarType::Object) {
      // Nothing to let go: the copy is made in place (a failed one leaves this as it was).
      const auto before = num_;
      num_ = other.num_;
      try {
        CopyPayload(other);
      } catch (...) {
        num_ = before;
        throw;
      }
      return *this;
    }
    Value copy(other);  // made before the old text or object goes, which may hold other
    DestroyPayload();
    num_ = copy.num_;
    MovePayload(std::move(copy));
    return *this;
  }
  Value& operator=(Value&& other) noexcept {
    if (this == &other) return *this;
    if (type_ == VarType::String && other.type_ == VarType::String) {
      str_ = std::move(other.str_);
      return *this;
    }
    if (type_ != VarType::String && type_ != VarType::Object) {
      num_ = other.num_;
      MovePayload(std::move(other));
      return *this;
    }
    // The new value is taken before the old one is let go: other may live in an object that
    // only the old value holds.
    Value taken(std::move(other));
    DestroyPayload();
    num_ = taken.num_;
    MovePayload(std::move(taken));
    return *this;
  }
  ~Value() { DestroyPayload(); }

  static Value Null() noexcept { return Value(VarType::Null); }
  static Value Boolean(bool b) noexcept {
    Value v(VarType::Boolean);
    v.num_.i2 = b ? -1 : 0;
    return v;
  }
  static Value Integer(std::int16_t n) noexcept {
    Value v(VarType::Integer);
    v.num_.i2 = n;
    return v;
  }
  static Value Long(std::int32_t n) noexcept {
    Value v(VarType::Long);
    v.num_.i4 = n;
    return v;
  }
  static Value Single(float n) noexcept {
    Value v(VarType::Single);
    v.num_.r4 = n;
    return v;
  }
  static Value Double(double n) noexcept {
    Value v(VarType::Double);
    v.num_.r8 = n;
    return v;
  }
  // A date as its serial: days since 30 December 1899, the fraction is the time of day.
  static Value Date(double serial) noexcept {
    Value v(VarType::Date);
    v.num_.r8 = serial;
    return v;
  }
  static Value String(std::u16string s) {
    Value v;
    new (&v.str_) std::u16string(std::move(s));
    v.type_ = VarType::String;
    return v;
  }
  static Value String(std::u16string_view s) { return String(std::u16string(s)); }
  static Value String(const char16_t* s) { return String(std::u16string(s)); }
  static Value Object(ObjectRef o) {
    Value v;
    new (&v.obj_) ObjectRef(std::move(o));
    v.type_ = VarType::Object;
    return v;
  }
  static Value Error(std::int32_t scode) noexcept {
    Value v(VarType::Error);
    v.num_.i4 = scode;
    return v;
  }
  // An optional argument that was left out.
  static Value Missing() noexcept { return Error(kParamNotFound); }

  VarType Type() const noexcept { return type_; }
  bool IsEmpty() const noexcept { return type_ == VarType::Empty; }
  bool IsNull() const noexcept { return type_ == VarType::Null; }
  bool IsString() const noexcept { return type_ == VarType::String; }
  bool IsObject() const noexcept { return type_ == VarType::Object; }
  bool IsMissing() const noexcept { return type_ == VarType::Error && num_.i4 == kParamNotFound; }
  // Integer, Long, Single, Double, Boolean (the kinds arithmetic takes as numbers).
  bool IsNumberKind() const noexcept {
    switch (type_) {
      case VarType::Integer: case VarType::Long: case VarType::Single:
      case VarType::Double: case VarType::Boolean: return true;
      default: return false;
    }
  }

  // Raw reads: valid only for the matching kind (a text or an object of another kind reads as
  // the empty text, or no object).
  bool GetBoolean() const noexcept { return num_.i2 != 0; }
  std::int16_t GetInteger() const noexcept { return num_.i2; }
  std::int32_t GetLong() const noexcept { return num_.i4; }
  float GetSingle() const noexcept { return num_.r4; }
  double GetDouble() const noexcept { return num_.r8; }
  double GetDate() const noexcept { return num_.r8; }
  std::int32_t GetError() const noexcept { return num_.i4; }
  const std::u16string& GetString() const noexcept {
    return type_ == VarType::String ? str_ : NoText();
  }
  const ObjectRef& GetObject() const noexcept {
    return type_ == VarType::Object ? obj_ : NoObject();
  }

  // Identity of kind and content (no conversion): for tests and containers, not the
  // platform's comparison (see operators.h for that).
  bool SameAs(const Value& other) const noexcept;

 private:
  explicit Value(VarType t) noexcept : type_(t) { num_.r8 = 0; }

  static const std::u16string& NoText() noexcept;
  static const ObjectRef& NoObject() noexcept;

  // On an Empty value: takes other's text or object (type_ is set once it is made, so a failed
  // copy leaves Empty).
  void CopyPayload(const Value& other) {
    if (other.type_ == VarType::String) {
      new (&str_) std::u16string(other.str_);
    } else if (other.type_ == VarType::Object) {
      new (&obj_) ObjectRef(other.obj_);
    }
    type_ = other.type_;
  }
  void MovePayload(Value&& other) noexcept {
    if (other.type_ == VarType::String) {
      new (&str_) std::u16string(std::move(other.str_));
    } else if (other.type_ == VarType::Object) {
      new (&obj_) ObjectRef(std::move(other.obj_));
    }
    type_ = other.type_;
  }
  void DestroyPayload() noexcept {
    if (type_ == VarType::String) {
      str_.~basic_string();
    } else if (type_ == VarType::Object) {
      obj_.~ObjectRef();
    }
    type_ = VarType::Empty;
  }

  VarType type_;
  union {
    std::int16_t i2;
    std::int32_t i4;
    float r4;
    double r8;
  } num_;
  union {
    std::u16string str_;
    ObjectRef obj_;
  };
};

// The platform's TypeName: "Empty", "Null", "Integer", "Long", "Single", "Double", "Date",
// "String", "Error", "Boolean"; an object gives its class name ("Nothing" for none).
std::u16string TypeName(const Value& v);

// The value an operation sees: an object stands for its default member (repeatedly, should the
// default member itself be an object); "Nothing" raises 91.
Value Dereference(const Value& v);

}  // namespace qorvintr::automation
