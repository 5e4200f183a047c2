// The other side of the oracle: answers the same cases as oracle_win.exe, with our automation
// layer. Case and answer format, ops and arguments: see case_format.h. A platform error prints as
// ERR:<number>; any other exception as CRASH:<what>, which never agrees with the platform.

#include <cstdint>
#include <string>

#include "qorvintr/convert.h"
#include "automation/datetime.h"
#include "qorvintr/error.h"
#include "automation/format.h"
#include "automation/operators.h"
#include "qorvintr/value.h"
#include "case_format.h"

namespace {

namespace au = qorvintr::automation;
using qorvintr::oracle::BadCase;
using qorvintr::oracle::Case;
using qorvintr::oracle::ExpectArgs;
using qorvintr::oracle::Literal;

au::Value ToValue(const Literal& l) {
  switch (l.kind) {
    case Literal::Kind::Empty: return au::Value();
    case Literal::Kind::Null: return au::Value::Null();
    case Literal::Kind::Boolean: return au::Value::Boolean(l.i != 0);
    case Literal::Kind::Integer: return au::Value::Integer(static_cast<std::int16_t>(l.i));
    case Literal::Kind::Long: return au::Value::Long(l.i);
    case Literal::Kind::Single: return au::Value::Single(l.f);
    case Literal::Kind::Double: return au::Value::Double(l.d);
    case Literal::Kind::Date: return au::Value::Date(l.d);
    case Literal::Kind::String: return au::Value::String(l.s);
  }
  return au::Value();
}

std::string ValueAnswer(const au::Value& v) {
  Literal l;
  switch (v.Type()) {
    case au::VarType::Empty: l.kind = Literal::Kind::Empty; break;
    case au::VarType::Null: l.kind = Literal::Kind::Null; break;
    case au::VarType::Boolean: l.kind = Literal::Kind::Boolean; l.i = v.GetBoolean() ? -1 : 0; break;
    case au::VarType::Integer: l.kind = Literal::Kind::Integer; l.i = v.GetInteger(); break;
    case au::VarType::Long: l.kind = Literal::Kind::Long; l.i = v.GetLong(); break;
    case au::VarType::Single: l.kind = Literal::Kind::Single; l.f = v.GetSingle(); break;
    case au::VarType::Double: l.kind = Literal::Kind::Double; l.d = v.GetDouble(); break;
    case au::VarType::Date: l.kind = Literal::Kind::Date; l.d = v.GetDate(); break;
    case au::VarType::String: l.kind = Literal::Kind::String; l.s = v.GetString(); break;
    default:
      return "VT" + std::to_string(static_cast<int>(v.Type())) + ":";
  }
  return qorvintr::oracle::FormatLiteral(l);
}

Literal Arg(const Case& c, std::size_t i) { return qorvintr::oracle::ParseLiteral(c.args.at(i)); }

Literal ArgOf(const Case& c, std::size_t i, Literal::Kind k1, Literal::Kind k2 = Literal::Kind::Empty) {
  Literal l = Arg(c, i);
  if (l.kind != k1 && (k2 == Literal::Kind::Empty || l.kind != k2))
    throw BadCase{"argument " + std::to_string(i + 1) + " of " + c.op + " has the wrong type"};
  return l;
}

au::VarType VarTypeByName(const std::string& name) {
  if (name == "Empty") return au::VarType::Empty;
  if (name == "Null") return au::VarType::Null;
  if (name == "Integer") return au::VarType::Integer;
  if (name == "Long") return au::VarType::Long;
  if (name == "Single") return au::VarType::Single;
  if (name == "Double") return au::VarType::Double;
  if (name == "Date") return au::VarType::Date;
  if (name == "String") return au::VarType::String;
  if (name == "Boolean") return au::VarType::Boolean;
  throw BadCase{"unknown kind name: " + name};
}

using BinaryFn = au::Value (*)(const au::Value&, const au::Value&);

std::string Binary(const Case& c, BinaryFn fn) {
  ExpectArgs(c, 2, 2);
  au::Value a = ToValue(Arg(c, 0));
  au::Value b = ToValue(Arg(c, 1));
  return ValueAnswer(fn(a, b));
}

std::string Text(const std::u16string& s) { return "S:" + qorvintr::oracle::EscapeText(s); }

std::string AnswerUnguarded(const Case& c) {
  using K = Literal::Kind;
  const std::string& op = c.op;
  if (op == "num") {
    ExpectArgs(c, 1, 1);
    return "R8:" + qorvintr::oracle::FormatDouble(au::TextToDouble(ArgOf(c, 0, K::String).s));
  }
  if (op == "date") {
    ExpectArgs(c, 1, 1);
    return "D:" + qorvintr::oracle::FormatDouble(au::TextToDate(ArgOf(c, 0, K::String).s));
  }
  if (op == "datetext") {
    ExpectArgs(c, 1, 1);
    return Text(au::DateToText(ArgOf(c, 0, K::Date, K::Double).d));
  }
  if (op == "r8text") {
    ExpectArgs(c, 1, 1);
    return Text(au::DoubleToText(ArgOf(c, 0, K::Double).d));
  }
  if (op == "r4text") {
    ExpectArgs(c, 1, 1);
    return Text(au::SingleToText(ArgOf(c, 0, K::Single).f));
  }
  if (op == "change") {
    ExpectArgs(c, 2, 2);
    au::VarType to = VarTypeByName(c.args[0]);
    return ValueAnswer(au::ChangeType(ToValue(Arg(c, 1)), to));
  }
  if (op == "cdate") {
    ExpectArgs(c, 1, 1);
    return "D:" + qorvintr::oracle::FormatDouble(au::CDate(ToValue(Arg(c, 0))));
  }
  if (op == "format") {
    ExpectArgs(c, 2, 4);
    au::Value v = ToValue(Arg(c, 0));
    Literal pic = ArgOf(c, 1, K::String);
    int first_day = c.args.size() > 2 ? qorvintr::oracle::ParsePlainInt(c.args[2]) : 1;
    int first_week = c.args.size() > 3 ? qorvintr::oracle::ParsePlainInt(c.args[3]) : 1;
    return Text(au::Format(v, pic.s, first_day, first_week));
  }
  if (op == "add") return Binary(c, au::Add);
  if (op == "sub") return Binary(c, au::Subtract);
  if (op == "mul") return Binary(c, au::Multiply);
  if (op == "div") return Binary(c, au::Divide);
  if (op == "idiv") return Binary(c, au::IntegerDivide);
  if (op == "cat") return Binary(c, au::Concatenate);
  if (op == "cmp") {
    ExpectArgs(c, 2, 2);
    switch (au::Compare(ToValue(Arg(c, 0)), ToValue(Arg(c, 1)))) {
      case au::Comparison::Less: return "LT";
      case au::Comparison::Equal: return "EQ";
      case au::Comparison::Greater: return "GT";
      case au::Comparison::Null: return "NULL";
    }
    return "CRASH:comparison out of range";
  }
  if (op == "round") {
    ExpectArgs(c, 1, 1);
    return "R8:" + qorvintr::oracle::FormatDouble(au::RoundHalfEven(ArgOf(c, 0, K::Double).d));
  }
  throw BadCase{"unknown op: " + op};
}

std::string Answer(const Case& c) {
  try {
    return AnswerUnguarded(c);
  } catch (const au::AutomationError& e) {
    return "ERR:" + std::to_string(e.Number());
  }
}

}  // namespace

int main(int argc, char** argv) { return qorvintr::oracle::RunOracle(argc, argv, Answer); }
