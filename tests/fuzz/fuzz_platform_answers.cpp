// Answers of the registry and of PC/SC: settings of any type, length and bytes, failures with anything in the buffer;
// reader events, failed waits, lists of slots. The settings are compared with a model, and so is the time when a
// reader's PIN is forgotten.
#include <algorithm>
#include <boost/make_shared.hpp>
#include <cstdint>
#include <cstring>
#include <deque>
#include <fuzzer/FuzzedDataProvider.h>
#include <string>

#include "Must.h"
#include "ScriptedSettings.h"
#include "context/UnplugThread.h"
#include "context/UnplugThreadManager.h"
#include "dialogs/CSelectCard.h"
#include "dialogs/ScriptedDialogs.h"
#include "fixtures/Renew.h"
#include "log/CCSPLog.h"
#include "module/ScriptedModule.h"
#include "pin/PINCacheManager.h"
#include "platform/ScriptedWinSCard.h"
#include "resources/DialogIds.h"
#include "settings/Settings.h"

namespace {

constexpr char kReader[] = "Reader A";

bool IsNumberButZero(const std::string& text) {
  std::size_t i = 0;
  while (i < text.size() && std::strchr(" \t\n\v\f\r", text[i]) != nullptr) ++i;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    if (text[i] != '0') return true;
  }
  return false;
}

void CompareSetting(const ScriptedSettings& registry, const Setting& setting) {
  const StoredSetting stored = Settings().Read(setting);
  const ScriptedSettings::Value* const value = registry.Find(setting.name);
  const bool failed = value == nullptr || value->failure != ERROR_SUCCESS;
  const bool tooLong = !failed && value->bytes.size() > setting.limit;
  Must(stored.found == !failed && stored.tooLong == tooLong && stored.IsUsed() == (!failed && !tooLong));
  Must(stored.length == (failed ? 0 : value->bytes.size()));
  if (!failed) Must(stored.type == value->type);
  const std::string text = stored.IsUsed() ? value->bytes.c_str() : setting.fallback;
  Must(text == stored.text);
  Must(stored.IsOn() == IsNumberButZero(text) && Settings().IsOn(setting) == stored.IsOn());
}

void AnyRegistry(FuzzedDataProvider& data) {
  ScriptedSettings registry(data);
  for (const Setting& setting : kSettings) CompareSetting(registry, setting);
  Must(registry.OpenKeys() == 0);

  BYTE buffer[40] = {};
  DWORD length = sizeof(buffer);
  CCSPLog log(0);  // it writes nothing
  const ScriptedSettings::Value* const value = registry.Find("PINCACHE");
  const bool isRead = log.ReadRegistryValue("PINCACHE", buffer, &length);
  Must(isRead == (value != nullptr && value->failure == ERROR_SUCCESS && value->bytes.size() <= sizeof(buffer)));
  if (isRead) Must(length == value->bytes.size() && std::memcmp(buffer, value->bytes.data(), length) == 0);
  Must(log.WriteRegistryValue("PINCACHE", "1", 2) == (registry.HasKey() && registry.setResult == ERROR_SUCCESS));
  Must(log.SetEnabled(data.ConsumeBool()));
  Must(registry.OpenKeys() == 0);
}

CTELVOPINCache& CacheWithPIN() {
  static const BYTE pin[] = {'1', '2', '3', '4'};
  const auto cache = g_pinCacheManager.GetPINCache(kReader, "1");
  cache->SetPINCache(pin, sizeof(pin));
  return *cache;
}

// A watcher on this thread. It is asked to stop during its last wait.
void WatchReader(FuzzedDataProvider& data) {
  constexpr DWORD kResults[] = {0, 0, 0, 0x8010002E, 0x8010001D, 0x80100002};
  constexpr DWORD kEvents[] = {0x22, 0x12, 0x20, 0x10, 0x122, 0x0A, 0x02};
  ScriptedWinSCard service;
  service.AddReader(kReader);
  SCARDCONTEXT context = 0;
  SCardEstablishContext(SCARD_SCOPE_USER, nullptr, nullptr, &context);
  UnplugThread watcher(kReader, 0, nullptr, context);
  Must(UnplugThread(kReader, 0, nullptr, 0).WatchReader() == 0x80090026);
  CTELVOPINCache& cache = CacheWithPIN();

  bool isKept = true;
  DWORD current = 0x20;
  std::vector<std::string> expected;
  const int waits = data.ConsumeIntegralInRange(1, 8);
  for (int i = 0; i < waits; ++i) {
    const DWORD result = data.PickValueInArray(kResults);
    const DWORD event = data.PickValueInArray(kEvents);
    const bool isLast = i + 1 == waits;
    char call[80];
    std::snprintf(call, sizeof(call), "SCardGetStatusChangeA(1, INFINITE, Reader A %08X)",
                  static_cast<unsigned>(current));
    expected.emplace_back(call);
    service.AnswerNextWait(kReader, result, event, [&cache, &watcher, isKept, isLast] {
      Must(cache.IsPINSet() == (isKept ? 1 : 0));
      if (isLast) watcher.AskToStop();
    });
    if (isLast || (result != 0 && result != 0x8010002E)) continue;
    const bool isRemoval = result == 0x8010002E || (event & 0x02U) == 0 || (event & 0x10U) != 0;
    isKept = isKept && !isRemoval;
    current = event;
  }
  Must(watcher.WatchReader() == 0);
  std::vector<std::string> calls = service.TakeCalls();
  calls.erase(calls.begin());  // the context
  Must(calls == expected && cache.IsPINSet() == (isKept ? 1 : 0));
  SCardReleaseContext(context);
}

// A module whose slots come from the input. At the end of the input it stops the watcher.
class SlotTape : public ScriptedModule {
 public:
  explicit SlotTape(FuzzedDataProvider& data) : m_data(data) {}
  UnplugThread* watcher = nullptr;
  bool hadFewer = false;

  CK_RV C_GetSlotList(CK_BBOOL, CK_SLOT_ID* slots, CK_ULONG* count) override {
    if (m_data.remaining_bytes() == 0) watcher->AskToStop();
    if (m_data.ConsumeIntegralInRange(0, 15) == 15) return CKR_DEVICE_ERROR;
    const auto number = m_data.ConsumeIntegralInRange<CK_ULONG>(0, 3);
    if (slots != nullptr) std::fill_n(slots, std::min(number, *count), 0);
    hadFewer = hadFewer || number < m_most;
    m_most = std::max(m_most, number);
    *count = number;
    return CKR_OK;
  }
  CK_RV C_GetSlotInfo(CK_SLOT_ID, CK_SLOT_INFO* info) override {
    if (m_data.ConsumeIntegralInRange(0, 15) == 15) return CKR_DEVICE_ERROR;
    const char* const names[] = {"Reader A", "Reader B", "",
                                 "Reader A with a name that fills the whole of the field, all 64"};
    std::memset(info, ' ', sizeof(*info));
    const std::string name = m_data.PickValueInArray(names);
    std::copy(name.begin(), name.end(), info->slotDescription);
    return CKR_OK;
  }

 private:
  FuzzedDataProvider& m_data;
  CK_ULONG m_most = 0;
};

// The PIN is kept as long as no list is shorter than a previous one.
void PollSlots(FuzzedDataProvider& data) {
  CTELVOPINCache& cache = CacheWithPIN();
  const auto module = boost::make_shared<SlotTape>(data);
  UnplugThread watcher(kReader, 0, module, 0);
  module->watcher = &watcher;
  Must(watcher.PollSlots() == 0);
  if (!module->hadFewer) Must(cache.IsPINSet() == 1);
}

// Watchers on their own threads: one for each reader. All end with the manager.
void ManageWatchers(FuzzedDataProvider& data) {
  ScriptedWinSCard service;
  const char* const readers[] = {"Reader A", "Reader B"};
  for (const char* reader : readers) service.InsertCard(reader);
  if (data.ConsumeIntegralInRange(0, 7) == 7) service.FailNext("SCardEstablishContext", 0x8010001D);
  UnplugThreadManager manager(false);
  const int count = data.ConsumeIntegralInRange(0, 3);
  for (int i = 0; i < count; ++i) manager.AddUnplugThread(data.PickValueInArray(readers), 0, nullptr);
  OSVERSIONINFOA version = {};
  version.dwMajorVersion = data.ConsumeIntegralInRange<DWORD>(4, 6);
  version.dwMinorVersion = data.ConsumeIntegralInRange<DWORD>(0, 3);
  const bool isOld = version.dwMajorVersion == 5 && version.dwMinorVersion == 2;
  Must(NeedsPolling(TRUE, version) == isOld && NeedsPolling(FALSE, version));
}

// The reader dialog shows the readers that PC/SC lists. A name of one character counts as none.
void ChooseReader(FuzzedDataProvider& data) {
  ScriptedWinSCard service;
  std::vector<std::string> names;
  const int count = data.ConsumeIntegralInRange(0, 4);
  for (int i = 0; i < count; ++i) {
    names.push_back("Rd" + std::string(data.ConsumeRandomLengthString(8).c_str()));
    service.AddReader(names.back());
  }
  const bool refused = data.ConsumeIntegralInRange(0, 7) == 7;
  const bool cancels = data.ConsumeIntegralInRange(0, 7) == 7;
  if (refused) service.FailNext("SCardListReadersA", data.ConsumeIntegralInRange<DWORD>(1, 0xFFFFFFFF));
  ScriptedDialogs dialogs;
  dialogs.OnEvery([&](ScriptedDialog& dialog) {
    if (!cancels) dialog.Click(IDOK);
  });
  CSelectCard dialog;
  try {
    const bool isChosen = dialog.DoModal() == IDOK;
    std::string reader;
    dialog.GetReaderName(&reader);
    Must(isChosen != cancels && !refused && count > 0);
    Must(cancels ? reader.empty() : std::count(names.begin(), names.end(), reader) > 0);
  } catch (const std::runtime_error&) {
    Must(refused || count == 0);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  Renew(g_pinCacheManager);
  void (*const kinds[])(FuzzedDataProvider&) = {AnyRegistry, AnyRegistry, AnyRegistry,  WatchReader,
                                                WatchReader, PollSlots,   ChooseReader, ManageWatchers};
  data.PickValueInArray(kinds)(data);
  return 0;
}
