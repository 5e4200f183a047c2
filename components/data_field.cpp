#include "qorvintr/components/data_field.h"

#include <utility>

namespace qorvintr::components {

DataFieldObject::DataFieldObject(std::u16string name, automation::Value data,
                                 std::u16string data_type, std::u16string data_class)
    : data_(std::move(data)),
      data_type_(std::move(data_type)),
      name_(std::move(name)),
      data_class_(std::move(data_class)) {}

std::shared_ptr<DataFieldObject> MakeDataField(std::u16string name, automation::Value data,
                                               std::u16string data_type,
                                               std::u16string data_class) {
  return std::make_shared<DataFieldObject>(std::move(name), std::move(data), std::move(data_type),
                                           std::move(data_class));
}

}  // namespace qorvintr::components
