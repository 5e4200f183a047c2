#pragma once
// QorvIntr for C++ hosts: the interpreter, what it asks of the host's objects, and the stock
// components a host can use instead of its own.
//
//   qorvintr::components::RegisterDefaultComponents();   // "QorvDFld.DataField", "QorvLog.Log"
//   auto fields = std::make_shared<qorvintr::components::DataFieldCollection>();
//   fields->Add(u"Visit Date", qorvintr::automation::Value::String(u"3/14/2002"), u"String");
//   auto errors = std::make_shared<qorvintr::components::ErrorRecorder>();
//   qorvintr::Interpreter interpreter;
//   interpreter.Init(fields, errors, u"Upload", u"HL7");
//   qorvintr::contract::DataFieldRef value = interpreter.RealizeRegularExpression(u"Visit Date");
//
// Data fields, the collection, the error object and the log writer are abstract classes in
// qorvintr/contract/; derive from them to give the interpreter your own objects.

#include "qorvintr/components/data_field.h"
#include "qorvintr/components/defaults.h"
#include "qorvintr/components/error_recorder.h"
#include "qorvintr/components/field_collection.h"
#include "qorvintr/components/log_writer.h"
#include "qorvintr/contract/creation.h"
#include "qorvintr/contract/data_field.h"
#include "qorvintr/contract/host_error.h"
#include "qorvintr/contract/log_writer.h"
#include "qorvintr/convert.h"
#include "qorvintr/error.h"
#include "qorvintr/interpreter.h"
#include "qorvintr/utf8.h"
#include "qorvintr/value.h"
#include "qorvintr/version.h"
