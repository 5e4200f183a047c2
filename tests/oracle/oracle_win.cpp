// The oracle: answers the cases of tests/oracle/corpus with the platform's own Automation
// runtime (oleaut32), always in en-US (LCID 1033). Cross-built with mingw-w64, run under Wine.
// Case and answer format, ops and arguments: see case_format.h.
//
// The platform call behind each op:
//   num       VarR8FromStr(text, 1033, 0)
//   date      VarDateFromStr(text, 1033, 0)
//   datetext  VarBstrFromDate(serial, 1033, 0)
//   r8text    VarBstrFromR8(d, 1033, 0)
//   r4text    VarBstrFromR4(f, 1033, 0)
//   change    VariantChangeTypeEx(out, in, 1033, VARIANT_ALPHABOOL, vt)
//             (a type mismatch from Null is reported as 94, as the language runtime does:
//             it refuses Null before converting)
//   cdate     as change to Date, then, for a text that is no date, VarR8FromStr +
//             VarDateFromR8: the language's CDate takes a numeric text as a serial
//   format    VarFormat(v, picture, firstday, firstweek, 0)
//   add sub mul div idiv cat   VarAdd VarSub VarMul VarDiv VarIdiv VarCat
//   cmp       VarCmp(a, b, 0, 0): LCID 0 makes texts compare by code unit, which is the
//             language's default (binary) comparison
//   cmptext   VarCmp(a, b, 1033, NORM_IGNORECASE)   (Windows only: the text comparison mode)
//   round     VarRound(v, 0)
//   fix int   VarFix VarInt
//
// HRESULTs become run-time numbers: DISP_E_TYPEMISMATCH 13, DISP_E_OVERFLOW 6,
// DISP_E_DIVBYZERO 11, E_INVALIDARG 5, E_OUTOFMEMORY 7; any other prints as ERR:0xXXXXXXXX.

#include <windows.h>
#include <oleauto.h>

#include <cstdio>
#include <string>

#include "case_format.h"

namespace {

using qorvintr::oracle::BadCase;
using qorvintr::oracle::Case;
using qorvintr::oracle::ExpectArgs;
using qorvintr::oracle::Literal;

constexpr LCID kLcid = 1033;

// Owns a VARIANT for the length of one case.
struct Var {
  VARIANT v;
  Var() { VariantInit(&v); }
  ~Var() { VariantClear(&v); }
  Var(const Var&) = delete;
  Var& operator=(const Var&) = delete;
};

std::string ErrorAnswer(HRESULT hr) {
  switch (static_cast<unsigned long>(hr)) {
    case static_cast<unsigned long>(DISP_E_TYPEMISMATCH): return "ERR:13";
    case static_cast<unsigned long>(DISP_E_OVERFLOW): return "ERR:6";
    case static_cast<unsigned long>(DISP_E_DIVBYZERO): return "ERR:11";
    case static_cast<unsigned long>(E_INVALIDARG): return "ERR:5";
    case static_cast<unsigned long>(E_OUTOFMEMORY): return "ERR:7";
    default: {
      char buf[32];
      std::snprintf(buf, sizeof buf, "ERR:0x%08lX", static_cast<unsigned long>(hr));
      return buf;
    }
  }
}

BSTR MakeBstr(const std::u16string& s) {
  return SysAllocStringLen(reinterpret_cast<const OLECHAR*>(s.data()),
                           static_cast<UINT>(s.size()));
}

std::u16string FromBstr(BSTR b) {
  if (!b) return {};
  return std::u16string(reinterpret_cast<const char16_t*>(b), SysStringLen(b));
}

std::string TextAnswer(BSTR b) {
  std::string r = "S:" + qorvintr::oracle::EscapeText(FromBstr(b));
  SysFreeString(b);
  return r;
}

void ToVariant(const Literal& l, VARIANT& v) {
  VariantInit(&v);
  switch (l.kind) {
    case Literal::Kind::Empty: V_VT(&v) = VT_EMPTY; break;
    case Literal::Kind::Null: V_VT(&v) = VT_NULL; break;
    case Literal::Kind::Boolean: V_VT(&v) = VT_BOOL; V_BOOL(&v) = l.i ? VARIANT_TRUE : VARIANT_FALSE; break;
    case Literal::Kind::Integer: V_VT(&v) = VT_I2; V_I2(&v) = static_cast<SHORT>(l.i); break;
    case Literal::Kind::Long: V_VT(&v) = VT_I4; V_I4(&v) = l.i; break;
    case Literal::Kind::Single: V_VT(&v) = VT_R4; V_R4(&v) = l.f; break;
    case Literal::Kind::Double: V_VT(&v) = VT_R8; V_R8(&v) = l.d; break;
    case Literal::Kind::Date: V_VT(&v) = VT_DATE; V_DATE(&v) = l.d; break;
    case Literal::Kind::String: V_VT(&v) = VT_BSTR; V_BSTR(&v) = MakeBstr(l.s); break;
  }
}

std::string VariantAnswer(const VARIANT& v) {
  Literal l;
  switch (V_VT(&v)) {
    case VT_EMPTY: l.kind = Literal::Kind::Empty; break;
    case VT_NULL: l.kind = Literal::Kind::Null; break;
    case VT_BOOL: l.kind = Literal::Kind::Boolean; l.i = V_BOOL(&v) ? -1 : 0; break;
    case VT_I2: l.kind = Literal::Kind::Integer; l.i = V_I2(&v); break;
    case VT_I4: l.kind = Literal::Kind::Long; l.i = V_I4(&v); break;
    case VT_R4: l.kind = Literal::Kind::Single; l.f = V_R4(&v); break;
    case VT_R8: l.kind = Literal::Kind::Double; l.d = V_R8(&v); break;
    case VT_DATE: l.kind = Literal::Kind::Date; l.d = V_DATE(&v); break;
    case VT_BSTR: l.kind = Literal::Kind::String; l.s = FromBstr(V_BSTR(&v)); break;
    default: {
      // A kind the language never produces from these inputs; show it, never hide it.
      Var text;
      HRESULT hr = VariantChangeTypeEx(&text.v, const_cast<VARIANT*>(&v), kLcid, 0, VT_BSTR);
      std::string body = SUCCEEDED(hr) ? qorvintr::oracle::EscapeText(FromBstr(V_BSTR(&text.v)))
                                       : ErrorAnswer(hr);
      return "VT" + std::to_string(V_VT(&v)) + ":" + body;
    }
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

VARTYPE VarTypeByName(const std::string& name) {
  if (name == "Empty") return VT_EMPTY;
  if (name == "Null") return VT_NULL;
  if (name == "Integer") return VT_I2;
  if (name == "Long") return VT_I4;
  if (name == "Single") return VT_R4;
  if (name == "Double") return VT_R8;
  if (name == "Date") return VT_DATE;
  if (name == "String") return VT_BSTR;
  if (name == "Boolean") return VT_BOOL;
  throw BadCase{"unknown kind name: " + name};
}

using BinaryFn = HRESULT(WINAPI*)(LPVARIANT, LPVARIANT, LPVARIANT);
using UnaryFn = HRESULT(WINAPI*)(LPVARIANT, LPVARIANT);

std::string Binary(const Case& c, BinaryFn fn) {
  ExpectArgs(c, 2, 2);
  Literal a = Arg(c, 0), b = Arg(c, 1);
  Var va, vb, out;
  ToVariant(a, va.v);
  ToVariant(b, vb.v);
  HRESULT hr = fn(&va.v, &vb.v, &out.v);
  return FAILED(hr) ? ErrorAnswer(hr) : VariantAnswer(out.v);
}

std::string Unary(const Case& c, UnaryFn fn) {
  ExpectArgs(c, 1, 1);
  Var in, out;
  ToVariant(Arg(c, 0), in.v);
  HRESULT hr = fn(&in.v, &out.v);
  return FAILED(hr) ? ErrorAnswer(hr) : VariantAnswer(out.v);
}

std::string Answer(const Case& c) {
  using K = Literal::Kind;
  const std::string& op = c.op;
  if (op == "num" || op == "date") {
    ExpectArgs(c, 1, 1);
    Literal s = ArgOf(c, 0, K::String);
    BSTR b = MakeBstr(s.s);
    double d = 0;
    HRESULT hr = op == "num" ? VarR8FromStr(b, kLcid, 0, &d) : VarDateFromStr(b, kLcid, 0, &d);
    SysFreeString(b);
    if (FAILED(hr)) return ErrorAnswer(hr);
    return (op == "num" ? "R8:" : "D:") + qorvintr::oracle::FormatDouble(d);
  }
  if (op == "datetext" || op == "r8text" || op == "r4text") {
    ExpectArgs(c, 1, 1);
    BSTR b = nullptr;
    HRESULT hr;
    if (op == "datetext") hr = VarBstrFromDate(ArgOf(c, 0, K::Date, K::Double).d, kLcid, 0, &b);
    else if (op == "r8text") hr = VarBstrFromR8(ArgOf(c, 0, K::Double).d, kLcid, 0, &b);
    else hr = VarBstrFromR4(ArgOf(c, 0, K::Single).f, kLcid, 0, &b);
    if (FAILED(hr)) return ErrorAnswer(hr);
    return TextAnswer(b);
  }
  if (op == "change") {
    ExpectArgs(c, 2, 2);
    VARTYPE vt = VarTypeByName(c.args[0]);
    Var in, out;
    ToVariant(Arg(c, 1), in.v);
    HRESULT hr = VariantChangeTypeEx(&out.v, &in.v, kLcid, VARIANT_ALPHABOOL, vt);
    if (hr == DISP_E_TYPEMISMATCH && V_VT(&in.v) == VT_NULL) return "ERR:94";
    return FAILED(hr) ? ErrorAnswer(hr) : VariantAnswer(out.v);
  }
  if (op == "cdate") {
    ExpectArgs(c, 1, 1);
    Var in, out;
    ToVariant(Arg(c, 0), in.v);
    HRESULT hr = VariantChangeTypeEx(&out.v, &in.v, kLcid, VARIANT_ALPHABOOL, VT_DATE);
    if (hr == DISP_E_TYPEMISMATCH && V_VT(&in.v) == VT_NULL) return "ERR:94";
    if (hr == DISP_E_TYPEMISMATCH && V_VT(&in.v) == VT_BSTR) {
      double d = 0;
      DATE date = 0;
      if (SUCCEEDED(VarR8FromStr(V_BSTR(&in.v), kLcid, 0, &d))) {
        hr = VarDateFromR8(d, &date);
        if (FAILED(hr)) return ErrorAnswer(hr);
        return "D:" + qorvintr::oracle::FormatDouble(date);
      }
    }
    return FAILED(hr) ? ErrorAnswer(hr) : VariantAnswer(out.v);
  }
  if (op == "format") {
    ExpectArgs(c, 2, 4);
    Var in;
    ToVariant(Arg(c, 0), in.v);
    Literal pic = ArgOf(c, 1, K::String);
    int first_day = c.args.size() > 2 ? qorvintr::oracle::ParsePlainInt(c.args[2]) : 1;
    int first_week = c.args.size() > 3 ? qorvintr::oracle::ParsePlainInt(c.args[3]) : 1;
    BSTR picture = MakeBstr(pic.s);
    BSTR out = nullptr;
    HRESULT hr = VarFormat(&in.v, picture, first_day, first_week, 0, &out);
    SysFreeString(picture);
    if (FAILED(hr)) return ErrorAnswer(hr);
    return TextAnswer(out);
  }
  if (op == "add") return Binary(c, VarAdd);
  if (op == "sub") return Binary(c, VarSub);
  if (op == "mul") return Binary(c, VarMul);
  if (op == "div") return Binary(c, VarDiv);
  if (op == "idiv") return Binary(c, VarIdiv);
  if (op == "cat") return Binary(c, VarCat);
  if (op == "cmp" || op == "cmptext") {
    ExpectArgs(c, 2, 2);
    Var a, b;
    ToVariant(Arg(c, 0), a.v);
    ToVariant(Arg(c, 1), b.v);
    HRESULT hr = op == "cmp" ? VarCmp(&a.v, &b.v, 0, 0)
                             : VarCmp(&a.v, &b.v, kLcid, NORM_IGNORECASE);
    switch (hr) {
      case VARCMP_LT: return "LT";
      case VARCMP_EQ: return "EQ";
      case VARCMP_GT: return "GT";
      case VARCMP_NULL: return "NULL";
      default: return ErrorAnswer(hr);
    }
  }
  if (op == "round") {
    ExpectArgs(c, 1, 1);
    Var in, out;
    ToVariant(ArgOf(c, 0, K::Double), in.v);
    HRESULT hr = VarRound(&in.v, 0, &out.v);
    return FAILED(hr) ? ErrorAnswer(hr) : VariantAnswer(out.v);
  }
  if (op == "fix") return Unary(c, VarFix);
  if (op == "int") return Unary(c, VarInt);
  throw BadCase{"unknown op: " + op};
}

}  // namespace

int main(int argc, char** argv) {
  // Operators convert text with the user's locale; the answers are en-US only.
  SetThreadLocale(kLcid);
  if (GetUserDefaultLCID() != kLcid)
    std::fprintf(stderr, "oracle: warning: user locale is %lu, not 1033 (run with LANG=en_US.UTF-8)\n",
                 static_cast<unsigned long>(GetUserDefaultLCID()));
  return qorvintr::oracle::RunOracle(argc, argv, Answer);
}
