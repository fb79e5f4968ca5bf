// SlotWalk: the way from the name and flags of CPAcquireContext to a token, and to a container on it: which slots there
// are, which reader the user chooses, and at which slot the walk stops. All of it goes into the context.
#pragma once

#include "context/TELVOCSPContext.h"

class SlotWalk {
 public:
  explicit SlotWalk(TELVOCSPContext& context) : m_context(context) {}

  // See CCSPContext::Initialize.
  void Initialize(const char* containerName, DWORD flags, const boost::shared_ptr<Cryptoki>& cryptoki);

 private:
  using SlotPosition = std::list<Slot>::iterator;
  // Where the walk goes from a slot.
  enum class Step { kNextSlot, kStay, kEnd };

  bool ReadSlots();
  void ChooseSlots(bool active);
  void SelectReader();
  SlotPosition Walk();
  Step VisitSlot(Slot& slot);
  Step VisitNamedReader(Slot& slot);
  Step VisitAnyReader(Slot& slot, const std::string& description);
  Step PassOver(const std::string& failure, DWORD code);
  void CheckOutcome(bool atEnd) const;
  void MakeContainerName();
  void RememberTokenInfo();
  void WatchReader(bool atEnd);

  TELVOCSPContext& m_context;
};
