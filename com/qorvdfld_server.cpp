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

class DataFieldObject final : public DualObject<_DataField> {
 public:
  DataFieldObject()
      : DualObject(IID__DataField), field_(std::make_shared<components::DataFieldObject>()) {}

  HRESULT STDMETHODCALLTYPE get_Data(VARIANT* ret) override {
    if (!ret) return E_POINTER;
    VariantInit(ret);
    return Guard(IID__DataField, [&] {
      ToVariant(field_->DataRef(), ret);
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE put_Data(VARIANT value) override {
    return Set([&] { field_->SetData(FromVariant(value)); });
  }
  HRESULT STDMETHODCALLTYPE putref_Data(IDispatch* value) override {
    return Set([&] { field_->SetData(Value::Object(FromDispatch(value))); });
  }
  HRESULT STDMETHODCALLTYPE get_DataType(BSTR* ret) override {
    return Text(ret, [&] { return field_->DataType(); });
  }
  HRESULT STDMETHODCALLTYPE put_DataType(BSTR value) override {
    return Set([&] { field_->SetDataType(FromBstr(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_Name(BSTR* ret) override {
    return Text(ret, [&] { return field_->NameRef(); });
  }
  HRESULT STDMETHODCALLTYPE put_Name(BSTR value) override {
    return Set([&] { field_->SetName(FromBstr(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_DataClass(BSTR* ret) override {
    return Text(ret, [&] { return field_->DataClass(); });
  }
  HRESULT STDMETHODCALLTYPE put_DataClass(BSTR value) override {
    return Set([&] { field_->SetDataClass(FromBstr(value)); });
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

  std::shared_ptr<components::DataFieldObject> field_;
};

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
      VariantInit(&out[n]);
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

class FieldCollectionObject final : public DualObject<_FieldCollection> {
 public:
  explicit FieldCollectionObject(std::shared_ptr<components::FieldCollection> fields)
      : DualObject(IID__FieldCollection), fields_(std::move(fields)) {}

  HRESULT STDMETHODCALLTYPE Item(VARIANT index, IDispatch** ret) override {
    return ItemOf(IID__FieldCollection, *fields_, index, ret);
  }
  HRESULT STDMETHODCALLTYPE get_Count(LONG* ret) override { return CountOf(*fields_, ret); }
  HRESULT STDMETHODCALLTYPE _NewEnum(IUnknown** ret) override {
    return NewEnumOf(IID__FieldCollection, *fields_, ret);
  }

 private:
  ~FieldCollectionObject() override = default;
  std::shared_ptr<components::FieldCollection> fields_;
};

// ---- DataFields -----------------------------------------------------------------------------

class DataFieldsObject final : public DualObject<_DataFields> {
 public:
  DataFieldsObject()
      : DualObject(IID__DataFields),
        fields_(std::make_shared<components::FieldCollection>()),
        collection_(fields_) {}

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
      contract::DataFieldRef f = AdaptDataField(field);
      *ret = collection_.AddObject(f);
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
      // One collection object for the life of this one, so mCol is always the same object.
      if (!mcol_) {
        auto* created = new FieldCollectionObject(fields_);
        mcol_ = static_cast<_FieldCollection*>(created);
      }
      mcol_->AddRef();
      *ret = mcol_;
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

  static bool IsOmitted(const VARIANT& v) noexcept {
    return V_VT(&v) == VT_ERROR && V_ERROR(&v) == DISP_E_PARAMNOTFOUND;
  }

  std::shared_ptr<components::FieldCollection> fields_;
  components::DataFieldCollection collection_;
  _FieldCollection* mcol_ = nullptr;
};

const ClassEntry kClasses[] = {
    {&CLSID_DataField, L"QorvDFld.DataField", L"QorvDFld.DataField",
     &CreateObjectOf<DataFieldObject>},
    {&CLSID_DataFields, L"QorvDFld.DataFields", L"QorvDFld.DataFields",
     &CreateObjectOf<DataFieldsObject>},
};

}  // namespace

}  // namespace qorvintr::com

QORVINTR_COM_SERVER_EXPORTS(qorvintr::com::kClasses)
