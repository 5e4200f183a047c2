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
#include "com/own_object.h"

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

// A contract object that stands for a COM object: handed to a host, it is that object again.
class ComBacked {
 public:
  // Not AddRef'd.
  virtual IDispatch* BackingDispatch() const noexcept = 0;

 protected:
  ~ComBacked() = default;
};

class DispatchClient : public ComBacked {
 public:
  explicit DispatchClient(IDispatch* dispatch, DispIdCacheRef ids = nullptr);
  virtual ~DispatchClient();
  DispatchClient(const DispatchClient&) = delete;
  DispatchClient& operator=(const DispatchClient&) = delete;

  IDispatch* Dispatch() const noexcept { return dispatch_; }
  IDispatch* BackingDispatch() const noexcept override { return dispatch_; }

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

// The default member of an object, read late-bound (DISPID_VALUE).
automation::Value DefaultOf(IDispatch* dispatch);

// ---- Our own QorvDFld objects, called directly (own_object.h) ---------------------------------

class OwnClient : public ComBacked {
 public:
  explicit OwnClient(IOwnObject* own) noexcept : own_(own), module_(own->ModuleTag()) {
    own_->AddRef();
  }
  virtual ~OwnClient() { own_->Release(); }
  OwnClient(const OwnClient&) = delete;
  OwnClient& operator=(const OwnClient&) = delete;
  IDispatch* BackingDispatch() const noexcept override { return own_->DispatchOf(); }
  // The object (not AddRef'd).
  IOwnObject* Own() const noexcept { return own_; }

 protected:
  template <class Direct>
  Direct* As() const noexcept {
    return static_cast<Direct*>(own_->Direct());
  }
  // The module of the object (held, and of this build).
  const void* Module() const noexcept { return module_; }

 private:
  IOwnObject* own_;
  const void* module_;
};

// A QorvDFld.DataField: what the late-bound adapter answers, without IDispatch.
class DirectDataField final : public contract::DataField, public OwnClient {
 public:
  explicit DirectDataField(IOwnObject* own) noexcept
      : OwnClient(own), field_(As<com::DirectField>()) {}

  automation::Value Data() override;
  void SetData(const automation::Value& value) override;
  std::u16string DataType() override { return Text(FieldText::DataType); }
  void SetDataType(std::u16string type) override { SetText(FieldText::DataType, type); }
  std::u16string Name() override { return Text(FieldText::Name); }
  void SetName(std::u16string name) override { SetText(FieldText::Name, name); }
  std::u16string DataClass() override { return Text(FieldText::DataClass); }
  void SetDataClass(std::u16string data_class) override {
    SetText(FieldText::DataClass, data_class);
  }
  // The name of the class's type information, as the late-bound adapter reads it.
  std::u16string ClassName() const override { return u"DataField"; }

 private:
  std::u16string Text(FieldText which);
  void SetText(FieldText which, std::u16string_view text);

  com::DirectField* field_;
};

// A text's length as a direct call passes it (a text too long for a BSTR is out of memory).
std::uint32_t SizeOf(std::u16string_view text);

// QorvDFld.DataFields.
class DirectDataFields final : public contract::DataFields, public OwnClient {
 public:
  explicit DirectDataFields(IOwnObject* own) noexcept
      : OwnClient(own), fields_(As<com::DirectFields>()) {}

  contract::DataFieldRef Item(std::u16string& name) override;
  bool Exists(std::u16string& name) override;
  std::int16_t AddObject(contract::DataFieldRef& field) override;
  void Remove(std::u16string& name) override;
  contract::KeyedCollectionRef mCol() override;
  std::u16string ClassName() const override { return u"DataFields"; }

  // What a run nobody can watch asks of the collection (contract/stock.h, OwnFieldsView).
  static std::size_t GeneratedLikeKeys(void* fields);
  static contract::DataFieldRef FindQuiet(void* fields, std::u16string_view name);

 private:
  com::DirectFields* fields_;
};

// Its mCol.
class DirectKeyedCollection final : public contract::KeyedCollection, public OwnClient {
 public:
  explicit DirectKeyedCollection(IOwnObject* own) noexcept
      : OwnClient(own), collection_(As<com::DirectCollection>()) {}

  contract::DataFieldRef Item(std::u16string_view key) override;
  std::int32_t Count() override;
  automation::Value DefaultValue() override { return DefaultOf(BackingDispatch()); }
  std::u16string ClassName() const override { return u"FieldCollection"; }

 private:
  com::DirectCollection* collection_;
};

// The contract object behind an IDispatch handed in by a host: our own native object when the
// IDispatch is one of our wrappers of an object of that kind, a direct adapter when it is one of
// the QorvDFld objects of this build, otherwise a new late-bound adapter. Null for none.
contract::DataFieldRef AdaptDataField(IDispatch* dispatch);
contract::DataFieldsRef AdaptDataFields(IDispatch* dispatch);
contract::HostErrorRef AdaptHostError(IDispatch* dispatch);
contract::KeyedCollectionRef AdaptKeyedCollection(IDispatch* dispatch);

// Lets the interpreter of this module run scripts unwatched over QorvDFld.DataFields of this
// build (contract/stock.h, SetOwnFieldsProbe); once per process.
void InstallOwnFieldsProbe() noexcept;

}  // namespace qorvintr::com
