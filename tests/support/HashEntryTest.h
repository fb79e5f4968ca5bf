// HashEntryTest: the fixture of tests of the CP... functions of hashes, in a context with a session. Logged are the
// entry layer and the hashes.
#pragma once

#include "EntryTest.h"
#include "common/FormatNumber.h"
#include "entry/CCSPContextList.h"
#include "objects/CCSPHashFactory.h"

class HashEntryTest : public EntryTest {
 protected:
  HashEntryTest() {
    AddContainer(m_module.InsertToken("Reader A"), Text("one"));
    m_handle = AcquireHandle("one");
    m_unknown = m_handle + 1;
    SetLastError(4711);
  }

  // A hash of the context; what it logged is forgotten.
  HCRYPTHASH MakeHash(ALG_ID algorithm = CALG_SHA1) {
    HCRYPTHASH hash = 0;
    EXPECT_TRUE(CPCreateHash(m_handle, algorithm, 0, 0, &hash));
    TakeLog();
    SetLastError(4711);
    return hash;
  }
  HCRYPTHASH MakeHashOf(const std::string& message, ALG_ID algorithm = CALG_SHA1) {
    const HCRYPTHASH hash = MakeHash(algorithm);
    EXPECT_TRUE(Feed(hash, message));
    TakeLog();
    SetLastError(4711);
    return hash;
  }
  BOOL Feed(HCRYPTHASH hash, const std::string& message) {
    const Bytes bytes = Text(message);
    return CPHashData(m_handle, hash, bytes.data(), static_cast<DWORD>(bytes.size()), 0);
  }
  boost::shared_ptr<CCSPHash> Object(HCRYPTHASH hash) {
    return g_contextList.FindContext(m_handle)->GetHash(static_cast<DWORD>(hash));
  }

  // The call failed with that code.
  static void ExpectRefused(DWORD code, BOOL result) {
    EXPECT_FALSE(result);
    EXPECT_EQ(code, GetLastError());
  }
  static void ExpectDone(BOOL result) {
    EXPECT_TRUE(result);
    EXPECT_EQ(0U, GetLastError());
  }
  static std::string Hex8(std::uint64_t number) { return FormatNumber("%08X", static_cast<DWORD>(number)); }
  static std::string Hex8(const void* pointer) { return Hex8(reinterpret_cast<std::uintptr_t>(pointer)); }

  HCRYPTPROV m_handle = 0;
  HCRYPTPROV m_unknown = 0;
};
