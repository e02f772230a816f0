// The interpreter beside Lua 5.4 and LuaJIT: a loop, a call, and taking a bank answer apart. All
// three run in this process; the peers are loaded side by side, each with symbols of its own.

#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>

#include "tmxtools/macro/engine.h"

namespace {

// ---- our side: three subroutines, assembled by hand ---------------------------------------------

class Code {
 public:
  Code& Op(int opcode, int count) { return Byte(opcode).Byte(count); }
  Code& Byte(int value) {
    bytes_ += static_cast<char>(value);
    return *this;
  }
  Code& Two(int value) { return Byte(value >> 8).Byte(value); }
  Code& Four(std::int32_t value) { return Two(value >> 16).Two(value); }
  Code& Text(const std::string& text) {
    bytes_ += text;
    return Byte(0);
  }
  Code& TextLiteral(const std::string& text) { return Two(1).Text(text); }
  Code& LongLiteral(std::int32_t value) { return Two(6).Four(value); }
  Code& CharLiteral(char value) { return Two(12).Byte(value); }
  Code& LocalLong(int id, std::int32_t value) { return Op(5, 3).Byte(6).Two(id).Four(value); }
  Code& AddLong(int id, std::int32_t value) {
    return Op(28, 5).Byte(6).Byte('+').Two(id).Two(id).LongLiteral(value);
  }
  // Goes on at `target` while the variable is below `limit`.
  Code& LoopBelow(int id, std::int32_t limit, int target) {
    Op(2, 4).Byte(6).Byte('<').Two(id).LongLiteral(limit);
    return Op(31, 2).Byte(0).Two(target);
  }
  Code& Exit() { return Op(17, 0); }
  int Here() const { return static_cast<int>(bytes_.size()); }
  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

constexpr int kTurns = 1000000;

Code LoopSub() {
  Code code;
  code.LocalLong(33, 0);
  const int top = code.Here();
  return code.AddLong(33, 1).LoopBelow(33, kTurns, top).Exit();
}

Code AddSub() {
  Code code;
  code.Op(1, 2).Byte(6).Two(33).Op(1, 2).Byte(6).Two(34);
  code.Op(28, 5).Byte(6).Byte('+').Two(33).Two(33).Two(34);
  return code.Exit();
}

Code CallSub() {
  Code code;
  code.LocalLong(33, 0).LocalLong(34, 1).LocalLong(35, 0);
  const int top = code.Here();
  code.Op(32, 3).Text("ADD").Two(33).Two(34);
  return code.AddLong(35, 1).LoopBelow(35, kTurns, top).Exit();
}

// Segments of five elements: head, account, amount, date, name.
Code ParseSub(int segments) {
  Code code;
  code.Op(1, 2).Byte(1).Two(33);
  code.LocalLong(34, 0);
  for (const int text : {35, 36, 37}) code.Op(5, 3).Byte(1).Two(text).Text("");
  code.Op(5, 3).Byte(8).Two(38).Text("");
  code.Op(5, 3).Byte(2).Two(39).Four(0);
  code.Op(58, 1).Two(33);
  const int top = code.Here();
  const auto take = [&code](int id, char stop) {
    code.Op(14, 3).Two(id).Two(5).Two(0xFFFF).CharLiteral(stop);
    code.Op(55, 1).CharLiteral(stop);
  };
  take(35, '+');
  take(36, '+');
  code.Op(16, 1).Two(38).Op(55, 1).CharLiteral('+');
  code.Op(15, 2).Two(39).TextLiteral("yymd").Op(55, 1).CharLiteral('+');
  take(37, '\'');
  code.Op(8, 2).Two(39).TextLiteral("d.m.yy");
  code.Op(9, 2).Two(38).TextLiteral("v.n");
  code.Op(7, 1).Two(37);
  return code.AddLong(34, 1).LoopBelow(34, segments, top).Exit();
}

std::string Answer(int& segments) {
  std::mt19937 random(7);
  const auto up_to = [&random](unsigned limit) { return static_cast<unsigned>(random() % limit); };
  std::string text;
  segments = 0;
  while (text.size() < 10240 - 70) {
    char segment[128];
    std::snprintf(segment, sizeof segment,
                  "HISAL:%u:6:3+%010u+%u,%02u+%04u%02u%02u+Kontokorrent %u'", 2 + up_to(98),
                  up_to(4000000000u), up_to(1000000), up_to(100), 1998 + up_to(32), 1 + up_to(12),
                  1 + up_to(28), up_to(1000));
    text += segment;
    ++segments;
  }
  return text;
}

class Ours {
 public:
  Ours() {
    directory_ = std::filesystem::temp_directory_path() / ("tmx-bench-" + std::to_string(getpid()));
    std::filesystem::create_directories(directory_ / "macro");
    answer_ = Answer(segments_);
    Write({{"LOOP", LoopSub()},
           {"ADD", AddSub()},
           {"CALL", CallSub()},
           {"PARSE", ParseSub(segments_)}});
    engine_ = std::make_unique<MeMacroEngine>(String(directory_.c_str()));
    HbError err;
    engine_->PushFile("general", err);
  }
  ~Ours() { std::filesystem::remove_all(directory_); }

  void Run(const char* sub, bool with_answer = false) {
    HbError err;
    HbStackFrame* const frame = engine_->LoadSub(sub, err);
    if (frame == nullptr) throw std::runtime_error(err.GetText()->Data());
    if (with_answer) frame->PushParam(String(std::string_view(answer_)));
    if (!engine_->Call(frame, err) || engine_->GetStatus().IsSet())
      throw std::runtime_error(sub + std::string(": ") + engine_->GetStatus().GetText()->Data());
  }
  const std::string& answer() const { return answer_; }
  std::string output() const { return std::string(engine_->GetOutput().View()); }

 private:
  void Write(const std::vector<std::pair<std::string, Code>>& subs) {
    std::string index, code = "JHOG";
    for (const auto& [name, sub] : subs) {
      Code entry;
      entry.Text(name).Four(static_cast<std::int32_t>(code.size())).Two(sub.Here()).Two(0);
      index += entry.bytes();
      code += sub.bytes();
    }
    std::ofstream(directory_ / "macro/general.hbz", std::ios::binary) << index;
    std::ofstream(directory_ / "macro/general.hbx", std::ios::binary) << code;
  }

  std::filesystem::path directory_;
  std::string answer_;
  int segments_ = 0;
  std::unique_ptr<MeMacroEngine> engine_;
};

Ours& TheEngine() {
  static Ours ours;
  return ours;
}

// ---- the peers ----------------------------------------------------------------------------------

constexpr const char* kLuaPrograms = R"(
function loop(n)
  local i = 0
  while true do
    i = i + 1
    if not (i < n) then break end
  end
  return i
end
local acc = 0
local subs = { ADD = function(a, b) acc = a + b; return acc end }
function call(n)
  local x = 0
  for i = 1, n do x = subs["ADD"](x, 1) end
  return x
end
local find, sub, fmt, tonumber = string.find, string.sub, string.format, tonumber
function parse(ans)
  local out, n, pos, len = {}, 0, 1, #ans
  while pos <= len do
    local e = find(ans, "+", pos, true); local head = sub(ans, pos, e - 1); pos = e + 1
    e = find(ans, "+", pos, true); local account = sub(ans, pos, e - 1); pos = e + 1
    e = find(ans, "+", pos, true); local amount = sub(ans, pos, e - 1); pos = e + 1
    e = find(ans, "+", pos, true); local d = sub(ans, pos, e - 1); pos = e + 1
    e = find(ans, "'", pos, true); local name = sub(ans, pos, e - 1); pos = e + 1
    local c = find(amount, ",", 1, true)
    local v, f = tonumber(sub(amount, 1, c - 1)), tonumber(sub(amount, c + 1))
    local y, m, dd = tonumber(sub(d, 1, 4)), tonumber(sub(d, 5, 6)), tonumber(sub(d, 7, 8))
    out[n + 1] = fmt("%02d.%02d.%04d", dd, m, y)
    out[n + 2] = fmt("%d.%02d", v, f)
    out[n + 3] = name
    n = n + 3
  end
  return table.concat(out)
end
)";

// A Lua library loaded by name. The functions that the two versions name differently are found
// under either name.
class Lua {
 public:
  explicit Lua(const char* library) : library_(dlopen(library, RTLD_NOW | RTLD_LOCAL)) {
    if (library_ == nullptr) throw std::runtime_error(dlerror());
    state_ = Find<void* (*)()>("luaL_newstate")();
    Find<void (*)(void*)>("luaL_openlibs")(state_);
    if (Find<int (*)(void*, const char*)>("luaL_loadstring")(state_, kLuaPrograms) != 0)
      throw std::runtime_error("Lua refuses the programs");
    pcall_ = reinterpret_cast<PCall>(dlsym(library_, "lua_pcall"));
    pcallk_ = reinterpret_cast<PCallK>(dlsym(library_, "lua_pcallk"));
    getglobal_ = reinterpret_cast<Named>(dlsym(library_, "lua_getglobal"));
    getfield_ = Find<Field>("lua_getfield");
    push_integer_ = Find<void (*)(void*, std::ptrdiff_t)>("lua_pushinteger");
    push_string_ = Find<void (*)(void*, const char*, std::size_t)>("lua_pushlstring");
    to_string_ = Find<const char* (*)(void*, int, std::size_t*)>("lua_tolstring");
    settop_ = Find<void (*)(void*, int)>("lua_settop");
    Invoke(0);
  }

  void Run(const char* function, int turns) {
    Push(function);
    push_integer_(state_, turns);
    Invoke(1);
    settop_(state_, 0);
  }
  std::string Parse(const std::string& answer) {
    Push("parse");
    push_string_(state_, answer.data(), answer.size());
    Invoke(1);
    std::size_t length = 0;
    const char* const text = to_string_(state_, -1, &length);
    std::string result(text, length);
    settop_(state_, 0);
    return result;
  }

 private:
  using PCall = int (*)(void*, int, int, int);
  using PCallK = int (*)(void*, int, int, int, std::intptr_t, void*);
  using Named = int (*)(void*, const char*);
  using Field = int (*)(void*, int, const char*);
  static constexpr int kGlobalsOfLuaJit = -10002;

  template <typename Function>
  Function Find(const char* name) {
    void* const symbol = dlsym(library_, name);
    if (symbol == nullptr) throw std::runtime_error(dlerror());
    return reinterpret_cast<Function>(symbol);
  }
  void Push(const char* function) {
    if (getglobal_ != nullptr) {
      getglobal_(state_, function);
    } else {
      getfield_(state_, kGlobalsOfLuaJit, function);
    }
  }
  void Invoke(int arguments) {
    const int failed = pcall_ != nullptr ? pcall_(state_, arguments, 1, 0)
                                         : pcallk_(state_, arguments, 1, 0, 0, nullptr);
    if (failed != 0) throw std::runtime_error(to_string_(state_, -1, nullptr));
  }

  void* library_;
  void* state_ = nullptr;
  PCall pcall_ = nullptr;
  PCallK pcallk_ = nullptr;
  Named getglobal_ = nullptr;
  Field getfield_ = nullptr;
  void (*push_integer_)(void*, std::ptrdiff_t) = nullptr;
  void (*push_string_)(void*, const char*, std::size_t) = nullptr;
  const char* (*to_string_)(void*, int, std::size_t*) = nullptr;
  void (*settop_)(void*, int) = nullptr;
};

Lua& Lua54() {
  static Lua lua("liblua5.4.so.0");
  return lua;
}
Lua& LuaJit() {
  static Lua lua("libluajit-5.1.so.2");
  return lua;
}

// ---- the benchmarks -----------------------------------------------------------------------------

void Loop_Ours(benchmark::State& state) {
  for (auto _ : state) TheEngine().Run("LOOP");
  state.SetItemsProcessed(state.iterations() * kTurns);
}
void Loop_Lua54(benchmark::State& state) {
  for (auto _ : state) Lua54().Run("loop", kTurns);
  state.SetItemsProcessed(state.iterations() * kTurns);
}
void Loop_LuaJit(benchmark::State& state) {
  for (auto _ : state) LuaJit().Run("loop", kTurns);
  state.SetItemsProcessed(state.iterations() * kTurns);
}
void Call_Ours(benchmark::State& state) {
  for (auto _ : state) TheEngine().Run("CALL");
  state.SetItemsProcessed(state.iterations() * kTurns);
}
void Call_Lua54(benchmark::State& state) {
  for (auto _ : state) Lua54().Run("call", kTurns);
  state.SetItemsProcessed(state.iterations() * kTurns);
}
void Call_LuaJit(benchmark::State& state) {
  for (auto _ : state) LuaJit().Run("call", kTurns);
  state.SetItemsProcessed(state.iterations() * kTurns);
}
void Parse_Ours(benchmark::State& state) {
  for (auto _ : state) TheEngine().Run("PARSE", true);
  if (TheEngine().output() != Lua54().Parse(TheEngine().answer()))
    state.SkipWithError("the outputs differ");
}
void Parse_Lua54(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Lua54().Parse(TheEngine().answer()));
}
void Parse_LuaJit(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(LuaJit().Parse(TheEngine().answer()));
}

BENCHMARK(Loop_Ours);
BENCHMARK(Loop_Lua54);
BENCHMARK(Loop_LuaJit);
BENCHMARK(Call_Ours);
BENCHMARK(Call_Lua54);
BENCHMARK(Call_LuaJit);
BENCHMARK(Parse_Ours);
BENCHMARK(Parse_Lua54);
BENCHMARK(Parse_LuaJit);

}  // namespace
