#include "telvotool/ErrorCatalogue.h"

#include <algorithm>
#include <winscard.h>

#include "cryptoki/CryptokiError.h"
#include "cryptoki/Pkcs11.h"
#include "telvotool/Errors.h"

namespace tool {

const char kModuleCodesIn[] = "CPGetProvParam (PP_ENUMCONTAINERS)";
const char kModuleCodesWhy[] =
    "the module fails when the name of the next container is read; elsewhere its failures become other codes, mostly "
    "NTE_FAIL";

const char kModuleText[] = "the text of the module's result, as in the last table";

namespace {

#define NAMED(code) static_cast<DWORD>(code), #code
#define CODE(code) static_cast<DWORD>(code)

constexpr char kNothing[] = "";

// Groups of functions.
constexpr char kAny[] = "all but CPAcquireContext";
constexpr char kWithHash[] =
    "CPHashData, CPGetHashParam, CPSetHashParam, CPDestroyHash, CPSignHash, CPVerifySignature, CPDeriveKey";
constexpr char kWithLogin[] =
    "CPSignHash, CPVerifySignature, CPGenKey, CPImportKey, CPExportKey (SIMPLEBLOB), CPEncrypt, CPDecrypt, "
    "CPHashSessionKey, CPSetKeyParam (KP_CERTIFICATE)";
constexpr char kFinishing[] = "CPGetHashParam, CPSignHash, CPVerifySignature, CPDeriveKey";
constexpr char kSetPin[] = "CPSetProvParam (a PIN)";

// clang-format off
// One row, one line, ascending by code.
const std::vector<CatalogueRow> kRows = {
    {NAMED(ERROR_INVALID_HANDLE), "The handle is invalid", "give CryptAcquireContext a place for the handle"},
    {NAMED(ERROR_INVALID_PARAMETER), "The parameter is incorrect", "the log names the parameter; a buffer or a length is missing, or a hash or a description is given that is not supported"},
    {NAMED(ERROR_MORE_DATA), "More data is available", "ask for the size first, with a null buffer, and give a buffer of that size"},
    {NAMED(ERROR_NO_MORE_ITEMS), "No more data is available", "nothing: the list is at its end. Begin with CRYPT_FIRST, go on with CRYPT_NEXT"},
    {NAMED(NTE_BAD_UID), "Bad UID", "the context was released already: acquire another one"},
    {NAMED(NTE_BAD_HASH), "Bad Hash", "create the hash in the context in which it is used, and destroy it once"},
    {NAMED(NTE_BAD_KEY), "Bad Key", "give the handle of a key that this context has, and that can do what is asked"},
    {NAMED(NTE_BAD_DATA), "Bad Data", "look at the data: another key, another IV, another padding, or it is cut off"},
    {NAMED(NTE_BAD_SIGNATURE), "Invalid Signature", "the content or the signature was changed, or they do not belong to this key"},
    {NAMED(NTE_BAD_ALGID), "Invalid algorithm specified", "use an algorithm of the provider: see README.md, \"Limits\""},
    {NAMED(NTE_BAD_FLAGS), "Invalid flags specified", "leave out the flags that the log names; of a parameter, give a value that it can have"},
    {NAMED(NTE_BAD_TYPE), "Invalid type specified", "ask for a parameter or a blob that the provider has, of a key that has it"},
    {NAMED(NTE_BAD_KEY_STATE), "Key not valid for use in specified state", "give the key a salt before it is read; import the public key again"},
    {NAMED(NTE_BAD_HASH_STATE), "Hash not valid for use in specified state", "add data before the value is asked for, and none after it; use a hash that can be signed"},
    {NAMED(NTE_NO_KEY), "Key does not exist", "look whether the container has a key pair (\"telvotool containers\"); give a handle that was not destroyed"},
    {NAMED(NTE_NO_MEMORY), "Insufficient memory available for the operation", "close other programs and try again"},
    {NAMED(NTE_EXISTS), "Object already exists", "choose another container name, or \"telvotool delete\" the container first"},
    {NAMED(NTE_PERM), "Access denied", "acquire a context without CRYPT_VERIFYCONTEXT to make a key pair"},
    {NAMED(NTE_NOT_FOUND), "Object was not found", "put a certificate into the container: \"telvotool import-cert\""},
    {NAMED(NTE_BAD_PUBLIC_KEY), "Provider's public key is invalid", "give the public key of the receiver; generate the session key with CRYPT_EXPORTABLE"},
    {NAMED(NTE_BAD_KEYSET), "Keyset does not exist", "\"telvotool containers\" lists the containers of the cards that are in; leave CRYPT_SILENT out when a container is made"},
    {NAMED(NTE_BAD_KEYSET_PARAM), "The parameter is invalid", "choose a shorter container name: 63 characters are enough for everything"},
    {NAMED(NTE_FAIL), "An internal error occurred", "\"telvotool doctor\" says whether module, reader and card are in order; the line of the log says what failed"},
    {NAMED(NTE_SILENT_CONTEXT), "Provider could not perform the action since the context was acquired as silent", "put the card in; leave CRYPT_SILENT out, or give the PIN by CryptSetProvParam first"},
    {NAMED(NTE_INVALID_PARAMETER), "The parameter is incorrect", "give CryptImportKey a blob, its length, and a place for the handle"},
    {NAMED(SCARD_W_WRONG_CHV), "The card cannot be accessed because the wrong PIN was presented", "enter the right PIN; \"telvotool doctor\" shows the tries that are left"},
    {NAMED(SCARD_W_CHV_BLOCKED), "The card cannot be accessed because the maximum number of PIN entry attempts has been reached", "have the PIN unlocked by the card's issuer"},
    {NAMED(SCARD_W_CANCELLED_BY_USER), "The action was cancelled by the user", "give the operation anew, and enter the PIN or choose the reader"},
    {NAMED(SCARD_W_CARD_NOT_AUTHENTICATED), "No PIN was presented to the smart card", "pull the card, put it in again, and enter the PIN; \"telvotool doctor\" tells what stands in the way"},
};

const std::vector<CatalogueCase> kCases = {
    {CODE(ERROR_INVALID_HANDLE), "CPAcquireContext", "phProv is null", "CPAcquireContext Error: Handle is Invalid"},

    {CODE(ERROR_INVALID_PARAMETER), "all that take a pointer, but CPAcquireContext, CPGetUserKey and CPImportKey", "a pointer that must be read or written is null", "<function> Error: <parameter> is NULL"},
    {CODE(ERROR_INVALID_PARAMETER), "CPSetProvParam", "pbData is null", "Data should not be null"},
    {CODE(ERROR_INVALID_PARAMETER), "CPSetHashParam", "pbData is null", "CPSetHashParam Error: pbData is NULL"},
    {CODE(ERROR_INVALID_PARAMETER), kSetPin, "the PIN is empty", "PIN and PIN Length should be present"},
    {CODE(ERROR_INVALID_PARAMETER), "CPEncrypt", "a hash is given", "CPEncrypt Error: HASH not supported"},
    {CODE(ERROR_INVALID_PARAMETER), "CPDecrypt", "a hash is given", "CPDecrypt Error: HASH not supported"},
    {CODE(ERROR_INVALID_PARAMETER), "CPVerifySignature", "a description is given", "CPVerifySignature Error: Description is not NULL"},
    {CODE(ERROR_INVALID_PARAMETER), "CPVerifySignature", "there is no signature", "CPVerifySignature Error: The Signature to Verify is set to NULL or the Signature Length is 0"},
    {CODE(ERROR_INVALID_PARAMETER), "CPVerifySignature", "there is nothing to verify; the function itself refuses first", "Message Digest is NULL"},
    {CODE(ERROR_INVALID_PARAMETER), "CPVerifySignature", "there is no signature; the function itself refuses first", "Signature is NULL"},
    {CODE(ERROR_INVALID_PARAMETER), "CPGetKeyParam", "the buffer is too small for KP_PERMISSIONS", "CPGetKeyParam Error: invalid KP_PERMISSIONS"},

    {CODE(ERROR_MORE_DATA), "CPGetProvParam", "the buffer is too small; *pcbDataLen becomes the size", "CPGetProvParam Error: pcbDataLen value is less than actual value, dataLen is"},
    {CODE(ERROR_MORE_DATA), "CPGetHashParam", "the buffer is too small", "CPGetHashParam Error: pcbDataLen too small"},
    {CODE(ERROR_MORE_DATA), "CPGetKeyParam", "the buffer is too small for KP_IV", "CPGetKeyParam Error: Invalid IV len"},
    {CODE(ERROR_MORE_DATA), "CPGetKeyParam", "for KP_SALT", "CPGetKeyParam Error: Invalid SALT"},
    {CODE(ERROR_MORE_DATA), "CPGetKeyParam", "for KP_PADDING", "CPGetKeyParam Error: Invalid PADDING"},
    {CODE(ERROR_MORE_DATA), "CPGetKeyParam", "for KP_MODE or KP_MODE_BITS", "CPGetKeyParam Error: Invalid MODE"},
    {CODE(ERROR_MORE_DATA), "CPGetKeyParam", "for KP_ALGID", "CPGetKeyParam Error: Invalid ALGID"},
    {CODE(ERROR_MORE_DATA), "CPGetKeyParam", "for KP_BLOCKLEN", "CPGetKeyParam Error: Invalid BLOCKLEN"},
    {CODE(ERROR_MORE_DATA), "CPGetKeyParam", "for KP_KEYLEN", "CPGetKeyParam Error: Invalid KEYLEN pcbDataLen"},
    {CODE(ERROR_MORE_DATA), "CPGetKeyParam", "for KP_EFFECTIVE_KEYLEN, which no key has", "CPGetKeyParam Error: Invalid EFFECTIVE LEN"},
    {CODE(ERROR_MORE_DATA), "CPGetKeyParam", "for KP_CERTIFICATE", "CPGetKeyParam Error: Invalid KP_CERTIFICATE Length"},
    {CODE(ERROR_MORE_DATA), "CPGetKeyParam", "for KP_PIN_INFO", "CPGetKeyParam Error: Invalid KP_PIN_INFO Length"},
    {CODE(ERROR_MORE_DATA), "CPGetKeyParam", "a guard: the key's IV is longer than the buffer", "IV Length given is less than actual IV length"},
    {CODE(ERROR_MORE_DATA), "CPGetKeyParam", "a guard: the key's salt is longer than the buffer", "Salt Length given is less than actual salt length"},
    {CODE(ERROR_MORE_DATA), "CPExportKey (PUBLICKEYBLOB)", "the buffer is too small", "More Data Needed for Public Key BLOB"},
    {CODE(ERROR_MORE_DATA), kFinishing, "a guard: the value does not fit its buffer", "Buffer to retrieve Hash is too small"},
    {CODE(ERROR_MORE_DATA), "CPSetHashParam, CPDeriveKey", "a guard: the data of the hash does not fit its buffer", "Buffer to retrieve Data to hash is too small"},
    {CODE(ERROR_MORE_DATA), "CPSignHash, CPVerifySignature", "a guard: the DigestInfo does not fit its buffer", "Buffer is too small to retrieve pre-sign data"},

    {CODE(ERROR_NO_MORE_ITEMS), "CPGetProvParam (PP_ENUMCONTAINERS)", "the list of containers is at its end", "CPGetProvParam Cert Enumeration (PP_ENUMCONTAINERS) done"},
    {CODE(ERROR_NO_MORE_ITEMS), "CPGetProvParam (PP_ENUMCONTAINERS)", "the flags are neither CRYPT_FIRST nor CRYPT_NEXT", kNothing},
    {CODE(ERROR_NO_MORE_ITEMS), "CPGetProvParam (PP_ENUMALGS)", "the list of algorithms is at its end", "CPGetProvParam Algorithm Enumeration (PP_ENUMALGS) done"},
    {CODE(ERROR_NO_MORE_ITEMS), "CPGetProvParam (PP_ENUMALGS_EX)", "the list of algorithms is at its end", "CPGetProvParam Algorithm Enumeration (PP_ENUMALGS_EX) done"},

    {CODE(NTE_BAD_UID), kAny, "the handle of the context is unknown; of CPReleaseContext an exception leaves", "The context does not exist"},

    {CODE(NTE_BAD_HASH), kWithHash, "the handle of the hash is unknown in this context", "Hash not found in this context"},
    {CODE(NTE_BAD_HASH), "CPHashSessionKey", "the hash is looked for under the handle of the key", "Hash not found in this context"},
    {CODE(NTE_BAD_HASH), "CPSetHashParam", "the hash holds data already", "CPSetHashParam Error: Hash Value is not NULL"},
    {CODE(NTE_BAD_HASH), "CPVerifySignature", "hHash is 0", "CPVerifySignature Error: pHash is NULL"},
    {CODE(NTE_BAD_HASH), kFinishing, "the data has 4 GiB or more", "No Data to Hash"},
    {CODE(NTE_BAD_HASH), kFinishing, "an SSL3 SHAMD5 hash has no data", "SHA1-MD5 Hash: No Data to Hash"},

    {CODE(NTE_BAD_KEY), "CPEncrypt, CPDecrypt", "the handle is neither that of the pair nor of a session key", "Symmetric Key not found in this context"},
    {CODE(NTE_BAD_KEY), "CPEncrypt", "the container has no public key", "Public Key does not exist for encrypting"},
    {CODE(NTE_BAD_KEY), "CPDecrypt", "the container has no private key", "Private Key does not exist for decrypting"},
    {CODE(NTE_BAD_KEY), "CPVerifySignature", "hPubKey is 0", "CPVerifySignature Error: Invalid Public Key"},
    {CODE(NTE_BAD_KEY), "CPGetUserKey", "phUserKey is null", kNothing},
    {CODE(NTE_BAD_KEY), "CPGetKeyParam", "KP_CERTIFICATE of a container without a certificate, with a buffer", "KP_CERTIFICATE is only for RSA Public/private Key pairs that has certificate in them"},

    {CODE(NTE_BAD_DATA), "CPDecrypt", "fFinal is true, and there is no padding at the end", kNothing},
    {CODE(NTE_BAD_DATA), "CPImportKey", "the blob is shorter than its header", "Blob Length is invalid"},
    {CODE(NTE_BAD_DATA), "CPSetKeyParam", "KP_CERTIFICATE with a DER header that tells an impossible length", "The encoded length is too large"},
    {CODE(NTE_BAD_DATA), "CPSetKeyParam", "KP_IV of a DES or triple DES key that has another IV length", "Initial Vector should be 8 for DES Keys"},
    {CODE(NTE_BAD_DATA), "CPSetKeyParam", "KP_IV of an AES key that has another IV length", "Initial Vector should be 16 for AES Keys"},
    {CODE(NTE_BAD_DATA), "CPSetHashParam", "a guard: a value without bytes", "No Data Found to Set Hash Digest"},

    {CODE(NTE_BAD_SIGNATURE), "CPVerifySignature", "the module does not confirm the signature, or fails", kModuleText},

    {CODE(NTE_BAD_ALGID), "CPCreateHash", "the provider has no such hash", "Invalid Hash Algorithm ID"},
    {CODE(NTE_BAD_ALGID), "CPCreateHash", "the algorithm is no hash", "Algorithm not found"},
    {CODE(NTE_BAD_ALGID), "CPDeriveKey", "no key is derived for this algorithm", "CPDeriveKey Error: Unsupported ALGID ="},
    {CODE(NTE_BAD_ALGID), "CPGenKey", "no key of this algorithm is generated", "Algorithm not supported for Key Generation"},
    {CODE(NTE_BAD_ALGID), "CPImportKey", "the public key is not of CALG_RSA_KEYX", "CPImportKey Error: Bad Algorithm ID in PUBLICKEYBLOB"},
    {CODE(NTE_BAD_ALGID), "CPImportKey", "no session key has this algorithm", "Invalid Secret Key Algorithm ID"},

    {CODE(NTE_BAD_FLAGS), "CPAcquireContext", "an unknown flag", "dwFlags contains an unsupported flag"},
    {CODE(NTE_BAD_FLAGS), "CPAcquireContext", "flags that do not go together", "CRYPT_NEWKEYSET and CRYPT_DELETEKEYSET cannot be both present"},
    {CODE(NTE_BAD_FLAGS), "CPAcquireContext", "flags that do not go together", "CRYPT_VERIFYCONTEXT and CRYPT_NEWKEYSET cannot be both present"},
    {CODE(NTE_BAD_FLAGS), "CPAcquireContext", "a container's name with CRYPT_VERIFYCONTEXT", "CRYPT_VERIFYCONTEXT is set but a container name is found"},
    {CODE(NTE_BAD_FLAGS), "CPCreateHash", "flags", "CPCreateHash Error: Invalid flags specified."},
    {CODE(NTE_BAD_FLAGS), "CPHashData", "flags", "CPHashData Error: Invalid dwFlags, dwFlags not supported"},
    {CODE(NTE_BAD_FLAGS), "CPHashSessionKey", "other flags than CRYPT_LITTLE_ENDIAN", "CPHashSessionKey Error: Invalid dwFlags"},
    {CODE(NTE_BAD_FLAGS), "CPGetHashParam, CPSetHashParam", "flags", "CPGetHASHParam Error: Unsupported Flag(s)"},
    {CODE(NTE_BAD_FLAGS), "CPSignHash", "other flags than CRYPT_NOHASHOID", "CPSignHash Error: Invalid dwFlags"},
    {CODE(NTE_BAD_FLAGS), "CPDeriveKey", "no length of the key", "CPDeriveKey Error: dwFlags is 0, Upper 16 bit of dwFlags should contain the Key Length"},
    {CODE(NTE_BAD_FLAGS), "CPDeriveKey", "no length of the key", "CPDeriveKey Error: Upper 16 bit of dwFlags should contain the Key Length"},
    {CODE(NTE_BAD_FLAGS), "CPDeriveKey", "another length than 56", "CPDeriveKey Error: Algo is DES but Key length in bits is not 64"},
    {CODE(NTE_BAD_FLAGS), "CPDeriveKey", "another length than 168", "CPDeriveKey Error: Algo is 3DES (Triple Length Key) but Key length in bits is not 192"},
    {CODE(NTE_BAD_FLAGS), "CPDeriveKey", "another length than 112 for AES; any length for triple DES with two keys", "CPDeriveKey Error: Algo is 3DES (Double Length Key)/AES but Key length in bits is not 128"},
    {CODE(NTE_BAD_FLAGS), "CPDeriveKey", "other low flags than 1, 2, 4 and 16", "CPDeriveKey Error: Unsupported dwFlags:"},
    {CODE(NTE_BAD_FLAGS), "CPGetProvParam", "flags of 0xFFFFFFFF", "CPGetProvParam Error: Unsupported Flag(s):"},
    {CODE(NTE_BAD_FLAGS), "CPGetKeyParam, CPSetKeyParam", "flags", "CPGetKeyParam Error: Invalid dwFlags"},
    {CODE(NTE_BAD_FLAGS), "CPGetKeyParam", "KP_EFFECTIVE_KEYLEN of a session key, without a buffer", "CPGetKeyParam Error: Invalid Effective Keylen"},
    {CODE(NTE_BAD_FLAGS), "CPGetKeyParam", "KP_EFFECTIVE_KEYLEN of a session key, with a buffer", "CPGetKeyParam Error: Invalid Effective Keylen,Alg ID is NOT CALG_RC2"},
    {CODE(NTE_BAD_FLAGS), "CPSetKeyParam", "another padding than PKCS5_PADDING", "CPSetKeyParam invalid PADDING"},
    {CODE(NTE_BAD_FLAGS), "CPSetKeyParam", "a guard: another padding than PKCS5_PADDING", "Only supports PKCS5_PADDING"},
    {CODE(NTE_BAD_FLAGS), "CPSetKeyParam", "an unknown permission", "CPSetKeyParam Error: Invalid permission in pbData:"},
    {CODE(NTE_BAD_FLAGS), "CPSetKeyParam", "a KP_MODE that AES does not have", "Invalid Mode specified"},

    {CODE(NTE_BAD_TYPE), "CPGetProvParam", "an unknown parameter", "CPGetProvParam dwParam not supported"},
    {CODE(NTE_BAD_TYPE), "CPGetProvParam (PP_SMARTCARD_READER)", "the context has no reader", "The current context is currently NOT associated with any smart card reader"},
    {CODE(NTE_BAD_TYPE), "CPSetProvParam", "an unknown parameter", "CPSetProvParam Error: Invalid dwParam"},
    {CODE(NTE_BAD_TYPE), "CPGetHashParam", "an unknown parameter", "CPGetHASHParam Error: Invalid dwParam, dwParam not supported"},
    {CODE(NTE_BAD_TYPE), "CPSetHashParam", "another parameter than HP_HASHVAL", "CPSetHashParam Error: dwFlags is not HASHVVAL"},
    {CODE(NTE_BAD_TYPE), "CPGetKeyParam", "an unknown parameter", "CPGetKeyParam Error: dwParam not supported"},
    {CODE(NTE_BAD_TYPE), "CPGetKeyParam", "KP_IV of another key than a session key; also KP_EFFECTIVE_KEYLEN, without a buffer", "KP_IV valid only on Symmetric Keys"},
    {CODE(NTE_BAD_TYPE), "CPGetKeyParam", "KP_SALT of another key than a session key", "KP_SALT valid only on Symmetric Keys"},
    {CODE(NTE_BAD_TYPE), "CPGetKeyParam", "KP_MODE of another key than a session key", "KP_MODE valid only on Symmetric Keys"},
    {CODE(NTE_BAD_TYPE), "CPGetKeyParam", "KP_MODE_BITS of another key than a session key", "KP_MODE_BITS valid only on Symmetric Keys"},
    {CODE(NTE_BAD_TYPE), "CPGetKeyParam", "KP_PERMISSIONS of another key than a session key, without a buffer", "KP_PERMISSIONS valid only on Symmetric Keys"},
    {CODE(NTE_BAD_TYPE), "CPGetKeyParam", "KP_EFFECTIVE_KEYLEN of another key than a session key, with a buffer", "KP_EFFECTIVE_KEYLEN"},
    {CODE(NTE_BAD_TYPE), "CPGetKeyParam", "KP_CERTIFICATE of a session key", "KP_CERTIFICATE is only for RSA Public/private Key pairs"},
    {CODE(NTE_BAD_TYPE), "CPGetKeyParam", "KP_CERTIFICATE of a container without a certificate, without a buffer", "KP_CERTIFICATE is only for RSA Public/private Key pairs that has certificate in them"},
    {CODE(NTE_BAD_TYPE), "CPGetKeyParam", "KP_CERTIFICATE of a container without a private key", "Private Key does not exist"},
    {CODE(NTE_BAD_TYPE), "CPSetKeyParam", "an unknown parameter", "CPSetKeyParam Error: Bad key type"},
    {CODE(NTE_BAD_TYPE), "CPSetKeyParam", "KP_IV of the key pair", "CPSetKeyParam Error: KP_IV valid only on Symmetric Keys"},
    {CODE(NTE_BAD_TYPE), "CPSetKeyParam", "KP_SALT of the key pair", "CPSetKeyParam Error: KP_SALT valid only on Symmetric Keys"},
    {CODE(NTE_BAD_TYPE), "CPSetKeyParam", "KP_SALT_EX of the key pair", "CPSetKeyParam Error: KP_SALT_EX valid only on Symmetric Keys"},
    {CODE(NTE_BAD_TYPE), "CPExportKey", "another blob than PUBLICKEYBLOB and SIMPLEBLOB", "CPExportKey Error: Invalid Blob Type"},
    {CODE(NTE_BAD_TYPE), "CPImportKey", "another blob than PUBLICKEYBLOB and SIMPLEBLOB", "Blob Type not Supported"},

    {CODE(NTE_BAD_KEY_STATE), "CPGetKeyParam, CPSetKeyParam (KP_SALT)", "the session key has no salt", "Salt does not exist"},
    {CODE(NTE_BAD_KEY_STATE), "CPVerifySignature, CPExportKey, CPGetKeyParam", "a guard: an imported public key that is not complete", "Public Key state is invalid"},

    {CODE(NTE_BAD_HASH_STATE), "CPHashData", "the hash is finished", "CPHashData Error: Invalid Hash State"},
    {CODE(NTE_BAD_HASH_STATE), "CPHashSessionKey", "the hash is finished", "CPHashSessionKey Error: Hash already in finished state"},
    {CODE(NTE_BAD_HASH_STATE), "CPDeriveKey", "the hash is finished", "CPDeriveKey Error: Hash already in finished state"},
    {CODE(NTE_BAD_HASH_STATE), kFinishing, "no data was added", "No Data was added to be hash"},
    {CODE(NTE_BAD_HASH_STATE), kFinishing, "the hash has lost its session", "No Session assigned to Hash"},
    {CODE(NTE_BAD_HASH_STATE), kFinishing, "an SSL3 SHAMD5 hash has lost its session", "SHA1-MD5 Hash: No Session assigned to Hash"},
    {CODE(NTE_BAD_HASH_STATE), kFinishing, "the module gave a value of no bytes", "Hash was completed but no Hash Data Found"},
    {CODE(NTE_BAD_HASH_STATE), "CPSignHash, CPVerifySignature", "a guard: the hash has no value", "No hash Computed"},
    {CODE(NTE_BAD_HASH_STATE), "CPSignHash, CPVerifySignature", "the hash cannot be signed with its DigestInfo (SSL3 SHAMD5): CRYPT_NOHASHOID is missing", "No OID Present"},

    {CODE(NTE_NO_KEY), "CPGetUserKey", "the container has no private key: also a container that does not exist", "CPGetUserKey Error: Private Key does not exist in this context. Check if this cert has been copied to Certificate Store"},
    {CODE(NTE_NO_KEY), "CPGetUserKey", "another key spec than AT_KEYEXCHANGE and AT_SIGNATURE", "CPGetUserKey Error: Invalid dwKeySpec"},
    {CODE(NTE_NO_KEY), "CPSignHash", "another key spec", "Invalid dwKeySpec!!"},
    {CODE(NTE_NO_KEY), "CPSignHash", "the container has no private key", "Private Key not found for signing"},
    {CODE(NTE_NO_KEY), "CPExportKey (SIMPLEBLOB), CPHashSessionKey", "the context has no such session key", "Symmetric Key not found in this context"},
    {CODE(NTE_NO_KEY), "CPExportKey (PUBLICKEYBLOB)", "the container has no public key", "Public Key not found in this context"},
    {CODE(NTE_NO_KEY), "CPVerifySignature, CPExportKey", "the context has no such imported key", "Key was not found in Imported Public Key List"},
    {CODE(NTE_NO_KEY), "CPGetKeyParam, CPSetKeyParam", "the context has no such key; the result of CPSetKeyParam then counts as true", "CPGetKeyParam Error: Key does not exist in this context"},
    {CODE(NTE_NO_KEY), "CPGetKeyParam (KP_KEYLEN, KP_BLOCKLEN)", "the container has no key pair", "Key Pair does not exist"},

    {CODE(NTE_NO_MEMORY), "CPGetProvParam (PP_KEYSET_SEC_DESCR)", "an allocation fails", kNothing},

    {CODE(NTE_EXISTS), "CPAcquireContext (CRYPT_NEWKEYSET)", "the card has a container of this name", "CRYPT_NEWKEYSET is set but the container already exists"},

    {CODE(NTE_PERM), "CPGenKey", "a key pair in a context for verification", "CPGenKey Error: FLAG IS VERIFY"},

    {CODE(NTE_NOT_FOUND), "CPGetKeyParam (KP_CERTIFICATE)", "a guard: the container has no certificate; the function itself refuses first", "Default Certificate not found"},

    {CODE(NTE_BAD_PUBLIC_KEY), "CPExportKey (SIMPLEBLOB)", "the container has no public key for the encryption", "Public Key for encrypting symmetric key not found in this context"},
    {CODE(NTE_BAD_PUBLIC_KEY), "CPExportKey (SIMPLEBLOB)", "the session key may not be exported", "CPExportKey Error: You do not have permission to export the key"},
    {CODE(NTE_BAD_PUBLIC_KEY), "CPExportKey (SIMPLEBLOB)", "hPubKey is no public key", "CPExportKey Error: A session key is encrypted with a public key only"},

    {CODE(NTE_BAD_KEYSET), "CPAcquireContext", "no card that is in has the container; also CRYPT_NEWKEYSET together with CRYPT_SILENT", "The requested certificate/private key was not found"},
    {CODE(NTE_BAD_KEYSET), "CPImportKey (SIMPLEBLOB)", "the container has no private key", "Private Key does not exist in this context"},

    {CODE(NTE_BAD_KEYSET_PARAM), "CPAcquireContext", "the container's name has more than 260 characters", "Container Length is greater than MAX_PATH"},
    {CODE(NTE_BAD_KEYSET_PARAM), "CPGenKey", "the container's name is too long for the objects of a key pair", "Container name is too long for a key pair"},

    {CODE(NTE_FAIL), "all that reach the module", "the module fails, or cannot be loaded", kModuleText},
    {CODE(NTE_FAIL), "CPAcquireContext", "no card is in", "No Active Slot found"},
    {CODE(NTE_FAIL), "CPAcquireContext", "the module was not loaded", "Module Name should be present"},
    {CODE(NTE_FAIL), "CPAcquireContext", "a guard: there is no name of the module", "PKCS#11 Module is not set"},
    {CODE(NTE_FAIL), "all that reach the card", "a context for verification, which has no card", "The context has no session"},
    {CODE(NTE_FAIL), "CPCreateHash", "the same", "Session should be defined in creating a hash"},
    {CODE(NTE_FAIL), "CPGenKey, CPImportKey, CPDeriveKey", "a guard: the same", "Session should be defined in creating a secret key"},
    {CODE(NTE_FAIL), kWithLogin, "the card is not initialised", "The Smart Card is not properly initialized"},
    {CODE(NTE_FAIL), kFinishing, "the module does not hash: above all when the card was pulled", "Failed to Initialize Hash Operation"},
    {CODE(NTE_FAIL), kFinishing, "the same, of an SSL3 SHAMD5 hash", "SHA1-MD5 Hash: Failed to Initialize Hash Operation"},

    {CODE(NTE_SILENT_CONTEXT), "CPAcquireContext", "no card is in, and the user may not be asked for one", "CSP needs UI to operate but CRYPT_SILENT flag is set"},
    {CODE(NTE_SILENT_CONTEXT), kWithLogin, "no PIN is kept, and the user may not be asked for it", "User is not logged in, No PIN Cache found and the current context is Silent"},

    {CODE(NTE_INVALID_PARAMETER), "CPImportKey", "there is no blob", "Data should not be NULL"},
    {CODE(NTE_INVALID_PARAMETER), "CPImportKey", "there is no place for the handle", "Key Handle should not be NULL"},

    {CODE(SCARD_W_WRONG_CHV), kSetPin, "the card refused the PIN, and tries are left", "Wrong PIN, %d retries remaining"},
    {CODE(SCARD_W_WRONG_CHV), kSetPin, "another PIN than the one that is in use, of another length", "User already Logged-in. Wrong PIN was submitted to the card"},
    {CODE(SCARD_W_WRONG_CHV), kSetPin, "another PIN than the one that is in use", "PIN does not match"},

    {CODE(SCARD_W_CHV_BLOCKED), kSetPin, "the PIN is locked, or its last try was used up", "PIN is blocked"},
    {CODE(SCARD_W_CHV_BLOCKED), kWithLogin, "the card says of the kept PIN that it is locked", "The card cannot be accessed because the maximum number of PIN entry attempts has been reached"},

    {CODE(SCARD_W_CANCELLED_BY_USER), "CPAcquireContext", "the user closed the reader dialog", "The operation was cancelled by the user"},
    {CODE(SCARD_W_CANCELLED_BY_USER), kWithLogin, "the user closed the login dialog; the next signature fails as well, without a dialog", "User Interface cancelled by user"},

    {CODE(SCARD_W_CARD_NOT_AUTHENTICATED), kWithLogin, "the card did not take the kept PIN, for another reason than a wrong or locked PIN", "Failed to authenticate to TELVO Card"},
};

constexpr char kPutIn[] = "put the card in, and acquire another context";
constexpr char kPutInAgain[] = "pull the card, put it in again, and acquire another context";
constexpr char kAcquireAgain[] = "acquire another context: the card was pulled, or another program changed it";
constexpr char kFreeMemory[] = "close other programs, or delete containers that are no longer needed";
constexpr char kStartAgain[] = "start the program again";
constexpr char kLogInFirst[] = "give the PIN first";
constexpr char kUnlock[] = "have the PIN unlocked by the card's issuer";
constexpr char kRightPin[] = "enter the right PIN; each wrong one costs a try";
constexpr char kAllowedPin[] = "choose a PIN that the card allows; its issuer says which length and characters";
constexpr char kNewPin[] = "change the PIN, or have it renewed by the card's issuer";
constexpr char kNoPin[] = "the card has no PIN yet: have its issuer set one";
constexpr char kReportIt[] = "switch the log on and report it";

const std::vector<ModuleRow> kModuleRows = {
    {NAMED(CKR_CANCEL), kReportIt},
    {NAMED(CKR_HOST_MEMORY), kFreeMemory},
    {NAMED(CKR_SLOT_ID_INVALID), kPutIn},
    {NAMED(CKR_GENERAL_ERROR), kPutInAgain},
    {NAMED(CKR_FUNCTION_FAILED), kPutInAgain},
    {NAMED(CKR_ARGUMENTS_BAD), kReportIt},
    {NAMED(CKR_NO_EVENT), kReportIt},
    {NAMED(CKR_NEED_TO_CREATE_THREADS), kReportIt},
    {NAMED(CKR_CANT_LOCK), kReportIt},
    {NAMED(CKR_ATTRIBUTE_READ_ONLY), kReportIt},
    {NAMED(CKR_ATTRIBUTE_SENSITIVE), kReportIt},
    {NAMED(CKR_ATTRIBUTE_TYPE_INVALID), kReportIt},
    {NAMED(CKR_ATTRIBUTE_VALUE_INVALID), kReportIt},
    {NAMED(CKR_DATA_INVALID), kReportIt},
    {NAMED(CKR_DATA_LEN_RANGE), kReportIt},
    {NAMED(CKR_DEVICE_ERROR), kPutInAgain},
    {NAMED(CKR_DEVICE_MEMORY), kFreeMemory},
    {NAMED(CKR_DEVICE_REMOVED), kPutIn},
    {NAMED(CKR_ENCRYPTED_DATA_INVALID), kReportIt},
    {NAMED(CKR_ENCRYPTED_DATA_LEN_RANGE), kReportIt},
    {NAMED(CKR_FUNCTION_CANCELED), kReportIt},
    {NAMED(CKR_FUNCTION_NOT_PARALLEL), kReportIt},
    {NAMED(CKR_FUNCTION_NOT_SUPPORTED), kReportIt},
    {NAMED(CKR_KEY_HANDLE_INVALID), kReportIt},
    {NAMED(CKR_KEY_SIZE_RANGE), kReportIt},
    {NAMED(CKR_KEY_TYPE_INCONSISTENT), kReportIt},
    {NAMED(CKR_KEY_NOT_NEEDED), kReportIt},
    {NAMED(CKR_KEY_CHANGED), kReportIt},
    {NAMED(CKR_KEY_NEEDED), kReportIt},
    {NAMED(CKR_KEY_INDIGESTIBLE), kReportIt},
    {NAMED(CKR_KEY_FUNCTION_NOT_PERMITTED), kReportIt},
    {NAMED(CKR_KEY_NOT_WRAPPABLE), kReportIt},
    {NAMED(CKR_KEY_UNEXTRACTABLE), kReportIt},
    {NAMED(CKR_MECHANISM_INVALID), kReportIt},
    {NAMED(CKR_MECHANISM_PARAM_INVALID), kReportIt},
    {NAMED(CKR_OBJECT_HANDLE_INVALID), kAcquireAgain},
    {NAMED(CKR_OPERATION_ACTIVE), kReportIt},
    {NAMED(CKR_OPERATION_NOT_INITIALIZED), kReportIt},
    {NAMED(CKR_PIN_INCORRECT), kRightPin},
    {NAMED(CKR_PIN_INVALID), kAllowedPin},
    {NAMED(CKR_PIN_LEN_RANGE), kAllowedPin},
    {NAMED(CKR_PIN_EXPIRED), kNewPin},
    {NAMED(CKR_PIN_LOCKED), kUnlock},
    {NAMED(CKR_SESSION_CLOSED), kAcquireAgain},
    {NAMED(CKR_SESSION_COUNT), kReportIt},
    {NAMED(CKR_SESSION_HANDLE_INVALID), kAcquireAgain},
    {NAMED(CKR_SESSION_PARALLEL_NOT_SUPPORTED), kReportIt},
    {NAMED(CKR_SESSION_READ_ONLY), kReportIt},
    {NAMED(CKR_SESSION_EXISTS), kReportIt},
    {NAMED(CKR_SESSION_READ_ONLY_EXISTS), kReportIt},
    {NAMED(CKR_SESSION_READ_WRITE_SO_EXISTS), kReportIt},
    {NAMED(CKR_SIGNATURE_INVALID), kReportIt},
    {NAMED(CKR_SIGNATURE_LEN_RANGE), kReportIt},
    {NAMED(CKR_TEMPLATE_INCOMPLETE), kReportIt},
    {NAMED(CKR_TEMPLATE_INCONSISTENT), kReportIt},
    {NAMED(CKR_TOKEN_NOT_PRESENT), kPutIn},
    {NAMED(CKR_TOKEN_NOT_RECOGNIZED), kReportIt},
    {NAMED(CKR_TOKEN_WRITE_PROTECTED), kReportIt},
    {NAMED(CKR_UNWRAPPING_KEY_HANDLE_INVALID), kReportIt},
    {NAMED(CKR_UNWRAPPING_KEY_SIZE_RANGE), kReportIt},
    {NAMED(CKR_UNWRAPPING_KEY_TYPE_INCONSISTENT), kReportIt},
    {NAMED(CKR_USER_ALREADY_LOGGED_IN), kReportIt},
    {NAMED(CKR_USER_NOT_LOGGED_IN), kLogInFirst},
    {NAMED(CKR_USER_PIN_NOT_INITIALIZED), kNoPin},
    {NAMED(CKR_USER_TYPE_INVALID), kReportIt},
    {NAMED(CKR_USER_ANOTHER_ALREADY_LOGGED_IN), kReportIt},
    {NAMED(CKR_USER_TOO_MANY_TYPES), kReportIt},
    {NAMED(CKR_WRAPPED_KEY_INVALID), kReportIt},
    {NAMED(CKR_WRAPPED_KEY_LEN_RANGE), kReportIt},
    {NAMED(CKR_WRAPPING_KEY_HANDLE_INVALID), kReportIt},
    {NAMED(CKR_WRAPPING_KEY_SIZE_RANGE), kReportIt},
    {NAMED(CKR_WRAPPING_KEY_TYPE_INCONSISTENT), kReportIt},
    {NAMED(CKR_RANDOM_SEED_NOT_SUPPORTED), kReportIt},
    {NAMED(CKR_RANDOM_NO_RNG), kReportIt},
    {NAMED(CKR_BUFFER_TOO_SMALL), kReportIt},
    {NAMED(CKR_SAVED_STATE_INVALID), kReportIt},
    {NAMED(CKR_INFORMATION_SENSITIVE), kReportIt},
    {NAMED(CKR_STATE_UNSAVEABLE), kReportIt},
    {NAMED(CKR_CRYPTOKI_NOT_INITIALIZED), kStartAgain},
    {NAMED(CKR_CRYPTOKI_ALREADY_INITIALIZED), kReportIt},
    {NAMED(CKR_MUTEX_BAD), kReportIt},
    {NAMED(CKR_MUTEX_NOT_LOCKED), kReportIt},
    {NAMED(CKR_VENDOR_DEFINED), kReportIt},
};
// clang-format on

#undef CODE
#undef NAMED

std::string UpperCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  return text;
}

template <typename Row>
const Row* FindName(const std::vector<Row>& rows, const std::string& name) {
  const auto found = std::find_if(rows.begin(), rows.end(), [&name](const Row& row) { return row.name == name; });
  return found == rows.end() ? nullptr : &*found;
}

[[noreturn]] void FailUnknown(const std::string& text) {
  throw UsageError("\"" + text +
                   "\" is no code: give a number like 0x80090016 or 2148073494, or a name like NTE_BAD_KEYSET");
}

// At most 32 bits, and only digits.
DWORD ParseNumber(const std::string& text) {
  const bool hexadecimal = text.rfind("0X", 0) == 0;
  const std::string digits = hexadecimal ? text.substr(2) : text;
  const char* const allowed = hexadecimal ? "0123456789ABCDEF" : "0123456789";
  if (digits.empty() || digits.size() > 10 || digits.find_first_not_of(allowed) != std::string::npos) FailUnknown(text);
  const unsigned long long number = std::stoull(digits, nullptr, hexadecimal ? 16 : 10);
  if (number > MAXDWORD) FailUnknown(text);
  return static_cast<DWORD>(number);
}

}  // namespace

const std::vector<CatalogueRow>& CatalogueRows() { return kRows; }
const std::vector<CatalogueCase>& CatalogueCases() { return kCases; }
const std::vector<ModuleRow>& ModuleRows() { return kModuleRows; }

std::string ModuleLogText(DWORD code) {
  std::string text = ErrorText(code);
  // The only character that is not ASCII: an apostrophe in the code page of Windows.
  for (std::size_t at = 0; (at = text.find('\x92')) != std::string::npos;) text.replace(at, 1, "\xE2\x80\x99");
  return text;
}

DWORD ParseCode(const std::string& text) {
  const std::string name = UpperCase(text);
  if (const CatalogueRow* const row = FindName(kRows, name)) return row->code;
  if (const ModuleRow* const row = FindName(kModuleRows, name)) return row->code;
  if (const std::optional<DWORD> code = CodeNamed(name)) return *code;
  return ParseNumber(name);
}

}  // namespace tool
