// ContextTest: the fixture of tests that bring up contexts on a scripted module. The log holds only the context's own
// lines; ListenTo adds those of another module.
#pragma once

#include <boost/shared_ptr.hpp>
#include <string>

#include "LogTest.h"
#include "ScriptedModule.h"
#include "context/TELVOCSPContext.h"
#include "log/CCSPLog.h"

class ContextTest : public LogTest {
 protected:
  ContextTest();
  ~ContextTest() override;

  static void Silence(CCSPLog& log);
  static void ListenTo(CCSPLog& log);

  // Adds the key pair of a container, with a modulus of so many bytes.
  static void AddKeyPair(ScriptedToken& token, const Bytes& id, std::size_t modulusBytes = 128);
  // A whole container: certificate and key pair of one identifier.
  static void AddContainer(ScriptedToken& token, const Bytes& id);

  // A context on the scripted module; what it logged and called so far is forgotten.
  boost::shared_ptr<TELVOCSPContext> Acquire(const char* name, DWORD flags = 0);
  // Brings up `m_context` and leaves log and journal alone.
  void Initialize(const char* name, DWORD flags);
  // What goes wrong there, as "code in hexadecimal: message"; "nothing" when nothing does.
  std::string InitializeError(const char* name, DWORD flags);

  // The identifier of the certificate, key... as text; "none" without one.
  std::string CertificateID();

  ScriptedModule m_module;
  boost::shared_ptr<CryptokiInterface> m_functions;
  boost::shared_ptr<Cryptoki> m_cryptoki;
  TELVOCSPContext m_context{nullptr};
};
