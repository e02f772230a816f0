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
constexpr int kOpFile = 160;
constexpr int kOpLine = 161;
constexpr int kOpVariableName = 163;

// What the engine executes from decoded operands. Everything else is read byte by byte: it is rare,
// or it changes what frames there are.
constexpr bool IsDecoded(int opcode) {
#define TMX_NUMBER(number, command) number,
  constexpr int kDecoded[] = {
      kOpParam,        kOpLocal,
      kOpExit,         kOpGoto,
      kOpIfGoto,       kOpCall,
      kOpFile,         kOpLine,
      kOpVariableName, TMX_DECODED_COMMANDS(TMX_NUMBER) TMX_DECODED_BANKING_COMMANDS(TMX_NUMBER)};
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
      numbers_(std::size_t{length_} + 1) {
  // There cannot be more, so none moves.
  instructions_.reserve(std::size_t{length_} + 1);
  instructions_.emplace_back();
  instructions_[0].action = Action::kReadBytes;
  instructions_[0].offset = length_;
}

DecodedCode::~DecodedCode() = default;

void DecodedCode::Enter(std::uint16_t offset) {
  const auto number = static_cast<std::uint16_t>(instructions_.size());
  instructions_.emplace_back().offset = offset;
  numbers_[offset] = number;
}

DecodedInstruction DecodedCode::Decode(std::uint16_t offset, int in_a_row) {
  DecodedInstruction slot;
  slot.action = Action::kReadBytes;
  slot.offset = offset;
  Reader in(*this, offset);
  const int opcode = static_cast<int>(in.Big(1));
  if (opcode == kFiller) {
    slot.action = Action::kSkip;
    slot.next_offset = static_cast<std::uint16_t>(in.at());
    slot.next = NumberAt(slot.next_offset);
    return slot;
  }
  const int count = static_cast<int>(in.Big(1));
  const Opcode* const row = FindOpcode(opcode);
  if (!in.Ok() || row == nullptr || !row->Accepts(count) || !IsDecoded(opcode)) return slot;

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
  if (!in.Ok()) return slot;

  slot.opcode = static_cast<std::uint8_t>(opcode);
  slot.count = static_cast<std::uint8_t>(count);
  slot.next_offset = static_cast<std::uint16_t>(in.at());
  slot.next = NumberAt(slot.next_offset);
  switch (opcode) {
    case kOpLine:
      slot.action = Action::kLine;
      slot.number = plan.Number(0);
      return slot;
    case kOpParam:
      slot.id = static_cast<std::int16_t>(plan.Number(1));
      slot.number = 1;
      if (count == 3 || slot.id < kFirstHolderId) return slot;
      slot.action = Action::kParams;
      CombineParams(slot, in_a_row);
      return slot;
    case kOpLocal:
      slot.action = count == 3 ? Action::kLocalDefault : Action::kLocal;
      slot.number = plan.Number(0);
      slot.id = static_cast<std::int16_t>(plan.Number(1));
      break;
    case kOpExit:
      slot.action = Action::kExit;
      return slot;
    case kOpGoto:
    case kOpIfGoto: {
      const auto target = static_cast<std::uint32_t>(plan.Number(plan.count - 1));
      if (target > length_) return slot;
      slot.target = NumberAt(static_cast<std::uint16_t>(target));
      slot.action = opcode == kOpGoto     ? Action::kGoto
                    : plan.Number(0) != 0 ? Action::kIfNot
                                          : Action::kIf;
      return slot;
    }
    case kOpEat:
      slot.op = plan.count > 0 ? static_cast<char>(plan.Number(0)) : ' ';
      slot.action = Action::kEat;
      return slot;
    case kOpFile:
      slot.action = Action::kFile;
      break;
    case kOpVariableName:
      slot.action = Action::kName;
      break;
    case kOpCall: {
      CallSite site;
      site.name = plan.operands[0].text;
      site.argument_count = count > 0 ? count - 1 : 0;
      site.arguments = Keep(arguments.get(), static_cast<std::size_t>(site.argument_count));
      site.references = ReferencesOf(site.arguments, site.argument_count);
      calls_.push_back(site);
      slot.call = &calls_.back();
      slot.action = Action::kCall;
      return slot;
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
      if (types.left == TypeCode::kNone) return slot;
      if (right_is_literal && right.tag != static_cast<int>(types.right)) return slot;
      if (left.tag < kFirstVariableTag && (left.tag != static_cast<int>(types.left) ||
                                           (type == TypeCode::kInt && !right_is_literal)))
        return slot;
      slot.action = Action::kCommand;
      break;
    }
    default:
      slot.action = Action::kCommand;
  }
  slot.operands = Keep(plan.operands.data(), plan.count);
  if (slot.action == Action::kCommand) Combine(slot, in_a_row);
  return slot;
}

// Puts operands side by side in blocks.
const DecodedOperand* DecodedCode::Keep(const DecodedOperand* operands, std::size_t count) {
  if (free_operand_count_ < count) {
    constexpr std::size_t kBlock = 64;
    const std::size_t size = std::max(kBlock, count);
    operands_.push_back(std::make_unique<DecodedOperand[]>(size));
    free_operands_ = operands_.back().get();
    free_operand_count_ = size;
  }
  DecodedOperand* const kept = free_operands_;
  std::copy_n(operands, count, kept);
  free_operands_ += count;
  free_operand_count_ -= count;
  return kept;
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
void DecodedCode::CombineParams(DecodedInstruction& params, int in_a_row) {
  if (in_a_row == kMaxInARow || params.next_offset >= length_ ||
      code_.bytes[params.next_offset] != kOpParam)
    return;
  const DecodedInstruction& following = Get(params.next, in_a_row + 1);
  if (following.action != Action::kParams) return;
  params.id = std::max(params.id, following.id);
  params.number += following.number;
  params.next = following.next;
  params.next_offset = following.next_offset;
}

// Gives the additions and comparisons of loops an action of their own, and where an addition, a
// comparison of the same variable and a jump stand in a row, one for all three.
void DecodedCode::Combine(DecodedInstruction& instruction, int in_a_row) {
  const DecodedOperand* const operands = instruction.operands;
  if (instruction.opcode != kOpOp && instruction.opcode != kOpCompare) return;
  if (operands[0].number != static_cast<int>(TypeCode::kLong)) return;
  const auto op = static_cast<char>(operands[1].number);
  if (instruction.opcode == kOpCompare) {
    if (operands[2].tag < kFirstVariableTag || operands[3].tag != static_cast<int>(TypeCode::kLong))
      return;
    if (op != '<' && op != '=' && op != '>') return;
    instruction.op = op;
    instruction.left = operands[2].tag;
    instruction.number = operands[3].number;
    instruction.action = Action::kCompareLong;
    return;
  }
  if ((op != '+' && op != '-') || operands[3].tag < kFirstVariableTag) return;
  instruction.id = operands[2].tag;
  instruction.left = operands[3].tag;
  if (operands[4].tag >= kFirstVariableTag && op == '+') {
    instruction.right = operands[4].tag;
    instruction.action = Action::kAddLongs;
    return;
  }
  if (operands[4].tag != static_cast<int>(TypeCode::kLong)) return;
  // Subtracting is adding the complement; both wrap in 32 bits.
  instruction.number =
      op == '+' ? operands[4].number
                : static_cast<std::int32_t>(0u - static_cast<std::uint32_t>(operands[4].number));
  instruction.action = Action::kAddLong;
  if (instruction.id != instruction.left || in_a_row == kMaxInARow) return;
  const DecodedInstruction compare = Get(instruction.next, in_a_row + 1);
  if (compare.action != Action::kCompareLong || compare.left != instruction.id) return;
  const DecodedInstruction& jump = Get(compare.next, in_a_row + 1);
  if (jump.action != Action::kIf) return;
  instruction.op = compare.op;
  instruction.limit = compare.number;
  instruction.target = jump.target;
  instruction.next = jump.next;
  instruction.next_offset = jump.next_offset;
  instruction.action = Action::kAddCompareJumpLong;
}

}  // namespace tmx
