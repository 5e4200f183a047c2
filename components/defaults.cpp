#include "qorvintr/components/defaults.h"

#include <memory>

#include "qorvintr/components/data_field.h"
#include "qorvintr/components/log_writer.h"
#include "qorvintr/contract/creation.h"
#include "contract/stock.h"

namespace qorvintr::components {

int RegisterDefaultComponents() {
  int registered = 0;
  // Marked as the stock creator: the interpreter may then make such fields itself.
  if (contract::stock::RegisterStockCreatorIfAbsent(contract::kDataFieldProgId, [] {
        return std::static_pointer_cast<automation::Object>(std::make_shared<DataFieldObject>());
      })) {
    ++registered;
  }
  if (contract::RegisterCreatorIfAbsent(contract::kLogProgId, [] {
        return std::static_pointer_cast<automation::Object>(
            std::make_shared<RotatingLogWriter>());
      })) {
    ++registered;
  }
  return registered;
}

}  // namespace qorvintr::components
