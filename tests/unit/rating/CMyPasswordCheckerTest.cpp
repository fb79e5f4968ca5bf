#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <new>
#include <random>
#include <string>

#include "rating/CMyPasswordChecker.h"

namespace {

int Score(const std::string& candidate, DWORD minimumLength = 8) {
  return CMyPasswordChecker(candidate, minimumLength).GetStrength();
}

struct ScoreCase {
  const char* name;
  const char* candidate;
  int score;
};

class PasswordScoreTest : public ::testing::TestWithParam<ScoreCase> {};

TEST_P(PasswordScoreTest, FollowsTheRules) { EXPECT_EQ(GetParam().score, Score(GetParam().candidate)); }

const ScoreCase kScores[] = {
    {"Empty", "", 0},
    {"OneDigit", "7", 3},
    {"OneLowerCaseLetter", "q", 3},
    {"OneCapital", "Q", 3},
    {"FourDigitsInARow", "1234", 4},
    {"EightDigitsInARow", "12345678", 4},
    {"FourLettersInARow", "abcd", 0},
    {"FourEqualLetters", "aaaa", 0},
    {"OneOfEachKind", "Ab1!", 40},
    {"OneOfEachKindTwice", "Aa1!Aa1!", 88},
    {"ANegativeScoreIsZero", "aaaaa", 0},
    {"AScoreAboveAHundredIsAHundred", "Aa1!Aa1!Aa1!", 100},
    // The bonus of 8.
    {"LowerUpperAndADigitInsideMeetAllRules", "aB1cdefg", 47},
    {"LowerUpperAndASymbolInsideMeetAllRules", "aB!cdefg", 49},
    {"OneLowerCaseLetterMeetsItsRule", "A1bXQMZD", 56},
    {"SevenCharactersGetNoBonus", "aB1cdef", 38},
    {"ASymbolAtTheEndIsNotInside", "aBcdefg!", 33},
    {"WithoutACapitalOneRuleIsNotMet", "qe1tuoad", 30},
    {"WithoutALowerCaseLetterOneRuleIsNotMet", "QE1TUOAD", 30},
    // Runs.
    {"TheLastThreeLettersAreNoRun", "xyz", 5},
    {"TheThreeLettersBeforeThemAreARun", "wxy", 2},
    {"TheFirstThreeLettersDownwardsAreNoRun", "cba", 5},
    {"TheThreeLettersAfterThemAreARun", "dcb", 2},
    {"TheFirstThreeLettersFromZDownwardsAreARun", "zyx", 2},
    {"CapitalsFormRunsAsWell", "WXY", 2},
    {"TheSameRunTwiceCountsTwice", "abcabc", 2},
    {"EightNineZeroIsNoRun", "890", 7},
    {"TwoOneZeroIsNoRun", "210", 7},
    {"ZeroNineEightIsARun", "098", 4},
    {"ZeroOneTwoIsARun", "012", 4},
    {"ThreeTwoOneIsARun", "321", 4},
    {"SevenEightNineIsARun", "789", 4},
    // Repeats.
    {"OneRepeatCostsNothing", "aA", 10},
    {"TwoRepeatsOfALetterInEitherCaseCostTwo", "aAa", 13},
    {"DigitsAreNoRepeats", "112", 7},
    // Symbols.
    {"ASymbolInsideCountsTwice", "a+b", 22},
    {"ASpaceIsNoSymbol", "a b", 14},
    {"AHyphenIsNoSymbol", "a-b", 14},
};
INSTANTIATE_TEST_SUITE_P(Candidates, PasswordScoreTest, ::testing::ValuesIn(kScores),
                         [](const auto& row) { return row.param.name; });

TEST(CMyPasswordCheckerTest, TwentyOneCharactersAreSymbols) {
  for (const char symbol : std::string("~!@#$%^&*()+=\\/{}[]><"))
    EXPECT_EQ(10, Score(std::string(1, symbol))) << symbol;
}

TEST(CMyPasswordCheckerTest, AnyOtherCharacterCountsOnlyForTheLength) {
  for (const char other : std::string(" -_,.:;'\"`|?\t\x7F\x80\xC4\xE4\xFF")) {
    EXPECT_EQ(4, Score(std::string(1, other))) << static_cast<int>(other);
  }
  EXPECT_EQ(4, Score(std::string(1, '\0')));
}

TEST(CMyPasswordCheckerTest, TheMinimumLengthDecidesTheBonus) {
  EXPECT_EQ(46, Score("aB1cdef", 7));
  EXPECT_EQ(38, Score("aB1cdef", 8));
  EXPECT_EQ(46, Score("aB1cdef", 0));
  EXPECT_EQ(39, Score("aB1cdefg", 9));
}

TEST(CMyPasswordCheckerTest, AScoreDoesNotDependOnThePreviousOne) {
  const CMyPasswordChecker checker("Ab1!", 8);
  EXPECT_EQ(40, checker.GetStrength());
  EXPECT_EQ(40, checker.GetStrength());
}

TEST(CMyPasswordCheckerTest, ScoresOfLongCandidatesStayInRange) {
  EXPECT_EQ(0, Score(std::string(100000, 'a')));
  EXPECT_EQ(100, Score(std::string(100000, '1')));
  EXPECT_EQ(100, Score(std::string(100000, '!')));
  std::string mixed;
  for (int i = 0; i < 25000; ++i) mixed += "Ab1!";
  EXPECT_EQ(100, Score(mixed));
}

TEST(CMyPasswordCheckerTest, ScoresOfRandomCandidatesStayInRange) {
  std::minstd_rand generator(1);
  const std::string characters = "aAbBcCxXyYzZ0123456789~!@#$% -_\xE4";
  for (int i = 0; i < 20000; ++i) {
    std::string candidate(generator() % 40, ' ');
    for (char& character : candidate) character = characters[generator() % characters.size()];
    const int score = Score(candidate, static_cast<DWORD>(generator() % 12));
    ASSERT_GE(score, 0) << candidate;
    ASSERT_LE(score, 100) << candidate;
  }
}

TEST(CMyPasswordCheckerTest, TheCandidateIsWipedWithTheObject) {
  alignas(CMyPasswordChecker) char memory[sizeof(CMyPasswordChecker)];
  const char* const begin = memory;
  const char* const end = memory + sizeof(memory);
  const std::string candidate = "Secret42";  // short enough to be inside the string object
  auto* const checker = new (memory) CMyPasswordChecker(candidate, 8);
  EXPECT_NE(end, std::search(begin, end, candidate.begin(), candidate.end()));
  checker->~CMyPasswordChecker();
  EXPECT_EQ(end, std::search(begin, end, candidate.begin() + 1, candidate.end()));
}

}  // namespace
