#include <gtest/gtest.h>
#include <string>

#include "cryptoki/DecodeText.h"

namespace {

// DER of an X.500 name (X.690), written out by hand: SEQUENCE of SET of SEQUENCE { OID 2.5.4.n, PrintableString }.
std::string Tlv(char tag, const std::string& content) {
  return std::string(1, tag) + static_cast<char>(content.size()) + content;
}

std::string TypeAndValue(char attribute, const std::string& text) {
  const std::string oid = Tlv('\x06', std::string("\x55\x04", 2) + attribute);
  return Tlv('\x30', oid + Tlv('\x13', text));
}

std::string Part(char attribute, const std::string& text) { return Tlv('\x31', TypeAndValue(attribute, text)); }

constexpr char kCommonName = 3;
constexpr char kCountry = 6;
constexpr char kLocality = 7;
constexpr char kOrganisation = 10;

std::string Name(const std::string& parts) { return Tlv('\x30', parts); }

std::string Decode(const std::string& bytes) {
  return DecodeText(reinterpret_cast<const BYTE*>(bytes.data()), static_cast<DWORD>(bytes.size()));
}

TEST(DecodeTextTest, NoBytesGiveAnEmptyString) {
  EXPECT_EQ("", DecodeText(nullptr, 5));
  EXPECT_EQ("", DecodeText(reinterpret_cast<const BYTE*>("x"), 0));
}

TEST(DecodeTextTest, OrdinaryTextKeepsItsTrailingSpaces) {
  const std::string label = "A label of thirty-two bytes     ";
  ASSERT_EQ(32U, label.size());
  EXPECT_EQ(label, Decode(label));
}

TEST(DecodeTextTest, OrdinaryTextEndsAtItsFirstZeroByte) { EXPECT_EQ("ab", Decode(std::string("ab\0cd", 5))); }

TEST(DecodeTextTest, TextThatMerelyLooksLikeANameIsUnchanged) { EXPECT_EQ("CN=x, O=y", Decode("CN=x, O=y")); }

TEST(DecodeTextTest, TextThatStartsLikeASequenceIsUnchanged) { EXPECT_EQ("0123456789", Decode("0123456789")); }

TEST(DecodeTextTest, ANameGivesItsCommonName) {
  EXPECT_EQ("Ada Byron",
            Decode(Name(Part(kCountry, "RO") + Part(kOrganisation, "Acme") + Part(kCommonName, "Ada Byron"))));
}

TEST(DecodeTextTest, TheCommonNameMayBeInTheMiddle) {
  EXPECT_EQ("Ada", Decode(Name(Part(kCountry, "RO") + Part(kCommonName, "Ada") + Part(kOrganisation, "Acme"))));
}

TEST(DecodeTextTest, APartWithTwoValuesIsOnePart) {
  const std::string both = Tlv('\x31', TypeAndValue(kCommonName, "Ada") + TypeAndValue(kLocality, "Cluj"));
  EXPECT_EQ("Ada + L=Cluj", Decode(Name(both + Part(kOrganisation, "Acme"))));
}

TEST(DecodeTextTest, WithoutACommonNameTheOrganisationLosesItsFirstCharacter) {
  EXPECT_EQ("cme", Decode(Name(Part(kCountry, "RO") + Part(kOrganisation, "Acme"))));
  EXPECT_EQ("cme", Decode(Name(Part(kOrganisation, "Acme"))));
}

TEST(DecodeTextTest, AnOrganisationOfOneCharacterGivesAnEmptyString) {
  EXPECT_EQ("", Decode(Name(Part(kOrganisation, "A"))));
}

TEST(DecodeTextTest, AnEmptyOrganisationGivesAnEmptyString) { EXPECT_EQ("", Decode(Name(Part(kOrganisation, "")))); }

TEST(DecodeTextTest, WithoutEitherTheFirstPartIsReturnedWhole) {
  EXPECT_EQ("L=Cluj", Decode(Name(Part(kCountry, "RO") + Part(kLocality, "Cluj"))));
  EXPECT_EQ("C=RO", Decode(Name(Part(kCountry, "RO"))));
}

TEST(DecodeTextTest, ACommonNameIsCutAtAComma) {
  // The platform quotes such a value, and the quote is part of the result.
  EXPECT_EQ("\"Byron", Decode(Name(Part(kCommonName, "Byron, Ada"))));
}

TEST(DecodeTextTest, ATruncatedNameIsTreatedAsText) {
  const std::string name = Name(Part(kCommonName, "Ada"));
  EXPECT_EQ(name.substr(0, 6), Decode(name.substr(0, 6)));
}

}  // namespace
