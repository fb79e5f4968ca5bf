#include "context/ObjectID.h"

#include "context/ContainerName.h"

std::vector<BYTE> ReadID(CryptokiObject& object) {
  CK_ULONG length = 0;
  object.GetID(nullptr, &length);
  std::vector<BYTE> id(length);
  // A null buffer would ask for the length again.
  if (length != 0) object.GetID(id.data(), &length);
  return id;
}

std::string ContainerNameOf(CryptokiObject& object) {
  const std::vector<BYTE> id = ReadID(object);
  return IdToContainerName(id.data(), static_cast<DWORD>(id.size()));
}
