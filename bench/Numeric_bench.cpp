// Exact decimals against their peers, side by side in one run: core::Numeric, libmpdec (when built with
// -DKERN83_BENCH_MPDEC=ON), Boost.Multiprecision cpp_dec_float, GMP mpz fixed point and __int128 fixed
// point (the floor: no general decimal type can beat a machine integer of a fixed scale).
//
// Every benchmark is named BM_<operation>/<size>/<peer>. One iteration is one operation on the next pair
// of a table of 1,024 positive operands, so branch predictors see varied data; results go into objects
// allocated once (preallocated results), except where a peer's interface always returns a new object
// (Numeric's round).
//
// Each peer does the same work in its best documented way:
//   parse      the whole text must be a number: Numeric checks that the scan stopped at the NUL,
//              libmpdec's mpd_qset_string and GMP's mpz_set_str reject trailing text themselves, Boost
//              throws on it (__int128, the floor, does not validate)
//   print      into a text the caller keeps and reuses (Numeric's toString into one avo::String, GMP's
//              mpz_get_str into a buffer, __int128 into a buffer)
//   printNew   a new text per call, for the peers that have no printer into a caller's buffer: libmpdec
//              (mpd_to_sci_size allocates the text and returns its length; freed with mpd_free), Boost
//              (str()), and Numeric into a fresh avo::String (up to 15 characters stay in the string
//              object, longer texts are allocated)
//   add, multiply, divide  into a result object that lives across iterations: libmpdec, GMP and Boost
//              write the result of a and b into it; Numeric copies a into it and applies the compound
//              operator (a copy takes the source's inline or heap array, so a result of more than 36
//              digits is allocated anew each time: numbers of at most 36 digits never allocate, larger
//              ones own an array of exactly their size)
//
// Sizes:
//   business  amounts with 2 fractional digits and 3 to 18 digits in all; round: 4 fractional digits
//             rounded to 2
//   d36       36 digits, 18 of them fractional; round: to 10 fractional digits
//   d300      300 digits, 150 of them fractional; round: to 100 fractional digits
//   d36sum    (add only) d36 numbers whose first digit is 1 to 4, so that every sum has 36 digits
// Precisions of the peers that need one: libmpdec works exactly for parse, add, multiply and round
// (precision 38 / 76 / 620 digits) and divides to 28 / 54 / 324 significant digits; GMP divides to as
// many fractional digits; __int128 divides to 18 fractional digits (all that fits); Boost uses
// cpp_dec_float_50 for business and d36 and cpp_dec_float<300> for d300 and rounds to those digits.
// Numeric divides with count(b) + 2 limbs below the units (36 to 54 digits for these sizes).
#include <benchmark/benchmark.h>
#include <gmp.h>

#include <boost/multiprecision/cpp_dec_float.hpp>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "core/Numeric.h"

#ifdef KERN83_HAVE_MPDEC
#include <mpdecimal.h>
#endif

namespace {

constexpr std::size_t kPairs = 1024;

enum Size { kBusiness, kD36, kD300, kD36Sum };
constexpr const char* kSizeNames[] = {"business", "d36", "d300", "d36sum"};
// Fractional digits of the operands, of the round inputs and of the rounded results.
constexpr int kScale[] = {2, 18, 150, 18};
constexpr int kRoundInputScale[] = {4, 18, 150, 18};
constexpr int kRoundTo[] = {2, 10, 100, 10};
constexpr int kDivideDigits[] = {28, 54, 324, 54};

// Positive decimal texts "I.F" with exactly `frac` fractional digits, the first digit 1 to `top`.
std::string random_decimal(std::mt19937_64& rng, int intDigits, int frac, unsigned top = 9) {
  std::string s;
  s += static_cast<char>('1' + rng() % top);
  for (int i = 1; i < intDigits; ++i) s += static_cast<char>('0' + rng() % 10);
  s += '.';
  for (int i = 0; i < frac; ++i) s += static_cast<char>('0' + rng() % 10);
  return s;
}

struct Texts {
  std::vector<std::string> a, b, round;
};

const Texts& texts(Size size) {
  static const std::vector<Texts> all = [] {
    std::vector<Texts> sets(4);
    std::mt19937_64 rng(20240601);
    for (int s = 0; s < 4; ++s) {
      for (std::size_t i = 0; i < kPairs; ++i) {
        auto intDigits = [&](int maxInt) {
          return s == kBusiness ? 1 + int(rng() % unsigned(maxInt)) : (s == kD300 ? 150 : 18);
        };
        const unsigned top = s == kD36Sum ? 4 : 9;  // d36sum: sums stay within 36 digits
        sets[s].a.push_back(random_decimal(rng, intDigits(16), kScale[s], top));
        sets[s].b.push_back(random_decimal(rng, intDigits(16), kScale[s], top));
        sets[s].round.push_back(random_decimal(rng, intDigits(14), kRoundInputScale[s]));
      }
    }
    return sets;
  }();
  return all[size];
}

// ---- Peers ---------------------------------------------------------------------------------------------
// Each peer offers: Value, load (text -> value, untimed), parse (true when the whole text was a number),
// add, multiply, divide, compare, round, and print and/or printNew (see the top of this file). `size`
// selects precisions where a peer needs them.

struct NumericPeer {
  using Value = core::Numeric;
  struct Out {
    avo::String text;
  };
  static void load(Value& v, const std::string& s, Size) { v.fromString(s.c_str()); }
  static bool parse(Value& r, const char* s, Size) {
    const char* end = nullptr;
    r.fromString(s, &end);
    return *end == '\0';
  }
  static void print(const Value& v, Out& out) { v.toString(out.text); }
  static std::size_t printNew(const Value& v) {
    avo::String text;
    v.toString(text);
    benchmark::DoNotOptimize(text.data());
    return text.size();
  }
  static void add(Value& r, const Value& a, const Value& b, Size) { r = a, r += b; }
  static void multiply(Value& r, const Value& a, const Value& b, Size) { r = a, r *= b; }
  static void divide(Value& r, const Value& a, const Value& b, Size) { r = a, r /= b; }
  static int compare(const Value& a, const Value& b) { return a.compare(b); }
  static void round(Value& r, const Value& a, Size size) { r = a.round(kRoundTo[size], core::Round15as20); }
};

#ifdef KERN83_HAVE_MPDEC
struct MpdPeer {
  struct Value {
    mpd_t* p = mpd_qnew();
    Value() = default;
    Value(const Value&) = delete;
    ~Value() { mpd_del(p); }
  };
  static mpd_context_t make(mpd_ssize_t prec) {
    mpd_context_t ctx;
    mpd_maxcontext(&ctx);
    ctx.prec = prec;
    ctx.round = MPD_ROUND_HALF_UP;
    ctx.traps = 0;
    return ctx;
  }
  static const mpd_context_t& exact(Size size) {
    static const mpd_context_t c[] = {make(38), make(76), make(620), make(76)};
    return c[size];
  }
  static const mpd_context_t& quotient(Size size) {
    static const mpd_context_t c[] = {make(kDivideDigits[0]), make(kDivideDigits[1]), make(kDivideDigits[2]),
                                      make(kDivideDigits[3])};
    return c[size];
  }
  static void load(Value& v, const std::string& s, Size size) { parse(v, s.c_str(), size); }
  static bool parse(Value& r, const char* s, Size size) {
    uint32_t status = 0;
    mpd_qset_string(r.p, s, &exact(size), &status);
    return (status & MPD_Conversion_syntax) == 0;
  }
  // libmpdec has no printer into a caller's buffer: mpd_to_sci_size allocates the text and returns its
  // length, which saves the strlen of mpd_to_sci.
  static std::size_t printNew(const Value& v) {
    char* text = nullptr;
    const mpd_ssize_t n = mpd_to_sci_size(&text, v.p, 0);
    benchmark::DoNotOptimize(text);
    mpd_free(text);
    return static_cast<std::size_t>(n);
  }
  static void add(Value& r, const Value& a, const Value& b, Size size) {
    uint32_t status = 0;
    mpd_qadd(r.p, a.p, b.p, &exact(size), &status);
  }
  static void multiply(Value& r, const Value& a, const Value& b, Size size) {
    uint32_t status = 0;
    mpd_qmul(r.p, a.p, b.p, &exact(size), &status);
  }
  static void divide(Value& r, const Value& a, const Value& b, Size size) {
    uint32_t status = 0;
    mpd_qdiv(r.p, a.p, b.p, &quotient(size), &status);
  }
  static int compare(const Value& a, const Value& b) {
    uint32_t status = 0;
    return mpd_qcmp(a.p, b.p, &status);
  }
  static void round(Value& r, const Value& a, Size size) {
    uint32_t status = 0;
    mpd_qrescale(r.p, a.p, -kRoundTo[size], &exact(size), &status);
  }
};
#endif

template <unsigned kDigits>
struct BoostPeer {
  using Value = boost::multiprecision::number<boost::multiprecision::cpp_dec_float<kDigits>>;
  static void load(Value& v, const std::string& s, Size) { v = Value(s); }
  static bool parse(Value& r, const char* s, Size) {
    r.backend() = s;  // throws on anything that is not a number
    return true;
  }
  static std::size_t printNew(const Value& v) { return v.str(0, std::ios_base::fixed).size(); }
  static void add(Value& r, const Value& a, const Value& b, Size) { r = a + b; }
  static void multiply(Value& r, const Value& a, const Value& b, Size) { r = a * b; }
  static void divide(Value& r, const Value& a, const Value& b, Size) { r = a / b; }
  static int compare(const Value& a, const Value& b) { return a.compare(b); }
  static void round(Value& r, const Value& a, Size size) {
    static const Value scale[] = {Value(100), pow(Value(10), kRoundTo[1]), pow(Value(10), kRoundTo[2]),
                                  pow(Value(10), kRoundTo[3])};
    r = boost::multiprecision::round(a * scale[size]) / scale[size];
  }
};

// Fixed point on GMP integers: the value times 10^kScale[size] (10^kRoundInputScale for round inputs).
struct GmpPeer {
  struct Value {
    mpz_t z;
    Value() { mpz_init2(z, 4096); }
    Value(const Value&) = delete;
    ~Value() { mpz_clear(z); }
  };
  struct Out {
    char text[1300];
  };
  static const mpz_t& power(unsigned exponent) {
    static std::vector<Value> powers = [] {
      std::vector<Value> p(700);
      for (unsigned e = 0; e < p.size(); ++e) mpz_ui_pow_ui(p[e].z, 10, e);
      return p;
    }();
    return powers[exponent].z;
  }
  static void load(Value& v, const std::string& s, Size size) { parse(v, s.c_str(), size); }
  // Digits without the point, padded with zeros to the scale; mpz_set_str rejects any other character.
  static bool parse(Value& r, const char* s, Size size) {
    char digits[800];
    std::size_t n = 0;
    int frac = -1;
    for (; *s != '\0'; ++s) {
      if (*s == '.') {
        frac = 0;
      } else {
        digits[n++] = *s;
        if (frac >= 0) ++frac;
      }
    }
    for (int f = frac < 0 ? 0 : frac; f < kScale[size]; ++f) digits[n++] = '0';
    digits[n] = '\0';
    return mpz_set_str(r.z, digits, 10) == 0;
  }
  static void print(const Value& v, Out& out) {
    mpz_get_str(out.text + 1, 10, v.z);
    // Move the integer digits one to the left and put the point before the last 2 (business) digits.
    const std::size_t n = std::strlen(out.text + 1);
    const std::size_t frac = n > 200 ? 150 : (n > 20 ? 18 : 2);
    std::memmove(out.text, out.text + 1, n - frac);
    out.text[n - frac] = '.';
  }
  static void add(Value& r, const Value& a, const Value& b, Size) { mpz_add(r.z, a.z, b.z); }
  static void multiply(Value& r, const Value& a, const Value& b, Size) { mpz_mul(r.z, a.z, b.z); }
  static void divide(Value& r, const Value& a, const Value& b, Size size) {
    mpz_mul(r.z, a.z, power(unsigned(kDivideDigits[size])));
    mpz_tdiv_q(r.z, r.z, b.z);
  }
  static int compare(const Value& a, const Value& b) { return mpz_cmp(a.z, b.z); }
  static const mpz_t& half_power(unsigned exponent) {
    static std::vector<Value> halves = [] {
      std::vector<Value> h(700);
      for (unsigned e = 1; e < h.size(); ++e) mpz_tdiv_q_2exp(h[e].z, power(e), 1);
      return h;
    }();
    return halves[exponent].z;
  }
  static void round(Value& r, const Value& a, Size size) {
    const unsigned cut = unsigned(kRoundInputScale[size] - kRoundTo[size]);
    mpz_add(r.z, a.z, half_power(cut));
    mpz_tdiv_q(r.z, r.z, power(cut));
  }
};

// Fixed point on __int128, business amounts and d36 only (a 36-digit product does not fit).
struct Int128Peer {
  using Value = __int128;
  struct Out {
    char text[48];
  };
  static constexpr unsigned __int128 pow10(int e) {
    unsigned __int128 v = 1;
    while (e-- > 0) v *= 10;
    return v;
  }
  static void load(Value& v, const std::string& s, Size size) { parse(v, s.c_str(), size); }
  static bool parse(Value& r, const char* s, Size size) {
    std::uint64_t high = 0, low = 0;  // up to 18 digits each, so that the loop stays in 64 bits
    int n = 0, frac = -1;
    for (; *s != '\0'; ++s) {
      if (*s == '.') {
        frac = 0;
        continue;
      }
      if (n == 18) high = low, low = 0;
      low = low * 10 + std::uint64_t(*s - '0');
      ++n;
      if (frac >= 0) ++frac;
    }
    unsigned __int128 v = n > 18 ? (unsigned __int128)high * pow10(n - 18) + low : low;
    for (int f = frac < 0 ? 0 : frac; f < kScale[size]; ++f) v *= 10;
    r = static_cast<Value>(v);
    return true;
  }
  static void print(const Value& v, Out& out) {
    static const char pairs[] =
        "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
        "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
        "8081828384858687888990919293949596979899";
    auto u = static_cast<unsigned __int128>(v);
    const int frac = u >= pow10(20) ? 18 : 2;
    char buf[48];
    char* p = buf + sizeof buf;
    int digits = 0;
    while (u >= pow10(18)) {  // 18 digits at a time in 64 bits
      std::uint64_t part = static_cast<std::uint64_t>(u % pow10(18));
      u /= pow10(18);
      for (int k = 0; k < 9; ++k, part /= 100) std::memcpy(p -= 2, pairs + 2 * (part % 100), 2);
      digits += 18;
    }
    for (auto w = static_cast<std::uint64_t>(u); w != 0 || digits <= frac; w /= 10, ++digits) {
      *--p = static_cast<char>('0' + w % 10);
    }
    const std::size_t n = std::size_t(buf + sizeof buf - p);
    std::memcpy(out.text, p, n - std::size_t(frac));
    out.text[n - std::size_t(frac)] = '.';
    std::memcpy(out.text + n - std::size_t(frac) + 1, p + n - std::size_t(frac), std::size_t(frac));
    out.text[n + 1] = '\0';
  }
  static void add(Value& r, const Value& a, const Value& b, Size) { r = a + b; }
  static void multiply(Value& r, const Value& a, const Value& b, Size) { r = a * b; }
  static void divide(Value& r, const Value& a, const Value& b, Size) { r = a * static_cast<Value>(pow10(18)) / b; }
  static int compare(const Value& a, const Value& b) { return (a > b) - (a < b); }
  static void round(Value& r, const Value& a, Size size) {
    const auto unit = static_cast<Value>(pow10(kRoundInputScale[size] - kRoundTo[size]));
    r = (a + unit / 2) / unit;
  }
};

// ---- Benchmarks ----------------------------------------------------------------------------------------

template <class P>
struct Operands {
  std::vector<typename P::Value> a, b, round;
  explicit Operands(Size size) : a(kPairs), b(kPairs), round(kPairs) {
    const Texts& t = texts(size);
    for (std::size_t i = 0; i < kPairs; ++i) {
      P::load(a[i], t.a[i], size);
      P::load(b[i], t.b[i], size);
      P::load(round[i], t.round[i], size);
    }
  }
};

template <class P>
void BM_Parse(benchmark::State& state, Size size) {
  const Texts& t = texts(size);
  typename P::Value r;
  std::size_t i = 0;
  benchmark::IterationCount valid = 0;
  for (auto _ : state) {
    valid += P::parse(r, t.a[i].c_str(), size) ? 1 : 0;
    benchmark::DoNotOptimize(r);
    i = (i + 1) % kPairs;
  }
  if (valid != state.iterations()) state.SkipWithError("a text did not parse");
}

template <class P>
void BM_PrintNew(benchmark::State& state, Size size) {
  const Operands<P> v(size);
  std::size_t i = 0, length = 0;
  for (auto _ : state) {
    length += P::printNew(v.a[i]);
    i = (i + 1) % kPairs;
  }
  benchmark::DoNotOptimize(length);
}

template <class P>
void BM_Print(benchmark::State& state, Size size) {
  const Operands<P> v(size);
  typename P::Out out;
  std::size_t i = 0;
  for (auto _ : state) {
    P::print(v.a[i], out);
    benchmark::DoNotOptimize(out);
    i = (i + 1) % kPairs;
  }
}

template <class P, void (*kOp)(typename P::Value&, const typename P::Value&, const typename P::Value&, Size)>
void BM_Binary(benchmark::State& state, Size size) {
  const Operands<P> v(size);
  typename P::Value r;
  kOp(r, v.a[0], v.b[0], size);  // the result object reaches its working size before timing
  std::size_t i = 0;
  for (auto _ : state) {
    kOp(r, v.a[i], v.b[i], size);
    benchmark::DoNotOptimize(r);
    i = (i + 1) % kPairs;
  }
}

template <class P>
void BM_Compare(benchmark::State& state, Size size) {
  const Operands<P> v(size);
  std::size_t i = 0;
  int sum = 0;
  for (auto _ : state) {
    sum += P::compare(v.a[i], v.b[i]);
    i = (i + 1) % kPairs;
  }
  benchmark::DoNotOptimize(sum);
}

template <class P>
void BM_Round(benchmark::State& state, Size size) {
  const Operands<P> v(size);
  typename P::Value r;
  std::size_t i = 0;
  for (auto _ : state) {
    P::round(r, v.round[i], size);
    benchmark::DoNotOptimize(r);
    i = (i + 1) % kPairs;
  }
}

template <class P>
void register_peer(const char* peer, std::initializer_list<Size> sizes, bool multiplies = true) {
  for (const Size size : sizes) {
    const std::string suffix = std::string("/") + kSizeNames[size] + "/" + peer;
    benchmark::RegisterBenchmark(("BM_Parse" + suffix).c_str(), BM_Parse<P>, size);
    if constexpr (requires { P::print; }) {
      benchmark::RegisterBenchmark(("BM_Print" + suffix).c_str(), BM_Print<P>, size);
    }
    if constexpr (requires { P::printNew; }) {
      benchmark::RegisterBenchmark(("BM_PrintNew" + suffix).c_str(), BM_PrintNew<P>, size);
    }
    benchmark::RegisterBenchmark(("BM_Add" + suffix).c_str(), BM_Binary<P, P::add>, size);
    if (multiplies || size == kBusiness) {
      benchmark::RegisterBenchmark(("BM_Multiply" + suffix).c_str(), BM_Binary<P, P::multiply>, size);
      benchmark::RegisterBenchmark(("BM_Divide" + suffix).c_str(), BM_Binary<P, P::divide>, size);
    }
    benchmark::RegisterBenchmark(("BM_Compare" + suffix).c_str(), BM_Compare<P>, size);
    benchmark::RegisterBenchmark(("BM_Round" + suffix).c_str(), BM_Round<P>, size);
  }
}

}  // namespace

int main(int argc, char** argv) {
  register_peer<NumericPeer>("Numeric", {kBusiness, kD36, kD300});
#ifdef KERN83_HAVE_MPDEC
  register_peer<MpdPeer>("mpdec", {kBusiness, kD36, kD300});
#endif
  register_peer<BoostPeer<50>>("boost", {kBusiness, kD36});
  register_peer<BoostPeer<300>>("boost", {kD300});
  register_peer<GmpPeer>("gmp", {kBusiness, kD36, kD300});
  register_peer<Int128Peer>("int128", {kBusiness, kD36}, false);
  // Sums of 36-digit numbers that stay within 36 digits (d36 sums carry into a 37th digit about half the
  // time, and Numeric then needs a heap array).
  benchmark::RegisterBenchmark("BM_Add/d36sum/Numeric", BM_Binary<NumericPeer, NumericPeer::add>, kD36Sum);
#ifdef KERN83_HAVE_MPDEC
  benchmark::RegisterBenchmark("BM_Add/d36sum/mpdec", BM_Binary<MpdPeer, MpdPeer::add>, kD36Sum);
#endif
  benchmark::RegisterBenchmark("BM_Add/d36sum/boost", BM_Binary<BoostPeer<50>, BoostPeer<50>::add>, kD36Sum);
  benchmark::RegisterBenchmark("BM_Add/d36sum/gmp", BM_Binary<GmpPeer, GmpPeer::add>, kD36Sum);
  benchmark::RegisterBenchmark("BM_Add/d36sum/int128", BM_Binary<Int128Peer, Int128Peer::add>, kD36Sum);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
