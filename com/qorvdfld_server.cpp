// QorvDFld.dll: the data field ("QorvDFld.DataField") and the keyed collection of data fields
// ("QorvDFld.DataFields", with its underlying collection mCol), backed by the stock components.
//
// The collection holds any data field object a caller gives it (ours or the caller's own), under
// the field's Name, without regard to case; Item answers the very object that was added.
#include <windows.h>
#include <initguid.h>

#include "QorvDFld.h"

#include <memory>
#include <new>
#include <span>
#include <typeinfo>
#include <string>
#include <utility>
#include <vector>

#include "qorvintr/convert.h"
#include "qorvintr/error.h"
#include "com/dispatch_client.h"
#include "com/dual_object.h"
#include "com/errors.h"
#include "com/server.h"
#include "com/variant.h"
#include "qorvintr/components/data_field.h"
#include "qorvintr/components/field_collection.h"

namespace qorvintr::com {

namespace {

using automation::Value;

// The type word of a value's kind, for fields added without one.
std::u16string TypeWordOf(const Value& v) {
  switch (v.Type()) {
    case automation::VarType::String: return u"String";
    case automation::VarType::Long: return u"Long";
    case automation::VarType::Integer: return u"Integer";
    case automation::VarType::Boolean: return u"Boolean";
    case automation::VarType::Single: return u"Single";
    case automation::VarType::Double: return u"Double";
    case automation::VarType::Date: return u"Date";
    default: return u"Variant";
  }
}

// The field of a key (a text) or of a position from 1 (a number), as the platform's collections
// answer Item.
contract::DataFieldRef FieldOf(components::FieldCollection& fields, const VARIANT& index) {
  Value key = FromVariant(index);
  if (key.IsObject()) key = automation::Dereference(key);
  if (key.IsNumberKind()) return fields.ItemAt(automation::CLng(key));
  if (key.IsString()) return fields.Item(key.GetString());
  if (key.Type() == automation::VarType::Date) return fields.ItemAt(automation::CLng(key));
  automation::Raise(automation::err::InvalidProcedureCall);
}

std::u16string KeyText(const VARIANT& name) {
  if (V_VT(&name) == VT_BSTR) return FromBstr(V_BSTR(&name));
  return automation::CStr(FromVariant(name));
}

// ---- Data field -----------------------------------------------------------------------------

constexpr MemberName kFieldNames[] = {
    {L"Data", 0}, {L"DataType", 1}, {L"Name", 2}, {L"DataClass", 3}};

class DataFieldObject final : public DualObject<_DataField>,
                              public IOwnObject,
                              public DirectField {
 public:
  DataFieldObject()
      : DualObject(IID__DataField) {}

  QORVINTR_DUAL_OWN_UNKNOWN()
  OwnKind STDMETHODCALLTYPE Kind() override { return OwnKind::DataField; }
  void* STDMETHODCALLTYPE Direct() override { return static_cast<DirectField*>(this); }
  IDispatch* STDMETHODCALLTYPE DispatchOf() override { return this; }

  // ---- DirectField ----
  HRESULT STDMETHODCALLTYPE GetData(VARIANT* out, TextSink text, EXCEPINFO* info) override {
    return DirectGuard(info, [&] {
      const Value& data = field_.DataRef();
      if (data.IsString()) {
        const std::u16string& s = data.GetString();
        text.assign(text.target, s.data(), static_cast<std::uint32_t>(s.size()));
        V_VT(out) = VT_BSTR;
        V_BSTR(out) = nullptr;
        return;
      }
      ToVariant(data, out);
    });
  }
  HRESULT STDMETHODCALLTYPE SetData(const VARIANT* value, const char16_t* text,
                                    std::uint32_t size, EXCEPINFO* info) override {
    return DirectGuard(info, [&] { WriteData(value, text, size); });
  }
  // What SetText and SetData write, all at once, into a field nobody has seen yet.
  void Fill(const FieldFill& fill) {
    field_.AssignName(std::u16string_view(fill.name, fill.name_size));
    field_.AssignDataType(std::u16string_view(fill.data_type, fill.data_type_size));
    field_.AssignDataClass(std::u16string_view(fill.data_class, fill.data_class_size));
    if (fill.has_data) WriteData(fill.value, fill.text, fill.text_size);
  }
  // The texts are handed out and taken in place: no copy of the field's own, none made here.
  HRESULT STDMETHODCALLTYPE GetText(FieldText which, TextSink text, EXCEPINFO* info) override {
    return DirectGuard(info, [&] {
      const std::u16string& s = which == FieldText::Name       ? field_.NameRef()
                                : which == FieldText::DataType ? field_.DataTypeRef()
                                                               : field_.DataClassRef();
      text.assign(text.target, s.data(), static_cast<std::uint32_t>(s.size()));
    });
  }
  HRESULT STDMETHODCALLTYPE SetText(FieldText which, const char16_t* text, std::uint32_t size,
                                    EXCEPINFO* info) override {
    return DirectGuard(info, [&] {
      const std::u16string_view s(text, size);
      if (which == FieldText::DataType) {
        field_.AssignDataType(s);
      } else if (which == FieldText::Name) {
        field_.AssignName(s);
      } else {
        field_.AssignDataClass(s);
      }
    });
  }

  // The name under which the collection keeps this field (what Name answers).
  const std::u16string& NameRef() const noexcept { return field_.NameRef(); }
  // Reading an object in Data would run its default member.
  bool HoldsObject() const noexcept { return field_.DataRef().IsObject(); }

  void WriteData(const VARIANT* value, const char16_t* text, std::uint32_t size) {
    field_.DataSlot() = value ? FromVariant(*value)
                               : Value::String(std::u16string_view(text, size));
  }

  HRESULT STDMETHODCALLTYPE get_Data(VARIANT* ret) override {
    if (!ret) return E_POINTER;
    InitVariant(ret);
    return Guard(IID__DataField, [&] {
      ToVariant(field_.DataRef(), ret);
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE put_Data(VARIANT value) override {
    return Set([&] { field_.SetData(FromVariant(value)); });
  }
  HRESULT STDMETHODCALLTYPE putref_Data(IDispatch* value) override {
    return Set([&] { field_.SetData(Value::Object(FromDispatch(value))); });
  }
  HRESULT STDMETHODCALLTYPE get_DataType(BSTR* ret) override {
    return Text(ret, [&] { return field_.DataType(); });
  }
  HRESULT STDMETHODCALLTYPE put_DataType(BSTR value) override {
    return Set([&] { field_.SetDataType(FromBstr(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_Name(BSTR* ret) override {
    return Text(ret, [&] { return field_.NameRef(); });
  }
  HRESULT STDMETHODCALLTYPE put_Name(BSTR value) override {
    return Set([&] { field_.SetName(FromBstr(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_DataClass(BSTR* ret) override {
    return Text(ret, [&] { return field_.DataClass(); });
  }
  HRESULT STDMETHODCALLTYPE put_DataClass(BSTR value) override {
    return Set([&] { field_.SetDataClass(FromBstr(value)); });
  }

 private:
  ~DataFieldObject() override = default;

  // Runs a property's setter under the guard.
  template <class Body>
  HRESULT Set(Body&& body) noexcept {
    return Guard(IID__DataField, [&] {
      body();
      return S_OK;
    });
  }

  template <class Body>
  HRESULT Text(BSTR* ret, Body&& body) noexcept {
    return GuardText(IID__DataField, ret, std::forward<Body>(body));
  }

  std::span<const MemberName> MemberNames() const noexcept override { return kFieldNames; }

  bool FastInvoke(DISPID id, FastCall& call, HRESULT& hr) noexcept override {
    if (id < 0 || id > 3) return false;
    if (call.PropertyGet(0)) {
      if (id == 0) {
        VARIANT data;
        HRESULT got = get_Data(&data);
        hr = call.ReturnVariant(got, data);
        return true;
      }
      BSTR text = nullptr;
      HRESULT got = id == 1 ? get_DataType(&text) : id == 2 ? get_Name(&text)
                                                            : get_DataClass(&text);
      hr = call.ReturnText(got, text);
      return true;
    }
    if (call.Put()) {
      if (id == 0) {
        const VARIANT* value = nullptr;
        if (!call.Value(0, &value)) return false;
        hr = call.Done(put_Data(*value));
        return true;
      }
      BSTR text = nullptr;
      if (!call.Text(0, &text)) return false;
      hr = call.Done(id == 1 ? put_DataType(text) : id == 2 ? put_Name(text)
                                                            : put_DataClass(text));
      return true;
    }
    if (id == 0 && call.PutRef()) {
      IDispatch* object = nullptr;
      if (!call.Object(0, &object)) return false;
      hr = call.Done(putref_Data(object));
      return true;
    }
    return false;
  }

  // The field itself, in the object: one block per field.
  components::DataFieldObject field_;
};

// A data field handed to a collection of this DLL: when it is one of this DLL's own fields (and
// direct calls are on), the adapter the collection keeps is made without asking the object for
// its build, and its Name is read in place; otherwise it is adapted as any caller's object.
struct AddedField {
  contract::DataFieldRef ref;
  DataFieldObject* own = nullptr;
};

AddedField AdaptAdded(IDispatch* field) {
  if (field && !FastPathsOff()) {
    IOwnObject* own = nullptr;
    if (SUCCEEDED(field->QueryInterface(kIidOwnObject, reinterpret_cast<void**>(&own))) && own) {
      ComRef<IOwnObject> held(own);
      if (own->ModuleTag() == OwnModuleTag() && own->Kind() == OwnKind::DataField) {
        return AddedField{std::make_shared<DirectDataField>(own),
                          static_cast<DataFieldObject*>(own)};
      }
    }
  }
  return AddedField{AdaptDataField(field)};
}

// The field of this DLL behind a held field, when AdaptAdded made its adapter; null for any
// other (a caller's own field, or a field of ours adapted as a caller's object).
DataFieldObject* OwnFieldOf(const contract::DataField& held) noexcept {
  // Told by the type_info's address (the adapter class is final and this module made it): no
  // name compare per lookup.
  if (&typeid(held) != &typeid(DirectDataField)) return nullptr;
  IOwnObject* own = static_cast<const DirectDataField&>(held).Own();
  if (own->ModuleTag() != OwnModuleTag() || own->Kind() != OwnKind::DataField) return nullptr;
  return static_cast<DataFieldObject*>(own);
}

// AddObject of the collection: 0 when added under the field's Name, 457 when that name is
// already held and 91 for no field (nothing changed in both cases).
std::int16_t AddField(components::FieldCollection& fields,
                      components::DataFieldCollection& collection, IDispatch* field) {
  AddedField added = AdaptAdded(field);
  if (!added.own) return collection.AddObject(added.ref);
  return fields.TryAdd(added.ref, added.own->NameRef())
             ? 0
             : static_cast<std::int16_t>(automation::err::KeyAlreadyAssociated);
}

// The factory of QorvDFld.DataField as our other DLLs see it: creates without IDispatch. It
// lives as long as the DLL; whoever holds it holds the factory too.
class FieldFactoryPart final : public IOwnObject, public DirectFieldFactory {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (!object) return E_POINTER;
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, kIidOwnObject)) {
      *object = static_cast<IOwnObject*>(this);
      return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  const void* STDMETHODCALLTYPE ModuleTag() override { return OwnModuleTag(); }
  const char* STDMETHODCALLTYPE BuildTag() override { return OwnBuildTag(); }
  OwnKind STDMETHODCALLTYPE Kind() override { return OwnKind::FieldFactory; }
  void* STDMETHODCALLTYPE Direct() override { return static_cast<DirectFieldFactory*>(this); }
  IDispatch* STDMETHODCALLTYPE DispatchOf() override { return nullptr; }
  const automation::ObjectRef* STDMETHODCALLTYPE NativeObject() override { return nullptr; }

  HRESULT STDMETHODCALLTYPE CreateField(IOwnObject** out) override {
    if (!out) return E_POINTER;
    *out = nullptr;
    try {
      *out = static_cast<IOwnObject*>(new DataFieldObject());
      return S_OK;
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;  // as the class factory answers it
    }
  }
  HRESULT STDMETHODCALLTYPE CreateFilledField(const FieldFill& fill, IOwnObject** out,
                                              EXCEPINFO* info) override {
    IOwnObject* created = nullptr;
    HRESULT hr = CreateField(&created);
    if (FAILED(hr)) return hr;
    ComRef<IOwnObject> held(created);
    hr = DirectGuard(info, [&] { static_cast<DataFieldObject*>(created)->Fill(fill); });
    if (SUCCEEDED(hr)) *out = held.release();
    return hr;
  }
};

FieldFactoryPart g_field_factory;

// ---- Enumeration ----------------------------------------------------------------------------

// For Each over the fields: a snapshot of the fields at the time _NewEnum was asked.
class FieldEnumerator final : public IEnumVARIANT {
 public:
  static HRESULT Create(const components::FieldCollection& fields, IUnknown** out) {
    ComRef<FieldEnumerator> e(new FieldEnumerator());
    e->items_.reserve(fields.size());
    for (const auto& entry : fields) e->items_.push_back(ToDispatch(entry.field));
    *out = static_cast<IEnumVARIANT*>(e.release());
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (!object) return E_POINTER;
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IEnumVARIANT)) {
      *object = static_cast<IEnumVARIANT*>(this);
      AddRef();
      return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
  ULONG STDMETHODCALLTYPE Release() override {
    ULONG left = --refs_;
    if (left == 0) delete this;
    return left;
  }
  HRESULT STDMETHODCALLTYPE Next(ULONG count, VARIANT* out, ULONG* fetched) override {
    if (!out) return E_POINTER;
    ULONG n = 0;
    while (n < count && next_ < items_.size()) {
      InitVariant(&out[n]);
      V_VT(&out[n]) = VT_DISPATCH;
      V_DISPATCH(&out[n]) = items_[next_];
      if (items_[next_]) items_[next_]->AddRef();
      ++n;
      ++next_;
    }
    if (fetched) *fetched = n;
    return n == count ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Skip(ULONG count) override {
    std::size_t left = items_.size() - next_;
    if (count > left) {
      next_ = items_.size();
      return S_FALSE;
    }
    next_ += count;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Reset() override {
    next_ = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** out) override {
    if (!out) return E_POINTER;
    *out = nullptr;
    ComRef<FieldEnumerator> e(new (std::nothrow) FieldEnumerator());
    if (!e.get()) return E_OUTOFMEMORY;
    try {
      e->items_ = items_;
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;  // Clone runs unguarded
    }
    for (IDispatch* d : e->items_) {
      if (d) d->AddRef();
    }
    e->next_ = next_;
    *out = e.release();
    return S_OK;
  }

 private:
  FieldEnumerator() = default;
  ~FieldEnumerator() {
    for (IDispatch* d : items_) {
      if (d) d->Release();
    }
  }

  ModuleCount count_;
  std::atomic<ULONG> refs_{1};
  std::vector<IDispatch*> items_;
  std::size_t next_ = 0;
};

// ---- What DataFields and its mCol both answer ----------------------------------------------

HRESULT ItemOf(REFIID iid, components::FieldCollection& fields, const VARIANT& index,
               IDispatch** ret) noexcept {
  if (!ret) return E_POINTER;
  *ret = nullptr;
  return Guard(iid, [&] {
    *ret = ToDispatch(FieldOf(fields, index));
    return S_OK;
  });
}

HRESULT CountOf(components::FieldCollection& fields, LONG* ret) noexcept {
  if (!ret) return E_POINTER;
  *ret = fields.Count();
  return S_OK;
}

HRESULT NewEnumOf(REFIID iid, const components::FieldCollection& fields,
                  IUnknown** ret) noexcept {
  if (!ret) return E_POINTER;
  *ret = nullptr;
  return Guard(iid, [&] { return FieldEnumerator::Create(fields, ret); });
}

// ---- The keyed collection (mCol) ------------------------------------------------------------

constexpr MemberName kCollectionNames[] = {{L"Item", 0}, {L"Count", 1}, {L"_NewEnum", -4}};

class FieldCollectionObject final : public DualObject<_FieldCollection>,
                                    public IOwnObject,
                                    public DirectCollection {
 public:
  explicit FieldCollectionObject(std::shared_ptr<components::FieldCollection> fields)
      : DualObject(IID__FieldCollection), fields_(std::move(fields)) {}

  QORVINTR_DUAL_OWN_UNKNOWN()
  OwnKind STDMETHODCALLTYPE Kind() override { return OwnKind::FieldCollection; }
  void* STDMETHODCALLTYPE Direct() override { return static_cast<DirectCollection*>(this); }
  IDispatch* STDMETHODCALLTYPE DispatchOf() override { return this; }

  // ---- DirectCollection ----
  HRESULT STDMETHODCALLTYPE Item(const char16_t* key, std::uint32_t size, IDispatch** out,
                                 EXCEPINFO* info) override {
    *out = nullptr;
    return DirectGuard(info, [&] {
      *out = ToDispatch(fields_->Item(std::u16string_view(key, size)));
    });
  }
  HRESULT STDMETHODCALLTYPE Count(std::int32_t* out, EXCEPINFO* info) override {
    return DirectGuard(info, [&] { *out = fields_->Count(); });
  }

  HRESULT STDMETHODCALLTYPE Item(VARIANT index, IDispatch** ret) override {
    return ItemOf(IID__FieldCollection, *fields_, index, ret);
  }
  HRESULT STDMETHODCALLTYPE get_Count(LONG* ret) override { return CountOf(*fields_, ret); }
  HRESULT STDMETHODCALLTYPE _NewEnum(IUnknown** ret) override {
    return NewEnumOf(IID__FieldCollection, *fields_, ret);
  }

 private:
  ~FieldCollectionObject() override = default;

  std::span<const MemberName> MemberNames() const noexcept override { return kCollectionNames; }
  bool FastInvoke(DISPID id, FastCall& call, HRESULT& hr) noexcept override {
    if (id == 0 && call.Method(1)) {
      const VARIANT* index = nullptr;
      if (!call.Value(0, &index)) return false;
      IDispatch* field = nullptr;
      HRESULT got = Item(*index, &field);
      hr = call.ReturnObject(got, field);
      return true;
    }
    if (id == 1 && call.PropertyGet(0)) {
      LONG count = 0;
      HRESULT got = get_Count(&count);
      hr = call.ReturnLong(got, count);
      return true;
    }
    return false;
  }

  std::shared_ptr<components::FieldCollection> fields_;
};

// ---- DataFields -----------------------------------------------------------------------------

constexpr MemberName kFieldsNames[] = {{L"Item", 0},   {L"Exists", 1}, {L"AddObject", 2},
                                       {L"Remove", 3}, {L"mCol", 4},   {L"Add", 5},
                                       {L"Count", 6},  {L"_NewEnum", -4}};

class DataFieldsObject final : public DualObject<_DataFields>,
                               public IOwnObject,
                               public DirectFields {
 public:
  DataFieldsObject()
      : DualObject(IID__DataFields),
        fields_(std::make_shared<components::FieldCollection>()),
        collection_(fields_) {}

  QORVINTR_DUAL_OWN_UNKNOWN()
  OwnKind STDMETHODCALLTYPE Kind() override { return OwnKind::DataFields; }
  void* STDMETHODCALLTYPE Direct() override { return static_cast<DirectFields*>(this); }
  IDispatch* STDMETHODCALLTYPE DispatchOf() override { return this; }

  // ---- DirectFields: what the members below answer for a text key ----
  HRESULT STDMETHODCALLTYPE Item(const char16_t* key, std::uint32_t size, IDispatch** out,
                                 EXCEPINFO* info) override {
    *out = nullptr;
    return DirectGuard(info, [&] {
      *out = ToDispatch(fields_->Item(std::u16string_view(key, size)));
    });
  }
  HRESULT STDMETHODCALLTYPE Exists(const char16_t* key, std::uint32_t size, bool* out,
                                   EXCEPINFO* info) override {
    *out = false;
    // Exists and Remove of DataFieldCollection, without a copy of the key.
    return DirectGuard(info, [&] { *out = fields_->Contains(std::u16string_view(key, size)); });
  }
  HRESULT STDMETHODCALLTYPE AddObject(IDispatch* field, std::int16_t* out,
                                      EXCEPINFO* info) override {
    *out = 0;
    return DirectGuard(info, [&] { *out = AddField(*fields_, collection_, field); });
  }
  HRESULT STDMETHODCALLTYPE Remove(const char16_t* key, std::uint32_t size,
                                   EXCEPINFO* info) override {
    return DirectGuard(info, [&] { fields_->Remove(std::u16string_view(key, size)); });
  }
  HRESULT STDMETHODCALLTYPE MCol(IDispatch** out, EXCEPINFO* info) override {
    *out = nullptr;
    return DirectGuard(info, [&] { *out = TheCollection(); });
  }
  std::size_t STDMETHODCALLTYPE GeneratedLikeKeys() override {
    return fields_->GeneratedLikeKeys();
  }
  IOwnObject* STDMETHODCALLTYPE QuietItem(const char16_t* key, std::uint32_t size) override {
    const contract::DataFieldRef* held = fields_->FindRef(std::u16string_view(key, size));
    DataFieldObject* own = held ? OwnFieldOf(**held) : nullptr;
    if (own == nullptr || own->HoldsObject()) return nullptr;
    IOwnObject* answer = own;
    answer->AddRef();
    return answer;
  }

  HRESULT STDMETHODCALLTYPE Item(VARIANT name, IDispatch** ret) override {
    return ItemOf(IID__DataFields, *fields_, name, ret);
  }
  HRESULT STDMETHODCALLTYPE Exists(VARIANT name, VARIANT_BOOL* ret) override {
    if (!ret) return E_POINTER;
    *ret = VARIANT_FALSE;
    return Guard(IID__DataFields, [&] {
      std::u16string key = KeyText(name);
      *ret = collection_.Exists(key) ? VARIANT_TRUE : VARIANT_FALSE;
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE AddObject(IDispatch* field, short* ret) override {
    if (!ret) return E_POINTER;
    *ret = 0;
    return Guard(IID__DataFields, [&] {
      *ret = AddField(*fields_, collection_, field);
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE Remove(VARIANT name) override {
    return Guard(IID__DataFields, [&] {
      std::u16string key = KeyText(name);
      collection_.Remove(key);
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE get_mCol(IDispatch** ret) override {
    if (!ret) return E_POINTER;
    *ret = nullptr;
    return Guard(IID__DataFields, [&] {
      *ret = TheCollection();
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE Add(BSTR name, VARIANT data, VARIANT data_type, VARIANT data_class,
                                IDispatch** ret) override {
    if (!ret) return E_POINTER;
    *ret = nullptr;
    return Guard(IID__DataFields, [&] {
      Value value = FromVariant(data);
      std::u16string type = IsOmitted(data_type) ? TypeWordOf(value) : KeyText(data_type);
      std::u16string cls = IsOmitted(data_class) ? std::u16string() : KeyText(data_class);
      // A field of this DLL's own class, so the caller can hand it on like any other.
      ComRef<IDispatch> created;
      HRESULT hr = CreateObjectOf<DataFieldObject>(IID_IDispatch,
                                                   reinterpret_cast<void**>(created.address()));
      if (FAILED(hr)) return hr;
      {
        contract::DataFieldRef field = AdaptDataField(created.get());
        field->SetName(FromBstr(name));
        field->SetDataType(std::move(type));
        field->SetData(value);
        field->SetDataClass(std::move(cls));
        fields_->Add(field, FromBstr(name));
      }
      *ret = created.release();
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE get_Count(LONG* ret) override { return CountOf(*fields_, ret); }
  HRESULT STDMETHODCALLTYPE _NewEnum(IUnknown** ret) override {
    return NewEnumOf(IID__DataFields, *fields_, ret);
  }

 private:
  ~DataFieldsObject() override {
    if (mcol_) mcol_->Release();
  }

  // mCol, AddRef'd: one collection object for the life of this one, so it is always the same.
  IDispatch* TheCollection() {
    if (!mcol_) {
      auto* created = new FieldCollectionObject(fields_);
      mcol_ = static_cast<_FieldCollection*>(created);
    }
    mcol_->AddRef();
    return mcol_;
  }

  std::span<const MemberName> MemberNames() const noexcept override { return kFieldsNames; }

  bool FastInvoke(DISPID id, FastCall& call, HRESULT& hr) noexcept override {
    switch (id) {
      case 0:    // Item
      case 1:    // Exists
      case 3: {  // Remove
        if (!call.Method(1)) return false;
        const VARIANT* name = nullptr;
        if (!call.Value(0, &name)) return false;
        if (id == 0) {
          IDispatch* field = nullptr;
          HRESULT got = Item(*name, &field);
          hr = call.ReturnObject(got, field);
        } else if (id == 1) {
          VARIANT_BOOL exists = VARIANT_FALSE;
          HRESULT got = Exists(*name, &exists);
          hr = call.ReturnBool(got, exists);
        } else {
          hr = call.Done(Remove(*name));
        }
        return true;
      }
      case 2: {  // AddObject
        if (!call.Method(1)) return false;
        IDispatch* field = nullptr;
        if (!call.Object(0, &field)) return false;
        short added = 0;
        HRESULT got = AddObject(field, &added);
        hr = call.ReturnShort(got, added);
        return true;
      }
      case 4: {  // mCol
        if (!call.PropertyGet(0)) return false;
        IDispatch* collection = nullptr;
        HRESULT got = get_mCol(&collection);
        hr = call.ReturnObject(got, collection);
        return true;
      }
      case 5: {  // Add: the optional arguments given as plain values or left out
        if (call.Count() < 2 || call.Count() > 4 || !call.Method(call.Count())) return false;
        BSTR name = nullptr;
        const VARIANT* data = nullptr;
        if (!call.Text(0, &name) || !call.Value(1, &data)) return false;
        VARIANT omitted;
        V_VT(&omitted) = VT_ERROR;
        V_ERROR(&omitted) = DISP_E_PARAMNOTFOUND;
        const VARIANT* optional[2] = {&omitted, &omitted};
        for (UINT k = 2; k < call.Count(); ++k) {
          if (!call.Value(k, &optional[k - 2]) || (V_VT(optional[k - 2]) & VT_BYREF)) {
            return false;
          }
        }
        IDispatch* field = nullptr;
        HRESULT got = Add(name, *data, *optional[0], *optional[1], &field);
        hr = call.ReturnObject(got, field);
        return true;
      }
      case 6: {  // Count
        if (!call.PropertyGet(0)) return false;
        LONG count = 0;
        HRESULT got = get_Count(&count);
        hr = call.ReturnLong(got, count);
        return true;
      }
      default:
        return false;
    }
  }

  static bool IsOmitted(const VARIANT& v) noexcept {
    return V_VT(&v) == VT_ERROR && V_ERROR(&v) == DISP_E_PARAMNOTFOUND;
  }

  std::shared_ptr<components::FieldCollection> fields_;
  components::DataFieldCollection collection_;
  _FieldCollection* mcol_ = nullptr;
};

const ClassEntry kClasses[] = {
    {&CLSID_DataField, L"QorvDFld.DataField", L"QorvDFld.DataField",
     &CreateObjectOf<DataFieldObject>, &g_field_factory},
    {&CLSID_DataFields, L"QorvDFld.DataFields", L"QorvDFld.DataFields",
     &CreateObjectOf<DataFieldsObject>, nullptr},
};

}  // namespace

}  // namespace qorvintr::com

QORVINTR_COM_SERVER_EXPORTS(qorvintr::com::kClasses)
