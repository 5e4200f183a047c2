#pragma once
// The host's objects as the interpreter sees them: adapters that implement the contract classes
// by calling an IDispatch late-bound, by member name, as the platform's language runtime calls
// them (GetIDsOfNames once per member, then Invoke with the arguments in the platform's order,
// by-reference ones as VT_BYREF and written back after the call).
//
// A failed call becomes the platform's run-time error (errors.h): a missing member is 438, a
// member that raises gives its EXCEPINFO's number, a result of the wrong kind fails in the
// conversion (13 Type mismatch, 424 Object required, 6 Overflow). The interpreter's error traps
// take it from there, inside the procedure that made the call.

#include <windows.h>
#include <oleauto.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "qorvintr/value.h"
#include "qorvintr/contract/data_field.h"
#include "qorvintr/contract/host_error.h"
#include "qorvintr/contract/log_writer.h"

namespace qorvintr::com {

// The members the interpreter calls by name.
enum class Member : std::uint8_t {
  Data,
  DataType,
  Name,
  DataClass,
  Item,
  Exists,
  AddObject,
  Remove,
  mCol,
  Count,
  ReportError,
  Init,
  WriteLogMsg,
  kCount
};

// Dispatch identifiers looked up so far, by member. Objects of one class share one cache (the
// temporaries the interpreter creates by ProgID); any other object has its own.
struct DispIdCache {
  std::array<DISPID, static_cast<std::size_t>(Member::kCount)> ids;
  DispIdCache() noexcept { ids.fill(DISPID_UNKNOWN); }
};
using DispIdCacheRef = std::shared_ptr<DispIdCache>;

// The locale of every call: the component's rules are en-US.
inline constexpr LCID kCallLcid = 1033;

class DispatchClient {
 public:
  explicit DispatchClient(IDispatch* dispatch, DispIdCacheRef ids = nullptr);
  virtual ~DispatchClient();
  DispatchClient(const DispatchClient&) = delete;
  DispatchClient& operator=(const DispatchClient&) = delete;

  IDispatch* Dispatch() const noexcept { return dispatch_; }

 protected:
  DISPID Id(Member member);
  // IDispatch::Invoke; args are in the platform's order (the last argument first). A put passes
  // its value as the named argument DISPID_PROPERTYPUT. Raises the platform's error on failure.
  void Invoke(DISPID id, WORD flags, VARIANTARG* args, UINT count, VARIANT* result);
  // A property read (or a function without arguments whose result is used).
  automation::Value Get(Member member);
  automation::Value GetDefault();
  std::u16string GetText(Member member);
  void Put(Member member, const automation::Value& value);
  void PutText(Member member, std::u16string_view text);
  // A call with one text argument passed by value (VT_BSTR); result may be null.
  void InvokeWithText(Member member, WORD flags, std::u16string_view text, VARIANT* result);
  // The same with the text passed by reference: what the callee leaves in it is written back.
  void InvokeWithTextByRef(Member member, WORD flags, std::u16string& text, VARIANT* result);
  // The class name the object's type information gives ("DataField" for "_DataField"); empty
  // when it has none.
  std::u16string TypeInfoName() const;

 private:
  IDispatch* dispatch_;
  DispIdCacheRef ids_;
};

// A data field (and any host object held in a value: its default member is DISPID_VALUE).
class DispatchDataField final : public contract::DataField, public DispatchClient {
 public:
  explicit DispatchDataField(IDispatch* dispatch, DispIdCacheRef ids = nullptr)
      : DispatchClient(dispatch, std::move(ids)) {}

  automation::Value Data() override { return Get(Member::Data); }
  void SetData(const automation::Value& value) override { Put(Member::Data, value); }
  std::u16string DataType() override { return GetText(Member::DataType); }
  void SetDataType(std::u16string type) override { PutText(Member::DataType, type); }
  std::u16string Name() override { return GetText(Member::Name); }
  void SetName(std::u16string name) override { PutText(Member::Name, name); }
  std::u16string DataClass() override { return GetText(Member::DataClass); }
  void SetDataClass(std::u16string data_class) override {
    PutText(Member::DataClass, data_class);
  }
  automation::Value DefaultValue() override { return GetDefault(); }
  std::u16string ClassName() const override;
};

// The keyed collection underneath the host's DataFields.
class DispatchKeyedCollection final : public contract::KeyedCollection, public DispatchClient {
 public:
  explicit DispatchKeyedCollection(IDispatch* dispatch) : DispatchClient(dispatch) {}

  contract::DataFieldRef Item(std::u16string_view key) override;
  std::int32_t Count() override;
  automation::Value DefaultValue() override { return GetDefault(); }
  std::u16string ClassName() const override;
};

// The host's DataFields.
class DispatchDataFields final : public contract::DataFields, public DispatchClient {
 public:
  explicit DispatchDataFields(IDispatch* dispatch) : DispatchClient(dispatch) {}

  contract::DataFieldRef Item(std::u16string& name) override;
  bool Exists(std::u16string& name) override;
  std::int16_t AddObject(contract::DataFieldRef& field) override;
  void Remove(std::u16string& name) override;
  contract::KeyedCollectionRef mCol() override;
  automation::Value DefaultValue() override { return GetDefault(); }
  std::u16string ClassName() const override;
};

// The host's error object.
class DispatchHostError final : public contract::HostError, public DispatchClient {
 public:
  explicit DispatchHostError(IDispatch* dispatch) : DispatchClient(dispatch) {}

  automation::Value ReportError(const automation::Value& code, const automation::Value& text,
                                const automation::Value& when, const automation::Value& arg4,
                                const automation::Value& arg5, const automation::Value& arg6,
                                automation::Value& system, automation::Value& application,
                                const automation::Value& release, automation::Value& module,
                                const automation::Value& procedure) override;
  automation::Value DefaultValue() override { return GetDefault(); }
  std::u16string ClassName() const override;
};

// The logging component.
class DispatchLogWriter final : public contract::LogWriter, public DispatchClient {
 public:
  explicit DispatchLogWriter(IDispatch* dispatch, DispIdCacheRef ids = nullptr)
      : DispatchClient(dispatch, std::move(ids)) {}

  automation::Value Init(std::u16string_view application_key, std::u16string_view kind,
                         std::u16string& path, std::int16_t number_of_logs,
                         std::int32_t& log_size, bool flag, std::u16string& separator,
                         std::u16string_view title) override;
  automation::Value WriteLogMsg(std::u16string_view text) override;
  automation::Value DefaultValue() override { return GetDefault(); }
  std::u16string ClassName() const override;
};

// The contract object behind an IDispatch handed in by a host: our own native object when the
// IDispatch is one of our wrappers of an object of that kind, otherwise a new adapter. Null for
// none.
contract::DataFieldRef AdaptDataField(IDispatch* dispatch);
contract::DataFieldsRef AdaptDataFields(IDispatch* dispatch);
contract::HostErrorRef AdaptHostError(IDispatch* dispatch);
contract::KeyedCollectionRef AdaptKeyedCollection(IDispatch* dispatch);

}  // namespace qorvintr::com
