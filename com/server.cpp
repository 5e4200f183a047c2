#include "com/server.h"

#include <olectl.h>

#include <cwchar>
#include <mutex>
#include <new>
#include <string>
#include <system_error>

extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace qorvintr::com {

namespace {

std::atomic<long> g_objects{0};
std::atomic<long> g_locks{0};

}  // namespace

void ObjectCreated() noexcept { ++g_objects; }
void ObjectDestroyed() noexcept { --g_objects; }
void LockModule(bool lock) noexcept {
  if (lock) {
    ++g_locks;
  } else {
    --g_locks;
  }
}
HRESULT CanUnloadNow() noexcept { return (g_objects == 0 && g_locks == 0) ? S_OK : S_FALSE; }
long LiveObjects() noexcept { return g_objects; }

HMODULE ThisModule() noexcept { return reinterpret_cast<HMODULE>(&__ImageBase); }

bool ThisModulePath(wchar_t* buffer, DWORD size) noexcept {
  DWORD n = GetModuleFileNameW(ThisModule(), buffer, size);
  return n > 0 && n < size;
}

// ---- Type library ---------------------------------------------------------------------------

namespace {

struct TypeLibHolder {
  std::once_flag once;
  ITypeLib* lib = nullptr;
};

TypeLibHolder& Holder() {
  static TypeLibHolder holder;  // released with the process; the DLL never gives it back
  return holder;
}

}  // namespace

ITypeLib* ModuleTypeLib() noexcept {
  TypeLibHolder& h = Holder();
  try {
    std::call_once(h.once, [&] {
      wchar_t path[MAX_PATH + 1];
      if (!ThisModulePath(path, MAX_PATH + 1)) return;
      ITypeLib* lib = nullptr;
      if (SUCCEEDED(LoadTypeLibEx(path, REGKIND_NONE, &lib))) h.lib = lib;
    });
  } catch (const std::system_error&) {
    return nullptr;  // the one-time load could not be started: no type library
  }
  return h.lib;
}

ITypeInfo* InterfaceTypeInfo(REFIID iid) noexcept {
  // One slot per interface asked for; a DLL has three at most.
  struct Slot {
    IID iid;
    ITypeInfo* info;
  };
  static Slot slots[8];
  static std::mutex mutex;
  std::lock_guard<std::mutex> lock(mutex);
  for (Slot& s : slots) {
    if (s.info && IsEqualIID(s.iid, iid)) return s.info;
  }
  ITypeLib* lib = ModuleTypeLib();
  if (!lib) return nullptr;
  ITypeInfo* info = nullptr;
  if (FAILED(lib->GetTypeInfoOfGuid(iid, &info))) return nullptr;
  // A dual interface answers as its dispatch side; ITypeInfo::Invoke needs the vtable side.
  TYPEATTR* attr = nullptr;
  if (SUCCEEDED(info->GetTypeAttr(&attr))) {
    bool dispatch_side = attr->typekind == TKIND_DISPATCH;
    info->ReleaseTypeAttr(attr);
    if (dispatch_side) {
      HREFTYPE ref = 0;
      ITypeInfo* vtable_side = nullptr;
      if (SUCCEEDED(info->GetRefTypeOfImplType(static_cast<UINT>(-1), &ref)) &&
          SUCCEEDED(info->GetRefTypeInfo(ref, &vtable_side))) {
        info->Release();
        info = vtable_side;
      }
    }
  }
  for (Slot& s : slots) {
    if (!s.info) {
      s.iid = iid;
      s.info = info;
      return info;
    }
  }
  info->Release();
  return nullptr;
}

ITypeInfo* ClassTypeInfo(REFCLSID clsid) noexcept {
  static ITypeInfo* cached[4] = {};
  static CLSID ids[4] = {};
  static std::mutex mutex;
  std::lock_guard<std::mutex> lock(mutex);
  for (int i = 0; i < 4; ++i) {
    if (cached[i] && IsEqualCLSID(ids[i], clsid)) return cached[i];
  }
  ITypeLib* lib = ModuleTypeLib();
  ITypeInfo* info = nullptr;
  if (!lib || FAILED(lib->GetTypeInfoOfGuid(clsid, &info))) return nullptr;
  for (int i = 0; i < 4; ++i) {
    if (!cached[i]) {
      cached[i] = info;
      ids[i] = clsid;
      return info;
    }
  }
  info->Release();
  return nullptr;
}

// ---- Class factory --------------------------------------------------------------------------

HRESULT ClassFactory::QueryInterface(REFIID iid, void** object) {
  if (!object) return E_POINTER;
  if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IClassFactory)) {
    *object = static_cast<IClassFactory*>(this);
    AddRef();
    return S_OK;
  }
  if (own_ && IsEqualIID(iid, kIidOwnObject)) {
    own_->AddRef();
    *object = own_;
    return S_OK;
  }
  *object = nullptr;
  return E_NOINTERFACE;
}

ULONG ClassFactory::Release() {
  ULONG left = --refs_;
  if (left == 0) delete this;
  return left;
}

HRESULT ClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  if (outer) return CLASS_E_NOAGGREGATION;
  try {
    return create_(iid, object);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    // A constructor's failure of any other kind must not cross the COM boundary either.
    return E_UNEXPECTED;
  }
}

HRESULT ClassFactory::LockServer(BOOL lock) {
  LockModule(lock != FALSE);
  return S_OK;
}

HRESULT GetClassObject(const ClassEntry* classes, std::size_t count, REFCLSID clsid, REFIID iid,
                       void** object) noexcept {
  if (!object) return E_POINTER;
  *object = nullptr;
  for (std::size_t i = 0; i < count; ++i) {
    if (!IsEqualCLSID(*classes[i].clsid, clsid)) continue;
    ClassFactory* factory = new (std::nothrow) ClassFactory(classes[i].create, classes[i].factory_part);
    if (!factory) return E_OUTOFMEMORY;
    HRESULT hr = factory->QueryInterface(iid, object);
    factory->Release();
    return hr;
  }
  return CLASS_E_CLASSNOTAVAILABLE;
}

// ---- Registration ---------------------------------------------------------------------------

namespace {

std::wstring GuidText(REFGUID guid) {
  wchar_t text[40] = {};
  StringFromGUID2(guid, text, 40);
  return text;
}

LONG SetValue(HKEY root, const std::wstring& subkey, const wchar_t* name, const std::wstring& value) {
  HKEY key = nullptr;
  LONG rc = RegCreateKeyExW(root, subkey.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                            KEY_WRITE, nullptr, &key, nullptr);
  if (rc != ERROR_SUCCESS) return rc;
  rc = RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                      static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
  RegCloseKey(key);
  return rc;
}

LONG DeleteTree(HKEY root, const std::wstring& subkey) {
  LONG rc = RegDeleteTreeW(root, subkey.c_str());
  if (rc == ERROR_SUCCESS) rc = RegDeleteKeyW(root, subkey.c_str());
  if (rc == ERROR_FILE_NOT_FOUND || rc == ERROR_PATH_NOT_FOUND) return ERROR_SUCCESS;
  return rc;
}

HRESULT FromWin32(LONG rc) { return rc == ERROR_SUCCESS ? S_OK : HRESULT_FROM_WIN32(rc); }

HRESULT RegisterClassKeys(const ClassEntry& c, const std::wstring& path, const std::wstring& libid,
                          const std::wstring& version) {
  const std::wstring clsid = GuidText(*c.clsid);
  const std::wstring prog = c.prog_id;
  const std::wstring clsid_key = L"CLSID\\" + clsid;
  LONG rc = SetValue(HKEY_CLASSES_ROOT, prog, nullptr, c.description);
  if (rc == ERROR_SUCCESS) rc = SetValue(HKEY_CLASSES_ROOT, prog + L"\\CLSID", nullptr, clsid);
  if (rc == ERROR_SUCCESS) rc = SetValue(HKEY_CLASSES_ROOT, clsid_key, nullptr, c.description);
  if (rc == ERROR_SUCCESS) {
    rc = SetValue(HKEY_CLASSES_ROOT, clsid_key + L"\\InprocServer32", nullptr, path);
  }
  if (rc == ERROR_SUCCESS) {
    rc = SetValue(HKEY_CLASSES_ROOT, clsid_key + L"\\InprocServer32", L"ThreadingModel",
                  L"Apartment");
  }
  if (rc == ERROR_SUCCESS) rc = SetValue(HKEY_CLASSES_ROOT, clsid_key + L"\\ProgID", nullptr, prog);
  if (rc == ERROR_SUCCESS && !libid.empty()) {
    rc = SetValue(HKEY_CLASSES_ROOT, clsid_key + L"\\TypeLib", nullptr, libid);
  }
  if (rc == ERROR_SUCCESS && !version.empty()) {
    rc = SetValue(HKEY_CLASSES_ROOT, clsid_key + L"\\Version", nullptr, version);
  }
  return FromWin32(rc);
}

HRESULT UnregisterClassKeys(const ClassEntry& c) {
  const std::wstring clsid = GuidText(*c.clsid);
  LONG rc1 = DeleteTree(HKEY_CLASSES_ROOT, std::wstring(c.prog_id));
  LONG rc2 = DeleteTree(HKEY_CLASSES_ROOT, L"CLSID\\" + clsid);
  return FromWin32(rc1 != ERROR_SUCCESS ? rc1 : rc2);
}

}  // namespace

HRESULT RegisterServer(const ClassEntry* classes, std::size_t count) noexcept {
  try {
    wchar_t path[MAX_PATH + 1];
    if (!ThisModulePath(path, MAX_PATH + 1)) return SELFREG_E_CLASS;
    // The type library is loaded from the DLL itself and registered with its path.
    ITypeLib* lib = nullptr;
    HRESULT hr = LoadTypeLibEx(path, REGKIND_NONE, &lib);
    if (FAILED(hr)) return SELFREG_E_TYPELIB;
    std::wstring libid;
    std::wstring version;
    TLIBATTR* attr = nullptr;
    if (SUCCEEDED(lib->GetLibAttr(&attr))) {
      libid = GuidText(attr->guid);
      version = std::to_wstring(attr->wMajorVerNum) + L"." + std::to_wstring(attr->wMinorVerNum);
      lib->ReleaseTLibAttr(attr);
    }
    hr = RegisterTypeLib(lib, path, nullptr);
    lib->Release();
    if (FAILED(hr)) return SELFREG_E_TYPELIB;
    for (std::size_t i = 0; i < count; ++i) {
      hr = RegisterClassKeys(classes[i], path, libid, version);
      if (FAILED(hr)) {
        UnregisterServer(classes, count);
        return SELFREG_E_CLASS;
      }
    }
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;  // the key and value texts are all that can fail
  }
}

HRESULT UnregisterServer(const ClassEntry* classes, std::size_t count) noexcept {
  try {
    HRESULT result = S_OK;
    for (std::size_t i = 0; i < count; ++i) {
      HRESULT hr = UnregisterClassKeys(classes[i]);
      if (FAILED(hr)) result = SELFREG_E_CLASS;
    }
    wchar_t path[MAX_PATH + 1];
    ITypeLib* lib = nullptr;
    if (ThisModulePath(path, MAX_PATH + 1) && SUCCEEDED(LoadTypeLibEx(path, REGKIND_NONE, &lib))) {
      TLIBATTR* attr = nullptr;
      if (SUCCEEDED(lib->GetLibAttr(&attr))) {
        HRESULT hr = UnRegisterTypeLib(attr->guid, attr->wMajorVerNum, attr->wMinorVerNum,
                                       attr->lcid, attr->syskind);
        // A library that is not registered any more is no failure.
        if (FAILED(hr) && hr != TYPE_E_REGISTRYACCESS && hr != TYPE_E_LIBNOTREGISTERED) {
          result = SELFREG_E_TYPELIB;
        }
        lib->ReleaseTLibAttr(attr);
      }
      lib->Release();
    }
    return result;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;  // the key texts are all that can fail
  }
}

}  // namespace qorvintr::com
