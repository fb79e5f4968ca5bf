#include "rating/CMyPasswordChecker.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

// For counts and their products: the square of a length must fit.
using Count = std::int64_t;

bool IsLower(char c) { return c >= 'a' && c <= 'z'; }
bool IsUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool IsLetter(char c) { return IsLower(c) || IsUpper(c); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsSymbol(char c) { return c != '\0' && std::strchr("~!@#$%^&*()+=\\/{}[]><", c) != nullptr; }
bool IsDigitOrSymbol(char c) { return IsDigit(c) || IsSymbol(c); }
char Lowered(char c) { return IsUpper(c) ? static_cast<char>(c - 'A' + 'a') : c; }
bool AreSameLetter(char a, char b) { return Lowered(a) == Lowered(b); }

template <typename Predicate>
Count CountCharacters(const std::string& text, Predicate is) {
  return std::count_if(text.begin(), text.end(), is);
}

// Digits and symbols that are neither first nor last.
Count CountMiddle(const std::string& text) {
  return text.size() > 2 ? std::count_if(text.begin() + 1, text.end() - 1, IsDigitOrSymbol) : 0;
}

// The number of places where `fits` is true for a character and the next one.
template <typename Predicate>
Count CountPairs(const std::string& text, Predicate fits) {
  Count count = 0;
  for (std::size_t i = 1; i < text.size(); ++i) count += fits(text[i - 1], text[i]) ? 1 : 0;
  return count;
}

template <typename Predicate>
Count CountPairsOf(const std::string& text, Predicate is) {
  return CountPairs(text, [is](char a, char b) { return is(a) && is(b); });
}

constexpr std::size_t kRunLength = 3;

// How often the string has a run: three characters in a row of `order`, beginning at one of its first `starts` places.
// Case does not matter. A search continues after the run that it found.
Count CountRuns(const std::string& text, const char* order, std::size_t starts) {
  Count count = 0;
  for (const char* run = order; run != order + starts; ++run) {
    for (auto place = text.begin();; place += kRunLength, ++count) {
      place = std::search(place, text.end(), run, run + kRunLength, AreSameLetter);
      if (place == text.end()) break;
    }
  }
  return count;
}

// Required: for letters and for digits, neither the last run upwards nor the last one downwards is looked for.
Count CountLetterRuns(const std::string& text) {
  constexpr std::size_t kStarts = 23;
  return CountRuns(text, "abcdefghijklmnopqrstuvwxyz", kStarts) +
         CountRuns(text, "zyxwvutsrqponmlkjihgfedcba", kStarts);
}
Count CountDigitRuns(const std::string& text) {
  constexpr std::size_t kStarts = 8;
  return CountRuns(text, "01234567890", kStarts) + CountRuns(text, "09876543210", kStarts);
}

Count Bonus(const std::string& text, DWORD minimumLength) {
  const auto length = static_cast<Count>(text.size());
  const Count lowers = CountCharacters(text, IsLower);
  const Count uppers = CountCharacters(text, IsUpper);
  const Count digits = CountCharacters(text, IsDigit);
  const Count middle = CountMiddle(text);
  Count bonus = 4 * length + 6 * CountCharacters(text, IsSymbol) + 2 * middle;
  if (lowers > 0) bonus += 2 * (length - lowers);
  if (uppers > 0) bonus += 2 * (length - uppers);
  // Required: digits give no bonus when there is nothing else.
  if (digits != length) bonus += 4 * digits;

  const bool isLongEnough = text.size() >= minimumLength;
  const Count rulesMet = (lowers > 0 ? 1 : 0) + (uppers > 0 ? 1 : 0) + (middle > 0 ? 1 : 0) + (isLongEnough ? 1 : 0);
  if (isLongEnough && rulesMet >= 4) bonus += 2 * rulesMet;
  return bonus;
}

Count Deduction(const std::string& text) {
  const auto length = static_cast<Count>(text.size());
  const bool isAllOfAKind = CountCharacters(text, IsLetter) == length || CountCharacters(text, IsDigit) == length;
  const Count pairs = CountPairsOf(text, IsUpper) + CountPairsOf(text, IsLower) + CountPairsOf(text, IsDigit);
  const Count repeats = CountPairs(text, [](char a, char b) { return IsLetter(a) && AreSameLetter(a, b); });
  return (isAllOfAKind ? length : 0) + 3 * CountLetterRuns(text) + 2 * pairs + repeats * (repeats - 1) +
         3 * CountDigitRuns(text);
}

}  // namespace

int CMyPasswordChecker::GetStrength() const {
  if (m_candidate.empty()) return 0;
  const Count score = Bonus(m_candidate, m_minimumLength) - Deduction(m_candidate);
  return static_cast<int>(std::clamp<Count>(score, 0, 100));
}
