// QorvLog.dll: the logging component "QorvLog.Log", the stock rotating log file writer.
#include <windows.h>
#include <initguid.h>

#include "QorvLog.h"

#include <span>
#include <string>

#include "qorvintr/convert.h"
#include "com/dual_object.h"
#include "com/errors.h"
#include "com/server.h"
#include "com/variant.h"
#include "qorvintr/components/log_writer.h"

namespace qorvintr::com {

namespace {

constexpr MemberName kLogNames[] = {{L"Init", 1}, {L"WriteLogMsg", 2}};

class LogObject final : public DualObject<_Log> {
 public:
  LogObject() : DualObject(IID__Log) {}

  HRESULT STDMETHODCALLTYPE Init(BSTR application_key, BSTR kind, BSTR* path,
                                 short number_of_logs, LONG* log_size, VARIANT_BOOL append,
                                 BSTR* separator, BSTR title, LONG* ret) override {
    if (!path || !log_size || !separator || !ret) return E_POINTER;
    *ret = 0;
    return Guard(IID__Log, [&] {
      std::u16string p = FromBstr(*path);
      std::u16string s = FromBstr(*separator);
      std::int32_t size = *log_size;
      automation::Value answer =
          writer_.Init(BstrView(application_key), BstrView(kind), p, number_of_logs, size,
                       append != VARIANT_FALSE, s, BstrView(title));
      *ret = automation::CLng(answer);
      WriteBackText(path, p);
      WriteBackText(separator, s);
      *log_size = size;
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE WriteLogMsg(BSTR message, LONG* ret) override {
    if (!ret) return E_POINTER;
    *ret = 0;
    return Guard(IID__Log, [&] {
      *ret = automation::CLng(writer_.WriteLogMsg(BstrView(message)));
      return S_OK;
    });
  }

 private:
  ~LogObject() override = default;

  std::span<const MemberName> MemberNames() const noexcept override { return kLogNames; }
  bool FastInvoke(DISPID id, FastCall& call, HRESULT& hr) noexcept override {
    if (id != kWriteLogMsg || !call.Method(1)) return false;
    BSTR message = nullptr;
    if (!call.Text(0, &message)) return false;
    LONG answer = 0;
    HRESULT got = WriteLogMsg(message, &answer);
    hr = call.ReturnLong(got, answer);
    return true;
  }
  static constexpr DISPID kWriteLogMsg = 2;

  components::RotatingLogWriter writer_;
};

const ClassEntry kClasses[] = {
    {&CLSID_Log, L"QorvLog.Log", L"QorvLog.Log", &CreateObjectOf<LogObject>, nullptr},
};

}  // namespace

}  // namespace qorvintr::com

QORVINTR_COM_SERVER_EXPORTS(qorvintr::com::kClasses)
