// Cryptoki: the module as a whole: its start, its record and its slots. The provider makes a TELVOCryptoki.
#pragma once

#include <list>
#include <string>

#include "cryptoki/ICryptokiSettable.h"
#include "cryptoki/Slot.h"
#include "cryptoki/Version.h"

// The module's description of itself. DecodeText converted its strings.
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
  // Initialises the module. Raises CryptokiError when the module refuses, unless it is initialised already.
  virtual void Initialize();
  virtual CryptokiInfo GetInfo();
  // The slots with a token, in the module's order, each with its record. When a record cannot be read the failure is
  // raised, and the list has the slots before that one.
  virtual std::list<Slot> GetActiveSlots();
  // All slots, in the module's order, with their ids only: Slot::IsTokenPresent reads the rest.
  virtual std::list<Slot> GetAllSlots();

  // The lists of the last calls.
  const std::list<Slot>& GetLastActiveSlots() const { return m_activeSlots; }
  const std::list<Slot>& GetLastAllSlots() const { return m_allSlots; }
  CK_RV GetLastResult() const { return m_lastResult; }

 private:
  // Stores the result of a module call, and raises it when it is a failure.
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
