#pragma once
// The stock error object: counts every ReportError call, keeps the last ones with their eleven
// arguments, and answers a result of choice (0 unless told otherwise).
//
// What it holds is bounded: the count, and at most Keep() calls (kKeepByDefault = 100 unless
// told otherwise), so that a host that runs for months and reports millions of errors holds a
// fixed amount. A test or a tool that wants every call asks for kKeepEveryCall.

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <limits>

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

  static constexpr std::size_t kKeepByDefault = 100;
  static constexpr std::size_t kKeepEveryCall = std::numeric_limits<std::size_t>::max();

  // Keeps the last `keep` calls (0: counts only).
  explicit ErrorRecorder(std::size_t keep = kKeepByDefault) noexcept : keep_(keep) {}

  automation::Value ReportError(const automation::Value& code, const automation::Value& text,
                                const automation::Value& when, const automation::Value& arg4,
                                const automation::Value& arg5, const automation::Value& arg6,
                                automation::Value& system, automation::Value& application,
                                const automation::Value& release, automation::Value& module,
                                const automation::Value& procedure) override;

  void SetResult(automation::Value result) { result_ = std::move(result); }
  void SetByReferenceHook(ByReferenceHook hook) { hook_ = std::move(hook); }

  // Every call since creation or the last Clear, kept or not.
  std::uint64_t Count() const noexcept { return count_; }
  // The last Keep() calls, oldest first.
  const std::deque<Call>& Calls() const noexcept { return calls_; }
  std::size_t Keep() const noexcept { return keep_; }
  // From now on keeps at most `keep` calls; older ones beyond that go at once.
  void SetKeep(std::size_t keep);
  // Forgets the calls and sets the count back to 0.
  void Clear() noexcept;

  std::u16string ClassName() const override { return u"ErrorRecorder"; }

 private:
  std::deque<Call> calls_;
  std::uint64_t count_ = 0;
  std::size_t keep_;
  automation::Value result_ = automation::Value::Long(0);
  ByReferenceHook hook_;
};

}  // namespace qorvintr::components
