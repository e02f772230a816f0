#include "tests/support/program_generator.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <optional>
#include <random>
#include <span>

#include "tmxtools/macro/opcode_table.h"

namespace tmx {
namespace {

using enum OperandKind;
using enum TypeCode;

constexpr std::array kMacroTypes = {kString, kDate, kInt, kLong, kAmount, kBool};
constexpr std::array kTexts = {"",           "ABC",        "AB;CD",        "x",      "05.03.81",
                               "1.234,56",   "-12,50",     "0,005",        "12",     "   7",
                               "HIRMS:3:2",  "a\nbb\nccc", "one\r\ntwo\r", "  ",     "100,",
                               "st\xDF\xE4", "?+?:?'",     "20260131",     "abcABC", "'"};
constexpr std::array kAmounts = {"",       "0,00",     "12,34",   "-5,5", "1234567890123456789,99",
                                 "7,",     "1.000,50", "0,00001", ",",    "-0,01",
                                 "99,995", "12x",      "3"};
constexpr std::array kAmountFormats = {"v,n",  "v",  "n", "v.n", "vn",
                                       "v,nx", "-v", "",  "v v", "n,v"};
constexpr std::array kDateFormats = {"d.m.y", "dmyy", "yymd", "d.m.yy", "y", "yyy", "d", "m/d", ""};
constexpr std::array kInts = {0, 1, 2, 3, 4, 5, 7, 10, 80, 100, 255, 1999, 32767, -1, -2, -32768};
constexpr std::array kLongs = {0L,     1L,     2L,          7L,  10L,    100L,
                               30000L, 65536L, 2147483647L, -1L, -1000L, -2147483648L};
constexpr std::string_view kChars = " 0;,.+':ABx\n?";
// Commands that take something from the input without which most programs would do little.
constexpr std::array kCommonCommands = {2, 3, 7, 14, 15, 16, 28, 37, 48, 54, 57, 51, 58, 150, 18};

struct Slot {
  TypeCode type;
  int id;
};

struct Signature {
  std::string name;
  bool in_general = false;
  bool recursive = false;  // its first parameter, an int, counts down
  std::vector<TypeCode> params;
};

class Generator {
 public:
  Generator(std::uint64_t seed, std::optional<Program::Kind> kind) : random_(seed) {
    program_.seed = seed;
    if (kind) {
      program_.kind = *kind;
    } else if (Chance(50)) {
      program_.kind = Chance(50) ? Program::kFlawed : Program::kDamaged;
    }
  }

  Program Make();

 private:
  std::uint64_t Below(std::uint64_t limit) { return random_() % limit; }
  bool Chance(unsigned percent) { return Below(100) < percent; }
  template <class Range>
  const auto& Pick(const Range& range) {
    return range[Below(std::size(range))];
  }
  // In a flawed program, now and then true.
  bool Flaw() { return program_.kind == Program::kFlawed && Chance(2); }

  void MakeSignatures();
  std::string MakeBody(std::size_t sub);
  void DeclareVariables(const Signature& self);
  void Declare(TypeCode type);
  void Default(TypeCode type);
  void Countdown(const Signature& self);
  void Statements(int depth);
  void Statement(int depth);
  void Loop(int depth);
  void ForwardJump(int depth);
  void Call();
  void Command(int number);
  void Operands(const Opcode& row, int count);
  void TaggedOperand(TypeCode type, const char* name);
  void Variable(TypeCode type);
  void Literal(TypeCode type, const char* name);
  void RawLiteral(TypeCode type, const char* name);
  void SoftErrorCheck();
  void Damage(std::string& bytes);
  HostParam MakeParam(TypeCode type);

  std::mt19937_64 random_;
  Program program_;
  std::vector<Signature> signatures_;
  std::size_t current_ = 0;
  CodeBuilder code_;
  std::vector<Slot> slots_;
  int next_id_ = kFirstHolderId;
  unsigned labels_ = 0;
};

std::string BankAnswer(std::mt19937_64& random) {
  static constexpr std::array kPieces = {
      "HNHBK:1:3+000000000123+300+",
      "HIRMS:3:2:4+0020::Auftrag ausgef\xFChrt",
      "HISAL:4:5:3+1234567::280:10020030+Girokonto+EUR+C:1234,56:EUR:20260131",
      "HIKAZ:5:5:3+@12@:20:STARTUMS",
      "05.03.81",
      "31.12.2025",
      "D:-12,5:EUR",
      "C:0,:EUR",
      "Zweck mit ?+ und ?' und ??",
      "  42  ",
      "\r\n",
      "\n",
      "1.234.567,89",
      "20260228:1015",
      "J",
      "N",
      ";",
      "   ",
      "@3@abc",
      "stra\xDF"
      "e"};
  std::string answer;
  const std::size_t pieces = random() % 8;
  for (std::size_t i = 0; i < pieces; ++i) {
    answer += kPieces[random() % kPieces.size()];
    answer += "+:';"[random() % 4];
  }
  return answer;
}

void Generator::MakeSignatures() {
  const std::size_t count = 1 + Below(4);
  for (std::size_t sub = 0; sub < count; ++sub) {
    Signature signature;
    signature.name = "Sub" + std::to_string(sub);
    signature.in_general = Chance(40);
    signature.recursive = sub > 0 && Chance(15);
    if (signature.recursive) signature.params.push_back(kInt);
    for (std::uint64_t more = Below(4); more > 0; --more)
      signature.params.push_back(Pick(kMacroTypes));
    signatures_.push_back(signature);
  }
}

void Generator::Declare(TypeCode type) {
  const int id = Flaw() ? next_id_ + 1 : next_id_;
  const auto number = static_cast<unsigned>(type);
  switch (Below(4)) {
    case 0:
      code_.Op(5, 2).Byte(number).U16(static_cast<unsigned>(id));
      break;
    case 1:
      code_.Op(5, 3).Byte(number).U16(static_cast<unsigned>(id));
      RawLiteral(type, "default");
      break;
    case 2:
      code_.Op(147, 3).Byte(number).U16(static_cast<unsigned>(id));
      code_.U32(static_cast<std::uint32_t>(type) * 10 + static_cast<std::uint32_t>(Below(2)));
      break;
    default:
      code_.Declare(number, id);
      break;
  }
  slots_.push_back({type, next_id_++});
}

void Generator::DeclareVariables(const Signature& self) {
  for (const TypeCode type : self.params) {
    const auto number = static_cast<unsigned>(type);
    const auto id = static_cast<unsigned>(next_id_);
    if (!Chance(10)) {
      const bool with_default = Chance(10) && !self.recursive;
      code_.Op(1, with_default ? 3 : 2).Byte(number).U16(id);
      if (with_default) RawLiteral(type, "default");
    }
    slots_.push_back({type, next_id_++});
  }
  for (const TypeCode type : kMacroTypes)
    for (std::uint64_t more = 1 + Below(2); more > 0; --more) Declare(type);
  for (const Slot& slot : slots_)
    if (Chance(5)) code_.Op(163, 2).U16(static_cast<unsigned>(slot.id)).RawText("name");
}

// Returns when the first parameter is used up, else counts it down.
void Generator::Countdown(const Signature& self) {
  const unsigned go_on = labels_++;
  code_.Op(2, 4).Byte(5).Byte('<').Var(kFirstHolderId).Int(1).Op(31, 2).Byte(1).Target(go_on);
  code_.Exit().Bind(go_on);
  code_.Op(28, 5).Byte(5).Byte('-').Var(kFirstHolderId).Var(kFirstHolderId).Int(1);
  if (self.params.size() == 1) code_.Op(32, 2).RawText(self.name).Var(kFirstHolderId).Op(18, 0);
}

std::string Generator::MakeBody(std::size_t sub) {
  current_ = sub;
  code_ = CodeBuilder();
  slots_.clear();
  next_id_ = kFirstHolderId;
  labels_ = 0;
  const Signature& self = signatures_[sub];
  if (Chance(30)) code_.Op(160, 1).RawText("source.hbm");
  DeclareVariables(self);
  if (self.recursive) Countdown(self);
  for (const Slot& slot : slots_) {
    if (slot.type == kString && slot.id < 36 && Chance(70)) {
      code_.Op(58, 1).Var(slot.id);
      break;
    }
  }
  Statements(0);
  code_.Op(Chance(85) ? 17 : 40, 0);
  return code_.Bytes();
}

void Generator::Statements(int depth) {
  for (std::uint64_t left = 1 + Below(depth == 0 ? 14 : 5); left > 0; --left) Statement(depth);
}

void Generator::Statement(int depth) {
  if (Chance(10)) code_.Op(161, 1).U16(static_cast<unsigned>(Below(500)));
  if (Chance(3)) code_.Byte(255);
  if (Flaw()) code_.Op(static_cast<unsigned>(Below(256)), static_cast<unsigned>(Below(6)));
  const std::uint64_t choice = Below(100);
  if (depth < 3 && choice < 6) return Loop(depth);
  if (depth < 4 && choice < 16) return ForwardJump(depth);
  if (choice < 24) return Call();
  if (choice < 60) return Command(Pick(kCommonCommands));
  const int number = static_cast<int>(Below(256));
  // The rest is written by functions of its own, or would end the subroutine.
  static constexpr std::array kElsewhere = {1, 5, 17, 30, 31, 32, 33, 40, 130, 147, 160, 161, 163};
  const Opcode* const row = FindOpcode(number);
  if (row == nullptr || row->engine != EngineKind::kGeneric ||
      std::ranges::count(kElsewhere, number) != 0)
    return Statement(depth + 1);
  Command(number);
}

void Generator::Loop(int depth) {
  Declare(kInt);
  const int counter = next_id_ - 1;
  slots_.pop_back();  // no other command may touch the counter
  const unsigned start = labels_++;
  code_.Op(3, 3).Byte(5).Var(counter).Int(0).Bind(start);
  // Declarations inside would run again and again.
  const std::vector<Slot> before = slots_;
  Statements(depth + 3);
  slots_ = before;
  code_.Op(28, 5).Byte(5).Byte('+').Var(counter).Var(counter).Int(1);
  code_.Op(2, 4).Byte(5).Byte('<').Var(counter).Int(static_cast<int>(1 + Below(6)));
  code_.Op(31, 2).Byte(0).Target(start);
}

void Generator::ForwardJump(int depth) {
  const unsigned label = labels_++;
  if (Chance(80)) {
    code_.Op(31, 2).Byte(Flaw() ? 7 : static_cast<unsigned>(Below(2))).Target(label);
  } else {
    code_.Op(30, 1).Target(label);
  }
  const std::vector<Slot> before = slots_;
  const int next = next_id_;
  Statements(depth + 3);
  slots_ = before;
  next_id_ = next;
  code_.Bind(label);
}

void Generator::Call() {
  if (Chance(4)) {
    code_.Op(32, 1).RawText("Nowhere");
    return;
  }
  if (current_ + 1 >= signatures_.size()) return Command(Pick(kCommonCommands));
  const Signature& callee = signatures_[current_ + 1 + Below(signatures_.size() - current_ - 1)];
  const std::size_t arguments = !Flaw() ? callee.params.size() : Below(4);
  const auto count = static_cast<unsigned>(arguments + 1);
  if (Chance(70)) {
    code_.Op(32, count).RawText(callee.name);
  } else {
    code_.Op(33, count).Str(callee.name);
  }
  for (std::size_t at = 0; at < arguments; ++at) {
    const TypeCode type = at < callee.params.size() ? callee.params[at] : Pick(kMacroTypes);
    if (at == 0 && callee.recursive) {
      code_.Int(static_cast<int>(Below(20)));
    } else if (type == kAmount || Chance(50)) {
      Variable(type);  // an amount by value would arrive as a text
    } else {
      Literal(type, "argument");
    }
  }
  SoftErrorCheck();
}

void Generator::SoftErrorCheck() {
  if (Chance(85)) code_.Op(18, 0);
}

void Generator::Command(int number) {
  const Opcode& row = *FindOpcode(number);
  int count = row.usual_count;
  if (row.counted == Counted::kChecked) {
    const int most = number == 57 ? 4 : row.max_count;
    count = row.min_count +
            static_cast<int>(Below(static_cast<std::uint64_t>(most - row.min_count + 1)));
  }
  if (Flaw()) count = static_cast<int>(Below(8));
  code_.Op(static_cast<unsigned>(number), static_cast<unsigned>(count));
  Operands(row, count);
  if (number == 15 || number == 16 || number == 48) SoftErrorCheck();
}

void Generator::Operands(const Opcode& row, int count) {
  TypeCode type = kNone;
  OpTypes op_types{kNone, kNone, false};
  char op = 0;
  const auto present = static_cast<std::size_t>(row.OperandsPresent(count));
  for (const Operand& operand : std::span(row.operands).first(present)) {
    const TypeCode wanted = operand.type == kTypeOfInstruction ? type : operand.type;
    switch (operand.kind) {
      case kRawType:
        type = Flaw() ? static_cast<TypeCode>(Below(14)) : Pick(kMacroTypes);
        if (row.number == 28 && type == kBool) type = kInt;
        code_.Byte(static_cast<unsigned>(type));
        break;
      case kRawOperator:
        op = row.number == 2 ? "<=>"[type == kBool ? 1 : Below(3)]
                             : (type == kString ? "+"
                                : type == kDate ? "+-"
                                                : "+-*/%_")[Below(type == kString ? 1
                                                                  : type == kDate ? 2
                                                                                  : 6)];
        if (op == '_' && type != kLong) op = '+';
        if (Flaw()) op = static_cast<char>(Below(256));
        code_.Byte(static_cast<unsigned char>(op));
        op_types = OpOperandTypes(type, op, Chance(20) ? kDate : type);
        break;
      case kRawId:
        code_.U16(static_cast<unsigned>(Pick(slots_).id));
        break;
      case kRawString:
        code_.RawText(Pick(kTexts));
        break;
      case kAttribute:
        TaggedOperand(wanted, operand.name);
        break;
      case kAnyAttribute:
        TaggedOperand(kMacroTypes[Below(Flaw() ? 6 : 5)], operand.name);
        break;
      case kVariable:
        Variable(wanted);
        break;
      case kOpLeft:
        TaggedOperand(op_types.left, operand.name);
        break;
      case kOpRight:
        TaggedOperand(op_types.right, operand.name);
        break;
      default:
        break;
    }
  }
}

void Generator::TaggedOperand(TypeCode type, const char* name) {
  if (type == kChar || Chance(50)) return Literal(type, name);
  Variable(type);
}

void Generator::Variable(TypeCode type) {
  if (Flaw()) {
    code_.U16(static_cast<unsigned>(Chance(50) ? Below(70) : Below(65536)));
    return;
  }
  std::vector<Slot> fitting;
  std::ranges::copy_if(slots_, std::back_inserter(fitting),
                       [type](const Slot& slot) { return slot.type == type; });
  code_.Var(fitting.empty() ? Pick(slots_).id : Pick(fitting).id);
}

void Generator::Literal(TypeCode type, const char* name) {
  code_.U16(Flaw() ? static_cast<unsigned>(Below(32)) : static_cast<unsigned>(type));
  RawLiteral(type, name);
}

void Generator::RawLiteral(TypeCode type, const char* name) {
  const bool is_format = std::string_view(name) == "format";
  switch (type) {
    case kString:
      if (is_format) {
        code_.RawText(Chance(50) ? Pick(kDateFormats) : Pick(kAmountFormats));
      } else {
        code_.RawText(Pick(kTexts));
      }
      break;
    case kAmount:
      code_.RawText(Pick(kAmounts));
      break;
    case kDate:
      code_.RawDate(static_cast<unsigned>(Below(32)), static_cast<unsigned>(Below(13)),
                    static_cast<unsigned>(Chance(80) ? 1980 + Below(60) : Below(10000)));
      break;
    case kInt:
      code_.U16(static_cast<unsigned>(
          std::string_view(name) == "decimals" ? static_cast<int>(Below(5)) : Pick(kInts)));
      break;
    case kLong:
      code_.U32(static_cast<std::uint32_t>(Pick(kLongs)));
      break;
    case kBool:
      code_.Byte(Flaw() ? 2 : static_cast<unsigned>(Below(2)));
      break;
    case kChar:
      code_.Byte(static_cast<unsigned char>(Pick(kChars)));
      break;
    default:
      break;
  }
}

HostParam Generator::MakeParam(TypeCode type) {
  HostParam param{static_cast<unsigned>(type), Chance(10), ""};
  switch (type) {
    case kString:
      param.value = Chance(70) ? BankAnswer(random_) : Pick(kTexts);
      break;
    case kAmount:
      param.value = Pick(kAmounts);
      break;
    case kDate:
      param.value = std::to_string(19800101 + Below(40) * 10000 + Below(12) * 100);
      break;
    case kInt:
      param.value = std::to_string(Pick(kInts));
      break;
    case kLong:
      param.value = std::to_string(Pick(kLongs));
      break;
    default:
      param.value = Chance(50) ? "true" : "false";
      break;
  }
  return param;
}

void Generator::Damage(std::string& bytes) {
  static constexpr std::array<unsigned char, 14> kBytes = {0,  1,  5,  10, 17,  18,  28,
                                                           31, 33, 34, 35, 127, 161, 255};
  for (std::uint64_t left = 1 + Below(3); left > 0 && !bytes.empty(); --left) {
    const std::size_t at = Below(bytes.size());
    switch (Below(8)) {
      case 0:
      case 1:
        bytes[at] = static_cast<char>(Below(256));
        break;
      case 2:
      case 3:
        bytes[at] = static_cast<char>(Pick(kBytes));
        break;
      case 4:
        bytes.insert(at, 1, static_cast<char>(Pick(kBytes)));
        break;
      case 5:
        bytes.erase(at, 1 + Below(3));
        break;
      case 6:
        bytes.resize(at);
        break;
      default:
        bytes.insert(at, bytes.substr(Below(bytes.size()), Below(12)));
        break;
    }
  }
}

Program Generator::Make() {
  MakeSignatures();
  ImageBuilder general("general"), file("program");
  for (std::size_t sub = 0; sub < signatures_.size(); ++sub) {
    std::string body = MakeBody(sub);
    if (program_.kind == Program::kDamaged && (sub == 0 || Chance(40))) Damage(body);
    (signatures_[sub].in_general ? general : file).Sub(signatures_[sub].name, body);
    // A subroutine of the same name in the file below is never seen.
    if (!signatures_[sub].in_general && Chance(5)) general.Sub(signatures_[sub].name, "\x0A");
  }
  program_.general = general.Build();
  program_.file = file.Build();
  if (program_.kind == Program::kDamaged && Chance(5)) {
    MacroImage& image = Chance(50) ? program_.general : program_.file;
    Damage(Chance(50) ? *image.index : *image.code);
  }
  program_.sub = signatures_[0].name;
  const std::vector<TypeCode>& wanted = signatures_[0].params;
  const std::size_t passed = Chance(95) ? wanted.size() : Below(4);
  for (std::size_t at = 0; at < passed; ++at)
    program_.params.push_back(MakeParam(at < wanted.size() ? wanted[at] : Pick(kMacroTypes)));
  return program_;
}

}  // namespace

Program MakeProgram(std::uint64_t seed) { return Generator(seed, std::nullopt).Make(); }

Program MakeProgram(std::uint64_t seed, Program::Kind kind) { return Generator(seed, kind).Make(); }

std::string RandomBankAnswer(std::uint64_t seed) {
  std::mt19937_64 random(seed);
  return BankAnswer(random);
}

std::string Program::Describe() const {
  static constexpr const char* kKinds[] = {"well formed", "flawed", "damaged"};
  std::string text = "seed " + std::to_string(seed) + ", " + kKinds[kind] + ", starts at " + sub;
  for (const HostParam& param : params)
    text += "\nparam " + std::to_string(param.type) + (param.null ? " null" : "") + " \"" +
            param.value + "\"";
  for (const MacroImage* image : {&general, &file}) {
    text += "\n" + image->name + " index\n" + HexDump(*image->index);
    text += "\n" + image->name + " code\n" + HexDump(*image->code);
  }
  return text;
}

}  // namespace tmx
