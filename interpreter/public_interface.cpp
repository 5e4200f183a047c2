// The C++ host's interpreter: every member forwards to the engine.
#include "qorvintr/interpreter.h"

#include <utility>

#include "interpreter/interpreter.h"

namespace qorvintr {

Interpreter::Interpreter() : engine_(std::make_unique<engine::Interpreter>()) {}
Interpreter::~Interpreter() = default;
Interpreter::Interpreter(Interpreter&&) noexcept = default;
Interpreter& Interpreter::operator=(Interpreter&&) noexcept = default;

std::u16string Interpreter::Release() const { return engine_->Release(); }
std::u16string Interpreter::Major() const { return engine_->Major(); }
std::u16string Interpreter::Minor() const { return engine_->Minor(); }
std::u16string Interpreter::Revision() const { return engine_->Revision(); }

void Interpreter::SetObjError(contract::HostErrorRef error) {
  engine_->SetObjError(std::move(error));
}
contract::HostErrorRef Interpreter::objError() const { return engine_->objError(); }

void Interpreter::SetStrExpression(std::int16_t index, std::u16string text) {
  engine_->SetStrExpression(index, std::move(text));
}

void Interpreter::SetDataFields(contract::DataFieldsRef fields) {
  engine_->SetDataFields(std::move(fields));
}
contract::DataFieldsRef Interpreter::DataFields() const { return engine_->DataFields(); }

bool Interpreter::Init(const contract::DataFieldsRef& fields, const contract::HostErrorRef& error,
                       std::u16string_view system, std::u16string_view application) {
  return engine_->Init(fields, error, system, application);
}

contract::DataFieldRef Interpreter::RealizeRegularExpression(std::u16string& script) {
  return engine_->RealizeRegularExpression(script);
}

contract::DataFieldRef Interpreter::RealizeRegularExpression(std::u16string_view script) {
  std::u16string text(script);
  return engine_->RealizeRegularExpression(text);
}

void Interpreter::SetOrlinaIniFilename(std::u16string_view file_name) {
  std::u16string name(file_name);
  engine_->SetOrlinaIniFilename(name);
}
std::u16string Interpreter::OrlinaIniFilename() const { return engine_->OrlinaIniFilename(); }

void Interpreter::ResetMemory() noexcept { engine_->ResetMemory(); }

}  // namespace qorvintr
