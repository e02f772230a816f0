#include "tmxtools/macro/decoded_code.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include "tmxtools/core/date_time.h"
#include "tmxtools/macro/operands.h"

namespace tmx {
namespace {

constexpr int kFiller = 255;
constexpr int kOpParam = 1;
constexpr int kOpCompare = 2;
constexpr int kOpLocal = 5;
constexpr int kOpExit = 17;
constexpr int kOpOp = 28;
constexpr int kOpGoto = 30;
constexpr int kOpIfGoto = 31;
constexpr int kOpCall = 32;
constexpr int kOpEat = 55;
constexpr int kOpLine = 161;
constexpr int kOpVariableName = 163;

// What the engine executes from decoded operands. Everything else is read byte by byte: it is rare,
// or it changes what frames there are.
constexpr bool IsDecoded(int opcode) {
#define TMX_NUMBER(number, command) number,
  constexpr int kDecoded[] = {kOpParam,
                              kOpLocal,
                              kOpExit,
                              kOpGoto,
                              kOpIfGoto,
                              kOpCall,
                              kOpLine,
                              kOpVariableName,
                              TMX_DECODED_COMMANDS(TMX_NUMBER)
                                  TMX_DECODED_BANKING_COMMANDS(TMX_NUMBER)};
#undef TMX_NUMBER
  for (const int one : kDecoded)
    if (one == opcode) return true;
  return false;
}

// The types that a macro can compute with; a command on another type never reads its operands.
constexpr bool IsComputed(TypeCode type) {
  return type == TypeCode::kString || type == TypeCode::kDate || type == TypeCode::kInt ||
         type == TypeCode::kLong || type == TypeCode::kAmount || type == TypeCode::kBool;
}

// The operands of an instruction in their order.
struct Plan {
  std::array<DecodedOperand, kMaxOperands> operands{};
  std::size_t count = 0;
  void Add(const DecodedOperand& operand) { operands[count++] = operand; }
  std::int32_t Number(std::size_t index) const { return operands[index].number; }
};

}  // namespace

// Takes operands off the bytes. After the first that is not well-formed Ok() is false.
class DecodedCode::Reader {
 public:
  Reader(DecodedCode& owner, unsigned offset)
      : owner_(owner), bytes_(owner.code_.bytes), at_(offset) {}

  bool Ok() const { return ok_; }
  void Fail() { ok_ = false; }
  unsigned at() const { return at_; }

  std::uint32_t Big(unsigned size) {
    if (at_ + size > bytes_.size()) {
      ok_ = false;
      return 0;
    }
    std::uint32_t value = 0;
    while (size-- > 0) value = value << 8 | bytes_[at_++];
    return value;
  }
  std::int16_t Int() { return static_cast<std::int16_t>(Big(2)); }
  bool Bool() {
    const std::uint32_t value = Big(1);
    if (value > 1) ok_ = false;
    return value == 1;
  }
  const String* Text() {
    const void* const zero =
        at_ + 1 < bytes_.size() ? std::memchr(&bytes_[at_], 0, bytes_.size() - at_ - 1) : nullptr;
    if (zero == nullptr) {
      ok_ = false;
      return nullptr;
    }
    const auto length = static_cast<const std::uint8_t*>(zero) - &bytes_[at_];
    owner_.texts_.emplace_back(std::string_view(reinterpret_cast<const char*>(&bytes_[at_]),
                                                static_cast<std::size_t>(length)));
    at_ += static_cast<unsigned>(length) + 1;
    return &owner_.texts_.back();
  }
  DecodedOperand Literal(TypeCode type) {
    DecodedOperand operand;
    operand.tag = static_cast<std::int16_t>(type);
    switch (type) {
      case TypeCode::kString:
      case TypeCode::kAmount:
        operand.text = Text();
        break;
      case TypeCode::kDate: {
        const std::uint32_t day = Big(1), month = Big(1), century = Big(1), year = Big(1);
        operand.number = static_cast<std::int32_t>(
            HbDate(static_cast<unsigned short>(day), static_cast<unsigned short>(month),
                   static_cast<unsigned short>(century * 100 + year))
                .GetDate());
        break;
      }
      case TypeCode::kInt:
        operand.number = Int();
        break;
      case TypeCode::kLong:
        operand.number = static_cast<std::int32_t>(Big(4));
        break;
      case TypeCode::kBool:
        operand.number = Bool() ? 1 : 0;
        break;
      case TypeCode::kChar:
        operand.number = static_cast<std::int32_t>(Big(1));
        break;
      default:
        ok_ = false;
    }
    return operand;
  }
  // A variable, or a literal of the type if it may be one. kNone stands for every literal.
  DecodedOperand Tagged(TypeCode type, bool may_be_literal) {
    const std::int16_t tag = Int();
    if (tag >= kFirstVariableTag) {
      DecodedOperand operand;
      operand.tag = tag;
      if (type == TypeCode::kChar) ok_ = false;
      return operand;
    }
    const auto literal = static_cast<TypeCode>(tag > 0 ? tag : 0);
    if (!may_be_literal || (type != TypeCode::kNone && type != literal)) {
      ok_ = false;
      return {};
    }
    return Literal(literal);
  }

 private:
  DecodedCode& owner_;
  const std::vector<std::uint8_t>& bytes_;
  unsigned at_;
  bool ok_ = true;
};

DecodedCode::DecodedCode(const MacroCode& code)
    : code_(code),
      length_(static_cast<std::uint16_t>(code.bytes.size())),
      slots_(std::make_unique<DecodedInstruction[]>(std::size_t{length_} + 1)) {}

DecodedCode::~DecodedCode() = default;

void DecodedCode::Decode(std::uint16_t offset) {
  DecodedInstruction& slot = slots_[offset];
  slot.action = Action::kReadBytes;
  if (offset == length_) return;
  Reader in(*this, offset);
  const int opcode = static_cast<int>(in.Big(1));
  if (opcode == kFiller) {
    slot.action = Action::kSkip;
    slot.next = static_cast<std::uint16_t>(in.at());
    return;
  }
  const int count = static_cast<int>(in.Big(1));
  const Opcode* const row = FindOpcode(opcode);
  if (!in.Ok() || row == nullptr || !row->Accepts(count) || !IsDecoded(opcode)) return;

  Plan plan;
  std::unique_ptr<DecodedOperand[]> arguments;
  TypeCode type = TypeCode::kNone;
  const int present = row->OperandsPresent(count);
  for (int i = 0; i < present && in.Ok(); ++i) {
    const Operand& operand = row->operands[static_cast<std::size_t>(i)];
    const TypeCode operand_type =
        operand.type == TypeCode::kTypeOfInstruction ? type : operand.type;
    switch (operand.kind) {
      case OperandKind::kRawType:
        type = static_cast<TypeCode>(in.Big(1));
        plan.Add({0, static_cast<std::int32_t>(type), nullptr});
        if (!IsComputed(type)) in.Fail();
        break;
      case OperandKind::kRawOperator:
        plan.Add({0, static_cast<std::int32_t>(in.Big(1)), nullptr});
        break;
      case OperandKind::kRawBool:
        plan.Add({0, in.Bool() ? 1 : 0, nullptr});
        break;
      case OperandKind::kRawTarget:
      case OperandKind::kRawLine:
        plan.Add({0, static_cast<std::int32_t>(in.Big(2)), nullptr});
        break;
      case OperandKind::kRawId:
      case OperandKind::kNewId:
      case OperandKind::kRawNumber:
        plan.Add({0, in.Int(), nullptr});
        break;
      case OperandKind::kRawKey:
        plan.Add({0, static_cast<std::int32_t>(in.Big(4)), nullptr});
        break;
      case OperandKind::kRawString:
        plan.Add({0, 0, in.Text()});
        break;
      case OperandKind::kDefault:
        plan.Add(in.Literal(type));
        break;
      case OperandKind::kAttribute:
        plan.Add(in.Tagged(operand_type, true));
        break;
      case OperandKind::kAnyAttribute: {
        const DecodedOperand any = in.Tagged(TypeCode::kNone, true);
        if (any.tag < kFirstVariableTag && any.text == nullptr) in.Fail();
        plan.Add(any);
        break;
      }
      case OperandKind::kVariable:
        plan.Add(in.Tagged(operand_type, false));
        break;
      case OperandKind::kOpLeft:
      case OperandKind::kOpRight:
        // Literals are held against the types when both are known, below.
        plan.Add(in.Tagged(TypeCode::kNone, true));
        break;
      case OperandKind::kTextList:
        in.Fail();
        break;
      case OperandKind::kArguments: {
        arguments = std::make_unique<DecodedOperand[]>(static_cast<std::size_t>(count - 1));
        for (int a = 0; a + 1 < count && in.Ok(); ++a) {
          arguments[static_cast<std::size_t>(a)] = in.Tagged(TypeCode::kNone, true);
          if (arguments[static_cast<std::size_t>(a)].tag == static_cast<int>(TypeCode::kChar))
            in.Fail();
        }
        break;
      }
    }
  }
  if (!in.Ok()) return;

  slot.opcode = static_cast<std::uint8_t>(opcode);
  slot.count = static_cast<std::uint8_t>(count);
  slot.next = static_cast<std::uint16_t>(in.at());
  switch (opcode) {
    case kOpLine:
      slot.action = Action::kLine;
      slot.number = plan.Number(0);
      return;
    case kOpParam:
      if (count == 3) return slot.action = Action::kReadBytes, void();
      slot.action = Action::kParams;
      slot.id = static_cast<std::int16_t>(plan.Number(1));
      slot.number = 1;
      if (slot.id < kFirstHolderId) slot.action = Action::kReadBytes;
      return CombineParams(offset);
    case kOpLocal:
      slot.action = count == 3 ? Action::kLocalDefault : Action::kLocal;
      slot.number = plan.Number(0);
      slot.id = static_cast<std::int16_t>(plan.Number(1));
      break;
    case kOpExit:
      slot.action = Action::kExit;
      return;
    case kOpGoto:
    case kOpIfGoto: {
      const auto target = static_cast<std::uint32_t>(plan.Number(plan.count - 1));
      if (target > length_) return;
      slot.target = static_cast<std::uint16_t>(target);
      slot.action = opcode == kOpGoto     ? Action::kGoto
                    : plan.Number(0) != 0 ? Action::kIfNot
                                          : Action::kIf;
      return;
    }
    case kOpEat:
      slot.op = plan.count > 0 ? static_cast<char>(plan.Number(0)) : ' ';
      slot.action = Action::kEat;
      return;
    case kOpVariableName:
      slot.action = Action::kName;
      break;
    case kOpCall: {
      CallSite site;
      site.name = plan.operands[0].text;
      site.arguments = arguments.get();
      site.argument_count = count > 0 ? count - 1 : 0;
      site.references = ReferencesOf(arguments.get(), site.argument_count);
      if (arguments != nullptr) operands_.push_back(std::move(arguments));
      calls_.push_back(site);
      slot.call = &calls_.back();
      slot.action = Action::kCall;
      return;
    }
    case kOpOp: {
      const DecodedOperand& right = plan.operands[4];
      const DecodedOperand& left = plan.operands[3];
      const bool right_is_literal = right.tag < kFirstVariableTag;
      // The type of a variable is known when the command runs; its literals are then right for
      // every type that the variable can have, or the command is read from its bytes.
      const OpTypes types =
          OpOperandTypes(type, static_cast<char>(plan.Number(1)),
                         right_is_literal ? static_cast<TypeCode>(right.tag) : TypeCode::kNone);
      if (types.left == TypeCode::kNone) return;
      if (right_is_literal && right.tag != static_cast<int>(types.right)) return;
      if (left.tag < kFirstVariableTag && (left.tag != static_cast<int>(types.left) ||
                                           (type == TypeCode::kInt && !right_is_literal)))
        return;
      slot.action = Action::kCommand;
      break;
    }
    default:
      slot.action = Action::kCommand;
  }
  auto operands = std::make_unique<DecodedOperand[]>(plan.count + 1);
  for (std::size_t i = 0; i < plan.count; ++i) operands[i] = plan.operands[i];
  slot.operands = operands.get();
  operands_.push_back(std::move(operands));
  if (slot.action == Action::kCommand) Combine(offset);
}

// The ids of arguments that are all variables, else null.
const std::int16_t* DecodedCode::ReferencesOf(const DecodedOperand* arguments, int count) {
  auto ids = std::make_unique<std::int16_t[]>(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    if (arguments[i].tag < kFirstVariableTag) return nullptr;
    ids[static_cast<std::size_t>(i)] = arguments[i].tag;
  }
  references_.push_back(std::move(ids));
  return references_.back().get();
}

// Takes the declarations that follow a declaration of a parameter together with it.
void DecodedCode::CombineParams(std::uint16_t offset) {
  DecodedInstruction& slot = slots_[offset];
  if (slot.action != Action::kParams || slot.next >= length_ || code_.bytes[slot.next] != kOpParam)
    return;
  const DecodedInstruction& following = At(slot.next);
  if (following.action != Action::kParams) return;
  slot.id = std::max(slot.id, following.id);
  slot.number += following.number;
  slot.next = following.next;
}

// Gives the additions and comparisons of loops an action of their own, and where an addition, a
// comparison of the same variable and a jump stand in a row, one for all three.
void DecodedCode::Combine(std::uint16_t offset) {
  DecodedInstruction& slot = slots_[offset];
  const DecodedOperand* const operands = slot.operands;
  if (slot.opcode != kOpOp && slot.opcode != kOpCompare) return;
  if (operands[0].number != static_cast<int>(TypeCode::kLong)) return;
  const auto op = static_cast<char>(operands[1].number);
  if (slot.opcode == kOpCompare) {
    if (operands[2].tag < kFirstVariableTag || operands[3].tag != static_cast<int>(TypeCode::kLong))
      return;
    if (op != '<' && op != '=' && op != '>') return;
    slot.op = op;
    slot.left = operands[2].tag;
    slot.number = operands[3].number;
    slot.action = Action::kCompareLong;
    return;
  }
  if ((op != '+' && op != '-') || operands[3].tag < kFirstVariableTag) return;
  slot.id = operands[2].tag;
  slot.left = operands[3].tag;
  if (operands[4].tag >= kFirstVariableTag && op == '+') {
    slot.right = operands[4].tag;
    slot.action = Action::kAddLongs;
    return;
  }
  if (operands[4].tag != static_cast<int>(TypeCode::kLong)) return;
  // Subtracting is adding the complement; both wrap in 32 bits.
  slot.number =
      op == '+' ? operands[4].number
                : static_cast<std::int32_t>(0u - static_cast<std::uint32_t>(operands[4].number));
  slot.action = Action::kAddLong;
  if (slot.id != slot.left) return;
  const DecodedInstruction& compare = At(slot.next);
  if (compare.action != Action::kCompareLong || compare.left != slot.id) return;
  const DecodedInstruction& jump = At(compare.next);
  if (jump.action != Action::kIf) return;
  slot.op = compare.op;
  slot.limit = compare.number;
  slot.target = jump.target;
  slot.next = jump.next;
  slot.action = Action::kAddCompareJumpLong;
}

}  // namespace tmx
