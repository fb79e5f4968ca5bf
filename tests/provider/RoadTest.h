// RoadTest: the fixture of tests of the whole provider on the scripted module, which has the name of the token
// family's module. One container is on the card, kContainer.
#pragma once

#include <gtest/gtest.h>

#include "ProviderRegistration.h"
#include "module/LoadedModule.h"
#include "module/ScriptedModule.h"

constexpr char kContainer[] = "\\\\.\\TELVO Reader A\\one";

class RoadTest : public ::testing::Test {
 protected:
  RoadTest() : m_loaded(m_module) {
    ScriptedToken& token = m_module.InsertToken("TELVO Reader A");
    token.Add(CertificateObject(Text("one"), "label", {0x30, 0x00}));
    token.Add(PublicKeyObject(Text("one"), Counting(128, 0x81)));
    token.Add(PrivateKeyObject(Text("one"), Counting(128, 0x81)));
  }

  ScriptedModule m_module;
  LoadedModule m_loaded;
  ProviderRegistration m_provider;
};
