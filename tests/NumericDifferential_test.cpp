// Numeric against an independent exact model: GMP integers with a decimal exponent (value = m * 10^-e).
//
// Operands come from every size class (1 limb, 2-4, 5-40), both signs and scales from -3 (implicit zero
// limbs) to count + 3 (fractions below 10^-9), with limbs biased towards 0, 999,999,999 and 500,000,000
// so that carries, borrows and exact halves are common. Each case goes through the text (the model
// prints, Numeric parses and prints back), then every operation is compared as canonical text and the
// result's normal form (count, scale) is checked against the model's.
#include <gmpxx.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "core/Exception.h"
#include "core/Numeric.h"

namespace {

using core::Numeric;

struct Dec {
  mpz_class m;      // signed digits
  long long e = 0;  // value = m * 10^-e
};

mpz_class pow10(long long n) {
  mpz_class r;
  mpz_ui_pow_ui(r.get_mpz_t(), 10, static_cast<unsigned long>(n));
  return r;
}

// Canonical text of the model: no exponent, no trailing fractional zeros, "0" for zero.
std::string text_of(const Dec& d) {
  if (d.m == 0) return "0";
  std::string digits = mpz_class(abs(d.m)).get_str();
  std::string out = d.m < 0 ? "-" : "";
  if (d.e <= 0) return out + digits + std::string(static_cast<std::size_t>(-d.e), '0');
  const auto e = static_cast<std::size_t>(d.e);
  if (digits.size() <= e) digits.insert(0, e - digits.size() + 1, '0');
  std::string frac = digits.substr(digits.size() - e);
  const std::string whole = digits.substr(0, digits.size() - e);
  while (!frac.empty() && frac.back() == '0') frac.pop_back();
  return out + whole + (frac.empty() ? "" : "." + frac);
}

// The normal form of the model: limb exponent and limb count.
struct Shape {
  long long scale = 0;
  long long count = 0;
};

Shape shape_of(const Dec& d) {
  if (d.m == 0) return {};
  mpz_class m = abs(d.m);
  long long e = d.e;
  while (m % 10 == 0) {
    m /= 10;
    --e;
  }
  // The smallest s with 9s >= e: then m * 10^(9s - e) is an integer whose lowest limb is non-zero.
  const long long s = e >= 0 ? (e + 8) / 9 : -((-e) / 9);
  const mpz_class n = m * pow10(9 * s - e);
  const std::size_t digits = mpz_sizeinbase(n.get_mpz_t(), 10);
  // mpz_sizeinbase may overshoot by one; count the limbs exactly.
  long long count = static_cast<long long>((digits + 8) / 9);
  if (count > 0 && n < pow10(9 * (count - 1))) --count;
  return {s, count};
}

Dec aligned(const Dec& d, long long e) { return {d.m * pow10(e - d.e), e}; }

Dec add(const Dec& a, const Dec& b) {
  const long long e = std::max(a.e, b.e);
  return {aligned(a, e).m + aligned(b, e).m, e};
}

Dec mul(const Dec& a, const Dec& b) { return {a.m * b.m, a.e + b.e}; }

// The quotient as the library defines it: count(b) + 2 limbs below the units of the limb quotient, then
// one more limb decides: 500,000,000 or more rounds the magnitude up.
Dec div(const Dec& a, const Dec& b) {
  const Shape sa = shape_of(a), sb = shape_of(b);
  const long long qscale = std::max(sa.scale, 0LL) - sb.scale + sb.count + 2;
  const long long eq = 9 * qscale;
  const long long x = eq + 9 - a.e + b.e;  // one extra limb
  mpz_class num = abs(a.m), den = abs(b.m);
  if (x >= 0) {
    num *= pow10(x);
  } else {
    den *= pow10(-x);
  }
  const mpz_class q1 = num / den;
  mpz_class q = q1 / 1000000000;
  if (q1 % 1000000000 >= 500000000) q += 1;
  return {sgn(a.m) * sgn(b.m) < 0 ? mpz_class(-q) : q, eq};
}

// a - t * b with t the quotient above truncated toward zero.
Dec rem(const Dec& a, const Dec& b) {
  const Dec q = div(a, b);
  mpz_class t;
  if (q.e <= 0) {
    t = q.m * pow10(-q.e);
  } else {
    mpz_tdiv_q(t.get_mpz_t(), q.m.get_mpz_t(), pow10(q.e).get_mpz_t());
  }
  return add(a, Dec{-(t * b.m), b.e});
}

Dec round_model(const Dec& a, int digits, bool halfUp) {
  // |a| * 10^digits = num / den; round to an integer.
  mpz_class num = abs(a.m), den = 1;
  const long long x = digits - a.e;
  if (x >= 0) {
    num *= pow10(x);
  } else {
    den = pow10(-x);
  }
  mpz_class q = num / den;
  const mpz_class twice = 2 * (num % den);
  if (twice > den || (twice == den && halfUp)) q += 1;
  return {a.m < 0 ? mpz_class(-q) : q, digits};
}

class Generator {
 public:
  explicit Generator(std::uint64_t seed) : rng_(seed) {}

  Dec number() {
    const int sizeClass = pick(10);
    const int count = sizeClass < 4 ? 1 : (sizeClass < 8 ? 2 + pick(3) : 5 + pick(36));
    const int scale = -3 + pick(count + 7);
    mpz_class m = 0;
    for (int i = count - 1; i >= 0; --i) {
      std::uint32_t limb = this->limb();
      if ((i == 0 || i == count - 1) && limb == 0) limb = 1 + pick(999999999);
      m = m * 1000000000 + limb;
    }
    if (pick(2) == 0) m = -m;
    return {m, 9LL * scale};
  }

  // Up to maxCount limbs, scales around the point, mostly extreme limbs.
  Dec small(int maxCount) {
    const int count = 1 + pick(maxCount);
    mpz_class m = 0;
    for (int i = count - 1; i >= 0; --i) {
      std::uint32_t limb = pick(3) == 0 ? static_cast<std::uint32_t>(rng_() % 1000000000) : this->limb();
      if ((i == 0 || i == count - 1) && limb == 0) limb = 999999999 - static_cast<std::uint32_t>(pick(3));
      m = m * 1000000000 + limb;
    }
    if (pick(2) == 0) m = -m;
    return {m, 9LL * (pick(count + 3) - 1)};
  }

  // `count` limbs in runs of 999,999,999 broken by random limbs, positive, scale 3.
  Dec run(int count) {
    mpz_class m = 1 + pick(999999999);
    for (int i = 1; i < count; ++i) {
      const std::uint32_t limb = pick(8) == 0 ? static_cast<std::uint32_t>(rng_() % 1000000000) : 999999999;
      m = m * 1000000000 + (i == count - 1 && limb == 0 ? 1 : limb);
    }
    return {m, 27};
  }

  int pick(int n) { return static_cast<int>(rng_() % static_cast<std::uint64_t>(n)); }

 private:
  std::uint32_t limb() {
    switch (pick(20)) {
      case 0:
      case 1:
      case 2:
        return 0;
      case 3:
      case 4:
      case 5:
        return 999999999;
      case 6:
        return 500000000;
      case 7:
        return 1;
      case 8:
        return static_cast<std::uint32_t>(pick(10)) * 100000000;
      default:
        return static_cast<std::uint32_t>(rng_() % 1000000000);
    }
  }
  std::mt19937_64 rng_;
};

Numeric parse(const std::string& text) {
  Numeric n;
  const char* end = nullptr;
  n.fromString(text.c_str(), &end);
  EXPECT_EQ(static_cast<std::size_t>(end - text.c_str()), text.size()) << text;
  return n;
}

std::string text_of(const Numeric& n) {
  avo::String s;
  n.toString(s);
  return std::string(s);
}

// Compares a result with the model: text, normal form and storage rules.
void expect_same(const char* op, const Numeric& got, const Dec& want, const std::string& a, const std::string& b) {
  const std::string text = text_of(got);
  const std::string expected = text_of(want);
  if (text != expected) {
    ADD_FAILURE() << op << "(" << a << ", " << b << ")\n  got      " << text << "\n  expected " << expected;
    return;
  }
  const Shape shape = shape_of(want);
  EXPECT_EQ(got.getScale(), shape.scale) << op << " " << expected;
  EXPECT_EQ(got.getCount(), shape.count) << op << " " << expected;
  EXPECT_GE(got.getCapacity(), static_cast<std::uint32_t>(got.getCount()));
  EXPECT_EQ(got.usesInlineLimbs(), got.getCapacity() == Numeric::kInlineLimbs);
}

constexpr int kRounds = 20000;  // x 8 operations: 160,000 cases

TEST(NumericDifferentialTest, ArithmeticMatchesTheExactModel) {
  Generator gen(20240611);
  for (int round = 0; round < kRounds; ++round) {
    const Dec da = gen.number();
    // Now and then equal or opposite operands, where sums cancel and quotients are exactly one,
    // and often the same scale, where sums take the in-place path.
    const int pairing = gen.pick(16);
    Dec db = pairing == 0 ? da : (pairing == 1 ? Dec{-da.m, da.e} : gen.number());
    if (pairing >= 10) db.e = da.e;
    const std::string ta = text_of(da), tb = text_of(db);
    const Numeric a = parse(ta), b = parse(tb);
    expect_same("parse", a, da, ta, "");

    expect_same("add", a + b, add(da, db), ta, tb);
    expect_same("sub", a - b, add(da, Dec{-db.m, db.e}), ta, tb);
    expect_same("mul", a * b, mul(da, db), ta, tb);
    const int cmp = sgn(add(da, Dec{-db.m, db.e}).m);
    ASSERT_EQ(a.compare(b), cmp) << ta << " <=> " << tb;
    if (db.m != 0) {
      expect_same("div", a / b, div(da, db), ta, tb);
      expect_same("rem", a % b, rem(da, db), ta, tb);
    }
    const int digits = gen.pick(70) - 30;
    expect_same("round10", a.round(digits, core::Round15as10), round_model(da, digits, false), ta,
                std::to_string(digits));
    expect_same("round20", a.round(digits, core::Round15as20), round_model(da, digits, true), ta,
                std::to_string(digits));
    if (HasFailure()) return;  // one reproducible report is enough
  }
}

// Quotient and remainder of a / b through the text, against the model.
void expect_division(const Dec& da, const Dec& db) {
  const std::string ta = text_of(da), tb = text_of(db);
  const Numeric a = parse(ta), b = parse(tb);
  expect_same("div", a / b, div(da, db), ta, tb);
  expect_same("rem", a % b, rem(da, db), ta, tb);
}

// Divisors of one to five limbs take different division paths (single limb, 128-bit short division,
// long division): quotients and remainders over many small operands with extreme limbs, where an
// estimated quotient limb is most easily one off.
TEST(NumericDifferentialTest, DivisionBySmallDivisors) {
  Generator gen(4242);
  for (int round = 0; round < 50000; ++round) {
    const Dec da = gen.small(8), db = gen.small(5);
    if (db.m == 0) continue;
    expect_division(da, db);
    if (HasFailure()) return;
  }
}

// Dividends longer than the stack share of the scratch buffers (256 limbs), with short divisors: the
// quotient buffer then lives on the heap and must hold every limb the division writes.
TEST(NumericDifferentialTest, LongDividendsByShortDivisors) {
  Generator gen(9001);
  for (int round = 0; round < 200; ++round) {
    Dec da = gen.small(1);
    da.e -= 9LL * (250 + gen.pick(30));  // implicit zero limbs made real by the division
    if (round % 2 == 0) da = mul(da, gen.small(4));
    const Dec db = gen.small(4);
    expect_division(da, db);
    if (HasFailure()) return;
  }
}

// Divisors of five limbs and more divide two quotient limbs at a time, estimating them from the top limbs
// of the divisor. Lower divisor limbs of 999,999,999 make that estimate one too large, and dividends one
// below a multiple of the divisor leave no room for the excess: the step must take it back. Quotients
// of two to five limbs come out in pairs with and without a single top limb.
TEST(NumericDifferentialTest, LongDivisionTakesBackOverestimatedQuotients) {
  Generator gen(1789);
  for (int round = 0; round < 3000; ++round) {
    const int n = 5 + gen.pick(8);
    mpz_class v = 500000000 + gen.pick(500000000);  // a top limb of half the base or more: no scaling
    for (int i = 1; i < n; ++i) v = v * 1000000000 + (i < 3 ? gen.pick(1000000000) : 999999999);
    mpz_class q = 1 + gen.pick(999999999);
    for (int i = 0, k = 1 + gen.pick(4); i < k; ++i) q = q * 1000000000 + gen.pick(1000000000);
    expect_division(Dec{q * v - 1, 0}, Dec{v, 0});
    expect_division(Dec{-(q * v + v - 1), 9LL * gen.pick(3)}, Dec{v, 0});
    if (HasFailure()) return;
  }
}

// Long sums of one scale, where carries run through long stretches of 999,999,999 limbs, across the
// blocks in which the adder resolves them.
TEST(NumericDifferentialTest, CarriesRunThroughLongSums) {
  Generator gen(31337);
  for (int round = 0; round < 3000; ++round) {
    const Dec da = gen.run(28 + gen.pick(45)), db = gen.run(28 + gen.pick(45));
    const Dec sameScale{db.m, da.e};
    const std::string ta = text_of(da), tb = text_of(sameScale);
    const Numeric a = parse(ta), b = parse(tb);
    expect_same("add", a + b, add(da, sameScale), ta, tb);
    if (HasFailure()) return;
  }
}

// Running totals: the left operand keeps whatever array earlier results left it, so sums and
// differences land in place in arrays longer than the operands, and grow one limb at a carry.
TEST(NumericDifferentialTest, RunningTotalsMatchTheModel) {
  Generator gen(5150);
  for (int series = 0; series < 400; ++series) {
    Dec model = gen.number();
    Numeric total = parse(text_of(model));
    for (int step = 0; step < 40; ++step) {
      Dec d = gen.pick(3) == 0 ? gen.run(1 + gen.pick(40)) : gen.number();
      if (gen.pick(2) == 0) d.e = model.e;
      const std::string before = text_of(total), td = text_of(d);
      switch (gen.pick(5)) {
        case 0:
          total -= parse(td);
          model = add(model, Dec{-d.m, d.e});
          break;
        case 1:
          if (shape_of(model).count < 60) {
            total *= parse(td);
            model = mul(model, d);
            break;
          }
          [[fallthrough]];
        default:
          total += parse(td);
          model = add(model, d);
          break;
      }
      expect_same("running", total, model, before, td);
      if (HasFailure()) return;
    }
  }
}

// Numbers of up to four limbs print through their own path, larger ones and those with zero limbs beyond
// their own (10^20, 10^-20) through the general one: the narrow, wide and sized texts of every shape
// agree with the model's text.
TEST(NumericDifferentialTest, TextsOfEveryShape) {
  Generator gen(2718);
  for (int round = 0; round < 20000; ++round) {
    const Dec d = round % 2 == 0 ? gen.number() : gen.small(4);
    const std::string expected = text_of(d);
    const Numeric n = parse(expected);
    ASSERT_EQ(text_of(n), expected);
    const avo::WString wide = n.toString();
    ASSERT_EQ(std::string(wide.begin(), wide.end()), expected);
    char sized[40];
    const unsigned length = n.digits(sized, sizeof sized);
    ASSERT_EQ(std::string(sized, length), expected.substr(0, sizeof sized - 1));
  }
}

// Exact halves at every digit position: the tie rule is where rounding code goes wrong.
TEST(NumericDifferentialTest, RoundingExactHalves) {
  Generator gen(77);
  for (int round = 0; round < 4000; ++round) {
    const Dec k = gen.number();
    const int digits = gen.pick(60) - 25;
    // (k * 10 + 5) * 10^-(digits + 1): the part below `digits` is exactly one half.
    const Dec half{k.m * 10 + (k.m < 0 ? -5 : 5), digits + 1LL};
    const std::string t = text_of(half);
    const Numeric n = parse(t);
    expect_same("round10", n.round(digits, core::Round15as10), round_model(half, digits, false), t,
                std::to_string(digits));
    expect_same("round20", n.round(digits, core::Round15as20), round_model(half, digits, true), t,
                std::to_string(digits));
    if (HasFailure()) return;
  }
}

}  // namespace
