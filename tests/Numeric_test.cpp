#include "core/Numeric.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "charstream/StringStreams.h"
#include "core/CharStream.h"
#include "core/Exception.h"
#include "nexa/Memory.h"

namespace {

using core::Numeric;
using core::NumericException;
using core::Round15as10;
using core::Round15as20;

Numeric N(const char* text) {
  Numeric n;
  n.fromString(text);
  return n;
}

std::string S(const Numeric& n) {
  avo::String s;
  n.toString(s);
  return std::string(s);
}

std::string repeat(char c, std::size_t n) { return std::string(n, c); }

template <class F>
void expect_numeric_error(int code, F&& f) {
  try {
    f();
    ADD_FAILURE() << "no NumericException " << code;
  } catch (const NumericException& e) {
    EXPECT_EQ(e.code(), code);
    EXPECT_EQ(e.messageKey(), NumericException::keyOf(code));
  }
}

// ---- Text in and out ------------------------------------------------------------------------------------

TEST(NumericTest, ParsesTheScannerSyntaxAndReportsWhereItStopped) {
  struct Case {
    const char* text;
    const char* value;
    std::size_t stop;
  };
  const Case cases[] = {
      {"  -12.50x", "-12.5", 8},
      {"+.5", "0.5", 3},
      {".", "0", 1},
      {"", "0", 0},
      {"- 5", "0", 1},
      {"-x", "0", 1},
      {"-", "0", 1},
      {"-0", "0", 2},
      {"-0.5", "-0.5", 4},
      {"x1", "0", 0},
      {"+-5", "0", 1},
      {"00012.3400", "12.34", 10},
      {"1.2.3", "1.2", 3},
      {"5.", "5", 2},
      {"1e5", "1", 1},
      {"12 34", "12", 2},
      {"\t\n\r 7", "7", 5},
      {"\v7", "0", 0},
      {"0.000", "0", 5},
      {"0.0000000001", "0.0000000001", 12},
      {"1000000000000000000000000000000000000000000000", "1000000000000000000000000000000000000000000000", 46},
      {"123456789012345678901234567890.123456789012345678901", "123456789012345678901234567890.123456789012345678901",
       52},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    Numeric n(99);
    const char* end = nullptr;
    n.fromString(c.text, &end);
    EXPECT_EQ(S(n), c.value);
    EXPECT_EQ(n.toString(), avo::from_utf8(c.value));
    EXPECT_EQ(static_cast<std::size_t>(end - c.text), c.stop);
    EXPECT_EQ(n.getSignByte(), n.sign() < 0 ? -1 : 1);

    // The 16-bit form reads the same text the same way.
    std::u16string wide(c.text, c.text + std::strlen(c.text));
    const char16_t* wend = nullptr;
    Numeric w;
    w.fromString(wide.c_str(), &wend);
    EXPECT_EQ(w, n);
    EXPECT_EQ(static_cast<std::size_t>(wend - wide.c_str()), c.stop);
  }
}

TEST(NumericTest, CharactersOutsideLatin1StopTheScan) {
  const char16_t text[] = {u'1', u'2', 0x0661 /* ARABIC-INDIC ONE */, u'3', 0};
  const char16_t* end = nullptr;
  Numeric n;
  n.fromString(text, &end);
  EXPECT_EQ(S(n), "12");
  EXPECT_EQ(end, text + 2);
  // A code unit whose low byte is a digit is still not one.
  const char16_t tricky[] = {u'4', 0x0135 /* low byte '5' */, 0};
  EXPECT_EQ(S(n.fromString(tricky)), "4");
  // Bytes above 0x7F in narrow text are "other", not negative table indexes.
  EXPECT_EQ(S(N("7\xC2\xA0")), "7");
}

TEST(NumericTest, LongTextsLeaveTheStackBufferWithoutLosingDigits) {
  const std::string big = "-" + repeat('7', 1500) + "." + repeat('3', 1500);
  EXPECT_EQ(S(N(big.c_str())), big);
  std::string tiny = "0." + repeat('0', 2000) + "1";
  EXPECT_EQ(S(N(tiny.c_str())), tiny);
  EXPECT_EQ(N(tiny.c_str()).getCount(), 1);
}

TEST(NumericTest, DigitsIntoASizedBufferTruncates) {
  char out[8];
  std::memset(out, '#', sizeof(out));
  EXPECT_EQ(N("-12.5").digits(out, 0), 0u);
  EXPECT_EQ(out[0], '#');
  EXPECT_EQ(N("-12.5").digits(out, 1), 0u);
  EXPECT_EQ(out[0], '\0');
  EXPECT_EQ(N("-12.5").digits(out, 3), 2u);
  EXPECT_STREQ(out, "-1");
  EXPECT_EQ(N("-12.5").digits(out, 8), 5u);
  EXPECT_STREQ(out, "-12.5");
  // A number far longer than the stack buffer is cut without allocating.
  const std::string big = "0." + repeat('0', 3000) + "1";
  const Numeric n = N(big.c_str());
  const auto before = nexa::thread_allocations();
  EXPECT_EQ(n.digits(out, 8), 7u);
  EXPECT_EQ(nexa::thread_allocations(), before);
  EXPECT_STREQ(out, "0.00000");
}

TEST(NumericTest, FixedWidthDigits) {
  struct Case {
    const char* value;
    unsigned length, precision;
    core::NumericRoundMode mode;
    const char* text;
    bool fits;
  };
  const Case cases[] = {
      {"12.5", 5, 2, Round15as20, "+012.50", true},
      {"0.5", 2, 2, Round15as20, "+.50", true},
      {"1234", 3, 0, Round15as20, "+999", false},
      {"1234", 4, 1, Round15as20, "+999.9", false},
      {"-3.14159", 4, 2, Round15as20, "-03.14", true},
      {"0", 3, 0, Round15as20, "+000", true},
      {"0", 2, 2, Round15as20, "+.00", true},
      {"7", 3, 2, Round15as20, "+7.00", true},
      {"9.995", 3, 2, Round15as20, "+9.99", false},  // rounds to 10.00, which does not fit
      {"9.995", 3, 2, Round15as10, "+9.99", true},
      {"-0.004", 3, 2, Round15as20, "+0.00", true},  // rounds to zero, which has no sign
      {"123456789012345678901234567890", 30, 0, Round15as20, "+123456789012345678901234567890", true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.value << " " << c.length << "/" << c.precision);
    char out[64];
    EXPECT_EQ(N(c.value).digits(out, c.length, c.precision, c.mode), c.fits);
    EXPECT_STREQ(out, c.text);
  }
}

TEST(NumericTest, LengthAndPrecision) {
  struct Case {
    const char* value;
    unsigned length, precision;
  };
  const Case cases[] = {{"0", 1, 0},
                        {"0.5", 1, 1},
                        {"1200", 4, 0},
                        {"12.34", 4, 2},
                        {"1000000000", 10, 0},
                        {"0.000000000001", 12, 12},
                        {"-123456789.123456789", 18, 9},
                        {"100000000000000000000.5", 22, 1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.value);
    unsigned length = 0, precision = 0;
    N(c.value).lengthAndPrecision(length, precision);
    EXPECT_EQ(length, c.length);
    EXPECT_EQ(precision, c.precision);
  }
}

// ---- Representation ---------------------------------------------------------------------------------------

TEST(NumericTest, ZeroIsCanonicalWhateverProducedIt) {
  const Numeric zeros[] = {Numeric(),
                           N("-0"),
                           N("-0.000"),
                           Numeric(-0.0),
                           N("-1.5") + N("1.5"),
                           N("-7") * 0,
                           Numeric(0) * N("-7"),
                           -Numeric(),
                           N("-3") % 3,
                           N("-0.4").round(0, Round15as10)};
  for (const Numeric& z : zeros) {
    EXPECT_EQ(z.getCount(), 0);
    EXPECT_EQ(z.getScale(), 0);
    EXPECT_EQ(z.getSignByte(), 1);
    EXPECT_EQ(z.sign(), 0);
    EXPECT_EQ(S(z), "0");
  }
}

TEST(NumericTest, HeapArraysHaveExactlyTheNeededSize) {
  const std::string digits45 = repeat('9', 45);
  Numeric big = N(digits45.c_str());  // 5 limbs
  EXPECT_EQ(big.getCount(), 5);
  EXPECT_EQ(big.getCapacity(), 5u);
  EXPECT_FALSE(big.usesInlineLimbs());

  Numeric inl = N(repeat('9', 36).c_str());
  EXPECT_EQ(inl.getCapacity(), 4u);
  EXPECT_TRUE(inl.usesInlineLimbs());

  // A result that shrinks keeps its array; a copy gets exactly the count, an assignment the capacity.
  Numeric shrunk = big;
  shrunk -= N((repeat('9', 9) + repeat('0', 36)).c_str());
  EXPECT_EQ(shrunk.getCount(), 4);
  EXPECT_EQ(shrunk.getCapacity(), 5u);
  const Numeric copy(shrunk);
  EXPECT_EQ(copy.getCapacity(), 4u);
  EXPECT_TRUE(copy.usesInlineLimbs());
  Numeric assigned;
  assigned = shrunk;
  EXPECT_EQ(assigned.getCapacity(), 5u);
  EXPECT_EQ(assigned, shrunk);
  assigned = Numeric(1);
  EXPECT_EQ(assigned.getCapacity(), 4u);
  EXPECT_TRUE(assigned.usesInlineLimbs());

  // The product of a 5-limb and a 1-limb number needs 6 limbs: exactly 6 are allocated.
  Numeric product = big * 7;
  EXPECT_EQ(product.getCount(), 6);
  EXPECT_EQ(product.getCapacity(), 6u);
}

TEST(NumericTest, MovingStealsHeapArraysAndLeavesZero) {
  Numeric big = N(repeat('8', 50).c_str());
  const std::uint32_t* limbs = big.getLimbs();
  Numeric moved(std::move(big));
  EXPECT_EQ(moved.getLimbs(), limbs);
  EXPECT_EQ(S(moved), repeat('8', 50));
  EXPECT_TRUE(big.usesInlineLimbs());  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(big.getCapacity(), 4u);
  EXPECT_TRUE(big.isZero());

  Numeric small = N("-1.5");
  Numeric target = N(repeat('1', 60).c_str());
  target = std::move(small);
  EXPECT_EQ(S(target), "-1.5");
  EXPECT_TRUE(target.usesInlineLimbs());
  EXPECT_TRUE(small.isZero());  // NOLINT(bugprone-use-after-move)
}

TEST(NumericTest, NumbersUpTo36DigitsNeverAllocate) {
  const char* a36 = "123456789012345678.123456789012345678";
  const char* b18 = "-98765432.1";
  char out[128];
  avo::String text;
  text.reserve(128);
  const auto before = nexa::thread_allocations();
  {
    Numeric a;
    a.fromString(a36);
    Numeric b;
    b.fromString(b18);
    Numeric c = a;
    c += b;
    c -= a;
    c *= b;
    // Quotients carry 27 fractional digits: keep the dividend small so that they fit in 36 digits.
    Numeric q;
    q.fromString("12");
    q /= Numeric(7);
    q %= Numeric(-3);
    Numeric d = a.round(2, Round15as20);
    d = d.floor();
    Numeric e(std::move(d));
    e = -e;
    e = e.abs();
    e.pow(Numeric(2));
    EXPECT_NE(a.compare(b), 0);
    EXPECT_TRUE(a.digits(out, sizeof(out)) > 0);
    EXPECT_TRUE(b.digits(out, 20, 4, Round15as10));
    a.toString(text);
    EXPECT_EQ(static_cast<long long>(b), -98765432);
    (void)a.hashCode();
    (void)Numeric(12.25);
  }
  EXPECT_EQ(nexa::thread_allocations(), before);
}

// ---- Construction from native numbers ----------------------------------------------------------------------

TEST(NumericTest, DoublesEnterWithFifteenSignificantDigits) {
  struct Case {
    double value;
    const char* text;
  };
  const Case cases[] = {
      {1.5, "1.5"},
      {0.015, "0.015"},
      {0.1, "0.1"},
      {1.0 / 3, "0.333333333333333"},
      {-2.0 / 3, "-0.666666666666667"},
      {1e20, "100000000000000000000"},
      {999999999999999.0, "999999999999999"},
      {1234567890123456.0, "1234567890123460"},  // integral but above the exact range
      {123456789.123456789, "123456789.123457"},
      {1e-10, "0.0000000001"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(S(Numeric(c.value)), c.text);
  }
  EXPECT_EQ(S(Numeric(-1e-300)), "-0." + repeat('0', 299) + "1");
  EXPECT_EQ(Numeric(1.5).getScale(), 1);  // the field had scale 2; normalising drops its zero limb
  EXPECT_EQ(Numeric(1.5).getCount(), 2);
  EXPECT_EQ(Numeric(0.015).getScale(), 1);
  for (double bad : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
    expect_numeric_error(NumericException::Overflow, [&] { Numeric n(bad); });
  }
}

TEST(NumericTest, DoublesEnterTheSameInEveryLocale) {
  const double values[] = {1.5, -0.015, 1.0 / 3, 123456789.123456789, 6.02e23, 1e-300, 100000000000000.5};
  std::vector<std::string> inC;
  for (double v : values) inC.push_back(S(Numeric(v)));
  // A tie at the 16th digit goes to the even neighbour.
  EXPECT_EQ(inC.back(), "100000000000000");
  const testing_support::ScopedCLocale german(testing_support::kGermanLocale);
  ASSERT_TRUE(german.set()) << "the locale " << testing_support::kGermanLocale << " is missing";
  for (std::size_t i = 0; i < inC.size(); ++i) EXPECT_EQ(S(Numeric(values[i])), inC[i]);
}

TEST(NumericTest, IntegerConstructorsAreExactForEveryWidth) {
  EXPECT_EQ(S(Numeric(static_cast<short>(-32768))), "-32768");
  EXPECT_EQ(S(Numeric(static_cast<unsigned short>(65535))), "65535");
  EXPECT_EQ(S(Numeric(std::numeric_limits<int>::min())), "-2147483648");
  EXPECT_EQ(S(Numeric(4294967295u)), "4294967295");
  // long has 32 bits on Windows, 64 on Linux.
  EXPECT_EQ(S(Numeric(std::numeric_limits<long>::min())), std::to_string(std::numeric_limits<long>::min()));
  EXPECT_EQ(S(Numeric(std::numeric_limits<unsigned long>::max())),
            std::to_string(std::numeric_limits<unsigned long>::max()));
  EXPECT_EQ(S(Numeric(1000000000000000000LL)), "1000000000000000000");
  EXPECT_EQ(S(Numeric(std::numeric_limits<long long>::min())), "-9223372036854775808");
  EXPECT_EQ(S(Numeric(std::numeric_limits<unsigned long long>::max())), "18446744073709551615");
  EXPECT_EQ(Numeric(1000000000000000000LL).getScale(), -2);
}

TEST(NumericTest, DoubleConversionUsesTheTopThreeLimbs) {
  EXPECT_EQ(static_cast<double>(N("0.1")), 0.1);
  EXPECT_EQ(static_cast<double>(N("-2.25")), -2.25);
  EXPECT_EQ(static_cast<double>(N("123.456")), 123.456);
  EXPECT_EQ(static_cast<double>(Numeric(1e20)), 1e20);
  EXPECT_EQ(static_cast<double>(Numeric()), 0.0);
  EXPECT_FALSE(std::signbit(static_cast<double>(Numeric())));
  // Limbs below the top three do not take part.
  EXPECT_EQ(static_cast<double>(N("1000000000000000000000000000.999")), 1e27);
  EXPECT_DOUBLE_EQ(static_cast<double>(N("1") / N("3")), 1.0 / 3);
  EXPECT_DOUBLE_EQ(static_cast<double>(N(("1" + repeat('0', 400)).c_str())), HUGE_VAL);
}

// ---- Arithmetic ----------------------------------------------------------------------------------------------

TEST(NumericTest, WorkedArithmeticExamples) {
  EXPECT_EQ(N("0.1") + N("0.2"), N("0.3"));
  EXPECT_EQ(S(N("1") / N("3")), "0." + repeat('3', 27));
  EXPECT_EQ(S(N("2") / N("3")), "0." + repeat('6', 26) + "7");
  // Two divisor limbs: 36 fractional digits.
  const std::string q = S(N("1") / N("123456789012"));
  EXPECT_EQ(q.size() - q.find('.') - 1, 36u);
  EXPECT_EQ(S(N("-7") % N("2")), "-1");
  EXPECT_EQ(S(N("7") % N("-2")), "1");
  EXPECT_EQ(S(N("7.5") % N("2")), "1.5");
  // A divisor with three more fractional limbs than the dividend: the quotient 1.666...e26 is rounded
  // to a whole number, which overshoots, and the remainder changes sign.
  EXPECT_EQ(S(N("1") % N("0.000000000000000000000000006")), "-0.000000000000000000000000002");
  EXPECT_EQ(S(N("1") % N("0.000000000000000000000000003")), "0.000000000000000000000000001");
  EXPECT_EQ(S(N("-1") / N("8")), "-0.125");
  EXPECT_EQ(S(N("1000000000000000000") / N("0.001")), "1000000000000000000000");
  EXPECT_EQ(S(N("0.000000000000000001") * N("0.000000000000000001")), "0." + repeat('0', 35) + "1");
  // Ties of the last quotient limb round away from zero: 1 / (2 * 10^27) ends in ...5 at the 28th limb.
  EXPECT_EQ(S(N("-1") / N("2000000000000000000000000000")), "-0.0000000000000000000000000005");
}

TEST(NumericTest, DivisionAndRemainderByZeroLeaveTheOperand) {
  Numeric a = N("12.5");
  expect_numeric_error(NumericException::DivideByZero, [&] { a /= Numeric(); });
  expect_numeric_error(NumericException::DivideByZero, [&] { a %= N("-0"); });
  EXPECT_EQ(S(a), "12.5");
  Numeric zero;
  zero /= N("3");
  EXPECT_TRUE(zero.isZero());
}

TEST(NumericTest, OperandsMayAliasTheTarget) {
  Numeric a = N("123456789123456789.5");
  Numeric& alias = a;  // through a reference, as callers alias: clang rejects the plain `a -= a`
  a += alias;
  EXPECT_EQ(S(a), "246913578246913579");
  a -= alias;
  EXPECT_TRUE(a.isZero());
  Numeric b = N("-1.5");
  Numeric& same = b;
  b *= same;
  EXPECT_EQ(S(b), "2.25");
  b /= same;
  EXPECT_EQ(S(b), "1");
  Numeric c = N("3");
  c.pow(c);
  EXPECT_EQ(S(c), "27");
}

// A carry out of a full array moves the sum to an array one limb longer. The limbs above the shorter
// operand must reach it too, even when the new block is recycled memory (the junk number leaves one).
TEST(NumericTest, SumsThatOutgrowTheArrayKeepEveryLimb) {
  const Numeric nines = N(repeat('9', 36).c_str());  // four full limbs
  for (const char* small : {"1", "1000000001", "1000000000000000001", "-1"}) {
    SCOPED_TRACE(small);
    { const Numeric junk = N(repeat('7', 45).c_str()); }
    Numeric sum = N(small);
    sum += nines;
    EXPECT_EQ(S(sum - nines), small);
    EXPECT_GE(sum.getCapacity(), std::uint32_t(sum.getCount()));
  }
  Numeric sum = N("1");
  sum += nines;
  EXPECT_EQ(S(sum), "1" + repeat('0', 36));
  EXPECT_EQ(sum.getCount(), 1);
}

TEST(NumericTest, SignAndComparisonWithNativeNumbers) {
  EXPECT_EQ(N("-3").sign(), -1);
  EXPECT_EQ(N("0").sign(), 0);
  EXPECT_EQ(N("0.1").sign(), 1);
  EXPECT_TRUE(N("2") > 1.5);
  EXPECT_TRUE(3 == N("3.0"));
}

// ---- Rounding -------------------------------------------------------------------------------------------------

TEST(NumericTest, RoundFollowsTheModeOnlyForExactHalves) {
  struct Case {
    const char* value;
    int digits;
    const char* mode10;
    const char* mode20;
  };
  const Case cases[] = {
      {"2.5", 0, "2", "3"},
      {"-2.5", 0, "-2", "-3"},
      {"2.5000000001", 0, "3", "3"},
      {"2.4999999999", 0, "2", "2"},
      {"1234", -2, "1200", "1200"},
      {"1250", -2, "1200", "1300"},
      {"-0.005", 2, "0", "-0.01"},
      {"0.6", 0, "1", "1"},
      {"0.7", -2, "0", "0"},
      {"999999999.5", 0, "999999999", "1000000000"},
      {"999999999999999999.99", 1, "1000000000000000000", "1000000000000000000"},
      {"0.1234567895", 9, "0.123456789", "0.12345679"},
      {"0.12345678950000000001", 9, "0.12345679", "0.12345679"},
      {"0.1234567885", 9, "0.123456788", "0.123456789"},
      {"1.25", 5, "1.25", "1.25"},
      {"5000000000", -10, "0", "10000000000"},
      {"5000000000", -11, "0", "0"},
      {"15000000000000000000", -19, "10000000000000000000", "20000000000000000000"},
      {"0.5000000000000000001", 0, "1", "1"},  // the dropped half has more limbs below it
      {"7", -20, "0", "0"},
      {"0.000000000000000000015", 20, "0.00000000000000000001", "0.00000000000000000002"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.value << " to " << c.digits);
    EXPECT_EQ(S(N(c.value).round(c.digits, Round15as10)), c.mode10);
    EXPECT_EQ(S(N(c.value).round(c.digits, Round15as20)), c.mode20);
    EXPECT_EQ(S(N(c.value).round(c.digits, static_cast<core::NumericRoundMode>(7))), c.mode10);
  }
}

TEST(NumericTest, RoundWithoutModeUsesTheThreadSetting) {
  EXPECT_EQ(core::get_default_round_mode(), Round15as20);
  EXPECT_EQ(S(N("2.5").round(0)), "3");
  core::set_default_round_mode(Round15as10);
  EXPECT_EQ(S(N("2.5").round(0)), "2");
  std::string other;
  std::thread([&] { other = S(N("2.5").round(0)); }).join();
  EXPECT_EQ(other, "3");
  char out[8];
  N("0.25").digits(out, 2, 1);
  EXPECT_STREQ(out, "+0.2");
  core::reset_default_round_mode();
  EXPECT_EQ(S(N("2.5").round(0)), "3");
}

TEST(NumericTest, Floor) {
  const std::pair<const char*, const char*> cases[] = {
      {"1.5", "1"}, {"-1.5", "-2"}, {"-0.000000000001", "-1"},       {"0.9", "0"},
      {"7", "7"},   {"-7", "-7"},   {"-999999999.5", "-1000000000"}, {"1000000000000.5", "1000000000000"}};
  for (const auto& [value, floor] : cases) {
    SCOPED_TRACE(value);
    EXPECT_EQ(S(N(value).floor()), floor);
  }
}

// ---- Powers ----------------------------------------------------------------------------------------------------

TEST(NumericTest, PowExamples) {
  struct Case {
    const char* base;
    const char* exponent;
    const char* result;
  };
  const Case cases[] = {
      {"2", "10", "1024"},
      {"2", "-1", "0.5"},
      {"7", "0", "1"},
      {"0", "0", "1"},
      {"-2", "3", "-8"},
      {"1.1", "2", "1.21"},
      {"4", "0.5", "2"},
      {"10", "-3", "0.001"},
      {"2", "100", "1267650600228229401496703205376"},
      {"2", "1.5", "2.82842712474619"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.base << "^" << c.exponent);
    Numeric v = N(c.base);
    v.pow(N(c.exponent));
    EXPECT_EQ(S(v), c.result);
  }
}

TEST(NumericTest, PowErrors) {
  expect_numeric_error(NumericException::NegativePower, [] { N("-8").pow(N("1") / N("3")); });
  expect_numeric_error(NumericException::NegativePower, [] { N("-1").pow(N("10000000000")); });
  expect_numeric_error(NumericException::DivideByZero, [] { N("0").pow(N("-0.5")); });
  expect_numeric_error(NumericException::DivideByZero, [] { N("0").pow(N("-1")); });
  expect_numeric_error(NumericException::Overflow, [] { N("10").pow(N("400.5")); });
  Numeric kept = N("-8");
  expect_numeric_error(NumericException::NegativePower, [&] { kept.pow(N("0.5")); });
  EXPECT_EQ(S(kept), "-8");
}

TEST(NumericTest, PowRespectsTheInnermostLimitAndKeepsTheIntermediatePower) {
  EXPECT_FALSE(core::NumericLimits::current());
  {
    core::NumericLimits outer(20);
    {
      core::NumericLimits inner(40);
      EXPECT_EQ(core::NumericLimits::current(), 40u);
      Numeric ok = N("10");
      ok.pow(N("30"));
      EXPECT_EQ(S(ok), "1" + repeat('0', 30));
    }
    EXPECT_EQ(core::NumericLimits::current(), 20u);
    Numeric v = N("10");
    // 30 = 11110b: powers 10^1, 10^3, 10^7, 10^15, 10^30; the last one passes 20 digits.
    expect_numeric_error(NumericException::Overflow, [&] { v.pow(N("30")); });
    EXPECT_EQ(S(v), "1" + repeat('0', 30));
    Numeric small = N("0.5");
    small.pow(N("40"));  // no integer digits at all
    EXPECT_EQ(small.compare(N("0.000000000001")), -1);
    // Another thread has its own (empty) stack.
    bool limited = true;
    std::thread([&] { limited = core::NumericLimits::current().has_value(); }).join();
    EXPECT_FALSE(limited);
  }
  EXPECT_FALSE(core::NumericLimits::current());
}

// ---- Conversions -------------------------------------------------------------------------------------------------

TEST(NumericTest, PlainConversionsTruncateAndWrap) {
  EXPECT_EQ(static_cast<int>(N("-1.9")), -1);
  EXPECT_EQ(static_cast<int>(N("4294967296.7")), 0);
  EXPECT_EQ(static_cast<short>(N("65537")), 1);
  EXPECT_EQ(static_cast<unsigned>(N("-1")), 0xFFFFFFFFu);
  EXPECT_EQ(static_cast<unsigned short>(N("-2")), 0xFFFE);
  EXPECT_EQ(static_cast<long long>(N("-9223372036854775808")), std::numeric_limits<long long>::min());
  EXPECT_EQ(static_cast<unsigned long long>(N("100000000000000000000")), 7766279631452241920ull);  // 10^20 mod 2^64
  EXPECT_EQ(static_cast<long>(N(("1" + repeat('0', 100)).c_str())), 0);  // 10^100 is a multiple of 2^64
  EXPECT_EQ(static_cast<unsigned long>(N("0.999")), 0u);
  EXPECT_EQ(static_cast<int>(N("123456789012.5")), static_cast<int>(123456789012LL));
}

TEST(NumericTest, CheckedConversions) {
  using Fn = std::uint64_t (*)(const Numeric&);
  const Fn asByte = [](const Numeric& n) -> std::uint64_t { return n.safeAsByte(); };
  const Fn asU16 = [](const Numeric& n) -> std::uint64_t { return n.safeAsUInt16(); };
  const Fn asU32 = [](const Numeric& n) -> std::uint64_t { return n.safeAsUInt32(); };
  const Fn asU64 = [](const Numeric& n) -> std::uint64_t { return n.safeAsUInt64(); };
  const Fn asI64 = [](const Numeric& n) -> std::uint64_t { return static_cast<std::uint64_t>(n.safeAsInt64()); };
  struct Case {
    const char* name;
    Fn fn;
    const char* value;
    bool ok;
    std::uint64_t result;
  };
  const Case cases[] = {
      {"byte", asByte, "255", true, 255},
      {"byte", asByte, "0", true, 0},
      {"byte", asByte, "256", false, 0},
      {"byte", asByte, "-1", false, 0},
      {"byte", asByte, "1.5", false, 0},
      {"byte", asByte, "5000000000", true, 5},  // deliberate: limb 0 of a number with implicit zeros
      {"u16", asU16, "65535", true, 65535},
      {"u16", asU16, "65536", false, 0},
      {"u16", asU16, "1000000000", false, 0},
      {"u32", asU32, "4294967295", true, 4294967295u},
      {"u32", asU32, "4000000000", true, 4000000000u},
      {"u32", asU32, "4294967296", false, 0},
      {"u32", asU32, "0.5", false, 0},
      {"u64", asU64, "18446744073709551615", true, 18446744073709551615ull},
      {"u64", asU64, "18446744073709551616", false, 0},
      {"u64", asU64, "19000000000000000000", false, 0},
      {"u64", asU64, "18000000000000000000", true, 18000000000000000000ull},
      {"u64", asU64, "-1", false, 0},
      {"i64", asI64, "9223372036854775807", true, 9223372036854775807ull},
      {"i64", asI64, "9223372036854775808", false, 0},
      {"i64", asI64, "-9223372036854775808", true, 9223372036854775808ull},
      {"i64", asI64, "-9223372036854775809", false, 0},
      {"i64", asI64, "-0.5", false, 0},
      {"i64", asI64, "1000000000000000000000000000", false, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.name << " " << c.value);
    const Numeric n = N(c.value);
    if (c.ok) {
      EXPECT_EQ(c.fn(n), c.result);
    } else {
      expect_numeric_error(NumericException::Overflow, [&] { c.fn(n); });
    }
  }
}

TEST(NumericTest, ToIntegerRefusesNineteenDigits) {
  long long v = 42;
  EXPECT_TRUE(N("-999999999999999999").toInteger(v));
  EXPECT_EQ(v, -999999999999999999LL);
  v = 42;
  EXPECT_FALSE(N("1000000000000000000").toInteger(v));
  EXPECT_FALSE(N("0.5").toInteger(v));
  EXPECT_EQ(v, 42);
  EXPECT_TRUE(Numeric().toInteger(v));
  EXPECT_EQ(v, 0);
}

// ---- Hashing and checksums --------------------------------------------------------------------------------------

// The hash rule, computed independently from the canonical text: 9-digit groups from the top position
// down to the units (integers) or to the last fractional group, hash = hash * 10^9 + group with 32-bit
// wrap-around, negated for a negative number.
std::int32_t model_hash(const std::string& canonical) {
  const bool negative = canonical[0] == '-';
  const std::string body = negative ? canonical.substr(1) : canonical;
  const auto point = body.find('.');
  std::string integer = body.substr(0, point);
  std::string fraction = point == std::string::npos ? "" : body.substr(point + 1);
  integer.insert(0, (9 - integer.size() % 9) % 9, '0');
  fraction.append((9 - fraction.size() % 9) % 9, '0');
  std::uint32_t h = 0;
  for (const std::string* part : {&integer, &fraction}) {
    for (std::size_t i = 0; i < part->size(); i += 9) h = h * 1000000000u + std::stoul(part->substr(i, 9));
  }
  return static_cast<std::int32_t>(negative ? 0u - h : h);
}

TEST(NumericTest, HashIsThePositionalSumOfGroups) {
  for (const char* text : {"0", "5", "-1", "1.5", "999999999", "1000000000", "4294967296", "-4294967297",
                           "0.000000000000000003", "1000000000000000000", "12345678901234567890123456789", "0.5",
                           "-0.000000001", "0.0000000001", "1234.5678", "-98765432109876543210.123456789123"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(N(text).hashCode(), model_hash(text));
  }
  EXPECT_EQ(N("1.5").hashCode(), 1500000000);
  // Equal numbers from different routes hash alike.
  EXPECT_EQ((N("0.1") + N("0.2")).hashCode(), N("0.3").hashCode());
  EXPECT_EQ((Numeric(999999999) + 1).hashCode(), Numeric(1000000000).hashCode());
  EXPECT_EQ(Numeric(1e20).hashCode(), N("100000000000000000000").hashCode());
}

// An independent model of the checksum: the reflected CRC-32 table built bit by bit, a left-shifting
// register and sign-extended bytes.
unsigned reference_checksum(const Numeric& n, unsigned seed) {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t i = 0; i < 256; ++i) {
    std::uint32_t c = i;
    for (int k = 0; k < 8; ++k) c = (c >> 1) ^ ((c & 1) ? 0xEDB88320u : 0);
    table[i] = c;
  }
  std::vector<std::uint8_t> bytes;
  const auto scale = static_cast<std::uint32_t>(n.getScale());
  for (int k = 0; k < 4; ++k) bytes.push_back(static_cast<std::uint8_t>(scale >> (8 * k)));
  bytes.push_back(static_cast<std::uint8_t>(n.getSignByte()));
  for (int i = 0; i < n.getCount(); ++i) {
    for (int k = 0; k < 4; ++k) bytes.push_back(static_cast<std::uint8_t>(n.getLimbs()[i] >> (8 * k)));
  }
  std::uint32_t c = seed;
  for (std::uint8_t b : bytes)
    c = table[c >> 24] ^ ((c << 8) | static_cast<std::uint32_t>(static_cast<std::int8_t>(b)));
  return c;
}

TEST(NumericTest, ChecksumCoversScaleSignAndLimbs) {
  const char* values[] = {"0", "1", "-1", "0.5", "-123456789.987654321", "1000000000", "4294967295.000000255"};
  for (const char* v : values) {
    for (unsigned seed : {0u, 1u, 0xFFFFFFFFu, 0x12345678u}) {
      SCOPED_TRACE(testing::Message() << v << " seed " << seed);
      EXPECT_EQ(N(v).calculateChecksum(seed), reference_checksum(N(v), seed));
    }
  }
  // Sign and scale take part: these differ only there.
  EXPECT_NE(N("1").calculateChecksum(0), N("-1").calculateChecksum(0));
  EXPECT_NE(N("0.000000001").calculateChecksum(0), N("1").calculateChecksum(0));
  // The sign byte 0xFF is sign-extended: zero (scale 0, sign +1, no limbs) from seed 0 is T[0]-driven
  // shifts of 0 then the byte 1, while -1 differs from 1 in all upper bits of its sign step.
  EXPECT_EQ(Numeric().calculateChecksum(0), 1u);
}

// ---- Literals and DECIMAL --------------------------------------------------------------------------------------

TEST(NumericTest, HexAndBinaryLiterals) {
  const std::pair<const char16_t*, const char*> hex[] = {
      {u"0x1F", "31"},
      {u"0xff", "255"},
      {u"0x000", "0"},
      {u"0xFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF", "340282366920938463463374607431768211455"},
      {u"0x3B9ACA00", "1000000000"},
  };
  for (const auto& [text, value] : hex) {
    SCOPED_TRACE(value);
    EXPECT_EQ(S(core::create_numeric_from_hex_literal_string(avo::WString(text))), value);
    EXPECT_EQ(S(core::create_numeric_from_hex_literal_string(text)), value);
  }
  EXPECT_EQ(S(core::create_numeric_from_binary_literal_string(u"0b101")), "5");
  EXPECT_EQ(S(core::create_numeric_from_binary_literal_string(u"0b0")), "0");
  const std::u16string ones(100, u'1');
  EXPECT_EQ(S(core::create_numeric_from_binary_literal_string((u"0b" + ones).c_str())),
            "1267650600228229401496703205375");  // 2^100 - 1
}

TEST(NumericTest, MalformedLiteralsThrowIllegalArgument) {
  const std::pair<const char16_t*, bool> bad[] = {{u"0x", true},   {u"0X1", true},   {u"1x1", true},  {u"0xG", true},
                                                  {u"0x 1", true}, {u"", true},      {u"0b1", true},  {u"x12", true},
                                                  {u"0x1-", true}, {u"0b", false},   {u"0b2", false}, {u"0B1", false},
                                                  {u"0x1", false}, {u"0b1.0", false}};
  for (const auto& [text, hex] : bad) {
    SCOPED_TRACE(avo::to_std_utf8(text));
    try {
      hex ? core::create_numeric_from_hex_literal_string(avo::WString(text))
          : core::create_numeric_from_binary_literal_string(text);
      ADD_FAILURE() << "accepted";
    } catch (const core::IllegalArgumentException& e) {
      EXPECT_EQ(e.messageKey(), hex ? "IDS_ERR_INVALID_HEX_STRING_FORMAT" : "IDS_ERR_INVALID_BINARY_STRING_FORMAT");
      EXPECT_EQ(e.module(), "kern83");
      EXPECT_EQ(e.sourceFile().rfind("core/src/", 0), 0u);
    }
  }
  EXPECT_THROW(core::create_numeric_from_hex_literal_string(static_cast<const char16_t*>(nullptr)),
               core::IllegalArgumentException);
}

TEST(NumericTest, DecimalConversion) {
  struct Case {
    std::uint64_t lo;
    std::uint32_t hi;
    std::uint8_t scale, sign;
    const char* value;
  };
  const Case cases[] = {
      {12345, 0, 2, 0, "123.45"},
      {12345, 0, 2, 0x80, "-123.45"},
      {5, 0, 5, 0, "0.00005"},
      {0, 0, 0, 0x80, "0"},
      {~0ull, ~0u, 0, 0, "79228162514264337593543950335"},
      {~0ull, ~0u, 28, 0x80, "-7.9228162514264337593543950335"},
      {1, 0, 120, 0, nullptr},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.lo << " scale " << int(c.scale));
    core::tagDEC dec{};
    dec.scale = c.scale;
    dec.sign = c.sign;
    dec.Hi32 = c.hi;
    dec.Lo64 = c.lo;
    Numeric n(99);
    ASSERT_TRUE(core::DECIMAL_to_numeric(dec, n));
    if (c.value != nullptr) {
      EXPECT_EQ(S(n), c.value);
    }
  }
  core::tagDEC tooSmall{};
  tooSmall.scale = 200;
  tooSmall.Lo32 = 1;
  Numeric untouched(99);
  EXPECT_FALSE(core::DECIMAL_to_numeric(tooSmall, untouched));
  EXPECT_EQ(S(untouched), "99");
}

// ---- Character streams ----------------------------------------------------------------------------------------

TEST(NumericTest, StreamsCarryTheCanonicalText) {
  auto writer = core::detail::create_string_writer();
  N("-12.5").toStream(writer.get());
  writer->write(u',');
  N(repeat('4', 700).c_str()).toStream(writer.get());
  EXPECT_EQ(avo::to_std_utf8(core::detail::string_writer_text(writer.get())), "-12.5," + repeat('4', 700));
}

TEST(NumericTest, FromStreamConsumesOnlyTheNumber) {
  struct Case {
    std::u16string text;
    bool ok;
    const char* value;
    int next;  // the unread character, or kEnd
  };
  const std::u16string longDigits(600, u'9');
  const std::string longNines(600, '9');
  const Case cases[] = {
      {u"  -12.50x", true, "-12.5", u'x'},
      {u"7", true, "7", core::IReader::kEnd},
      {u".5}", true, "0.5", u'}'},
      {u"abc", false, "0", u'a'},
      {u"", false, "0", core::IReader::kEnd},
      {u"- 5", false, "0", u' '},
      {u".", false, "0", core::IReader::kEnd},
      {u"12\u0663", true, "12", 0x0663},
      {longDigits + u",", true, longNines.c_str(), u','},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(avo::to_std_utf8(c.text));
    auto reader = core::detail::create_string_reader(c.text);
    Numeric n(99);
    EXPECT_EQ(n.fromStream(reader.get()), c.ok);
    EXPECT_EQ(S(n), c.value);
    EXPECT_EQ(reader->peek(), c.next);
  }
}

}  // namespace
