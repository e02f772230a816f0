// Amounts beside the same amounts made of GMP integers: money-sized values summed up, added to a
// new amount, added across precisions, rescaled, read and written.

#include <benchmark/benchmark.h>
#include <gmp.h>

#include <cstddef>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tmxtools/core/amount.h"

namespace {

// The peer: value, precision and currency, with a GMP integer for the value.
class GmpAmount {
 public:
  GmpAmount(long value, unsigned short precision, std::string currency)
      : precision_(precision), currency_(std::move(currency)) {
    mpz_init_set_si(value_, value);
  }
  GmpAmount(const GmpAmount& other) : precision_(other.precision_), currency_(other.currency_) {
    mpz_init_set(value_, other.value_);
  }
  GmpAmount& operator=(const GmpAmount&) = delete;
  ~GmpAmount() { mpz_clear(value_); }

  GmpAmount& operator+=(const GmpAmount& other) {
    if (precision_ > other.precision_) {
      GmpAmount rescaled(other);
      rescaled.SetPrecision(precision_);
      mpz_add(value_, value_, rescaled.value_);
    } else {
      SetPrecision(other.precision_);
      mpz_add(value_, value_, other.value_);
    }
    return *this;
  }
  void SetPrecision(unsigned short precision) {
    if (precision == precision_) return;
    mpz_t power;
    mpz_init(power);
    if (precision > precision_) {
      mpz_ui_pow_ui(power, 10, static_cast<unsigned long>(precision - precision_));
      mpz_mul(value_, value_, power);
    } else {
      RoundTo(power, precision);
    }
    mpz_clear(power);
    precision_ = precision;
  }

  void SetFromText(const std::string& text) {
    const std::size_t comma = text.find(',');
    precision_ = static_cast<unsigned short>(comma == text.npos ? 0 : text.size() - comma - 1);
    std::string digits = text;
    std::erase_if(digits, [](char c) { return c == ',' || c == '.'; });
    mpz_set_str(value_, digits.c_str(), 10);
  }
  std::string Text() const {
    char digits[64];
    mpz_get_str(digits, 10, value_);
    std::string text = digits;
    const std::size_t sign = text[0] == '-';
    const std::size_t count = text.size() - sign;
    if (count <= precision_) text.insert(sign, precision_ - count + 1, '0');
    return text.insert(text.size() - precision_, 1, ',');
  }

 private:
  void RoundTo(mpz_t power, unsigned short precision) {
    mpz_t remainder;
    mpz_init(remainder);
    mpz_ui_pow_ui(power, 10, static_cast<unsigned long>(precision_ - precision));
    const int sign = mpz_sgn(value_);
    mpz_tdiv_qr(value_, remainder, value_, power);
    mpz_tdiv_q_2exp(power, power, 1);
    if (mpz_cmpabs(remainder, power) >= 0) {
      if (sign < 0) {
        mpz_sub_ui(value_, value_, 1);
      } else {
        mpz_add_ui(value_, value_, 1);
      }
    }
    mpz_clear(remainder);
  }

  mpz_t value_;
  unsigned short precision_;
  std::string currency_;
};

// Our side under the same names.
class OurAmount : public HbAmount {
 public:
  using HbAmount::HbAmount;
  void SetFromText(const String& text) { SetFromDecimalPointString(text, GetCurrency()); }
  String Text() const { return GetDecimalPointString(); }
};

std::string Plain(const String& text) { return std::string(text.View()); }
std::string Plain(const std::string& text) { return text; }

// A lot of amounts of up to ten million, with two decimal places or two to four, and their texts.
template <class Amount>
struct Lot {
  static constexpr std::size_t kSize = 1024;
  using Text = decltype(std::declval<Amount>().Text());

  explicit Lot(bool mixed) {
    std::mt19937 random(1);
    for (std::size_t i = 0; i < kSize; ++i) {
      const long value = static_cast<long>(random() % 2000000000) - 1000000000;
      const auto precision = static_cast<unsigned short>(2 + (mixed ? random() % 3 : 0));
      amounts.emplace_back(value, precision, "EUR");
      texts.push_back(amounts.back().Text());
    }
  }
  // What the amounts are, to hold both sides against each other.
  std::string Summary() const {
    std::string summary;
    for (const Amount& amount : amounts) summary += Plain(amount.Text()) + " ";
    return summary;
  }

  std::vector<Amount> amounts;
  std::vector<Text> texts;
};

template <class Amount>
void Sum(Lot<Amount>& lot) {
  for (std::size_t i = 1; i < lot.kSize; ++i) lot.amounts[0] += lot.amounts[i];
}
template <class Amount>
void Add(Lot<Amount>& lot) {
  for (std::size_t i = 1; i < lot.kSize; ++i) {
    Amount sum = lot.amounts[i - 1];
    sum += lot.amounts[i];
    benchmark::DoNotOptimize(sum);
  }
}
// To ten-thousandths and back, in place.
template <class Amount>
void Rescale(Lot<Amount>& lot) {
  for (Amount& amount : lot.amounts) {
    amount.SetPrecision(4);
    benchmark::DoNotOptimize(amount);
    amount.SetPrecision(2);
    benchmark::DoNotOptimize(amount);
  }
}
template <class Amount>
void Read(Lot<Amount>& lot) {
  for (std::size_t i = 0; i < lot.kSize; ++i) lot.amounts[i].SetFromText(lot.texts[i]);
}
template <class Amount>
void Write(Lot<Amount>& lot) {
  for (const Amount& amount : lot.amounts) {
    auto text = amount.Text();
    benchmark::DoNotOptimize(text);
  }
}

template <class Amount, void (*ours)(Lot<OurAmount>&), void (*peers)(Lot<GmpAmount>&), bool mixed>
void Measure(benchmark::State& state) {
  Lot<OurAmount> our_lot(mixed);
  Lot<GmpAmount> peer_lot(mixed);
  ours(our_lot);
  peers(peer_lot);
  if (our_lot.Summary() != peer_lot.Summary()) state.SkipWithError("the results differ");
  if constexpr (std::is_same_v<Amount, OurAmount>) {
    for (auto _ : state) ours(our_lot);
  } else {
    for (auto _ : state) peers(peer_lot);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(our_lot.kSize));
}

#define COMPARE(name, work, mixed)                                                \
  BENCHMARK_TEMPLATE(Measure, OurAmount, work<OurAmount>, work<GmpAmount>, mixed) \
      ->Name(name "_Ours");                                                       \
  BENCHMARK_TEMPLATE(Measure, GmpAmount, work<OurAmount>, work<GmpAmount>, mixed)->Name(name "_Gmp")
COMPARE("Sum", Sum, false);
COMPARE("Add", Add, false);
COMPARE("AddMixed", Add, true);
COMPARE("Rescale", Rescale, false);
COMPARE("Read", Read, true);
COMPARE("Write", Write, true);
#undef COMPARE

}  // namespace
