#include "telvotool/AdapterModule.h"

#include <algorithm>

#include "adapter/Module.h"
#include "adapter/ResultNames.h"
#include "telvotool/Errors.h"
#include "telvotool/Image.h"
#include "telvotool/Text.h"

namespace tool {

const char kEmulated[] =
    "digests, session keys, encryption, verification, random numbers, keys that show before the login, tries, and the "
    "default certificate";

namespace {

using Functions = CK_FUNCTION_LIST;

template <std::size_t size>
std::string TextOf(const CK_UTF8CHAR (&field)[size]) {
  return WithoutTrailingSpaces(std::string(reinterpret_cast<const char*>(field), size));
}

std::string TextOf(const CK_VERSION& version) {
  return std::to_string(version.major) + '.' + std::to_string(version.minor);
}

std::string DescriptionOf(adapter::Module& module) {
  CK_INFO info = {};
  if (module.Call<&Functions::C_GetInfo>(&info) != CKR_OK) return "it does not say who made it";
  return TextOf(info.manufacturerID) + ", " + TextOf(info.libraryDescription) + ' ' + TextOf(info.libraryVersion) +
         ", PKCS #11 " + TextOf(info.cryptokiVersion);
}

std::vector<CK_SLOT_ID> SlotsWithToken(adapter::Module& module) {
  CK_ULONG count = 0;
  CK_RV result = module.Call<&Functions::C_GetSlotList>(CK_BBOOL{CK_TRUE}, nullptr, &count);
  std::vector<CK_SLOT_ID> slots(result == CKR_OK ? count : 0);
  if (!slots.empty()) result = module.Call<&Functions::C_GetSlotList>(CK_BBOOL{CK_TRUE}, slots.data(), &count);
  if (result != CKR_OK) {
    throw Failure("the module does not list its slots: " + adapter::ResultName(result), kFailed, "");
  }
  slots.resize(std::min<std::size_t>(slots.size(), count));
  return slots;
}

bool Does(adapter::Module& module, CK_SLOT_ID slot, CK_MECHANISM_TYPE mechanism, CK_FLAGS what) {
  CK_MECHANISM_INFO info = {};
  return module.Call<&Functions::C_GetMechanismInfo>(slot, mechanism, &info) == CKR_OK && (info.flags & what) != 0;
}

void AddNeeds(adapter::Module& module, CK_SLOT_ID slot, const CK_TOKEN_INFO& token, AdapterSlot& found) {
  const auto add = [&](const char* need, bool isMet) { (isMet ? found.has : found.lacks).emplace_back(need); };
  const bool isWritable = (token.flags & CKF_WRITE_PROTECTED) == 0;
  add("signing", Does(module, slot, CKM_RSA_PKCS, CKF_SIGN));
  add("decryption", Does(module, slot, CKM_RSA_PKCS, CKF_DECRYPT));
  add("making key pairs", isWritable && Does(module, slot, CKM_RSA_PKCS_KEY_PAIR_GEN, CKF_GENERATE_KEY_PAIR));
  add("storing certificates", isWritable);
}

bool Fits(const std::string& wanted, const std::string& found) { return wanted.empty() || wanted == found; }

AdapterSlot SlotOf(adapter::Module& module, CK_SLOT_ID slot, const adapter::Settings& settings) {
  AdapterSlot found;
  CK_SLOT_INFO slotInfo = {};
  if (module.Call<&Functions::C_GetSlotInfo>(slot, &slotInfo) == CKR_OK) {
    found.reader = TextOf(slotInfo.slotDescription);
  }
  CK_TOKEN_INFO token = {};
  if (module.Call<&Functions::C_GetTokenInfo>(slot, &token) != CKR_OK) return found;
  found.label = TextOf(token.label);
  found.serial = TextOf(token.serialNumber);
  found.initialised = (token.flags & CKF_TOKEN_INITIALIZED) != 0;
  found.isShown =
      Fits(settings.label, found.label) && Fits(settings.serial, found.serial) && Fits(settings.reader, found.reader);
  AddNeeds(module, slot, token, found);
  return found;
}

}  // namespace

std::string AdapterSettingsPath() {
  const std::string library = FindLibrary("telvopkcs11.dll");
  return adapter::SettingsPath(library.substr(0, library.find_last_of('\\')));
}

AdapterModule Probe(const adapter::Settings& settings) {
  adapter::Settings untraced = settings;
  untraced.trace.clear();
  adapter::Module module(untraced);
  AdapterModule found;
  found.description = DescriptionOf(module);
  try {
    for (const CK_SLOT_ID slot : SlotsWithToken(module)) found.slots.push_back(SlotOf(module, slot, settings));
  } catch (const Failure&) {
    module.Stop();
    throw;
  }
  module.Stop();
  return found;
}

std::string Listed(const std::vector<std::string>& words) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i != 0) text += i + 1 == words.size() ? " and " : ", ";
    text += words[i];
  }
  return text;
}

}  // namespace tool
