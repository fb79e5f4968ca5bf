// CPDestroyHash.
#include <gtest/gtest.h>

#include "fixtures/ErrorCodes.h"
#include "fixtures/HashEntryTest.h"

namespace {

class CPDestroyHashTest : public HashEntryTest {};

TEST_F(CPDestroyHashTest, TheHashIsRemovedFromContextAndFactory) {
  const HCRYPTHASH hash = MakeHashOf("abc");
  const boost::weak_ptr<CCSPHash> object = Object(hash);
  ExpectDone(CPDestroyHash(m_handle, hash));
  EXPECT_EQ(FrameLines("CPDestroyHash") + Value("\thHash: \t", Hex8(hash)) + Line("\nCPDestroyHash Success"),
            TakeLog());
  EXPECT_TRUE(object.expired());
  EXPECT_EQ(0U, g_hashFactory.Count());
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CPDestroyHashTest, UnknownHandlesAreRefused) {
  ExpectRefused(Code(NTE_BAD_UID), CPDestroyHash(m_unknown, 5));
  EXPECT_EQ(FrameLines("CPDestroyHash") + Value("\thHash: \t", "00000005") + Line("The context does not exist"),
            TakeLog());
  ExpectRefused(Code(NTE_BAD_HASH), CPDestroyHash(m_handle, 5));
  EXPECT_EQ(FrameLines("CPDestroyHash") + Value("\thHash: \t", "00000005") + Line("Hash not found in this context"),
            TakeLog());
}

}  // namespace
