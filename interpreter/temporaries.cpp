// Temporary data fields: every intermediate value is an "Auto" data field in the host's
// collection, named Autodf1, Autodf2, ..., and recorded in the hold table of the level that made
// it so that the level can remove it again.
#include <algorithm>
#include <charconv>
#include <string>

#include "qorvintr/convert.h"
#include "automation/datetime.h"
#include "automation/decimal.h"
#include "automation/text.h"
#include "qorvintr/contract/creation.h"
#include "interpreter/interpreter.h"
#include "interpreter/limits.h"
#include "interpreter/temporary_members.h"
#include "interpreter/trap.h"
#include "support/tools.h"

namespace qorvintr::engine {

using automation::Value;
namespace modTools = support::modTools;

namespace {
using members::kAuto;

// Temporary names are the prefix and a number; the first one follows "Autodf0".
constexpr std::u16string_view kAutoPrefix = u"Autodf";
// The most digits a 16-bit number has.
constexpr std::size_t kMostDigits = 5;

// The number of a name that is the prefix and 1 to 5 digits worth at most 32767, or -1 for any
// other name (which the general reading then takes, errors included).
std::int32_t AutoNumber(std::u16string_view name) noexcept {
  if (name.size() <= kAutoPrefix.size()) return -1;
  if (name.size() > kAutoPrefix.size() + kMostDigits) return -1;
  if (name.substr(0, kAutoPrefix.size()) != kAutoPrefix) return -1;
  std::int32_t n = 0;
  for (char16_t c : name.substr(kAutoPrefix.size())) {
    if (c < u'0' || c > u'9') return -1;
    n = n * 10 + (c - u'0');
  }
  return n <= kCounterMax ? n : -1;
}

}  // namespace

bool Interpreter::SmallWholeNumber(std::u16string_view text, std::int32_t& value) noexcept {
  // Up to nine digits, no sign, blank, separator or leading zero: a Long whatever the locale.
  constexpr std::size_t kMostSmallDigits = 9;
  if (text.empty() || text.size() > kMostSmallDigits || text[0] == u'0') return false;
  std::int32_t n = 0;
  for (char16_t c : text) {
    if (c < u'0' || c > u'9') return false;
    n = n * 10 + (c - u'0');
  }
  value = n;
  return true;
}

std::u16string Interpreter::StripStringDelimiters(std::u16string_view text) {
  return members::StripDelimiters(text, u'"');
}

std::u16string Interpreter::StripDateDelimiters(std::u16string_view text) {
  return members::StripDelimiters(text, u'#');
}

bool Interpreter::StockCreator() {
  const std::uint64_t generation = contract::stock::CreatorGeneration();
  if (generation != creator_generation_) {
    stock_creator_ = contract::stock::IsStockCreator(contract::kDataFieldProgId);
    creator_generation_ = generation;
  }
  return stock_creator_;
}

namespace {
// Pooled fields: enough for the temporaries of a usual script; a few looks for a free one, so
// that a long script whose temporaries are all alive does not search the whole pool each time.
constexpr std::size_t kPoolSize = 256;
constexpr std::size_t kPoolLooks = 8;
}  // namespace

Interpreter::NewField Interpreter::NewTemporary(bool members_written) {
  // An unwatched run's temporaries are always pooled: only its result reaches the host.
  if (!unwatched_ && !StockCreator()) {
    return NewField{contract::CreateObjectAs<contract::DataField>(contract::kDataFieldProgId)};
  }
  const std::size_t size = field_pool_.size();
  for (std::size_t look = 0; look < kPoolLooks && look < size; ++look) {
    if (pool_next_ >= size) pool_next_ = 0;
    std::shared_ptr<components::DataFieldObject>& pooled = field_pool_[pool_next_++];
    if (pooled.use_count() == 1) {
      // As the stock creator makes it: every member empty. The texts a temporary's steps write
      // before anyone can see the field are left to them.
      components::DataFieldObject& f = *pooled;
      if (!members_written) {
        f.AssignName({});
        f.AssignDataType({});
        f.AssignDataClass({});
      }
      f.DataSlot() = Value();
      return NewField{pooled, pooled.get()};
    }
  }
  auto made = std::make_shared<components::DataFieldObject>();
  if (size < kPoolSize) field_pool_.push_back(made);
  components::DataFieldObject* raw = made.get();
  return NewField{std::move(made), raw};
}

contract::DataFieldRef Interpreter::NewDataField() { return NewTemporary(false).ref; }

std::u16string Interpreter::AddAutoField(NewField& field, const std::u16string& taken) {
  if (stock_fields_ && field.stock) {
    // The stock collection's AddObject: added under the field's Name, or not at all.
    const std::u16string& name = field.stock->NameRef();
    if (stock_fields_.try_add(stock_fields_.collection, field.ref, name)) {
      last_added_ = field.ref;
      return name;
    }
    return {};
  }
  // A host's AddObject runs the host's code, which may run scripts too: the name is kept here
  // for the Remove below rather than read from the list afterwards.
  std::u16string name = taken;
  try {
    std::int16_t answer = HostFields()->AddObject(field.ref);
    if (answer == 0) return field.ref->Name();
    return {};
  } catch (...) {
    // Any error at all: a collection may add the field and then raise, and the field's Name may
    // fail once it is in; either way no name comes back and nobody would remove it. It is taken
    // out again (a failure of that Remove ignored: what it leaves is the host's), then the
    // error goes on to the trap as before.
    // Departure: a temporary whose adding failed is removed again (tests/fault_injection_test.cpp: FaultSteps.AddObjectRaisingAfterAddingLeavesNothing)
    support::IgnoreErrors([&] { HostFields()->Remove(name); });
    throw;
  }
}

void Interpreter::GiveBackName(std::int16_t slot) noexcept {
  support::IgnoreErrors([&] {
    if (slot < 0 || auto_name_top_ != slot || !auto_names_.IsDimensioned() ||
        auto_name_top_ > auto_names_.UBound() || auto_names_(auto_name_top_).empty()) {
      return;
    }
    auto_names_(auto_name_top_).clear();
    auto_name_top_ = Add16(auto_name_top_, -1);
  });
}

template <class Fill>
std::u16string Interpreter::CreateTemporary(std::u16string_view title, Fill&& fill) {
  // The name taken from the list, given back unless the temporary is in the collection under
  // it: a name left in the list would move the numbering of every later temporary.
  // Departure: the name of a temporary that was not made goes back to the list (tests/interpreter_temporaries_test.cpp: Temporaries.ARefusedFieldGivesTheEmptyNameAndGivesItsNameBack)
  // The name stays where the list keeps it (the top slot), so it is not copied per temporary.
  std::int16_t taken_slot = -1;
  std::u16string made;
  struct GiveBack {
    Interpreter& interpreter;
    const std::int16_t& taken_slot;
    const std::u16string& made;
    ~GiveBack() {
      if (made.empty()) interpreter.GiveBackName(taken_slot);
    }
  } give_back{*this, taken_slot, made};
  made = Trapped(title, title, std::u16string{}, [&] {
    // Name, DataType and DataClass are all written below (every fill writes the last two).
    NewField field = NewTemporary(true);
    if (unwatched_) [[likely]] {
      // Departure: an unwatched run's temporary gets no name and stays out of the collection; only the result is named, at the end (tests/scripts_corpus_test.cpp: ScriptCorpusUnwatched.EndsAlikeBothWays)
      fill(field);
      KeepUnwatched(field);
      return std::u16string(kUnwatchedName);
    }
    // A copy: the host's field (its Name, its Data) may run scripts of its own on this
    // interpreter, which grow the list the name was taken from.
    const std::u16string taken = NextAutoDataFieldName();
    if (!taken.empty()) taken_slot = auto_name_top_;
    field.SetName(taken);
    fill(field);
    return AddAutoField(field, taken);
  });
  return made;
}

std::u16string Interpreter::CreateStringDataField(std::u16string_view text) {
  return CreateTemporary(u"CreateStringDataField", [&](NewField& field) {
    field.SetDataType(u"String");
    field.SetData(Value::String(StripStringDelimiters(text)));
    field.SetDataClass(kAuto);
  });
}

std::u16string Interpreter::CreateOperatorDataField(std::u16string_view text) {
  return CreateTemporary(u"CreateOperatorDataField", [&](NewField& field) {
    field.SetDataType(u"Operator");
    field.SetDataClass(kAuto);
    field.SetData(Value::String(StripStringDelimiters(text)));
  });
}

std::u16string Interpreter::CreateNumericDataField(std::u16string_view text) {
  return CreateTemporary(u"CreateNumericDataField", [&](NewField& field) {
    field.SetDataClass(kAuto);
    std::int32_t whole = 0;
    if (SmallWholeNumber(text, whole)) {
      // What the steps below give for it.
      field.SetDataType(u"Long");
      field.SetData(Value::Long(whole));
      return;
    }
    Value number_text = Value::String(text);
    double x = automation::CDbl(number_text);
    // Kept: a whole number beyond 32 bits overflows instead of becoming a Double (tests/interpreter_temporaries_test.cpp: Temporaries.NumericTextBeyond32BitsOverflows)
    std::int32_t r = automation::CLng(Value::Double(x));
    if (x != static_cast<double>(r)) {
      field.SetDataType(u"Double");
      field.SetData(Value::Double(x));
    } else {
      field.SetDataType(u"Long");
      field.SetData(Value::Long(automation::CLng(number_text)));
    }
  });
}

std::u16string Interpreter::CreateDateDataField(std::u16string_view text) {
  return CreateTemporary(u"CreateDateDataField",
                         [&](NewField& field) { members::FromDateLiteral(field, text); });
}

std::u16string Interpreter::CreateDataFieldFromVariant(const Value& value) {
  return CreateTemporary(u"CreateDataFieldFromVariant",
                         [&](NewField& field) { members::FromVariant(field, value); });
}

std::u16string Interpreter::GetNewDataFieldName() { return NextAutoDataFieldName(); }

const std::u16string& Interpreter::NextAutoDataFieldName() {
  static const std::u16string kNone;
  const std::u16string* failure = &kNone;
  return *Trapped(u"GetNewDataFieldName", u"GetNewDataFieldName", failure,
                  [&]() -> const std::u16string* {
    for (;;) {
      TakeAutoNameSlot();
      const std::u16string* previous =
          auto_name_top_ >= 1 ? &auto_names_(auto_name_top_ - 1) : nullptr;
      const std::int32_t known = previous ? AutoNumber(*previous) : 0;
      std::u16string& candidate = auto_names_(auto_name_top_);
      if (known >= 0) {
        // The usual case, written in place: the general steps below give the same.
        const std::int16_t next = Add16(static_cast<std::int16_t>(known), 1);
        candidate = kAutoPrefix;
        automation::AppendDecimal(candidate, next);
      } else {
        std::u16string base = *previous;
        std::int16_t n = automation::CInt(Value::String(automation::Mid(base, 7)));
        std::int16_t next = Add16(n, 1);
        std::u16string made = automation::Left(base, 6);
        automation::AppendDecimal(made, next);
        candidate = modTools::ProperCase(made);
      }
      // Kept: a name a host field has is skipped and stays in the list (tests/interpreter_temporaries_test.cpp: Temporaries.AHostFieldNamedAutodf1IsSkippedAndItsNameStaysInTheList)
      if (!IsDataField(candidate)) return &auto_names_(auto_name_top_);
    }
  });
}

void Interpreter::TakeAutoNameSlot() {
  auto_name_top_ = Add16(auto_name_top_, 1);
  if (modTools::IsArrayEmpty(auto_names_)) {
    auto_names_.ReDim(0, kFirstUpperBound);
    auto_name_top_ = 0;
  } else if (auto_name_top_ > auto_names_.UBound()) {
    auto_names_.ReDimPreserve(0, Add16(auto_name_top_, kGrowth));
  }
}

bool Interpreter::RemoveAutoDataFieldNameFromList(std::u16string_view name) {
  return Trapped(u"RemoveAutoDataFieldNameFromList", u"RemoveAutoDataFieldNameFromList", false,
                 [&] {
    std::int32_t i = auto_name_top_;
    while (i >= 0 && auto_names_(i) != name) --i;
    // The shift is incomplete on purpose: every later name is copied into the same slot i. A
    // name that is not found leaves i at -1, which fails here when there is anything to copy.
    // Kept: giving a name back copies every later name into its one slot (tests/interpreter_temporaries_test.cpp: Temporaries.GivingBackAnEarlierNameCopiesTheSecondToLastIntoItsSlot)
    for (std::int32_t j = i + 1; j <= auto_name_top_ - 1; ++j) auto_names_(i) = auto_names_(j);
    auto_names_(auto_name_top_).clear();
    auto_name_top_ = Add16(auto_name_top_, -1);
    return true;
  });
}

std::u16string Interpreter::AddNameToHoldArray(const std::u16string& name, std::int16_t level) {
  if (unwatched_) {
    // Departure: an unwatched run holds nothing; its end sets the hold table as the removals leave it (tests/interpreter_unwatched_test.cpp: Unwatched.TheTablesEndAsTheGeneralRunLeavesThemWhenTheyGrow)
    if (name != kUnwatchedName) Decline();
    NoteUnwatchedHold(level);
    return name;
  }
  return Trapped(u"AddNameToHoldArray", u"AddNameToHoldArray", std::u16string{}, [&] {
    TakeHoldSlot(level);
    hold_array_(level, hold_top_(level)) = name;
    return name;
  });
}

void Interpreter::TakeHoldSlot(std::int16_t level) {
  if (modTools::IsArrayEmpty(hold_array_)) {
    hold_array_.ReDim(0, level, 0, kFirstUpperBound);
    hold_top_.ReDim(0, level);
    hold_top_(level) = -1;
  } else if (hold_top_(level) == hold_array_.UBound(2)) {
    std::int16_t upper = Add16(hold_top_(level), kGrowth);
    hold_array_.ReDimPreserve(0, kDeepestLevel, 0, upper);
    hold_top_.ReDimPreserve(0, kDeepestLevel);
  }
  hold_top_(level) = Add16(hold_top_(level), 1);
}

// The name is held before the lookup that may fail, so that the level's closing removes the
// temporary whatever the lookup does; should the collection change the name it was given, the
// slot takes the name it left.
// Departure: a temporary is held before it is looked up (tests/fault_injection_test.cpp: FaultSteps.AFailingItemAfterAddingLeavesNothing)
template <class Push>
void Interpreter::HoldAndPush(std::u16string& name, std::int16_t level, Push&& push) {
  if (unwatched_) [[likely]] {
    // The temporary just made, which the lookup would find.
    // Departure: an unwatched run pushes its temporary without holding it or looking it up (tests/scripts_corpus_test.cpp: ScriptCorpusUnwatched.EndsAlikeBothWays)
    if (name != kUnwatchedName || !unwatched_last_) Decline();
    NoteUnwatchedHold(level);
    InstanceStack(level).Push(unwatched_last_);
    return;
  }
  const bool held = !AddNameToHoldArray(name, level).empty();
  if (stock_fields_) {
    // The stock collection neither changes nor keeps the name it is asked for.
    push();
  } else {
    const std::u16string given = name;
    push();
    if (held && name != given) hold_array_(level, hold_top_(level)) = name;
  }
  Notify([&](RunListener& l) { l.OnPush(level, name, InstanceStack(level).PeekStack(), true); });
}

void Interpreter::PushItem(std::u16string& name, std::int16_t level) {
  support::Stack& stack = InstanceStack(level);
  if (const contract::DataFieldRef* just_added = JustAdded(name)) {
    stack.Push(*just_added);
  } else if (stock_fields_) {
    // The stock Item: a name not held raises 5.
    const contract::DataFieldRef* field = stock_fields_.find(stock_fields_.collection, name);
    if (!field) automation::Raise(automation::err::InvalidProcedureCall);
    // Departure: an unwatched run declines at a host field whose reading could run the host's code (tests/interpreter_unwatched_test.cpp: Unwatched.AHostFieldThatIsNotStockDeclines)
    if (unwatched_) CheckUnwatchedRead(*field);
    stack.Push(*field);
  } else if (unwatched_) {
    stack.Push(UnwatchedHostField(name));
  } else {
    stack.Push(HostFields()->Item(name));
  }
}

void Interpreter::PushHeld(std::u16string& name, std::int16_t level) {
  HoldAndPush(name, level, [&] { PushItem(name, level); });
}

void Interpreter::KeepUnwatched(const NewField& field) {
  if (!field.stock || unwatched_made_.size() >= kMostUnwatched) Decline();
  unwatched_made_.push_back(field.stock);
  unwatched_last_ = field.ref;
}

void Interpreter::SettleUnwatched(std::int16_t level, std::size_t held_here,
                                  std::size_t most_names, std::size_t most_holds) {
  // Each temporary took a name slot and a hold slot; every closing gave its level's names back
  // (their slots left empty, the top back where it was, -1 at the end, the first name having been
  // taken at 0), and cleared the level's hold slots and top; this level's closing follows. A run
  // that made none leaves the tables as they were. The first name slot is taken the general way
  // (it may dimension the list); the tables grow as the slot steps would have grown them on the
  // way, by kGrowth past the top that went beyond the bound, as far as the most at a time.
  if (most_names == 0) return;
  if (!hold_array_.IsDimensioned() || hold_top_(level) != -1) Decline();
  TakeAutoNameSlot();
  const std::int32_t last_name = auto_name_top_ + static_cast<std::int32_t>(most_names - 1);
  const std::int32_t last_hold = static_cast<std::int32_t>(most_holds) - 1;
  Checked16(last_name);
  Checked16(last_hold);
  while (auto_names_.UBound() < last_name) {
    auto_names_.ReDimPreserve(0, Add16(static_cast<std::int16_t>(auto_names_.UBound() + 1), kGrowth));
  }
  for (std::int32_t slot = auto_name_top_; slot <= last_name; ++slot) auto_names_(slot).clear();
  auto_name_top_ = -1;
  while (hold_array_.UBound(2) < last_hold) {
    hold_array_.ReDimPreserve(0, kDeepestLevel, 0,
                              Add16(static_cast<std::int16_t>(hold_array_.UBound(2)), kGrowth));
    hold_top_.ReDimPreserve(0, kDeepestLevel);
  }
  hold_top_(level) = Checked16(static_cast<std::int64_t>(held_here) - 1);
}

void Interpreter::NoteUnwatchedHold(std::int16_t level) {
  if (level < 0 || level > kDeepestLevel || unwatched_made_.empty()) Decline();
  // The temporary just made took the next name and a slot of its level.
  CountUnwatchedHolds(level, 1);
  unwatched_numbers_.resize(unwatched_made_.size());
  unwatched_numbers_.back() = unwatched_live_;
}

void Interpreter::CountUnwatchedHolds(std::int16_t level, std::int32_t count) noexcept {
  unwatched_live_ += count;
  unwatched_most_live_ = std::max(unwatched_most_live_, unwatched_live_);
  unwatched_held_[level] += count;
  unwatched_most_held_ = std::max(unwatched_most_held_, unwatched_held_[level]);
}

void Interpreter::NoteUnwatchedClose(std::int16_t level) noexcept {
  if (level < 0 || level > kDeepestLevel) return;
  unwatched_live_ -= unwatched_held_[level];
  unwatched_held_[level] = 0;
}

void Interpreter::NameUnwatchedResult(contract::DataFieldRef& result) {
  // Each temporary's name is the number it would have had; a field that served twice (dropped,
  // then made again) takes the later one's.
  const std::size_t made = std::min(unwatched_made_.size(), unwatched_numbers_.size());
  if (unwatched_name_all_) {
    for (std::size_t i = 0; i < made; ++i) {
      NameAsTemporary(*unwatched_made_[i], static_cast<std::size_t>(unwatched_numbers_[i]));
    }
  }
  if (!result) return;
  for (std::size_t i = made; i-- > 0;) {
    components::DataFieldObject* field = unwatched_made_[i];
    if (static_cast<const contract::DataField*>(field) != result.get()) continue;
    if (!unwatched_name_all_) {
      NameAsTemporary(*field, static_cast<std::size_t>(unwatched_numbers_[i]));
    }
    // Under the stock creator the pooled field itself is what the host gets.
    // Departure: under any other creator that runs nothing of the host's, an unwatched run's result is made through it at the end (tests/com/com_unwatched.cpp: OwnObjectsRunUnwatched)
    if (!StockCreator()) result = UnwatchedResult(*field);
    return;
  }
}

Interpreter::TemporaryName::TemporaryName(std::size_t number) noexcept {
  size = kAutoPrefix.copy(text, kAutoPrefix.size());
  char digits[20];
  const char* end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  for (const char* d = digits; d != end; ++d) text[size++] = static_cast<char16_t>(*d);
}

void Interpreter::NameAsTemporary(components::DataFieldObject& field, std::size_t number) {
  field.AssignName(TemporaryName(number).View());
}

contract::DataFieldRef Interpreter::UnwatchedResult(components::DataFieldObject& field) {
  MadeForPooled made;
  return UnwatchedResult(field, made);
}

contract::DataFieldRef Interpreter::UnwatchedResult(components::DataFieldObject& field,
                                                    MadeForPooled& made) {
  for (const auto& [pooled, ref] : made) {
    if (pooled == &field) return ref;
  }
  // The members the general run writes; the field is the library's own, so their order does not
  // show. A Data holding one of the run's temporaries (an IF's value) holds its field too.
  const Value& data = field.DataRef();
  components::DataFieldObject* inner = nullptr;
  if (data.IsObject()) {
    for (components::DataFieldObject* temporary : unwatched_made_) {
      if (static_cast<const automation::Object*>(temporary) == data.GetObject().get()) {
        inner = temporary;
        break;
      }
    }
  }
  // A Data holding a temporary is written after the field is known as made, should the inner
  // one hold this one in turn.
  const contract::stock::FieldContent content{field.NameRef(), field.DataTypeRef(),
                                              field.DataClassRef(),
                                              inner == nullptr ? &data : nullptr};
  contract::DataFieldRef result = MadeResult(content);
  made.emplace_back(&field, result);
  if (inner != nullptr) result->SetData(Value::Object(UnwatchedResult(*inner, made)));
  return result;
}

contract::DataFieldRef Interpreter::MadeResult(const contract::stock::FieldContent& content) {
  contract::DataFieldRef result =
      own_field_maker_ != nullptr &&
              contract::stock::CreatorGeneration() == own_creator_generation_
          ? own_field_maker_(content)
          : contract::stock::CreateFilled(contract::kDataFieldProgId, content);
  if (!result) automation::Raise(automation::err::CantCreateObject);
  return result;
}

// Kept: the two lookups of a pushed temporary (tests/interpreter_temporaries_test.cpp: Temporaries.PushHeldPushesTheCollectionsAnswerAsItComesAndPushHeldCheckedRaises91)
void Interpreter::PushHeldChecked(std::u16string& name, std::int16_t level) {
  HoldAndPush(name, level, [&] { InstanceStack(level).Push(HostField(name)); });
}

}  // namespace qorvintr::engine
