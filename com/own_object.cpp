#include "com/own_object.h"

#include <cstring>

#include "com/errors.h"
#include "com_build_tag.h"

extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace qorvintr::com {

namespace {

void AssignText(void* target, const char16_t* text, std::uint32_t size) noexcept {
  auto* s = static_cast<std::u16string*>(target);
  try {
    s->assign(text, size);
  } catch (const std::bad_alloc&) {
    // The sink cannot throw across the callee: the caller sees the text it had, cleared.
    s->clear();
  }
}

// Build tags compared here rather than with the C runtime's strcmp: they are compared once per
// object met, and msvcrt's strcmp under Wine costs several times this loop for a short text.
bool SameTag(const char* a, const char* b) noexcept {
  if (a == b) return true;
  while (*a != '\0' && *a == *b) {
    ++a;
    ++b;
  }
  return *a == *b;
}

}  // namespace

TextSink SinkInto(std::u16string& target) noexcept { return TextSink{&AssignText, &target}; }

const void* OwnModuleTag() noexcept { return &__ImageBase; }
const char* OwnBuildTag() noexcept { return QORVINTR_COM_BUILD_TAG; }

bool FastPathsOff() noexcept {
  static const bool off = [] {
    wchar_t value[4] = {};
    DWORD n = GetEnvironmentVariableW(L"QORVINTR_COM_GENERIC_INVOKE", value, 4);
    return n == 1 && value[0] == L'1';
  }();
  return off;
}

IOwnObject* OwnObjectOf(IUnknown* object, const void* trusted_module) noexcept {
  if (!object) return nullptr;
  IOwnObject* own = nullptr;
  if (FAILED(object->QueryInterface(kIidOwnObject, reinterpret_cast<void**>(&own))) || !own) {
    return nullptr;
  }
  const bool usable = own->Kind() == OwnKind::Native
                          ? own->ModuleTag() == OwnModuleTag()
                          : !FastPathsOff() && ((trusted_module != nullptr && own->ModuleTag() == trusted_module) ||
                                               SameTag(own->BuildTag(), OwnBuildTag()));
  if (!usable) {
    own->Release();
    return nullptr;
  }
  return own;
}

bool IsOwnNative(IOwnObject* own) noexcept {
  return own && own->Kind() == OwnKind::Native && own->ModuleTag() == OwnModuleTag();
}

HRESULT DirectFailure(EXCEPINFO* info) noexcept {
  automation::AutomationError error = CurrentError();
  if (info) {
    std::memset(info, 0, sizeof(*info));
    FillExcepInfo(info, error);
  }
  // IDispatch::Invoke takes the callee's error information into the EXCEPINFO: none is left.
  SetErrorInfo(0, nullptr);
  return DISP_E_EXCEPTION;
}

void CheckDirect(HRESULT hr, EXCEPINFO& info) {
  if (FAILED(hr)) RaiseFromDispatch(hr, &info);
}

}  // namespace qorvintr::com
