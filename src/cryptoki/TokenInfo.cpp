#include "cryptoki/TokenInfo.h"

#include <iterator>

#include "cryptoki/DecodeText.h"

namespace {

template <std::size_t N>
std::string Decoded(const CK_UTF8CHAR (&text)[N]) {
  return DecodeText(text, static_cast<DWORD>(N));
}

std::string InPairs(std::string text) {
  for (std::size_t i = 2; i < text.size(); i += 3) text.insert(i, 1, ' ');
  return text;
}

}  // namespace

TokenInfo::TokenInfo(const CK_TOKEN_INFO& info)
    : m_label(Decoded(info.label)),
      m_manufacturer(Decoded(info.manufacturerID)),
      m_model(Decoded(info.model)),
      m_serial(InPairs(std::string(std::begin(info.serialNumber), std::end(info.serialNumber)))),
      m_flags(info.flags),
      m_maxSessionCount(info.ulMaxSessionCount),
      m_sessionCount(info.ulSessionCount),
      m_maxRwSessionCount(info.ulMaxRwSessionCount),
      m_rwSessionCount(info.ulRwSessionCount),
      m_maxPinLen(info.ulMaxPinLen),
      m_minPinLen(info.ulMinPinLen),
      m_totalPublicMemory(info.ulTotalPublicMemory),
      m_freePublicMemory(info.ulFreePublicMemory),
      m_totalPrivateMemory(info.ulTotalPrivateMemory),
      m_freePrivateMemory(info.ulFreePrivateMemory),
      m_hardwareVersion(info.hardwareVersion),
      m_firmwareVersion(info.firmwareVersion),
      m_utcTime(std::begin(info.utcTime), std::end(info.utcTime)) {}
