#include "compiler/disassembler.h"

#include <algorithm>
#include <functional>
#include <map>
#include <set>

#include "compiler/keywords.h"
#include "compiler/operand_rules.h"
#include "compiler/parser.h"

namespace tmx::compiler {
namespace {

std::string Hex(unsigned char byte) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  return {kDigits[byte >> 4], kDigits[byte & 15]};
}

std::string Escaped(std::string_view text, char quote) {
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\n') {
      out += "\\n";
    } else if (c == '\r') {
      out += "\\r";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c == '\\' || c == quote) {
      out += '\\';
      out += c;
    } else if (byte < 0x20 || byte > 0x7E) {
      out += "\\x" + Hex(byte);
    } else {
      out += c;
    }
  }
  return out;
}

bool IsFiller(char byte) { return static_cast<unsigned char>(byte) == kFillerByte; }

bool IsIdentifier(std::string_view name) {
  const auto is_word = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || (c >= '0' && c <= '9');
  };
  return !name.empty() && (name[0] < '0' || name[0] > '9') &&
         std::all_of(name.begin(), name.end(), is_word);
}

std::string RawLines(std::string_view bytes, const std::string& head) {
  constexpr std::size_t kInLine = 16;
  std::string out;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i % kInLine == 0) out += (i > 0 ? "\n" : "") + head;
    out += " 0x" + Hex(static_cast<unsigned char>(bytes[i]));
  }
  return bytes.empty() ? out : out + '\n';
}

// How operands are written; a subroutine's labels and names of variables come from its owner.
class OperandPrinter {
 public:
  std::map<std::uint32_t, std::string> names;   // of variables
  std::map<std::uint32_t, std::string> labels;  // by offset

  std::string Statement(const Instruction& instruction) const {
    const Opcode& opcode = *instruction.opcode;
    std::string out = opcode.mnemonic;
    const int operands = static_cast<int>(instruction.operands.size());
    if (CountFor(opcode, operands) != instruction.count)
      out += '[' + std::to_string(instruction.count) + ']';
    if (opcode.counted == Counted::kCall) return out + CallOperands(instruction);
    std::string separator = " ";
    for (const DecodedValue& value : instruction.operands) {
      // A plain flag in front of a target is written as a word or left out.
      if (value.shape->kind == OperandKind::kRawBool && value.number < 2) {
        out += value.number == 1 ? " not" : "";
        continue;
      }
      out += separator + Value(instruction, value);
      separator = ", ";
    }
    return out;
  }

 private:
  std::string CallOperands(const Instruction& instruction) const {
    std::string out = " " + Value(instruction, instruction.operands[0]);
    if (instruction.operands.size() == 1) return out;
    std::string separator = "(";
    for (std::size_t i = 1; i < instruction.operands.size(); ++i) {
      out += separator + Value(instruction, instruction.operands[i]);
      separator = ", ";
    }
    return out + ')';
  }

  std::string Value(const Instruction& instruction, const DecodedValue& value) const {
    switch (value.shape->kind) {
      case OperandKind::kRawType:
        return NameOfType(static_cast<TypeCode>(value.number));
      case OperandKind::kRawOperator:
        return Character(value.number);
      case OperandKind::kRawBool:
        return Literal(value, TypeCode::kBool);
      case OperandKind::kRawTarget:
        return Target(value.number);
      case OperandKind::kRawLine:
      case OperandKind::kRawKey:
      case OperandKind::kRawNumber:
        return std::to_string(value.number);
      case OperandKind::kRawId:
      case OperandKind::kNewId:
        return Id(value.number);
      case OperandKind::kRawString:
        return instruction.opcode->counted == Counted::kCall ? NameOrQuoted(value.text)
                                                             : Quoted(value.text);
      case OperandKind::kDefault:
        return Literal(value, value.type);
      default:
        if (value.is_variable) return Id(value.number);
        return Literal(value, WantedType(instruction, *value.shape));
    }
  }

  static TypeCode WantedType(const Instruction& instruction, const Operand& shape) {
    const auto type = [&] {
      return static_cast<TypeCode>(static_cast<std::uint8_t>(instruction.operands[0].number));
    };
    const auto op_types = [&] {
      return OpOperandTypes(type(), static_cast<char>(instruction.operands[1].number),
                            instruction.operands.back().type);
    };
    if (shape.kind == OperandKind::kOpLeft) return op_types().left;
    if (shape.kind == OperandKind::kOpRight) return op_types().right;
    return shape.type == TypeCode::kTypeOfInstruction ? type() : shape.type;
  }

  // With its type in front where the place alone would say another one.
  static std::string Literal(const DecodedValue& value, TypeCode wanted) {
    Term term;
    std::string text;
    switch (value.type) {
      case TypeCode::kString:
      case TypeCode::kAmount:
        term.kind = Term::Kind::kText;
        text = Quoted(value.text);
        break;
      case TypeCode::kInt:
        term.kind = Term::Kind::kNumber;
        text = std::to_string(static_cast<std::int16_t>(value.number));
        break;
      case TypeCode::kLong:
        term.kind = Term::Kind::kNumber;
        text = std::to_string(static_cast<std::int32_t>(value.number));
        break;
      case TypeCode::kDate:
        term.kind = Term::Kind::kDate;
        text = Date(value.number);
        break;
      case TypeCode::kBool:
        term.kind = value.number < 2 ? Term::Kind::kBool : Term::Kind::kNumber;
        text = value.number == 1   ? "true"
               : value.number == 0 ? "false"
                                   : std::to_string(value.number);
        break;
      default:
        term.kind = Term::Kind::kCharacter;
        text = Character(value.number);
    }
    return LiteralType(term, wanted) == value.type ? text : NameOfType(value.type) + ' ' + text;
  }

  static std::string Date(std::uint32_t bytes) {
    const std::uint32_t day = bytes >> 24;
    const std::uint32_t month = bytes >> 16 & 255;
    const std::uint32_t century = bytes >> 8 & 255;
    const std::uint32_t year = bytes & 255;
    const std::string front = std::to_string(day) + '.' + std::to_string(month) + '.';
    if (year < 100) return front + std::to_string(century * 100 + year);
    return front + std::to_string(century) + '.' + std::to_string(year);
  }

  static std::string Character(std::uint32_t number) {
    const char c = static_cast<char>(number);
    return '\'' + Escaped(std::string_view(&c, 1), '\'') + '\'';
  }

  std::string Target(std::uint32_t offset) const {
    const auto label = labels.find(offset);
    return label != labels.end() ? label->second : "@" + std::to_string(offset);
  }

  std::string Id(std::uint32_t id) const {
    const auto name = names.find(id);
    return "$" + std::to_string(id) + (name != names.end() ? ":" + name->second : "");
  }
};

// One subroutine, swept from its first byte to its last.
class SubroutinePrinter {
 public:
  explicit SubroutinePrinter(std::string_view code) : code_(code) {
    for (std::size_t pc = 0; pc < code.size();) {
      auto instruction = DecodeInstruction(code, pc);
      starts_.insert(pc);
      pc = instruction ? instruction->end : pc + 1;
      if (instruction) instructions_.emplace(instruction->offset, std::move(*instruction));
    }
    starts_.insert(code.size());
    for (const auto& [offset, instruction] : instructions_) Collect(instruction);
  }

  std::string Body() const {
    std::string out;
    for (std::size_t pc = 0; pc < code_.size();) {
      out += LabelAt(pc);
      const auto found = instructions_.find(pc);
      if (found != instructions_.end()) {
        out += "  " + printer_.Statement(found->second) + '\n';
        pc = found->second.end;
        continue;
      }
      if (IsFiller(code_[pc])) {
        out += "  filler\n";
        ++pc;
        continue;
      }
      const std::size_t begin = pc;
      do ++pc;
      while (pc < code_.size() && instructions_.count(pc) == 0 && !IsFiller(code_[pc]) &&
             LabelAt(pc).empty());
      out += RawLines(code_.substr(begin, pc - begin), "  raw");
    }
    return out + LabelAt(code_.size());
  }

  // The first byte that is no instruction, if there is one.
  const std::size_t* FirstOdd() const {
    for (const std::size_t& start : starts_)
      if (start < code_.size() && instructions_.count(start) == 0 && !IsFiller(code_[start]))
        return &start;
    return nullptr;
  }

 private:
  void Collect(const Instruction& instruction) {
    std::uint32_t id = 0;
    for (const DecodedValue& value : instruction.operands) {
      if (value.shape->kind == OperandKind::kRawTarget && starts_.count(value.number) > 0)
        printer_.labels.emplace(value.number, "at_" + std::to_string(value.number));
      if (value.shape->kind == OperandKind::kRawId) id = value.number;
      if (value.shape->kind == OperandKind::kRawString && id != 0 && IsIdentifier(value.text))
        printer_.names.emplace(id, value.text);
    }
  }

  std::string LabelAt(std::size_t pc) const {
    const auto label = printer_.labels.find(static_cast<std::uint32_t>(pc));
    return label != printer_.labels.end() ? label->second + ":\n" : "";
  }

  std::string_view code_;
  std::map<std::size_t, Instruction> instructions_;
  std::set<std::size_t> starts_;
  OperandPrinter printer_;
};

struct Region {
  std::size_t begin = 0;
  std::size_t end = 0;
  const IndexEntry* entry = nullptr;
};

class FilePrinter {
 public:
  explicit FilePrinter(const MacroImage& image) : image_(image), index_(ReadIndex(image.index)) {}

  Disassembly Run() {
    const std::size_t magic = std::min(image_.code.size(), kCodeMagic.size());
    out_.source = "verbatim\n";
    if (image_.code.substr(0, magic) != kCodeMagic) {
      Problem("the code file does not begin with " + std::string(kCodeMagic));
      out_.source += "magic " + Quoted(image_.code.substr(0, magic)) + '\n';
    }
    FindRegions(magic);
    PrintCode(magic);
    if (!ordinary_) PrintEntries();
    if (!index_.tail.empty()) {
      Problem("the index ends inside an entry");
      out_.source += RawLines(index_.tail, "index_raw");
    }
    return std::move(out_);
  }

 private:
  void Problem(std::string text) { out_.problems.push_back(std::move(text)); }

  // The subroutines that can be printed as such: they lie in the file and do not overlap. The
  // layout is ordinary if these are all, in the order of the index.
  void FindRegions(std::size_t magic) {
    std::set<std::string> names;
    std::size_t last = magic;
    for (const IndexEntry& entry : index_.entries) {
      if (!names.insert(entry.name).second)
        Problem("a second entry " + Quoted(entry.name) + ", which is never found");
      std::string_view code;
      if (!FindCode(image_, entry, code)) {
        Problem("the entry " + Quoted(entry.name) + " lies outside the code file");
        ordinary_ = false;
      } else if (code.empty() || entry.offset < magic) {
        Problem("the entry " + Quoted(entry.name) + " has no code of its own");
        ordinary_ = false;
      } else {
        ordinary_ = ordinary_ && entry.length != 0 && entry.offset >= last;
        last = entry.offset + code.size();
        regions_.push_back({entry.offset, last, &entry});
      }
    }
    std::stable_sort(regions_.begin(), regions_.end(),
                     [](const Region& a, const Region& b) { return a.begin < b.begin; });
  }

  void PrintCode(std::size_t pos) {
    for (const Region& region : regions_) {
      if (region.begin < pos) {
        Problem("the entry " + Quoted(region.entry->name) + " overlaps another one");
        continue;
      }
      PrintGap(pos, region.begin);
      PrintSubroutine(region);
      pos = region.end;
    }
    PrintGap(pos, image_.code.size());
  }

  void PrintGap(std::size_t begin, std::size_t end) {
    if (begin < end) out_.source += '\n' + RawLines(image_.code.substr(begin, end - begin), "raw");
  }

  void PrintSubroutine(const Region& region) {
    const std::string_view code =
        std::string_view(image_.code).substr(region.begin, region.end - region.begin);
    const SubroutinePrinter printer(code);
    out_.source += "\nsub " + NameOrQuoted(region.entry->name);
    if (ordinary_ && region.entry->reserved != 0)
      out_.source += " reserved " + std::to_string(region.entry->reserved);
    if (!ordinary_) out_.source += " unlisted";
    out_.source += '\n' + printer.Body() + "end\n";
    if (const std::size_t* odd = printer.FirstOdd())
      Problem(Quoted(region.entry->name) + ": no instruction at " + std::to_string(*odd));
  }

  void PrintEntries() {
    out_.source += '\n';
    for (const IndexEntry& entry : index_.entries)
      out_.source += "entry " + Quoted(entry.name) + ", " + std::to_string(entry.offset) + ", " +
                     std::to_string(entry.length) + ", " + std::to_string(entry.reserved) + '\n';
  }

  const MacroImage& image_;
  const Index index_;
  std::vector<Region> regions_;
  bool ordinary_ = true;
  Disassembly out_;
};

}  // namespace

std::string Quoted(std::string_view text) { return '"' + Escaped(text, '"') + '"'; }

std::string NameOrQuoted(std::string_view name) {
  return IsIdentifier(name) && !IsReserved(name) ? std::string(name) : Quoted(name);
}

std::string Describe(const Instruction& instruction) {
  return OperandPrinter().Statement(instruction);
}

Disassembly Disassemble(const MacroImage& image) { return FilePrinter(image).Run(); }

}  // namespace tmx::compiler
