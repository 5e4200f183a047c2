#include "qorvintr/components/error_recorder.h"

namespace qorvintr::components {

automation::Value ErrorRecorder::ReportError(
    const automation::Value& code, const automation::Value& text, const automation::Value& when,
    const automation::Value& arg4, const automation::Value& arg5, const automation::Value& arg6,
    automation::Value& system, automation::Value& application, const automation::Value& release,
    automation::Value& module, const automation::Value& procedure) {
  calls_.push_back(Call{{code, text, when, arg4, arg5, arg6, system, application, release, module,
                         procedure}});
  if (hook_) hook_(system, application, module);
  return result_;
}

}  // namespace qorvintr::components
