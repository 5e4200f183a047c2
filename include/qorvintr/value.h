#pragma once
// The platform's tagged value.

#include <cstdint>
#include <memory>
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
  Value(const Value&) = default;
  Value(Value&&) noexcept = default;
  Value& operator=(const Value&) = default;
  Value& operator=(Value&&) noexcept = default;

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
    Value v(VarType::String);
    v.str_ = std::move(s);
    return v;
  }
  static Value String(std::u16string_view s) { return String(std::u16string(s)); }
  static Value String(const char16_t* s) { return String(std::u16string(s)); }
  static Value Object(ObjectRef o) {
    Value v(VarType::Object);
    v.obj_ = std::move(o);
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

  // Raw reads: valid only for the matching kind.
  bool GetBoolean() const noexcept { return num_.i2 != 0; }
  std::int16_t GetInteger() const noexcept { return num_.i2; }
  std::int32_t GetLong() const noexcept { return num_.i4; }
  float GetSingle() const noexcept { return num_.r4; }
  double GetDouble() const noexcept { return num_.r8; }
  double GetDate() const noexcept { return num_.r8; }
  std::int32_t GetError() const noexcept { return num_.i4; }
  const std::u16string& GetString() const noexcept { return str_; }
  std::u16string& GetString() noexcept { return str_; }
  const ObjectRef& GetObject() const noexcept { return obj_; }

  // Identity of kind and content (no conversion): for tests and containers, not the
  // platform's comparison (see operators.h for that).
  bool SameAs(const Value& other) const noexcept;

 private:
  explicit Value(VarType t) noexcept : type_(t) { num_.r8 = 0; }

  VarType type_;
  union {
    std::int16_t i2;
    std::int32_t i4;
    float r4;
    double r8;
  } num_;
  std::u16string str_;
  ObjectRef obj_;
};

// The platform's TypeName: "Empty", "Null", "Integer", "Long", "Single", "Double", "Date",
// "String", "Error", "Boolean"; an object gives its class name ("Nothing" for none).
std::u16string TypeName(const Value& v);

// The value an operation sees: an object stands for its default member (repeatedly, should the
// default member itself be an object); "Nothing" raises 91.
Value Dereference(const Value& v);

}  // namespace qorvintr::automation
