// Cryptoki: the module as a whole: its start, its record, and its slots. TELVOCryptoki is the one that the
// provider makes.
#pragma once

#include <list>
#include <string>

#include "cryptoki/ICryptokiSettable.h"
#include "cryptoki/Slot.h"
#include "cryptoki/Version.h"

// What the module says of itself. Texts went through DecodeText.
struct CryptokiInfo {
  Version cryptokiVersion;
  std::string manufacturer;
  CK_FLAGS flags = 0;
  std::string libraryDescription;
  Version libraryVersion;
};

class Cryptoki : public ICryptokiSettable {
 public:
  // A null pointer raises CryptokiError CKR_ARGUMENTS_BAD.
  explicit Cryptoki(boost::shared_ptr<CryptokiInterface> cryptoki);
  Cryptoki(const Cryptoki&) = default;
  Cryptoki& operator=(const Cryptoki&) = default;

  // In interface order: append, never reorder.

  virtual ~Cryptoki();
  // Initialises the module. That it is initialised already is no failure; any other is thrown.
  virtual void Initialize();
  virtual CryptokiInfo GetInfo();
  // The slots with a token, in the module's order, each with what the module says of it. A failure between
  // two slots is thrown and leaves the list of those before it.
  virtual std::list<Slot> GetActiveSlots();
  // All slots, in the module's order, with nothing but their ids: Slot::IsTokenPresent reads the rest.
  virtual std::list<Slot> GetAllSlots();

  // The lists as the last calls left them.
  const std::list<Slot>& GetLastActiveSlots() const { return m_activeSlots; }
  const std::list<Slot>& GetLastAllSlots() const { return m_allSlots; }
  CK_RV GetLastResult() const { return m_lastResult; }

 private:
  // Keeps the result of a module call, and throws when it is a failure.
  void Keep(CK_RV result);
  template <typename ReadInfo>
  std::list<Slot> ListSlots(CK_BBOOL tokenPresent, std::list<Slot>& slots, ReadInfo readInfo);

  std::list<Slot> m_activeSlots;
  std::list<Slot> m_allSlots;
  CK_RV m_lastResult = CKR_OK;
};

class TELVOCryptoki : public Cryptoki {
 public:
  using Cryptoki::Cryptoki;
};
