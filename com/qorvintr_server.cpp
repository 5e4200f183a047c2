// QorvIntr.dll: the class QorvIntr.Interpreter. The COM object holds one interpreter and
// forwards every member of _Interpreter to it. The interpreter's own failures are answers (a
// False, an "Error" field); only a caller's mistake (an index outside the instance arrays for
// strExpression) or running out of memory fails the call.
#include <windows.h>
#include <initguid.h>

#include "QorvIntr.h"

#include <span>
#include <string>
#include <utility>

#include "com/creators.h"
#include "com/dispatch_client.h"
#include "com/dual_object.h"
#include "com/errors.h"
#include "com/server.h"
#include "com/variant.h"
#include "interpreter/interpreter.h"
#include "support/restoring.h"

namespace qorvintr::com {

namespace {

// Writes the text back into a caller's by-reference BSTR when it changed.
HRESULT WriteBack(BSTR* target, const std::u16string& text) {
  WriteBackText(target, text);
  return S_OK;
}

constexpr MemberName kInterpreterNames[] = {
    {L"Release", 1},        {L"Major", 2},
    {L"Minor", 3},          {L"Revision", 4},
    {L"objError", 5},       {L"strExpression", 6},
    {L"DataFields", 7},     {L"Init", 8},
    {L"RealizeRegularExpression", 9}, {L"g_orlina_ini_filename", 10},
    {L"OrlinaIniFilename", 11},       {L"ResetMemory", 12}};

class InterpreterObject final : public DualObject<_Interpreter> {
 public:
  InterpreterObject() : DualObject(IID__Interpreter) { InterpreterCreated(); }

  // ---- _Interpreter, in slot order --------------------------------------------------------
  HRESULT STDMETHODCALLTYPE get_Release(BSTR* ret) override {
    return Text(ret, [&] { return engine_.Release(); });
  }
  HRESULT STDMETHODCALLTYPE get_Major(BSTR* ret) override {
    return Text(ret, [&] { return engine_.Major(); });
  }
  HRESULT STDMETHODCALLTYPE get_Minor(BSTR* ret) override {
    return Text(ret, [&] { return engine_.Minor(); });
  }
  HRESULT STDMETHODCALLTYPE get_Revision(BSTR* ret) override {
    return Text(ret, [&] { return engine_.Revision(); });
  }
  HRESULT STDMETHODCALLTYPE putref_objError(IDispatch* vData) override {
    return Guard([&] {
      engine_.SetObjError(AdaptHostError(vData));
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE get_objError(IDispatch** ret) override {
    if (!ret) return E_POINTER;
    *ret = nullptr;
    return Guard([&] {
      *ret = ToDispatch(engine_.objError());
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE put_strExpression(short* intIndex, BSTR vData) override {
    if (!intIndex) return E_POINTER;
    return Guard([&] {
      std::int16_t index = *intIndex;
      engine_.SetStrExpression(index, FromBstr(vData));
      *intIndex = index;
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE putref_DataFields(IDispatch* vData) override {
    return Guard([&] {
      engine_.SetDataFields(AdaptDataFields(vData));
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE get_DataFields(IDispatch** ret) override {
    if (!ret) return E_POINTER;
    *ret = nullptr;
    return Guard([&] {
      *ret = ToDispatch(engine_.DataFields());
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE Init(IDispatch** objDataFields, IDispatch** objError,
                                 BSTR* strSystem, BSTR* strApplication,
                                 VARIANT_BOOL* ret) override {
    if (!objDataFields || !objError || !strSystem || !strApplication || !ret) return E_POINTER;
    *ret = VARIANT_FALSE;
    return Guard([&] {
      contract::DataFieldsRef fields = AdaptDataFields(*objDataFields);
      contract::HostErrorRef errors = AdaptHostError(*objError);
      const contract::DataFieldsRef fields_before = fields;
      const contract::HostErrorRef errors_before = errors;
      std::u16string system = FromBstr(*strSystem);
      std::u16string application = FromBstr(*strApplication);
      bool done = engine_.Init(fields, errors, system, application);
      // By reference: what the interpreter changed reaches the caller's variables.
      if (fields != fields_before) Replace(objDataFields, ToDispatch(fields));
      if (errors != errors_before) Replace(objError, ToDispatch(errors));
      WriteBack(strSystem, system);
      WriteBack(strApplication, application);
      *ret = done ? VARIANT_TRUE : VARIANT_FALSE;
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE RealizeRegularExpression(BSTR* strExpression,
                                                     IDispatch** ret) override {
    if (!strExpression || !ret) return E_POINTER;
    *ret = nullptr;
    return Guard([&] {
      // The script is copied into storage kept from one call to the next (a host runs one
      // script after another); a call made while another runs, from the host's code, takes
      // storage of its own.
      std::u16string own;
      std::u16string& text = script_busy_ ? own : script_;
      const support::Restoring<bool> busy(script_busy_, true);
      text.assign(BstrView(*strExpression));
      contract::DataFieldRef field = engine_.RealizeRegularExpression(text);
      WriteBack(strExpression, text);
      // A long script's storage is not kept for good.
      if (text.capacity() > kKeptScriptSize) std::u16string().swap(text);
      *ret = ToDispatch(field);
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE get_g_orlina_ini_filename(BSTR* ret) override {
    return Text(ret, [&] { return engine_.OrlinaIniFilename(); });
  }
  HRESULT STDMETHODCALLTYPE put_g_orlina_ini_filename(BSTR value) override {
    return Guard([&] {
      engine_.SetOrlinaIniFilenameOnly(FromBstr(value));
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE put_OrlinaIniFilename(BSTR* vData) override {
    if (!vData) return E_POINTER;
    return Guard([&] {
      std::u16string text = FromBstr(*vData);
      engine_.SetOrlinaIniFilename(text);
      return WriteBack(vData, text);
    });
  }
  HRESULT STDMETHODCALLTYPE get_OrlinaIniFilename(BSTR* ret) override {
    return Text(ret, [&] { return engine_.OrlinaIniFilename(); });
  }
  HRESULT STDMETHODCALLTYPE ResetMemory() override {
    engine_.ResetMemory();
    return S_OK;
  }

 private:
  // The objects the engine made do not need the kept factories.
  ~InterpreterObject() override { InterpreterDestroyed(); }

  std::span<const MemberName> MemberNames() const noexcept override {
    return kInterpreterNames;
  }

  bool FastInvoke(DISPID id, FastCall& call, HRESULT& hr) noexcept override {
    switch (id) {
      case 1: case 2: case 3: case 4: case 10: case 11: {  // text properties
        if (call.PropertyGet(0)) {
          BSTR text = nullptr;
          HRESULT got = id == 1 ? get_Release(&text)
                      : id == 2 ? get_Major(&text)
                      : id == 3 ? get_Minor(&text)
                      : id == 4 ? get_Revision(&text)
                      : id == 10 ? get_g_orlina_ini_filename(&text)
                                 : get_OrlinaIniFilename(&text);
          hr = call.ReturnText(got, text);
          return true;
        }
        if (id == 10 && call.Put()) {
          BSTR text = nullptr;
          if (!call.Text(0, &text)) return false;
          hr = call.Done(put_g_orlina_ini_filename(text));
          return true;
        }
        if (id == 11 && call.Put()) {
          BSTR* text = nullptr;
          if (!call.TextRef(0, &text)) return false;
          hr = call.Done(put_OrlinaIniFilename(text));
          return true;
        }
        return false;
      }
      case 5: case 7: {  // objError, DataFields
        if (call.PropertyGet(0)) {
          IDispatch* object = nullptr;
          HRESULT got = id == 5 ? get_objError(&object) : get_DataFields(&object);
          hr = call.ReturnObject(got, object);
          return true;
        }
        if (call.PutRef()) {
          IDispatch* object = nullptr;
          if (!call.Object(0, &object)) return false;
          hr = call.Done(id == 5 ? putref_objError(object) : putref_DataFields(object));
          return true;
        }
        return false;
      }
      case 8: {  // Init
        if (!call.Method(4)) return false;
        IDispatch** fields = nullptr;
        IDispatch** errors = nullptr;
        BSTR* system = nullptr;
        BSTR* application = nullptr;
        if (!call.ObjectRef(0, &fields) || !call.ObjectRef(1, &errors) ||
            !call.TextRef(2, &system) || !call.TextRef(3, &application)) {
          return false;
        }
        VARIANT_BOOL done = VARIANT_FALSE;
        HRESULT got = Init(fields, errors, system, application, &done);
        hr = call.ReturnBool(got, done);
        return true;
      }
      case 9: {  // RealizeRegularExpression
        if (!call.Method(1)) return false;
        BSTR* text = nullptr;
        if (!call.TextRef(0, &text)) return false;
        IDispatch* field = nullptr;
        HRESULT got = RealizeRegularExpression(text, &field);
        hr = call.ReturnObject(got, field);
        return true;
      }
      case 12:  // ResetMemory
        if (!call.Method(0)) return false;
        hr = call.Done(ResetMemory());
        return true;
      default:
        return false;
    }
  }

  template <class Body>
  HRESULT Guard(Body&& body) noexcept {
    return com::Guard(IID__Interpreter, std::forward<Body>(body));
  }
  template <class Body>
  HRESULT Text(BSTR* ret, Body&& body) noexcept {
    return GuardText(IID__Interpreter, ret, std::forward<Body>(body));
  }
  static void Replace(IDispatch** target, IDispatch* replacement) noexcept {
    if (*target) (*target)->Release();
    *target = replacement;
  }

  // The storage RealizeRegularExpression copies the script into, and whether a call uses it.
  static constexpr std::size_t kKeptScriptSize = 4096;
  std::u16string script_;
  bool script_busy_ = false;
  engine::Interpreter engine_;
};

HRESULT CreateInterpreter(REFIID iid, void** object) {
  RegisterComCreators();
  return CreateObjectOf<InterpreterObject>(iid, object);
}

const ClassEntry kClasses[] = {
    {&CLSID_Interpreter, L"QorvIntr.Interpreter", L"QorvIntr.Interpreter", &CreateInterpreter,
     nullptr},
};

}  // namespace

}  // namespace qorvintr::com

QORVINTR_COM_SERVER_EXPORTS(qorvintr::com::kClasses)
