// The registry beside the sorted maps of the standard library and of Abseil, with the field ids of
// response segments: looking up ids that are there and that are not, building up in random and in
// ascending order, walking in order.

#include <absl/container/btree_map.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <vector>

#include "tmxtools/variables/variables.h"

namespace {

constexpr std::size_t kQueries = 1 << 14;

// One side of a comparison: a container under the few operations that are measured.
class Registry {
 public:
  void Insert(std::uint32_t id, HbVariable* variable) { registry_.Register(id, variable); }
  HbVariable* Find(std::uint32_t id) const { return registry_[id]; }
  template <class Visit>
  void Walk(Visit visit) const {
    HbVariablesIter walk(&registry_);
    for (HbVariable* at = walk.GetFirst(); at != nullptr; at = walk.GetNext()) {
      visit(walk.GetId(), at);
    }
  }

 private:
  HbVariables registry_;
};

template <class Map>
class MapOf {
 public:
  ~MapOf() {
    for (const auto& [id, variable] : map_) variable->DecRefCount();
  }
  void Insert(std::uint32_t id, HbVariable* variable) {
    if (map_.emplace(id, variable).second) variable->IncRefCount();
  }
  HbVariable* Find(std::uint32_t id) const {
    const auto found = map_.find(id);
    return found == map_.end() ? nullptr : found->second;
  }
  template <class Visit>
  void Walk(Visit visit) const {
    for (const auto& [id, variable] : map_) visit(id, variable);
  }

 private:
  Map map_;
};
using StdMap = MapOf<std::map<std::uint32_t, HbVariable*>>;
using AbslBtree = MapOf<absl::btree_map<std::uint32_t, HbVariable*>>;

// Ids and queries for a number of entries; the same for every container.
struct Workload {
  explicit Workload(std::size_t size) : random(static_cast<unsigned>(size)) {
    for (std::size_t i = 0; i < size; ++i) {
      ascending.push_back(static_cast<std::uint32_t>(60000 + 100130 * i));
    }
    shuffled = ascending;
    std::shuffle(shuffled.begin(), shuffled.end(), random);
    for (std::size_t i = 0; i < kQueries; ++i) {
      hits.push_back(ascending[random() % size]);
      misses.push_back(ascending[random() % size] + 1 + static_cast<std::uint32_t>(random() % 999));
    }
  }
  template <class Container>
  void Fill(Container& container, const std::vector<std::uint32_t>& ids) const {
    for (const std::uint32_t id : ids) container.Insert(id, variable);
  }
  ~Workload() { variable->DecRefCount(); }
  Workload(const Workload&) = delete;
  Workload& operator=(const Workload&) = delete;

  std::mt19937 random;
  std::vector<std::uint32_t> ascending, shuffled, hits, misses;
  HbVariable* variable = HbVariables::CreateVariable(6);
};

// The fields of a small segment, and up to the parameter data of a large bank.
void Small(benchmark::internal::Benchmark* benchmark) { benchmark->Arg(10); }
void Large(benchmark::internal::Benchmark* benchmark) {
  for (const int size : {100, 1000, 10000}) benchmark->Arg(size);
}
void All(benchmark::internal::Benchmark* benchmark) {
  Small(benchmark);
  Large(benchmark);
}
std::size_t Size(const benchmark::State& state) { return static_cast<std::size_t>(state.range(0)); }

void Report(benchmark::State& state, std::size_t operations) {
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(operations));
}

template <class Container, bool hit>
void Find(benchmark::State& state) {
  const Workload workload(Size(state));
  Container container;
  workload.Fill(container, workload.shuffled);
  const auto& queries = hit ? workload.hits : workload.misses;
  for (auto _ : state) {
    std::size_t found = 0;
    for (const std::uint32_t id : queries) found += container.Find(id) != nullptr;
    if (found != (hit ? kQueries : 0)) state.SkipWithError("wrong result");
  }
  Report(state, kQueries);
}

template <class Container, bool ascending>
void Build(benchmark::State& state) {
  const Workload workload(Size(state));
  for (auto _ : state) {
    Container container;
    workload.Fill(container, ascending ? workload.ascending : workload.shuffled);
    benchmark::DoNotOptimize(container.Find(0));
  }
  Report(state, Size(state));
}

template <class Container, int>
void Walk(benchmark::State& state) {
  const Workload workload(Size(state));
  Container container;
  workload.Fill(container, workload.shuffled);
  for (auto _ : state) {
    std::uint64_t sum = 0;
    container.Walk([&sum](unsigned long id, HbVariable*) { sum += id; });
    benchmark::DoNotOptimize(sum);
  }
  Report(state, Size(state));
}

#define COMPARE(name, sizes, work, last)                                      \
  BENCHMARK_TEMPLATE(work, Registry, last)->Name(name "_Ours")->Apply(sizes); \
  BENCHMARK_TEMPLATE(work, StdMap, last)->Name(name "_StdMap")->Apply(sizes); \
  BENCHMARK_TEMPLATE(work, AbslBtree, last)->Name(name "_AbslBtree")->Apply(sizes)
COMPARE("SmallLookup", Small, Find, true);
COMPARE("Lookup", Large, Find, true);
COMPARE("Miss", All, Find, false);
COMPARE("Insert", All, Build, false);
COMPARE("Append", All, Build, true);
COMPARE("Walk", All, Walk, 0);
#undef COMPARE

}  // namespace
