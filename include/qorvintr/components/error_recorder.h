#pragma once
// The stock error object: records every ReportError call with its eleven arguments and answers
// a result of choice (0 unless told otherwise).

#include <array>
#include <cstddef>
#include <functional>
#include <vector>

#include "qorvintr/value.h"
#include "qorvintr/contract/host_error.h"

namespace qorvintr::components {

class ErrorRecorder : public contract::HostError {
 public:
  // The arguments of one call, in order (index 0 is the error code); the by-reference ones as
  // they arrived.
  struct Call {
    std::array<automation::Value, 11> arguments;
    const automation::Value& operator[](std::size_t i) const { return arguments[i]; }
  };
  // Runs after the call is recorded and may change the by-reference arguments (system,
  // application, module), as a host is allowed to.
  using ByReferenceHook = std::function<void(automation::Value& system,
                                             automation::Value& application,
                                             automation::Value& module)>;

  automation::Value ReportError(const automation::Value& code, const automation::Value& text,
                                const automation::Value& when, const automation::Value& arg4,
                                const automation::Value& arg5, const automation::Value& arg6,
                                automation::Value& system, automation::Value& application,
                                const automation::Value& release, automation::Value& module,
                                const automation::Value& procedure) override;

  void SetResult(automation::Value result) { result_ = std::move(result); }
  void SetByReferenceHook(ByReferenceHook hook) { hook_ = std::move(hook); }
  const std::vector<Call>& Calls() const noexcept { return calls_; }
  void Clear() noexcept { calls_.clear(); }

  std::u16string ClassName() const override { return u"ErrorRecorder"; }

 private:
  std::vector<Call> calls_;
  automation::Value result_ = automation::Value::Long(0);
  ByReferenceHook hook_;
};

}  // namespace qorvintr::components
