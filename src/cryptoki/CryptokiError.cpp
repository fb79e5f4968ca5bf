#include "cryptoki/CryptokiError.h"

#include "common/FormatNumber.h"
#include "common/SortedTable.h"

// The typographic apostrophe, U+2019, in the encoding of the platform's one-byte strings.
#if defined(_WIN32)
#define APOSTROPHE "\x92"
#else
#define APOSTROPHE "\xE2\x80\x99"
#endif

namespace {

struct ErrorRow {
  DWORD key;
  const char* text;
};

// clang-format off
// One row, one line, ascending by code. Required: the words stay as they are, with their misspellings.
constexpr ErrorRow kErrorRows[] = {
    {CKR_OK, "Operation Success"},
    {CKR_CANCEL, "The operation was cancelled"},
    {CKR_HOST_MEMORY, "Insufficient Memory to perform the request"},
    {CKR_SLOT_ID_INVALID, "Invalid Slot ID"},
    {CKR_GENERAL_ERROR, "The operation encounterd an error"},
    {CKR_FUNCTION_FAILED, "The operation failed"},
    {CKR_ARGUMENTS_BAD, "Invalid Arguments"},
    {CKR_NO_EVENT, "No event was to return"},
    {CKR_NEED_TO_CREATE_THREADS, "A thread needs to be created for the operation to continue"},
    {CKR_CANT_LOCK, "Thread Locking is not supported"},
    {CKR_ATTRIBUTE_READ_ONLY, "The attribute is Read-Only"},
    {CKR_ATTRIBUTE_SENSITIVE, "The attribute is either sensitive/unextractable"},
    {CKR_ATTRIBUTE_TYPE_INVALID, "An Invalid type has been defined in the template"},
    {CKR_ATTRIBUTE_VALUE_INVALID, "Invalid attribute Value"},
    {CKR_DATA_INVALID, "The input data is invalid"},
    {CKR_DATA_LEN_RANGE, "The input data length is invalid"},
    {CKR_DEVICE_ERROR, "The application encountered a device error"},
    {CKR_DEVICE_MEMORY, "Not enough memory in the device to continue the operation"},
    {CKR_DEVICE_REMOVED, "The device or token has been removed and no further communication is possible"},
    {CKR_ENCRYPTED_DATA_INVALID, "The encrypted data input for the operation is invalid"},
    {CKR_ENCRYPTED_DATA_LEN_RANGE, "The encrypted data length for the operation is invalid"},
    {CKR_FUNCTION_CANCELED, "The operation was cancelled in mid-execution"},
    {CKR_FUNCTION_NOT_PARALLEL, "There is currently no function executing in parallel in the specified session."},
    {CKR_FUNCTION_NOT_SUPPORTED, "The requested function is not supported by the Cryptoki library"},
    {CKR_KEY_HANDLE_INVALID, "The specified Key Handle is invalid"},
    {CKR_KEY_SIZE_RANGE, "The supplied key size is out of range of the available key sizes foiund in the device"},
    {CKR_KEY_TYPE_INCONSISTENT, "Invalid Key type to use for this operation"},
    {CKR_KEY_NOT_NEEDED, "A key is not needed for this operation"},
    {CKR_KEY_CHANGED, "The key has been changed since the last session it was used"},
    {CKR_KEY_NEEDED, "A key is needed for this operation to continue"},
    {CKR_KEY_INDIGESTIBLE, "The key supplied for a digest operation is invalid"},
    {CKR_KEY_FUNCTION_NOT_PERMITTED, "The operation cannot be performed on the given key"},
    {CKR_KEY_NOT_WRAPPABLE, "The specified key cannot be wrapped by this operation"},
    {CKR_KEY_UNEXTRACTABLE, "The specified key is not extractable"},
    {CKR_MECHANISM_INVALID, "An Invalid Mechanism has been supplied in the operation"},
    {CKR_MECHANISM_PARAM_INVALID, "An Invalid Mechanism parameter has been supplied in the operation"},
    {CKR_OBJECT_HANDLE_INVALID, "The specified object handle is invalid"},
    {CKR_OPERATION_ACTIVE, "There is currently an active operation and the requested operation cannot continue"},
    {CKR_OPERATION_NOT_INITIALIZED, "The operation has not been initialized"},
    {CKR_PIN_INCORRECT, "Incorrect PIN."},
    {CKR_PIN_INVALID, "The specified PIN has invalid character"},
    {CKR_PIN_LEN_RANGE, "The specified PIN is either too long or too short"},
    {CKR_PIN_EXPIRED, "The specified PIN has expired"},
    {CKR_PIN_LOCKED, "The specified PIN is locked."},
    {CKR_SESSION_CLOSED, "The session has closed"},
    {CKR_SESSION_COUNT, "Too many session currently exist in the token"},
    {CKR_SESSION_HANDLE_INVALID, "Invalid Session Handle"},
    {CKR_SESSION_PARALLEL_NOT_SUPPORTED, "The specified token does not support parallel session"},
    {CKR_SESSION_READ_ONLY, "The specified operation could not continue because the current session is Read-Only"},
    {CKR_SESSION_EXISTS, "Token Cannot be initialized because of an outstanding session"},
    {CKR_SESSION_READ_ONLY_EXISTS, "A read-only session already exists, and so the SO cannot be logged in"},
    {CKR_SESSION_READ_WRITE_SO_EXISTS,
     "A read/write SO session already exists, and so a read-only session cannot be opened."},
    {CKR_SIGNATURE_INVALID, "The provided signature is invalid"},
    {CKR_SIGNATURE_LEN_RANGE, "The length of the provided signature is invalid"},
    {CKR_TEMPLATE_INCOMPLETE, "The template specified is incomplete"},
    {CKR_TEMPLATE_INCONSISTENT, "The template specified has some conflicting attributes"},
    {CKR_TOKEN_NOT_PRESENT, "No Token is present to continue the operation"},
    {CKR_TOKEN_NOT_RECOGNIZED, "The current slot does not recognize the token"},
    {CKR_TOKEN_WRITE_PROTECTED, "The requested action could not be performed because the token is write-protected."},
    {CKR_UNWRAPPING_KEY_HANDLE_INVALID, "The key used for unwrapping is invalid."},
    {CKR_UNWRAPPING_KEY_SIZE_RANGE, "The specified key size could not be handled by the token"},
    {CKR_UNWRAPPING_KEY_TYPE_INCONSISTENT, "The Key Type provided is inconsistent with the mechanism"},
    {CKR_USER_ALREADY_LOGGED_IN, "The specified user is already Logged-in"},
    {CKR_USER_NOT_LOGGED_IN, "The desired action cannot be performed because the appropriate user is not logged in."},
    {CKR_USER_PIN_NOT_INITIALIZED, "The User PIN has not been initialized"},
    {CKR_USER_TYPE_INVALID, "The User type specified is invalid"},
    {CKR_USER_ANOTHER_ALREADY_LOGGED_IN,
     "The specified user cannot be logged into the session, because another user is already logged into the "
     "session."},
    {CKR_USER_TOO_MANY_TYPES,
     "An attempt was made to have more distinct users simultaneously logged into the token than the token "
     "and/or library permits."},
    {CKR_WRAPPED_KEY_INVALID, "The provided wrapped key is not valid."},
    {CKR_WRAPPED_KEY_LEN_RANGE, "Invalid Wrapped Key Length"},
    {CKR_WRAPPING_KEY_HANDLE_INVALID, "The key handle specified to be used to wrap another key is not valid."},
    {CKR_WRAPPING_KEY_SIZE_RANGE, "The supplied wrapping key" APOSTROPHE
                                  "s size is outside the range of key sizes that the token/Cryptoki can handle."},
    {CKR_WRAPPING_KEY_TYPE_INCONSISTENT,
     "The type of the key specified to wrap another key is not consistent with the mechanism specified for "
     "wrapping."},
    {CKR_RANDOM_SEED_NOT_SUPPORTED, "Random Seed is not supported"},
    {CKR_RANDOM_NO_RNG, "The specified token doesn" APOSTROPHE "t have a random number generator."},
    {CKR_BUFFER_TOO_SMALL, "The output of the function is too large to fit in the supplied buffer."},
    {CKR_SAVED_STATE_INVALID,
     "The supplied saved cryptographic operations state is invalid, and so it cannot be restored to the "
     "specified session."},
    {CKR_INFORMATION_SENSITIVE, "The information is sensitive"},
    {CKR_STATE_UNSAVEABLE, "The state could not be saved"},
    {CKR_CRYPTOKI_NOT_INITIALIZED, "The current token is not yet initialized"},
    {CKR_CRYPTOKI_ALREADY_INITIALIZED, "The current token is already initialized"},
    {CKR_MUTEX_BAD, "Invalid Mutex"},
    {CKR_MUTEX_NOT_LOCKED, "The Mutex is not locked"},
    {CKR_VENDOR_DEFINED, "The error is Vendor Defined"},
};
// clang-format on

static_assert(IsAscending(kErrorRows), "kErrorRows is searched by bisection");

}  // namespace

std::string ErrorText(CK_RV code) {
  const DWORD code32 = static_cast<DWORD>(code);
  if (const ErrorRow* row = FindRow(kErrorRows, code32)) return row->text;
  return FormatNumber("Unknown Error Code: 0x%08X", code32);
}

CryptokiError::CryptokiError(CK_RV code) : m_code(static_cast<DWORD>(code)), m_message(ErrorText(code)) {}
