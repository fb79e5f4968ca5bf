#include "CardFile.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "Files.h"

namespace softtoken {
namespace {

constexpr std::string_view kHeading = "telvopkcs11 card 1";
constexpr std::size_t kSaltSize = 16;
constexpr std::size_t kDigestSize = 32;
constexpr std::size_t kKeySize = 32;

Secret RandomBytes(std::size_t size) {
  Secret bytes(size);
  if (RAND_bytes(bytes.data(), static_cast<int>(size)) != 1) throw std::runtime_error("no random bytes");
  return bytes;
}

Secret Hex(const Secret& bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  Secret text;
  text.reserve(2 * bytes.size());
  for (const unsigned char byte : bytes) {
    text.push_back(static_cast<unsigned char>(kDigits[byte >> 4]));
    text.push_back(static_cast<unsigned char>(kDigits[byte & 15]));
  }
  return text;
}

std::optional<Secret> FromHex(std::string_view text, std::size_t size) {
  if (text.size() != 2 * size) return std::nullopt;
  Secret bytes(size);
  for (std::size_t i = 0; i < size; ++i) {
    const char* const digits = text.data() + 2 * i;
    if (std::from_chars(digits, digits + 2, bytes[i], 16).ptr != digits + 2) return std::nullopt;
  }
  return bytes;
}

// One round of SHA-256. More would not help: a PIN of a few digits is found by trial even through a thousand rounds.
// What protects it is the mode of the file.
Secret PinDigest(const Secret& salt, const unsigned char* pin, std::size_t length) {
  Secret salted(salt);
  salted.insert(salted.end(), pin, pin + length);
  Secret digest(kDigestSize);
  if (EVP_Digest(salted.data(), salted.size(), digest.data(), nullptr, EVP_sha256(), nullptr) != 1) {
    throw std::runtime_error("no SHA-256");
  }
  return digest;
}

}  // namespace

// A part of CardFile::Content, so it needs linkage.
struct StoredPin {
  Secret salt, digest;
  unsigned wrong = 0;

  void Set(const Secret& pin) {
    salt = RandomBytes(kSaltSize);
    digest = PinDigest(salt, pin.data(), pin.size());
    wrong = 0;
  }
};

namespace {

// Removes the next word from a line of words with single spaces between them.
std::string_view NextWord(std::string_view& line) {
  const std::size_t end = std::min(line.find(' '), line.size());
  const std::string_view word = line.substr(0, end);
  line.remove_prefix(std::min(end + 1, line.size()));
  return word;
}

std::string_view NextLine(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return line;
}

bool ReadPin(std::string_view line, std::string_view name, StoredPin& pin) {
  if (NextWord(line) != name) return false;
  const std::string_view wrong = NextWord(line);
  const std::optional<Secret> salt = FromHex(NextWord(line), kSaltSize);
  const std::optional<Secret> digest = FromHex(NextWord(line), kDigestSize);
  const char* const end = wrong.data() + wrong.size();
  if (!salt || !digest || wrong.empty() || std::from_chars(wrong.data(), end, pin.wrong).ptr != end) return false;
  pin.salt = *salt;
  pin.digest = *digest;
  return true;
}

void Append(Secret& text, std::string_view piece) { text.insert(text.end(), piece.begin(), piece.end()); }

void AppendPin(Secret& text, std::string_view name, const StoredPin& pin) {
  Append(text, name);
  Append(text, " " + std::to_string(pin.wrong) + " ");
  Append(text, TextOf(Hex(pin.salt)));
  Append(text, " ");
  Append(text, TextOf(Hex(pin.digest)));
  Append(text, "\n");
}

}  // namespace

struct CardFile::Content {
  std::string store;
  Secret key;
  std::array<StoredPin, 2> pins;

  StoredPin& Pin(PinOwner owner) { return pins[owner == PinOwner::User ? 0 : 1]; }
};

CardFile::CardFile(const std::string& stateFolder, const std::string& serial, unsigned tries)
    : m_path(stateFolder + '/' + serial + ".card"),
      m_lockPath(stateFolder + '/' + serial + ".lock"),
      m_serial(serial),
      m_tries(tries) {}

bool CardFile::Exists() const { return ReadFile(m_path).has_value(); }

void CardFile::Make(const Secret& pin, const Secret& soPin) const {
  const FileLock lock(m_lockPath);
  Content content;
  // Half of the name is random. So a new card does not get the store of a card whose file was deleted.
  content.store = m_serial + std::string(TextOf(Hex(RandomBytes(8))));
  content.key = Hex(RandomBytes(kKeySize));
  content.Pin(PinOwner::User).Set(pin);
  content.Pin(PinOwner::SecurityOfficer).Set(soPin);
  Write(content);
}

PinCheck CardFile::OfferTo(Content& content, PinOwner owner, const unsigned char* pin, std::size_t length) const {
  StoredPin& stored = content.Pin(owner);
  if (stored.wrong >= m_tries) return {false, 0};
  const Secret digest = PinDigest(stored.salt, pin, length);
  if (CRYPTO_memcmp(digest.data(), stored.digest.data(), kDigestSize) == 0) {
    if (stored.wrong != 0) {
      stored.wrong = 0;
      Write(content);
    }
    return {true, m_tries};
  }
  ++stored.wrong;
  Write(content);
  return {false, m_tries - stored.wrong};
}

PinCheck CardFile::Offer(PinOwner owner, const unsigned char* pin, std::size_t length) const {
  const FileLock lock(m_lockPath);
  Content content = Read();
  return OfferTo(content, owner, pin, length);
}

PinCheck CardFile::Change(PinOwner owner, const unsigned char* pin, std::size_t length, const Secret& fresh) const {
  const FileLock lock(m_lockPath);
  Content content = Read();
  const PinCheck check = OfferTo(content, owner, pin, length);
  if (check.right) {
    content.Pin(owner).Set(fresh);
    Write(content);
  }
  return check;
}

void CardFile::Set(PinOwner owner, const Secret& fresh) const {
  const FileLock lock(m_lockPath);
  Content content = Read();
  content.Pin(owner).Set(fresh);
  Write(content);
}

unsigned CardFile::WrongTries(PinOwner owner) const { return std::min(Read().Pin(owner).wrong, m_tries); }

std::string CardFile::StoreName() const { return Read().store; }

Secret CardFile::StoreKey() const { return Read().key; }

CardFile::Content CardFile::Read() const {
  const std::optional<Secret> file = ReadFile(m_path);
  if (!file) throw std::runtime_error(m_path + " is gone");
  std::string_view text = TextOf(*file);
  const auto require = [this](bool sound) {
    if (!sound) throw std::runtime_error(m_path + " is damaged; delete the state folder to start anew");
  };
  require(NextLine(text) == kHeading);
  std::string_view store = NextLine(text), key = NextLine(text);
  require(NextWord(store) == "store" && store.size() == 32);
  require(NextWord(key) == "key" && FromHex(key, kKeySize));
  Content content;
  content.store = std::string(store);
  content.key = MakeSecret(key);
  require(ReadPin(NextLine(text), "user", content.pins[0]));
  require(ReadPin(NextLine(text), "so", content.pins[1]));
  return content;
}

void CardFile::Write(const Content& content) const {
  Secret text;
  Append(text, kHeading);
  Append(text, "\nstore " + content.store + "\nkey ");
  Append(text, TextOf(content.key));
  Append(text, "\n");
  AppendPin(text, "user", content.pins[0]);
  AppendPin(text, "so", content.pins[1]);
  ReplaceFile(m_path, text);
}

}  // namespace softtoken
