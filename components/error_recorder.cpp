#include "qorvintr/components/error_recorder.h"

#include <utility>

namespace qorvintr::components {

automation::Value ErrorRecorder::ReportError(
    const automation::Value& code, const automation::Value& text, const automation::Value& when,
    const automation::Value& arg4, const automation::Value& arg5, const automation::Value& arg6,
    automation::Value& system, automation::Value& application, const automation::Value& release,
    automation::Value& module, const automation::Value& procedure) {
  ++count_;
  if (keep_ > 0) {
    Call call{{code, text, when, arg4, arg5, arg6, system, application, release, module,
               procedure}};
    if (calls_.size() >= keep_) calls_.pop_front();
    calls_.push_back(std::move(call));
  }
  if (hook_) hook_(system, application, module);
  return result_;
}

void ErrorRecorder::SetKeep(std::size_t keep) {
  keep_ = keep;
  while (calls_.size() > keep_) calls_.pop_front();
}

void ErrorRecorder::Clear() noexcept {
  calls_.clear();
  count_ = 0;
}

}  // namespace qorvintr::components
