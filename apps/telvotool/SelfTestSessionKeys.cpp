// The steps of the self-test with session keys.
#include <cstring>

#include "telvotool/KeyWork.h"
#include "telvotool/SelfTestParts.h"
#include "telvotool/SelfTestSteps.h"

namespace tool {

namespace {

// A whole number of blocks for every cipher.
const Bytes& Blocks() {
  static const Bytes blocks = BytesOf("Four blocks of sixteen bytes, which is eight blocks of eight....");
  return blocks;
}

}  // namespace

// The system's own provider makes the key and encrypts it for the container's pair.
void SelfTestWork::TakeSessionKey(ALG_ID algorithm, std::size_t block) const {
  const HCRYPTKEY publicKey = PublicKey();
  KeyHandle theirs;
  const Bytes blob = BySystem([&] {
    theirs = NewKey(m_theirs.Get(), algorithm, CRYPT_EXPORTABLE, kTheirs);
    return Export(theirs.Get(), publicKey, SIMPLEBLOB, kTheirs);
  });
  const KeyHandle ours = Import(Ours(), blob, Pair(), "the session key is not taken");
  UseCbc(theirs.Get(), block, kTheirs);
  UseCbc(ours.Get(), block, kOurs);
  const Bytes encrypted = EncryptedBlocks(ours.Get(), Blocks(), "the session key does not encrypt");
  Expect(Decrypted(theirs.Get(), false, encrypted, kTheirs) == Blocks(),
         "the system's own provider decrypts something else");
  UseCbc(theirs.Get(), block, kTheirs);
  UseCbc(ours.Get(), block, kOurs);
  const Bytes padded = EncryptedWithPadding(theirs.Get(), Message(), block, kTheirs);
  Expect(Decrypted(ours.Get(), true, padded, "the session key does not decrypt") == Message(),
         "something else comes out");
}

namespace {

// The blob of an unencrypted session key, for the system's own provider.
Bytes PlainBlob(ALG_ID algorithm, const Bytes& key) {
  const BLOBHEADER header = {PLAINTEXTKEYBLOB, CUR_BLOB_VERSION, 0, algorithm};
  const auto length = static_cast<DWORD>(key.size());
  Bytes blob(sizeof(header) + sizeof(length));
  std::memcpy(blob.data(), &header, sizeof(header));
  std::memcpy(blob.data() + sizeof(header), &length, sizeof(length));
  blob.insert(blob.end(), key.begin(), key.end());
  return blob;
}

}  // namespace

// The receiver is a pair of the system's own provider. The bytes after the head of the blob are big-endian. Decrypted,
// they are the key with its bytes reversed.
void SelfTestWork::GiveSessionKey() const {
  PublicKey();
  constexpr std::size_t kHead = sizeof(BLOBHEADER) + sizeof(ALG_ID);
  constexpr std::size_t kBlock = 8;
  const KeyHandle receiver =
      BySystem([&] { return NewKey(m_theirs.Get(), AT_KEYEXCHANGE, kSelfTestBits << 16U, kTheirs); });
  const Bytes receiverBlob = BySystem([&] { return Export(receiver.Get(), 0, PUBLICKEYBLOB, kTheirs); });
  const KeyHandle exchangeKey = Import(Ours(), receiverBlob, 0, "the receiver's public key is not taken");
  const KeyHandle ours = NewKey(Ours(), CALG_3DES, CRYPT_EXPORTABLE, "no session key can be made");
  const Bytes blob = Export(ours.Get(), exchangeKey.Get(), SIMPLEBLOB, "the session key is not given out");
  Expect(blob.size() > kHead, "the blob is empty");
  const Bytes encrypted = Reversed({blob.begin() + kHead, blob.end()});
  const Bytes key = Decrypted(receiver.Get(), true, encrypted, "the receiver cannot decrypt the session key");
  const KeyHandle theirs =
      Import(m_theirs.Get(), PlainBlob(CALG_3DES, Reversed(key)), 0, "the receiver does not take the session key");
  UseCbc(theirs.Get(), kBlock, kTheirs);
  UseCbc(ours.Get(), kBlock, kOurs);
  Expect(Decrypted(theirs.Get(), false, EncryptedBlocks(ours.Get(), Blocks(), kOurs), kTheirs) == Blocks(),
         "the receiver decrypts something else");
}

}  // namespace tool
