#pragma once
// The stock data field ("QorvDFld.DataField"): four members, stored as given.

#include <memory>
#include <string>
#include <string_view>

#include "qorvintr/value.h"
#include "qorvintr/contract/data_field.h"

namespace qorvintr::components {

// Data is kept exactly as assigned: no conversion to the kind that DataType names (the type
// word is the writer's statement about the value, and the interpreter always writes both).
class DataFieldObject : public contract::DataField {
 public:
  DataFieldObject() = default;
  DataFieldObject(std::u16string name, automation::Value data, std::u16string data_type,
                  std::u16string data_class = {});

  automation::Value Data() override { return data_; }
  void SetData(const automation::Value& value) override { data_ = value; }
  std::u16string DataType() override { return data_type_; }
  void SetDataType(std::u16string type) override { data_type_ = std::move(type); }
  std::u16string Name() override { return name_; }
  void SetName(std::u16string name) override { name_ = std::move(name); }
  std::u16string DataClass() override { return data_class_; }
  void SetDataClass(std::u16string data_class) override { data_class_ = std::move(data_class); }

  // Reads without copies, for C++ hosts.
  const automation::Value& DataRef() const noexcept { return data_; }
  const std::u16string& NameRef() const noexcept { return name_; }
  const std::u16string& DataTypeRef() const noexcept { return data_type_; }
  const std::u16string& DataClassRef() const noexcept { return data_class_; }
  // Writes into the texts the field already has (no new text is made when they are long
  // enough), for C++ hosts that reuse their fields.
  void AssignName(std::u16string_view name) { name_.assign(name); }
  void AssignDataType(std::u16string_view type) { data_type_.assign(type); }
  void AssignDataClass(std::u16string_view data_class) { data_class_.assign(data_class); }
  automation::Value& DataSlot() noexcept { return data_; }

 private:
  automation::Value data_;
  std::u16string data_type_;
  std::u16string name_;
  std::u16string data_class_;
};

// A new field, ready for a collection.
std::shared_ptr<DataFieldObject> MakeDataField(std::u16string name, automation::Value data,
                                               std::u16string data_type,
                                               std::u16string data_class = {});

}  // namespace qorvintr::components
