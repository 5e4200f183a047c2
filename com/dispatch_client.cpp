#include "com/dispatch_client.h"

#include <dispex.h>

#include <new>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "qorvintr/convert.h"
#include "qorvintr/error.h"
#include "com/errors.h"
#include "com/native_dispatch.h"
#include "com/variant.h"
#include "contract/stock.h"

namespace qorvintr::com {

using automation::Value;

namespace {

constexpr const wchar_t* kMemberNames[] = {
    L"Data",      L"DataType", L"Name",  L"DataClass",   L"Item",
    L"Exists",    L"AddObject", L"Remove", L"mCol",      L"Count",
    L"ReportError", L"Init",   L"WriteLogMsg",
};
static_assert(sizeof(kMemberNames) / sizeof(kMemberNames[0]) ==
              static_cast<std::size_t>(Member::kCount));

constexpr WORD kGetFlags = DISPATCH_METHOD | DISPATCH_PROPERTYGET;

// IDispatch::Invoke; raises the platform's error on failure (DispatchClient::Invoke).
void InvokeOn(IDispatch* dispatch, DISPID id, WORD flags, VARIANTARG* args, UINT count,
              VARIANT* result);

// IDispatchEx {A6EF9860-C720-11D0-9337-00A0C90DCAA9} (not in every import library).
constexpr IID kIidDispatchEx = {
    0xA6EF9860, 0xC720, 0x11D0, {0x93, 0x37, 0x00, 0xA0, 0xC9, 0x0D, 0xCA, 0xA9}};

// A text argument passed by reference: the BSTR lives here, the callee may replace it, and the caller's
// variable takes the text back afterwards.
class TextByRef {
 public:
  explicit TextByRef(const std::u16string& text) : bstr_(text) {}
  void Bind(VARIANT* arg) noexcept {
    V_VT(arg) = VT_BYREF | VT_BSTR;
    V_BSTRREF(arg) = bstr_.address();
  }
  void WriteBack(std::u16string& text) const {
    std::u16string_view now = BstrView(bstr_.get());
    if (now != text) text.assign(now);
  }

 private:
  Bstr bstr_;
};

// A by-reference Variant argument (VT_BYREF | VT_VARIANT).
class ValueByRef {
 public:
  explicit ValueByRef(const Value& value) { ToVariant(value, v_.get()); }
  void Bind(VARIANT* arg) noexcept {
    V_VT(arg) = VT_BYREF | VT_VARIANT;
    V_VARIANTREF(arg) = v_.get();
  }
  void WriteBack(Value& value) const { value = FromVariant(*v_); }

 private:
  Variant v_;
};

// An argument list of n VARIANTs that clears what it owns (by-reference ones own nothing).
template <std::size_t N>
struct Args {
  VARIANT v[N];
  Args() noexcept {
    for (VARIANT& a : v) InitVariant(&a);
  }
  ~Args() {
    for (VARIANT& a : v) {
      if (!(V_VT(&a) & VT_BYREF)) ClearVariant(&a);
    }
  }
  Args(const Args&) = delete;
  Args& operator=(const Args&) = delete;
};

// The IDispatch in an object result, AddRef'd; null for Nothing. Anything else raises 424.
IDispatch* ObjectResult(const VARIANT& result) {
  const VARIANT* r = &result;
  while (V_VT(r) == (VT_BYREF | VT_VARIANT) && V_VARIANTREF(r)) r = V_VARIANTREF(r);
  IUnknown* unknown = nullptr;
  switch (V_VT(r)) {
    case VT_DISPATCH: unknown = V_DISPATCH(r); break;
    case VT_UNKNOWN: unknown = V_UNKNOWN(r); break;
    case VT_BYREF | VT_DISPATCH: unknown = V_DISPATCHREF(r) ? *V_DISPATCHREF(r) : nullptr; break;
    case VT_BYREF | VT_UNKNOWN: unknown = V_UNKNOWNREF(r) ? *V_UNKNOWNREF(r) : nullptr; break;
    default: automation::Raise(automation::err::ObjectRequired);
  }
  if (!unknown) return nullptr;
  IDispatch* dispatch = nullptr;
  if (FAILED(unknown->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&dispatch))) ||
      !dispatch) {
    automation::Raise(automation::err::NoAutomationSupport);
  }
  return dispatch;
}

// The direct adapter of a contract for one of our objects of this build; null when the object
// is of another kind.
template <class Contract>
std::shared_ptr<Contract> DirectAdapter(IOwnObject* own) {
  const OwnKind kind = own->Kind();
  if constexpr (std::is_same_v<Contract, contract::DataField>) {
    if (kind == OwnKind::DataField) return std::make_shared<DirectDataField>(own);
  } else if constexpr (std::is_same_v<Contract, contract::DataFields>) {
    if (kind == OwnKind::DataFields) return std::make_shared<DirectDataFields>(own);
  } else if constexpr (std::is_same_v<Contract, contract::KeyedCollection>) {
    if (kind == OwnKind::FieldCollection) return std::make_shared<DirectKeyedCollection>(own);
  }
  return nullptr;
}

template <class Contract, class Adapter>
std::shared_ptr<Contract> Adapt(IDispatch* dispatch, const void* trusted_module = nullptr) {
  if (!dispatch) return nullptr;
  // One QueryInterface, whatever the object (a host's answers E_NOINTERFACE).
  ComRef<IOwnObject> own(OwnObjectOf(dispatch, trusted_module));
  if (own.get()) {
    if (IsOwnNative(own.get())) {
      if (auto typed = std::dynamic_pointer_cast<Contract>(*own->NativeObject())) return typed;
    } else if (auto direct = DirectAdapter<Contract>(own.get())) {
      return direct;
    }
  }
  return std::make_shared<Adapter>(dispatch);
}


}  // namespace

// ---- DispatchClient -------------------------------------------------------------------------

DispatchClient::DispatchClient(IDispatch* dispatch, DispIdCacheRef ids)
    : dispatch_(dispatch), ids_(ids ? std::move(ids) : std::make_shared<DispIdCache>()) {
  dispatch_->AddRef();
}

DispatchClient::~DispatchClient() { dispatch_->Release(); }

DISPID DispatchClient::Id(Member member) {
  DISPID& slot = ids_->ids[static_cast<std::size_t>(member)];
  if (slot != DISPID_UNKNOWN) return slot;
  LPOLESTR name = const_cast<LPOLESTR>(kMemberNames[static_cast<std::size_t>(member)]);
  DISPID id = DISPID_UNKNOWN;
  HRESULT hr = dispatch_->GetIDsOfNames(IID_NULL, &name, 1, kCallLcid, &id);
  if (FAILED(hr) && hr != DISP_E_UNKNOWNNAME) {
    // Some script engines' objects answer names only through IDispatchEx.
    IDispatchEx* ex = nullptr;
    if (SUCCEEDED(dispatch_->QueryInterface(kIidDispatchEx, reinterpret_cast<void**>(&ex))) &&
        ex) {
      BSTR text = SysAllocString(name);
      if (text) {
        HRESULT hr_ex = ex->GetDispID(text, fdexNameCaseInsensitive, &id);
        if (SUCCEEDED(hr_ex) || hr_ex == DISP_E_UNKNOWNNAME) hr = hr_ex;
        SysFreeString(text);
      }
      ex->Release();
    }
  }
  if (FAILED(hr)) RaiseFromDispatch(hr, nullptr);
  if (id == DISPID_UNKNOWN) automation::Raise(automation::err::MemberNotSupported);
  slot = id;
  return id;
}

void DispatchClient::Invoke(DISPID id, WORD flags, VARIANTARG* args, UINT count,
                            VARIANT* result) {
  InvokeOn(dispatch_, id, flags, args, count, result);
}

namespace {

void InvokeOn(IDispatch* dispatch, DISPID id, WORD flags, VARIANTARG* args, UINT count,
              VARIANT* result) {
  DISPID named = DISPID_PROPERTYPUT;
  DISPPARAMS params{args, nullptr, count, 0};
  if (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) {
    params.rgdispidNamedArgs = &named;
    params.cNamedArgs = 1;
  }
  EXCEPINFO info{};
  UINT arg_error = 0;
  // The callee may drop the last outside reference to itself while it runs.
  IDispatch* target = dispatch;
  target->AddRef();
  HRESULT hr = target->Invoke(id, IID_NULL, kCallLcid, flags, &params, result, &info, &arg_error);
  target->Release();
  if (FAILED(hr)) RaiseFromDispatch(hr, &info);
  SysFreeString(info.bstrSource);
  SysFreeString(info.bstrDescription);
  SysFreeString(info.bstrHelpFile);
}

}  // namespace

Value DispatchClient::Get(Member member) {
  Variant result;
  Invoke(Id(member), kGetFlags, nullptr, 0, result.get());
  return FromVariant(*result);
}

Value DispatchClient::GetDefault() { return DefaultOf(dispatch_); }

Value DefaultOf(IDispatch* dispatch) {
  Variant result;
  InvokeOn(dispatch, DISPID_VALUE, kGetFlags, nullptr, 0, result.get());
  return FromVariant(*result);
}

std::u16string DispatchClient::GetText(Member member) {
  Variant result;
  Invoke(Id(member), kGetFlags, nullptr, 0, result.get());
  if (V_VT(result.get()) == VT_BSTR) return FromBstr(V_BSTR(result.get()));
  return automation::CStr(FromVariant(*result));
}

void DispatchClient::Put(Member member, const Value& value) {
  Args<1> args;
  ToVariant(value, &args.v[0]);
  Invoke(Id(member), DISPATCH_PROPERTYPUT, args.v, 1, nullptr);
}

void DispatchClient::PutText(Member member, std::u16string_view text) {
  InvokeWithText(member, DISPATCH_PROPERTYPUT, text, nullptr);
}

void DispatchClient::InvokeWithText(Member member, WORD flags, std::u16string_view text,
                                    VARIANT* result) {
  Args<1> args;
  V_BSTR(&args.v[0]) = ToBstr(text);
  V_VT(&args.v[0]) = VT_BSTR;
  Invoke(Id(member), flags, args.v, 1, result);
}

void DispatchClient::InvokeWithTextByRef(Member member, WORD flags, std::u16string& text,
                                         VARIANT* result) {
  TextByRef arg(text);
  Args<1> args;
  arg.Bind(&args.v[0]);
  Invoke(Id(member), flags, args.v, 1, result);
  arg.WriteBack(text);
}

std::u16string DispatchClient::TypeInfoName() const {
  UINT count = 0;
  if (FAILED(dispatch_->GetTypeInfoCount(&count)) || count == 0) return {};
  ITypeInfo* info = nullptr;
  if (FAILED(dispatch_->GetTypeInfo(0, kCallLcid, &info)) || !info) return {};
  Bstr name;
  HRESULT hr = info->GetDocumentation(MEMBERID_NIL, name.address(), nullptr, nullptr, nullptr);
  info->Release();
  if (FAILED(hr)) return {};
  std::u16string text;
  try {
    text = FromBstr(name.get());
  } catch (const std::bad_alloc&) {
    // No memory to copy the name: the class answers as one without type information.
  }
  // A class's default interface is named after the class with a leading underscore.
  if (text.size() > 1 && text.front() == u'_') text.erase(0, 1);
  return text;
}

// ---- Data field -----------------------------------------------------------------------------

std::u16string DispatchDataField::ClassName() const {
  std::u16string name = TypeInfoName();
  return name.empty() ? std::u16string(u"Object") : name;
}

namespace {

contract::DataFieldRef DataFieldResult(const VARIANT& result) {
  ComRef<IDispatch> dispatch(ObjectResult(result));
  return AdaptDataField(dispatch.get());
}

// The field one of our collections answered (from module, the collection's own): a field of that
// module is of the collection's build, without comparing builds again.
contract::DataFieldRef FieldAnswer(IDispatch* answer, const void* module) {
  Variant result;
  V_VT(result.get()) = VT_DISPATCH;
  V_DISPATCH(result.get()) = answer;
  ComRef<IDispatch> dispatch(ObjectResult(*result));
  return Adapt<contract::DataField, DispatchDataField>(dispatch.get(), module);
}

IDispatch* ObjectAnswer(IDispatch* answer) {
  Variant result;
  V_VT(result.get()) = VT_DISPATCH;
  V_DISPATCH(result.get()) = answer;
  return ObjectResult(*result);
}

}  // namespace

std::uint32_t SizeOf(std::u16string_view text) {
  if (text.size() > 0x7FFFFFF0u / sizeof(wchar_t)) throw std::bad_alloc();
  return static_cast<std::uint32_t>(text.size());
}

// ---- Direct adapters ------------------------------------------------------------------------

Value DirectDataField::Data() {
  Variant answer;
  std::u16string text;
  EXCEPINFO info{};
  CheckDirect(field_->GetData(answer.get(), SinkInto(text), &info), info);
  if (V_VT(answer.get()) == VT_BSTR && !V_BSTR(answer.get())) {
    return Value::String(std::move(text));
  }
  return FromVariant(*answer);
}

void DirectDataField::SetData(const Value& value) {
  EXCEPINFO info{};
  if (value.IsString()) {
    const std::u16string& text = value.GetString();
    CheckDirect(field_->SetData(nullptr, text.data(), SizeOf(text), &info), info);
    return;
  }
  Variant v;
  ToVariant(value, v.get());
  CheckDirect(field_->SetData(v.get(), nullptr, 0, &info), info);
}

std::u16string DirectDataField::Text(FieldText which) {
  std::u16string text;
  EXCEPINFO info{};
  CheckDirect(field_->GetText(which, SinkInto(text), &info), info);
  return text;
}

void DirectDataField::SetText(FieldText which, std::u16string_view text) {
  EXCEPINFO info{};
  CheckDirect(field_->SetText(which, text.data(), SizeOf(text), &info), info);
}

contract::DataFieldRef DirectDataFields::Item(std::u16string& name) {
  IDispatch* answer = nullptr;
  EXCEPINFO info{};
  CheckDirect(fields_->Item(name.data(), SizeOf(name), &answer, &info), info);
  return FieldAnswer(answer, Module());
}

bool DirectDataFields::Exists(std::u16string& name) {
  bool answer = false;
  EXCEPINFO info{};
  CheckDirect(fields_->Exists(name.data(), SizeOf(name), &answer, &info), info);
  return answer;
}

std::int16_t DirectDataFields::AddObject(contract::DataFieldRef& field) {
  ComRef<IDispatch> passed(ToDispatch(field));
  std::int16_t answer = 0;
  EXCEPINFO info{};
  CheckDirect(fields_->AddObject(passed.get(), &answer, &info), info);
  return answer;
}

void DirectDataFields::Remove(std::u16string& name) {
  EXCEPINFO info{};
  CheckDirect(fields_->Remove(name.data(), SizeOf(name), &info), info);
}

std::size_t DirectDataFields::GeneratedLikeKeys(void* fields) {
  return static_cast<DirectDataFields*>(fields)->fields_->GeneratedLikeKeys();
}

contract::DataFieldRef DirectDataFields::FindQuiet(void* fields, std::u16string_view name) {
  auto* self = static_cast<DirectDataFields*>(fields);
  IOwnObject* own = self->fields_->QuietItem(name.data(), SizeOf(name));
  if (own == nullptr) return nullptr;
  ComRef<IOwnObject> held(own);
  // A field the collection answered is of the collection's module and build (see FieldAnswer).
  return std::make_shared<DirectDataField>(own);
}

contract::KeyedCollectionRef DirectDataFields::mCol() {
  IDispatch* answer = nullptr;
  EXCEPINFO info{};
  CheckDirect(fields_->MCol(&answer, &info), info);
  ComRef<IDispatch> dispatch(ObjectAnswer(answer));
  return AdaptKeyedCollection(dispatch.get());
}

contract::DataFieldRef DirectKeyedCollection::Item(std::u16string_view key) {
  IDispatch* answer = nullptr;
  EXCEPINFO info{};
  CheckDirect(collection_->Item(key.data(), SizeOf(key), &answer, &info), info);
  return FieldAnswer(answer, Module());
}

std::int32_t DirectKeyedCollection::Count() {
  std::int32_t answer = 0;
  EXCEPINFO info{};
  CheckDirect(collection_->Count(&answer, &info), info);
  return answer;
}

// ---- Keyed collection -----------------------------------------------------------------------

contract::DataFieldRef DispatchKeyedCollection::Item(std::u16string_view key) {
  Variant result;
  InvokeWithText(Member::Item, kGetFlags, key, result.get());
  return DataFieldResult(*result);
}

std::int32_t DispatchKeyedCollection::Count() { return automation::CLng(Get(Member::Count)); }

std::u16string DispatchKeyedCollection::ClassName() const {
  std::u16string name = TypeInfoName();
  return name.empty() ? KeyedCollection::ClassName() : name;
}

// ---- DataFields -----------------------------------------------------------------------------

contract::DataFieldRef DispatchDataFields::Item(std::u16string& name) {
  Variant result;
  InvokeWithTextByRef(Member::Item, kGetFlags, name, result.get());
  return DataFieldResult(*result);
}

bool DispatchDataFields::Exists(std::u16string& name) {
  Variant result;
  InvokeWithTextByRef(Member::Exists, kGetFlags, name, result.get());
  if (V_VT(result.get()) == VT_BOOL) return V_BOOL(result.get()) != VARIANT_FALSE;
  return automation::CBool(FromVariant(*result));
}

std::int16_t DispatchDataFields::AddObject(contract::DataFieldRef& field) {
  ComRef<IDispatch> passed(ToDispatch(field));
  // The caller's variable, which the callee may set to another object.
  ComRef<IDispatch> current(passed.get());
  if (current.get()) current->AddRef();
  Args<1> args;
  V_VT(&args.v[0]) = VT_BYREF | VT_DISPATCH;
  V_DISPATCHREF(&args.v[0]) = current.address();
  Variant result;
  Invoke(Id(Member::AddObject), kGetFlags, args.v, 1, result.get());
  if (current.get() != passed.get()) field = AdaptDataField(current.get());
  if (V_VT(result.get()) == VT_I2) return V_I2(result.get());
  return automation::CInt(FromVariant(*result));
}

void DispatchDataFields::Remove(std::u16string& name) {
  InvokeWithTextByRef(Member::Remove, DISPATCH_METHOD, name, nullptr);
}

contract::KeyedCollectionRef DispatchDataFields::mCol() {
  Variant result;
  Invoke(Id(Member::mCol), kGetFlags, nullptr, 0, result.get());
  ComRef<IDispatch> dispatch(ObjectResult(*result));
  return AdaptKeyedCollection(dispatch.get());
}

std::u16string DispatchDataFields::ClassName() const {
  std::u16string name = TypeInfoName();
  return name.empty() ? DataFields::ClassName() : name;
}

// ---- Error object ---------------------------------------------------------------------------

Value DispatchHostError::ReportError(const Value& code, const Value& text, const Value& when,
                                     const Value& arg4, const Value& arg5, const Value& arg6,
                                     Value& system, Value& application, const Value& release,
                                     Value& module, const Value& procedure) {
  ValueByRef ref_system(system);
  ValueByRef ref_application(application);
  ValueByRef ref_module(module);
  Args<11> args;
  // The platform's order: the last argument first.
  ToVariant(code, &args.v[10]);
  ToVariant(text, &args.v[9]);
  ToVariant(when, &args.v[8]);
  ToVariant(arg4, &args.v[7]);
  ToVariant(arg5, &args.v[6]);
  ToVariant(arg6, &args.v[5]);
  ref_system.Bind(&args.v[4]);
  ref_application.Bind(&args.v[3]);
  ToVariant(release, &args.v[2]);
  ref_module.Bind(&args.v[1]);
  ToVariant(procedure, &args.v[0]);
  Variant result;
  Invoke(Id(Member::ReportError), kGetFlags, args.v, 11, result.get());
  ref_system.WriteBack(system);
  ref_application.WriteBack(application);
  ref_module.WriteBack(module);
  return FromVariant(*result);
}

std::u16string DispatchHostError::ClassName() const {
  std::u16string name = TypeInfoName();
  return name.empty() ? HostError::ClassName() : name;
}

// ---- Log writer -----------------------------------------------------------------------------

Value DispatchLogWriter::Init(std::u16string_view application_key, std::u16string_view kind,
                              std::u16string& path, std::int16_t number_of_logs,
                              std::int32_t& log_size, bool flag, std::u16string& separator,
                              std::u16string_view title) {
  TextByRef ref_path(path);
  TextByRef ref_separator(separator);
  std::int32_t size = log_size;
  Args<8> args;
  V_BSTR(&args.v[7]) = ToBstr(application_key);
  V_VT(&args.v[7]) = VT_BSTR;
  V_BSTR(&args.v[6]) = ToBstr(kind);
  V_VT(&args.v[6]) = VT_BSTR;
  ref_path.Bind(&args.v[5]);
  V_VT(&args.v[4]) = VT_I2;
  V_I2(&args.v[4]) = number_of_logs;
  V_VT(&args.v[3]) = VT_BYREF | VT_I4;
  V_I4REF(&args.v[3]) = reinterpret_cast<LONG*>(&size);
  V_VT(&args.v[2]) = VT_BOOL;
  V_BOOL(&args.v[2]) = flag ? VARIANT_TRUE : VARIANT_FALSE;
  ref_separator.Bind(&args.v[1]);
  V_BSTR(&args.v[0]) = ToBstr(title);
  V_VT(&args.v[0]) = VT_BSTR;
  Variant result;
  Invoke(Id(Member::Init), kGetFlags, args.v, 8, result.get());
  ref_path.WriteBack(path);
  ref_separator.WriteBack(separator);
  log_size = size;
  return FromVariant(*result);
}

Value DispatchLogWriter::WriteLogMsg(std::u16string_view text) {
  Variant result;
  InvokeWithText(Member::WriteLogMsg, kGetFlags, text, result.get());
  return FromVariant(*result);
}

std::u16string DispatchLogWriter::ClassName() const {
  std::u16string name = TypeInfoName();
  return name.empty() ? LogWriter::ClassName() : name;
}

// ---- Adapting a host's objects --------------------------------------------------------------

contract::DataFieldRef AdaptDataField(IDispatch* dispatch) {
  return Adapt<contract::DataField, DispatchDataField>(dispatch);
}
contract::DataFieldsRef AdaptDataFields(IDispatch* dispatch) {
  return Adapt<contract::DataFields, DispatchDataFields>(dispatch);
}
contract::HostErrorRef AdaptHostError(IDispatch* dispatch) {
  return Adapt<contract::HostError, DispatchHostError>(dispatch);
}
contract::KeyedCollectionRef AdaptKeyedCollection(IDispatch* dispatch) {
  return Adapt<contract::KeyedCollection, DispatchKeyedCollection>(dispatch);
}

namespace {

contract::stock::OwnFieldsView OwnFieldsOf(contract::DataFields& fields) {
  // The class is final: its type_info's address tells it (no name compare).
  if (&typeid(fields) != &typeid(DirectDataFields)) return {};
  contract::stock::OwnFieldsView view;
  view.collection = static_cast<DirectDataFields*>(&fields);
  view.generated_like_keys = DirectDataFields::GeneratedLikeKeys;
  view.find_quiet = DirectDataFields::FindQuiet;
  return view;
}

}  // namespace

void InstallOwnFieldsProbe() noexcept { contract::stock::SetOwnFieldsProbe(OwnFieldsOf); }

}  // namespace qorvintr::com
