#include "context/SessionKeyValue.h"

#include "cryptoki/LoginLock.h"

KeyValue LoginAndReadValue(CCSPContext& context, CCSPSecretKey& key) {
  const LoginLock lock;
  context.Login();
  return ReadKeyValue(key);
}
