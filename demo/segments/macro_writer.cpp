#include "demo/segments/macro_writer.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>
#include <vector>

#include "demo/segments/layouts.h"

namespace tmx::demo {
namespace {

constexpr std::string_view kIntroduction =
    R"(# Written by `./dev docs` from the table of segments; do not edit.
#
# Answers. The host calls the subroutine of a segment's code and version with the text between the
# head and the closing delimiter. A value that does not read as its type is kept as text in Odd. An
# element that is binary, or too long for a text, is a byte \x1A and a number here; the host puts
# the bytes into the response.
#
# Requests. A segment is written from the fields of the request. Empty elements at its end, and empty
# parts at the end of a group, are left out. A binary field is written as \x1A, its id and \x1A; the
# host puts the bytes and their length there.
)";

// How each type is declared, and what reads and writes it.
struct TypeTraits {
  std::string_view type;
  std::string_view temporary;  // takes the value before it is known to be good; empty: none needed
  std::string_view read;
  std::string_view write;
};

const TypeTraits& TraitsOf(FieldType type) {
  static const std::map<FieldType, TypeTraits> kTraits = {
      {FieldType::kText, {"string", "", "", "WriteText"}},
      {FieldType::kInt, {"int", "small", "ToInt", "WriteInt"}},
      {FieldType::kNumber, {"long", "large", "ToNumber", "WriteNumber"}},
      {FieldType::kAmount, {"amount", "sum", "ToAmount", "WriteAmount"}},
      {FieldType::kDate, {"date", "day", "ToDate", "WriteDate"}},
      {FieldType::kYesNo, {"bool", "flag", "ToYesNo", "WriteYesNo"}},
      {FieldType::kBinary, {"string", "", "", ""}},
  };
  return kTraits.at(type);
}

std::string Numbered(const char* name, std::size_t number) { return name + std::to_string(number); }

// One subroutine as it grows: its statements, and what must be declared for them.
class SubroutineText {
 public:
  // Statements stand one level deeper after a line that opens a block.
  void Line(const std::string& text) {
    const bool closes = text == "end" || text == "else";
    if (closes) --depth_;
    body_ += std::string(2 * depth_, ' ') + text + '\n';
    if (text.starts_with("if ") || text.starts_with("while ") || text == "loop" || text == "else")
      ++depth_;
  }
  void Local(std::string_view type, const std::string& name) { locals_[name] = type; }
  // A variable that stands for a field; once for each.
  const char* Use(const Field& field) {
    if (std::find(fields_.begin(), fields_.end(), &field) == fields_.end())
      fields_.push_back(&field);
    return field.name;
  }
  void UseOdd() { odd_ = true; }

  // `place` is where the fields are: "response" or "request".
  std::string Finish(const std::string& head, std::string_view place) const {
    std::string text = "\nsub " + head + '\n';
    const auto declare = [&](std::string_view type, const char* name, std::uint32_t id) {
      text += "  " + std::string(place) + ' ' + std::string(type) + ' ' + name + " field " +
              std::to_string(id) + '\n';
    };
    // Macros cannot handle bytes: a response holds a mark for the host in their place, which is
    // text.
    for (const Field* field : fields_)
      declare(field->type == FieldType::kBinary && place == "request" ? "binary"
                                                                      : TraitsOf(field->type).type,
              field->name, field->id);
    if (odd_) declare("string", "Odd", kAsItStood);
    for (const auto& [name, type] : locals_) text += "  local " + type + ' ' + name + '\n';
    return text + body_ + "end\n";
  }

 private:
  std::string body_;
  std::size_t depth_ = 1;
  std::vector<const Field*> fields_;
  std::map<std::string, std::string> locals_;
  bool odd_ = false;
};

// ---- answers ----------------------------------------------------------------------------------

class ReaderWriter {
 public:
  explicit ReaderWriter(const Layout& layout) : layout_(layout) {}

  std::string Write(const std::vector<Element>& elements) {
    WriteHead();
    text_.Line("call HideEscapes(elements, escaped)");
    text_.Line("receive_string elements");
    WriteElements(elements, 0);
    text_.Line("commit_response");
    text_.Local("bool", "escaped");
    return text_.Finish(Numbered(layout_.code, static_cast<std::size_t>(layout_.first_version)) +
                            "(string elements, long number, int version, long reference)",
                        "response");
  }

 private:
  void WriteHead() {
    text_.Line("create_response \"" + std::string(layout_.code) + '"');
    for (const auto& [name, parameter] :
         {std::pair("SegmentNumber", "number"), std::pair("SegmentVersion", "version"),
          std::pair("SegmentReference", "reference")})
      text_.Line(std::string(text_.Use(*FindField(name))) + " = " + parameter);
  }

  // The elements from one on, up to a repeated one or to the end, and then those behind it.
  void WriteElements(const std::vector<Element>& elements, std::size_t first) {
    std::size_t last = first;
    while (last + 1 < elements.size() && elements[last].step == 0) ++last;
    for (std::size_t i = first; i <= last; ++i) {
      const std::string name = elements[i].step != 0 ? "rest" : Numbered("element", i + 1);
      text_.Local("string", name);
      text_.Line("read_append " + name + (elements[i].step != 0 ? "" : ", 65535, '+'"));
    }
    if (elements[last].step == 0) {
      text_.Local("string", "more");
      if (first != 0) text_.Line("more = \"\"");
      text_.Line("read_append more");
      StoreSurplus("more", elements.size() + 1, false);
    }
    for (std::size_t i = first; i <= last; ++i)
      elements[i].step != 0 ? WriteRepeated(elements[i], i + 1) : WriteElement(elements[i], i + 1);
    if (last + 1 == elements.size()) return;
    text_.Line("receive_string rest");
    WriteElements(elements, last + 1);
  }

  // One value of the message, in the variable `part`, into its field. Of the k-th group the field
  // stands k steps further on.
  void Store(const Field& field, const std::string& part, std::uint32_t step) {
    const TypeTraits& traits = TraitsOf(field.type);
    const std::string name = text_.Use(field);
    text_.Line("if " + part + " != \"\"");
    if (traits.temporary.empty()) {
      text_.Line("if escaped = true");
      text_.Line("call ShowEscapes(" + part + ")");
      text_.Line("end");
      text_.Line(name + " = " + part);
    } else {
      text_.Local(traits.type, std::string(traits.temporary));
      text_.Line("call " + std::string(traits.read) + '(' + part + ", " +
                 std::string(traits.temporary) + ')');
      text_.Line("if success");
      text_.Line(name + " = " + std::string(traits.temporary));
      text_.Line("else");
      text_.UseOdd();
      text_.Line("goto_deg Odd, " + std::to_string(field.id + kAsItStood) + ", " +
                 std::to_string(step) + ", " + (step == 0 ? "0" : "index"));
      text_.Line("call ShowEscapes(" + part + ")");
      text_.Line("Odd = " + part);
      text_.Line("end");
    }
    text_.Line("end");
  }

  // What stands where the layout has nothing more, in the variable `text`.
  void StoreSurplus(const std::string& text, std::size_t element, bool in_loop) {
    text_.UseOdd();
    text_.Line("if " + text + " != \"\"");
    text_.Line("goto_deg Odd, " + std::to_string(kOtherElements + element * kOtherElementStep) +
               (in_loop ? ", 1000, index" : ", 0, 0"));
    text_.Line("call ShowEscapes(" + text + ")");
    text_.Line("Odd = " + text);
    text_.Line("end");
  }

  // Takes the parts of a group from the input.
  void TakeParts(const std::vector<Part>& parts) {
    for (std::size_t i = 0; i < parts.size(); ++i) {
      const std::string part = parts[i].step != 0 ? "list" : Numbered("part", i + 1);
      text_.Local("string", part);
      text_.Line(part + " = \"\"");
      text_.Line("read_append " + part + (parts[i].step != 0 ? "" : ", 65535, ':'"));
    }
  }

  void StoreParts(const std::vector<Part>& parts, std::uint32_t step) {
    for (std::size_t i = 0; i < parts.size(); ++i)
      parts[i].step != 0 ? StoreList(parts[i], step)
                         : Store(*parts[i].field, Numbered("part", i + 1), step);
  }

  // A field that is repeated up to the end of its element.
  void StoreList(const Part& part, std::uint32_t step) {
    const std::string name = text_.Use(*part.field);
    text_.Local("string", "part");
    if (step == 0)
      text_.Line("goto_deg " + name + ", " + std::to_string(part.field->id) + ", 0, 0");
    text_.Line("while list != \"\"");
    text_.Line("receive_string list");
    text_.Line("part = \"\"");
    text_.Line("list = \"\"");
    text_.Line("read_append part, 65535, ':'");
    text_.Line("read_append list");
    Store(*part.field, "part", 0);
    text_.Line("next_deg " + name + ", " + std::to_string(part.step));
    text_.Line("end");
  }

  void WriteElement(const Element& element, std::size_t number) {
    const std::string name = Numbered("element", number);
    if (element.parts.size() == 1 && element.parts[0].step == 0 && element.again.empty())
      return Store(*element.parts[0].field, name, 0);
    text_.Line("if " + name + " != \"\"");
    text_.Line("receive_string " + name);
    TakeParts(element.parts);
    if (!element.again.empty()) {
      text_.Local("string", "again");
      text_.Line("read_append again");
    } else if (element.parts.back().step == 0) {
      TakeSurplus(number, false);
    }
    StoreParts(element.parts, 0);
    if (!element.again.empty()) WriteLoop("again", element.again, element.again_step, number);
    text_.Line("end");
  }

  void TakeSurplus(std::size_t element, bool in_loop) {
    text_.Local("string", "more");
    text_.Line("more = \"\"");
    text_.Line("read_append more");
    StoreSurplus("more", element, in_loop);
  }

  void WriteRepeated(const Element& element, std::size_t number) {
    text_.Local("string", "group");
    WriteLoop("rest", element.parts, element.step, number, element.most);
  }

  // Groups of parts up to the end of `rest`, each an element of its own or not.
  void WriteLoop(const std::string& rest, const std::vector<Part>& parts, std::uint32_t step,
                 std::size_t number, std::uint32_t most = 0) {
    const bool elements = rest == "rest";
    text_.Local("int", "index");
    if (most != 0) text_.Local("int", "place");
    text_.Line("while " + rest + " != \"\"" +
               (most != 0 ? " and place < " + std::to_string(most) : ""));
    if (most != 0) text_.Line("place = place + 1");
    text_.Line("receive_string " + rest);
    text_.Line(rest + " = \"\"");
    if (elements) {
      text_.Line("group = \"\"");
      text_.Line("read_append group, 65535, '+'");
      text_.Line("read_append rest");
      text_.Line("if group = \"\"");
      text_.Line("continue");
      text_.Line("end");
      text_.Line("receive_string group");
    }
    TakeParts(parts);
    if (!elements)
      text_.Line("read_append " + rest);
    else if (parts.back().step == 0)
      TakeSurplus(number, true);
    for (const Part& part : parts)
      text_.Line("goto_deg " + std::string(text_.Use(*part.field)) + ", " +
                 std::to_string(part.field->id) + ", " + std::to_string(step) + ", index");
    StoreParts(parts, step);
    if (parts[0].field->type == FieldType::kInt) KeepFindable(*parts[0].field);
    text_.Line("index = index + 1");
    text_.Line("end");
  }

  // Readers of return codes stop at the first group without one: none may be missing.
  void KeepFindable(const Field& field) {
    const std::string name = text_.Use(field);
    text_.Line("if is_null " + name);
    text_.Line(name + " = 0");
    text_.Line("end");
  }

  const Layout& layout_;
  SubroutineText text_;
};

// ---- requests ---------------------------------------------------------------------------------

class WriterWriter {
 public:
  explicit WriterWriter(const Layout& layout) : layout_(layout) {}

  std::string Write(const std::vector<Element>& elements) {
    text_.Local("string", "pending");
    text_.Line("call WriteHead(\"" + std::string(layout_.code) + "\", number, " +
               std::to_string(layout_.first_version) + ", 0)");
    for (const Element& element : elements)
      element.step != 0 ? WriteRepeated(element) : WriteElement(element);
    text_.Line("write_string \"'\"");
    return text_.Finish(
        Numbered(layout_.code, static_cast<std::size_t>(layout_.first_version)) + "(long number)",
        "request");
  }

 private:
  void WriteValue(const Field& field) {
    const std::string name = text_.Use(field);
    text_.Line("if not is_null " + name);
    if (field.type == FieldType::kBinary) {
      text_.Line("call WritePending(pending)");
      text_.Line("write_string \"\\x1A" + std::to_string(field.id) + "\\x1A\"");
    } else {
      text_.Line("call " + std::string(TraitsOf(field.type).write) + "(pending, " + name + ')');
    }
    text_.Line("end");
  }

  void WriteParts(const std::vector<Part>& parts) {
    for (std::size_t i = 0; i < parts.size(); ++i) {
      if (i > 0) text_.Line("pending = pending + \":\"");
      if (parts[i].step == 0) {
        WriteValue(*parts[i].field);
        continue;
      }
      const std::string name = text_.Use(*parts[i].field);
      text_.Line("while not is_null " + name);
      WriteValue(*parts[i].field);
      text_.Line("pending = pending + \":\"");
      text_.Line("next_deg " + name + ", " + std::to_string(parts[i].step));
      text_.Line("end");
    }
  }

  void BeginElement(std::size_t parts_before) {
    if (parts_before > 1) text_.Line("erase_trailing pending, ':'");
    text_.Line("pending = pending + \"+\"");
  }

  void WriteElement(const Element& element) {
    BeginElement(parts_before_);
    WriteParts(element.parts);
    parts_before_ = element.parts.size() + (element.parts.back().step != 0 ? 1 : 0);
  }

  // Groups as long as their first field is there.
  void WriteRepeated(const Element& element) {
    text_.Line("while not is_null " + std::string(text_.Use(*element.parts[0].field)));
    BeginElement(2);
    WriteParts(element.parts);
    for (const Part& part : element.parts)
      text_.Line("next_deg " + std::string(text_.Use(*part.field)) + ", " +
                 std::to_string(element.step));
    text_.Line("end");
  }

  const Layout& layout_;
  SubroutineText text_;
  std::size_t parts_before_ = 0;
};

// The further versions of a layout call the first.
std::string FurtherVersions(const Layout& layout, bool answer) {
  std::string text;
  for (int version = layout.first_version + 1; version <= layout.last_version; ++version) {
    if (!answer) continue;
    text += "\nsub " + std::string(layout.code) + std::to_string(version) +
            "(string elements, long number, int version, long reference)\n  call " + layout.code +
            std::to_string(layout.first_version) + "(elements, number, version, reference)\nend\n";
  }
  return text;
}

}  // namespace

std::string SegmentMacros(std::string& problem) {
  std::string text(kIntroduction);
  for (const Layout& layout : AllLayouts()) {
    std::vector<Element> elements;
    problem = ParseLayout(layout.text, elements);
    if (!problem.empty()) {
      problem =
          std::string(layout.code) + ' ' + std::to_string(layout.first_version) + ": " + problem;
      return "";
    }
    const bool answer = !std::string_view(layout.code).starts_with("HK");
    if (answer) {
      text += ReaderWriter(layout).Write(elements) + FurtherVersions(layout, answer);
      continue;
    }
    for (Layout each = layout; each.first_version <= each.last_version; ++each.first_version)
      text += WriterWriter(each).Write(elements);
  }
  return text;
}

}  // namespace tmx::demo
