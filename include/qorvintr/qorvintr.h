#pragma once
// QorvIntr for C++ hosts: the interpreter, what it asks of the host's objects, and the stock
// components a host can use instead of its own.
//
//   qorvintr::components::RegisterDefaultComponents();   // "QorvDFld.DataField", "QorvLog.Log"
//   auto fields = std::make_shared<qorvintr::components::DataFieldCollection>();
//   fields->Add(u"Visit Date", qorvintr::automation::Value::String(u"3/14/2002"), u"String");
//   qorvintr::contract::DataFieldsRef f = fields;
//   qorvintr::contract::HostErrorRef errors = std::make_shared<qorvintr::components::ErrorRecorder>();
//   std::u16string system = u"Upload", application = u"HL7";
//   qorvintr::Interpreter interpreter;
//   interpreter.Init(f, errors, system, application);
//
// Data fields, the collection, the error object and the log writer are abstract classes in
// contract/; derive from them to give the interpreter your own objects.

#include "automation/convert.h"
#include "automation/error.h"
#include "automation/value.h"
#include "components/data_field.h"
#include "components/defaults.h"
#include "components/error_recorder.h"
#include "components/field_collection.h"
#include "contract/creation.h"
#include "contract/data_field.h"
#include "contract/host_error.h"
#include "contract/log_writer.h"
#include "interpreter/interpreter.h"
#include "qorvintr/version.h"
