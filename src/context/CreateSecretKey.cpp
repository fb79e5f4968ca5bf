#include "context/CreateSecretKey.h"

#include "context/KeyTemplates.h"
#include "cryptoki/LoginLock.h"
#include "log/Logs.h"
#include "objects/CCSPSecretKey.h"
#include "objects/CCSPSecretKeyFactory.h"

boost::shared_ptr<CCSPSecretKey> CreateSecretKey(TELVOCSPContext& context, const BYTE* keyBytes, DWORD length,
                                                 ALG_ID algorithm, CCSPSecretKeyFactory* factory) {
  g_contextLog.WriteLine("Creating Non Token Secret Key");
  const std::list<Attribute> attributes = SecretKeyTemplate(algorithm, keyBytes, length);
  g_contextLog.WriteLine("Creating object");
  Session& session = context.OpenedSession();
  const CryptokiObject object = session.CreateObject(attributes);
  g_contextLog.WriteLine("Object Created");
  g_contextLog.WriteLine("Get Instance");
  auto key = [&] {
    const LoginLock::Pause pause;
    return factory->CreateSecretKey(algorithm, &session, object.GetHandle());
  }();
  g_contextLog.WriteLine("Set Permission");
  key->SetPermissions(CRYPT_EXPORTABLE);
  g_contextLog.WriteLine("Return");
  return key;
}
