// A C++ host of the installed library: the stock components, one field, one script (the first
// argument), and the answer printed as NAME<TAB>DATATYPE<TAB>DATA, then the version it was
// built against.
#include <iostream>
#include <memory>

#include "qorvintr/qorvintr.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: consumer SCRIPT\n";
    return 2;
  }
  qorvintr::components::RegisterDefaultComponents();
  auto fields = std::make_shared<qorvintr::components::DataFieldCollection>();
  fields->Add(u"Amount", qorvintr::automation::Value::Double(1250.5), u"Double");
  auto errors = std::make_shared<qorvintr::components::ErrorRecorder>();
  qorvintr::Interpreter interpreter;
  interpreter.Init(fields, errors, u"Upload", u"consumer");
  qorvintr::contract::DataFieldRef value =
      interpreter.RealizeRegularExpression(qorvintr::automation::FromUtf8(argv[1]));
  if (!value) {
    std::cout << "Nothing\n";
    return 3;
  }
  std::cout << qorvintr::automation::ToUtf8(value->Name()) << '\t'
            << qorvintr::automation::ToUtf8(value->DataType()) << '\t'
            << qorvintr::automation::ToUtf8(qorvintr::automation::CStr(value->Data())) << '\n';
  std::cout << "built against QorvIntr " << QORVINTR_VERSION_TEXT << '\n';
  return errors->Count() == 0 ? 0 : 1;
}
