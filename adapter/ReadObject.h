// Which attributes the adapter reads of an object of the module.
#pragma once

#include <vector>

#include "adapter/LowerSession.h"

namespace adapter {

// ReadObject returns the attributes of an object that the provider may ask for. Values of data objects and secret parts
// of keys are not among them. It is empty for an object without a readable class.
Values ReadObject(LowerSession& session, CK_OBJECT_HANDLE object);

// IsRead tells whether ReadObject reads this attribute of a class. If so, an attribute missing from its result does not
// exist.
bool IsRead(CK_OBJECT_CLASS objectClass, CK_ATTRIBUTE_TYPE type);

}  // namespace adapter
