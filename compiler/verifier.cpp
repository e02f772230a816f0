#include "compiler/verifier.h"

#include <algorithm>
#include <deque>
#include <map>
#include <set>
#include <tuple>

#include "compiler/abstract_step.h"
#include "compiler/keywords.h"
#include "compiler/macro_image.h"

namespace tmx::compiler {
namespace {

// Frames differ by the types that callers pass, which could make more of them than one can look at.
constexpr std::size_t kMostFrames = 50000;

struct LoadedSubroutine {
  std::string file;
  std::string name;
  std::string_view code;
};

// The files as the engine's file stack looks subroutines up.
class FileSet {
 public:
  explicit FileSet(const std::vector<CheckedFile>& files) {
    for (const CheckedFile& file : files) files_.push_back(Open(file));
  }

  // Null with a reason if a run that calls the subroutine ends.
  const LoadedSubroutine* Load(const std::string& name, std::string& reason) {
    if (const auto known = loaded_.find(name); known != loaded_.end()) return &known->second;
    for (auto file = files_.rbegin(); file != files_.rend(); ++file) {
      if (!file->index_fault.empty()) {
        reason = file->source->name + ": " + file->index_fault;
        return nullptr;
      }
      const IndexEntry* entry = Find(*file, name);
      if (entry == nullptr) continue;
      std::string_view code;
      reason = CodeFault(*file, *entry, code);
      if (!reason.empty()) return nullptr;
      return &loaded_.emplace(name, LoadedSubroutine{file->source->name, name, code}).first->second;
    }
    reason = "no file has the subroutine '" + name + "'";
    return nullptr;
  }

  std::set<std::string> Names() const {
    std::set<std::string> names;
    for (const OpenFile& file : files_)
      for (const IndexEntry& entry : file.index.entries) names.insert(entry.name);
    return names;
  }

  // What is wrong with the files themselves.
  std::vector<Finding> Faults() const {
    std::vector<Finding> findings;
    const auto add = [&](const OpenFile& file, const std::string& text) {
      findings.push_back({Finding::Kind::kFault, file.source->name, "", 0, std::nullopt, text});
    };
    for (const OpenFile& file : files_) {
      if (!file.index_fault.empty()) add(file, file.index_fault);
      for (const IndexEntry& entry : file.index.entries) {
        std::string_view code;
        const std::string fault = CodeFault(file, entry, code);
        if (!fault.empty()) add(file, "'" + entry.name + "': " + fault);
      }
    }
    return findings;
  }

 private:
  struct OpenFile {
    const CheckedFile* source = nullptr;
    MacroImage image;
    Index index;
    std::string index_fault;
  };

  static OpenFile Open(const CheckedFile& source) {
    OpenFile file;
    file.source = &source;
    if (!source.index) {
      file.index_fault = "the index file is missing";
      return file;
    }
    file.image = {*source.index, source.code.value_or("")};
    if (file.image.index.size() > kLongestIndex) {
      file.index_fault = "the index has more than 65535 bytes";
      return file;
    }
    file.index = ReadIndex(file.image.index);
    if (!file.index.tail.empty()) file.index_fault = "the index ends inside an entry";
    return file;
  }

  static const IndexEntry* Find(const OpenFile& file, const std::string& name) {
    for (const IndexEntry& entry : file.index.entries)
      if (entry.name == name) return &entry;
    return nullptr;
  }

  static std::string CodeFault(const OpenFile& file, const IndexEntry& entry,
                               std::string_view& code) {
    if (!file.source->code) return "the code file is missing";
    if (!file.image.code.starts_with(kCodeMagic)) return "the code file does not begin with JHOG";
    if (!FindCode(file.image, entry, code)) return "lies outside the code file";
    return {};
  }

  std::deque<OpenFile> files_;
  std::map<std::string, LoadedSubroutine> loaded_;
};

class Verifier {
 public:
  Verifier(const std::vector<CheckedFile>& files, EngineKind engine)
      : engine_(engine), files_(files) {}

  Verification Run(const std::vector<EntryPoint>& entry_points) {
    for (const Finding& fault : files_.Faults()) findings_.insert(Key(fault));
    if (entry_points.empty())
      for (const std::string& name : files_.Names()) Enter(name, {});
    for (const EntryPoint& entry : entry_points) EnterFromHost(entry);
    while (!waiting_.empty() && visited_ <= kMostFrames) {
      const auto [context, pc] = waiting_.back();
      waiting_.pop_back();
      Execute(*context, pc);
    }
    if (!waiting_.empty())
      findings_.insert(Key({Finding::Kind::kUnchecked, "", "", 0, std::nullopt,
                            "too many different frames to check them all"}));
    CheckStatics();
    CheckJumps();
    Verification verification;
    for (const auto& key : findings_) verification.findings.push_back(FromKey(key));
    return verification;
  }

 private:
  // What one subroutine meets: the frames at each offset, and how far each unit of code reaches.
  struct Context {
    const LoadedSubroutine* subroutine = nullptr;
    std::map<std::size_t, std::set<FrameTypes>> frames;
    std::map<std::size_t, std::size_t> units;            // start -> end
    std::map<std::size_t, std::set<std::size_t>> jumps;  // target -> the jumps to it
  };
  struct Visit {
    Context* context;
    std::pair<std::size_t, const FrameTypes*> at;
  };
  struct StaticSite {
    const LoadedSubroutine* subroutine;
    std::size_t offset;
    std::size_t position;
    auto operator<=>(const StaticSite&) const = default;
  };

  using FindingKey = std::tuple<std::string, std::string, std::size_t, Finding::Kind,
                                std::optional<std::size_t>, std::string>;
  static FindingKey Key(const Finding& f) {
    return {f.file, f.subroutine, f.offset, f.kind, f.position, f.text};
  }
  static Finding FromKey(const FindingKey& k) {
    return {std::get<3>(k), std::get<0>(k), std::get<1>(k),
            std::get<2>(k), std::get<4>(k), std::get<5>(k)};
  }

  void Report(Finding::Kind kind, const LoadedSubroutine& subroutine, std::size_t offset,
              std::optional<std::size_t> position, std::string text) {
    findings_.insert(
        Key({kind, subroutine.file, subroutine.name, offset, position, std::move(text)}));
  }

  // ---- walking -------------------------------------------------------------------------------
  void EnterFromHost(const EntryPoint& entry) {
    std::vector<HolderType> parameters;
    for (const TypeCode type : entry.parameters) parameters.push_back({type, true, false, 0});
    const std::string reason = Enter(entry.subroutine, std::move(parameters));
    if (!reason.empty())
      findings_.insert(Key({Finding::Kind::kFault, "", entry.subroutine, 0, std::nullopt, reason}));
  }

  // The reason if the subroutine cannot be loaded.
  std::string Enter(const std::string& name, std::vector<HolderType> parameters) {
    std::string reason;
    const LoadedSubroutine* subroutine = files_.Load(name, reason);
    if (subroutine == nullptr) return reason;
    Context& context = contexts_[name];
    context.subroutine = subroutine;
    Meet(context, 0, FrameTypes(std::move(parameters)));
    return {};
  }

  void Meet(Context& context, std::size_t pc, const FrameTypes& frame) {
    const auto [place, fresh] = context.frames[pc].insert(frame);
    if (!fresh) return;
    ++visited_;
    waiting_.push_back({&context, {pc, &*place}});
  }

  void Execute(Context& context, const std::pair<std::size_t, const FrameTypes*>& at) {
    const LoadedSubroutine& subroutine = *context.subroutine;
    const Step step = ExecuteOnTypes(subroutine.code, at.first, *at.second, engine_);
    for (const StepFault& fault : step.faults)
      Report(Finding::Kind::kFault, subroutine, step.offset, fault.position, fault.text);
    for (const std::string& warning : step.warnings)
      Report(Finding::Kind::kWarning, subroutine, step.offset, std::nullopt, warning);
    for (const StaticUse& use : step.statics)
      statics_[use.key][use.storage].insert({&subroutine, step.offset, use.position});
    if (!step.faults.empty()) return;
    Mark(context, step);
    if (step.call && !Call(subroutine, step)) return;
    for (const std::size_t next : step.next) {
      if (next != step.end && !Jump(context, step.offset, next)) continue;
      Meet(context, next, step.frame);
      if (step.also) Meet(context, next, *step.also);
    }
  }

  void Mark(Context& context, const Step& step) {
    for (std::size_t i = 0; i < step.units.size(); ++i) {
      std::size_t& end = context.units[step.units[i]];
      end = std::max(end, i + 1 < step.units.size() ? step.units[i + 1] : step.end);
    }
  }

  bool Jump(Context& context, std::size_t from, std::size_t target) {
    if (target < context.subroutine->code.size()) {
      context.jumps[target].insert(from);
      return true;
    }
    Report(Finding::Kind::kFault, *context.subroutine, from, std::nullopt,
           "jumps out of the subroutine, to " + std::to_string(target));
    return false;
  }

  bool Call(const LoadedSubroutine& caller, const Step& step) {
    if (!step.call->name) {
      Report(Finding::Kind::kUnchecked, caller, step.offset, std::nullopt,
             "calls a subroutine that only a variable knows");
      return true;
    }
    const std::string reason = Enter(*step.call->name, step.call->parameters);
    if (reason.empty()) return true;
    Report(Finding::Kind::kFault, caller, step.offset, std::nullopt, "cannot call: " + reason);
    return false;
  }

  // ---- what shows only in the end ------------------------------------------------------------
  // One key must have one type, whoever comes first.
  void CheckStatics() {
    for (const auto& [key, types] : statics_) {
      if (types.size() < 2) continue;
      for (const auto& [type, sites] : types)
        for (const StaticSite& site : sites)
          Report(Finding::Kind::kFault, *site.subroutine, site.offset, site.position,
                 "the static with the key " + std::to_string(key) + " is of type " +
                     NameOfType(type) + " here and of another one elsewhere");
    }
  }

  void CheckJumps() {
    for (const auto& [name, context] : contexts_)
      for (const auto& [target, jumps] : context.jumps) {
        auto unit = context.units.lower_bound(target);
        if (unit == context.units.begin()) continue;
        --unit;
        if (unit->second <= target) continue;
        for (const std::size_t jump : jumps)
          Report(Finding::Kind::kFault, *context.subroutine, jump, std::nullopt,
                 "jumps to " + std::to_string(target) + ", inside the instruction at " +
                     std::to_string(unit->first));
      }
  }

  EngineKind engine_;
  FileSet files_;
  std::map<std::string, Context> contexts_;
  std::vector<Visit> waiting_;
  std::size_t visited_ = 0;
  std::map<std::uint32_t, std::map<TypeCode, std::set<StaticSite>>> statics_;
  std::set<FindingKey> findings_;
};

}  // namespace

bool Verification::Accepted() const {
  return std::all_of(findings.begin(), findings.end(), [](const Finding& finding) {
    return finding.kind == Finding::Kind::kWarning;
  });
}

Verification Verify(const std::vector<CheckedFile>& files,
                    const std::vector<EntryPoint>& entry_points, EngineKind engine) {
  return Verifier(files, engine).Run(entry_points);
}

std::string Describe(const Finding& finding) {
  constexpr const char* kKinds[] = {"error", "unchecked", "warning"};
  std::string place = finding.file;
  if (!finding.subroutine.empty())
    place +=
        (place.empty() ? "" : ": ") + finding.subroutine + "+" + std::to_string(finding.offset);
  return place + (place.empty() ? "" : ": ") + kKinds[static_cast<int>(finding.kind)] + ": " +
         finding.text;
}

}  // namespace tmx::compiler
