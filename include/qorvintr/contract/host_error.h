#pragma once
// The host's error object: the interpreter's error traps report through ReportError.

#include <memory>
#include <string>

#include "qorvintr/error.h"
#include "qorvintr/value.h"

namespace qorvintr::contract {

class HostError : public automation::Object {
 public:
  // The eleven arguments, in the order the interpreter passes them:
  //   code (Long 150100), text ("Error: <n> - <description>"), when (Date), 4 (Integer),
  //   15 (Integer), an omitted argument (Value::Missing()), system, application, release text,
  //   module, procedure.
  // System, application and module are the interpreter's own variables, passed by reference: a
  // host may change them and the interpreter keeps the change. The caller reads the answer as a
  // 32-bit integer (CLng); 0 means the error is cleared.
  virtual automation::Value ReportError(const automation::Value& code,
                                        const automation::Value& text,
                                        const automation::Value& when,
                                        const automation::Value& arg4,
                                        const automation::Value& arg5,
                                        const automation::Value& arg6,
                                        automation::Value& system,
                                        automation::Value& application,
                                        const automation::Value& release,
                                        automation::Value& module,
                                        const automation::Value& procedure) = 0;

  automation::Value DefaultValue() override {
    automation::Raise(automation::err::MemberNotSupported);
  }
  std::u16string ClassName() const override { return u"ErrorObject"; }
};
using HostErrorRef = std::shared_ptr<HostError>;

}  // namespace qorvintr::contract
