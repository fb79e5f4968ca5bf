// CryptAcquireContext, CryptReleaseContext, CryptContextAddRef.
#include "Row.h"

namespace {

// Acquires a context with exactly this name, and deletes the container that this made.
std::string Acquire(const Side& side, const char* name, DWORD flags) {
  HCRYPTPROV context = 0;
  std::string answer = Answer(CryptAcquireContextA(&context, name, side.Provider(), side.Type(), flags));
  if (context != 0) CryptReleaseContext(context, 0);
  if (answer == "TRUE" && (flags & CRYPT_NEWKEYSET) != 0) {
    CryptAcquireContextA(&context, name, side.Provider(), side.Type(),
                         CRYPT_DELETEKEYSET | (flags & CRYPT_MACHINE_KEYSET));
  }
  return answer;
}

// The name is null or used unchanged.
Call Name(const char* name, DWORD flags) {
  return [name, flags](const Side& side) { return Acquire(side, name, flags); };
}
Call ThePrepared(DWORD flags) {
  return [flags](const Side& side) { return Acquire(side, side.Container("prepared").c_str(), flags); };
}

// Without the reader, also where there are readers.
Call Missing(DWORD flags) {
  return [flags](const Side& side) { return Acquire(side, side.NewName().c_str(), flags); };
}
Call MissingInReader(DWORD flags) {
  return [flags](const Side& side) { return Acquire(side, side.Container(side.NewName()).c_str(), flags); };
}
Call LongName(std::size_t length, DWORD flags) {
  return [length, flags](const Side& side) { return Acquire(side, std::string(length, 'n').c_str(), flags); };
}

// With another provider name or type than the side's.
Call OfProvider(const char* provider, DWORD type) {
  return [provider, type](const Side& side) {
    HCRYPTPROV context = 0;
    const char* const name = provider == nullptr ? side.Provider() : provider;
    return Answer(CryptAcquireContextA(&context, nullptr, name, type, CRYPT_VERIFYCONTEXT));
  };
}

std::string WithoutAPlace(const Side& side) {
  return Answer(CryptAcquireContextA(nullptr, nullptr, side.Provider(), side.Type(), CRYPT_VERIFYCONTEXT));
}

std::string HandleAfterAFailure(const Side& side) {
  HCRYPTPROV context = 1;
  const std::string answer = Answer(
      CryptAcquireContextA(&context, "none", side.Provider(), side.Type(), CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET));
  return answer + (context == 0 ? ", handle 0" : ", handle left alone");
}

std::string Wide(const Side& side) {
  const std::string provider = side.Provider();
  HCRYPTPROV context = 0;
  const std::string answer = Answer(CryptAcquireContextW(
      &context, nullptr, std::wstring(provider.begin(), provider.end()).c_str(), side.Type(), CRYPT_VERIFYCONTEXT));
  if (context != 0) CryptReleaseContext(context, 0);
  return answer;
}

std::string Twice(const Side& side) {
  const Prepared first(side);
  const Prepared second(side);
  return static_cast<HCRYPTPROV>(first) != static_cast<HCRYPTPROV>(second) ? "TRUE, two handles" : "TRUE, one handle";
}

std::string DeleteEmpty(const Side& side) {
  const std::string name = side.Container(side.NewName());
  { const Context made(side, name.c_str(), CRYPT_NEWKEYSET); }
  return Acquire(side, name.c_str(), CRYPT_DELETEKEYSET);
}

std::string AfterDeletion(const Side& side) {
  std::string name;
  {
    const Fresh container(side);
    const Key pair = Generated(container, AT_KEYEXCHANGE, 1024U << 16U);
    name = container.Name();
  }
  HCRYPTPROV context = 0;
  HCRYPTKEY pair = 0;
  if (CryptAcquireContextA(&context, name.c_str(), side.Provider(), side.Type(), 0) == FALSE) {
    return "FALSE " + CodeName(GetLastError());
  }
  const std::string answer = Answer(CryptGetUserKey(context, AT_KEYEXCHANGE, &pair)) + " (CryptGetUserKey)";
  CryptReleaseContext(context, 0);
  return answer;
}

std::string NewTwice(const Side& side) {
  const Fresh container(side);
  const Key pair = Generated(container, AT_KEYEXCHANGE, 1024U << 16U);
  return Acquire(side, container.Name().c_str(), CRYPT_NEWKEYSET);
}

std::string NewTwiceWithoutKeys(const Side& side) {
  const Fresh container(side);
  return Acquire(side, container.Name().c_str(), CRYPT_NEWKEYSET);
}

std::string NewAndLater(const Side& side) {
  const std::string name = side.Container(side.NewName());
  { const Context made(side, name.c_str(), CRYPT_NEWKEYSET); }
  std::string answer = Acquire(side, name.c_str(), 0);
  Acquire(side, name.c_str(), CRYPT_DELETEKEYSET);
  return answer;
}

Call OtherCase(const char* name) {
  return [name](const Side& side) { return Acquire(side, side.Container(name).c_str(), CRYPT_SILENT); };
}

Call Release(DWORD flags) {
  return [flags](const Side& side) {
    HCRYPTPROV context = 0;
    Step(CryptAcquireContextA(&context, nullptr, side.Provider(), side.Type(), CRYPT_VERIFYCONTEXT),
         "CryptAcquireContext");
    return Answer(CryptReleaseContext(context, flags));
  };
}

std::string ReleaseWithKeys(const Side& side) {
  HCRYPTPROV context = 0;
  Step(CryptAcquireContextA(&context, side.Container("prepared").c_str(), side.Provider(), side.Type(), 0),
       "CryptAcquireContext");
  HCRYPTKEY pair = 0;
  Step(CryptGetUserKey(context, AT_KEYEXCHANGE, &pair), "CryptGetUserKey");
  return Answer(CryptReleaseContext(context, 0));
}

std::string ReleaseNothing(const Side& /*side*/) { return Answer(CryptReleaseContext(0, 0)); }

Call AddRef(DWORD flags, bool reserved) {
  return [flags, reserved](const Side& side) {
    const Verifying context(side);
    DWORD word = 0;
    std::string answer = Answer(CryptContextAddRef(context, reserved ? &word : nullptr, flags));
    if (answer == "TRUE") CryptReleaseContext(context, 0);
    return answer;
  };
}

std::string UseAfterOneOfTwoReleases(const Side& side) {
  const Prepared context(side);
  Step(CryptContextAddRef(context, nullptr, 0), "CryptContextAddRef");
  CryptReleaseContext(context, 0);
  BYTE random[4];
  return Answer(CryptGenRandom(context, sizeof random, random));
}

}  // namespace

const Rows kContextRows = {
    {"context.verify", "CRYPT_VERIFYCONTEXT, no name", "TRUE", Name(nullptr, CRYPT_VERIFYCONTEXT)},
    {"context.verify_silent", "CRYPT_VERIFYCONTEXT and CRYPT_SILENT, no name", "TRUE",
     Name(nullptr, CRYPT_VERIFYCONTEXT | CRYPT_SILENT)},
    {"context.verify_machine", "CRYPT_VERIFYCONTEXT and CRYPT_MACHINE_KEYSET, no name", "TRUE",
     Name(nullptr, CRYPT_VERIFYCONTEXT | CRYPT_MACHINE_KEYSET)},
    {"context.verify_name", "CRYPT_VERIFYCONTEXT with a name", "FALSE NTE_BAD_FLAGS; the name must be null",
     Name("named", CRYPT_VERIFYCONTEXT)},
    {"context.verify_empty_name", "CRYPT_VERIFYCONTEXT with an empty name", "TRUE; as without a name",
     Name("", CRYPT_VERIFYCONTEXT)},
    {"context.verify_silent_name", "CRYPT_VERIFYCONTEXT and CRYPT_SILENT with a name",
     "FALSE NTE_BAD_FLAGS; the name must be null", Name("named", CRYPT_VERIFYCONTEXT | CRYPT_SILENT)},
    {"context.verify_new", "CRYPT_VERIFYCONTEXT and CRYPT_NEWKEYSET", "FALSE NTE_BAD_FLAGS",
     Name(nullptr, CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET)},
    {"context.verify_delete", "CRYPT_VERIFYCONTEXT and CRYPT_DELETEKEYSET", "FALSE NTE_BAD_FLAGS",
     Name(nullptr, CRYPT_VERIFYCONTEXT | CRYPT_DELETEKEYSET)},
    {"context.verify_optional", "CRYPT_VERIFYCONTEXT and CRYPT_DEFAULT_CONTAINER_OPTIONAL",
     "TRUE or FALSE NTE_BAD_FLAGS", Name(nullptr, CRYPT_VERIFYCONTEXT | 0x80U)},
    {"context.wide", "CryptAcquireContextW, CRYPT_VERIFYCONTEXT", "TRUE", Wide},
    {"context.prepared", "a container that exists", "TRUE", ThePrepared(0)},
    {"context.prepared_silent", "a container that exists, CRYPT_SILENT", "TRUE", ThePrepared(CRYPT_SILENT)},
    {"context.prepared_twice", "the same container twice", "TRUE; each has its own handle", Twice},
    {"context.default", "no name and no flags, and no container has the user's name", "FALSE NTE_BAD_KEYSET",
     Name(nullptr, 0)},
    {"context.default_silent", "no name, CRYPT_SILENT", "FALSE NTE_BAD_KEYSET", Name(nullptr, CRYPT_SILENT)},
    {"context.default_empty", "an empty name, no flags", "FALSE NTE_BAD_KEYSET", Name("", 0)},
    {"context.case_upper", "the name in upper case", "TRUE; Windows ignores the case", OtherCase("PREPARED")},
    {"context.missing", "a container that does not exist", "FALSE NTE_BAD_KEYSET", Missing(0)},
    {"context.missing_silent", "a container that does not exist, CRYPT_SILENT", "FALSE NTE_BAD_KEYSET",
     Missing(CRYPT_SILENT)},
    {"context.missing_in_reader", "a container that does not exist, with the reader's name where there are readers",
     "FALSE NTE_BAD_KEYSET", MissingInReader(0)},
    {"context.missing_in_reader_silent", "the same with CRYPT_SILENT", "FALSE NTE_BAD_KEYSET",
     MissingInReader(CRYPT_SILENT)},
    {"context.missing_machine", "a container that does not exist, CRYPT_MACHINE_KEYSET", "FALSE NTE_BAD_KEYSET",
     Missing(CRYPT_MACHINE_KEYSET)},
    {"context.other_reader", "the name `\\\\.\\Nobody\\prepared` of a reader that does not exist",
     "FALSE NTE_BAD_KEYSET or FALSE SCARD_E_UNKNOWN_READER", Name("\\\\.\\Nobody\\prepared", CRYPT_SILENT)},
    {"context.new", "CRYPT_NEWKEYSET with a name", "TRUE", MissingInReader(CRYPT_NEWKEYSET)},
    {"context.new_silent", "CRYPT_NEWKEYSET and CRYPT_SILENT with a name", "TRUE",
     MissingInReader(CRYPT_NEWKEYSET | CRYPT_SILENT)},
    {"context.new_machine", "CRYPT_NEWKEYSET and CRYPT_MACHINE_KEYSET with a name", "TRUE",
     MissingInReader(CRYPT_NEWKEYSET | CRYPT_MACHINE_KEYSET)},
    {"context.new_exists", "CRYPT_NEWKEYSET, and a container of that name has keys", "FALSE NTE_EXISTS", NewTwice},
    {"context.new_prepared", "CRYPT_NEWKEYSET, and a container of that name has keys and a certificate",
     "FALSE NTE_EXISTS", ThePrepared(CRYPT_NEWKEYSET)},
    {"context.new_twice", "CRYPT_NEWKEYSET, and a container of that name is open, but has no keys", "FALSE NTE_EXISTS",
     NewTwiceWithoutKeys},
    {"context.new_later", "a container that was made without keys", "TRUE", NewAndLater},
    {"context.new_delete", "CRYPT_NEWKEYSET and CRYPT_DELETEKEYSET", "FALSE NTE_BAD_FLAGS",
     Missing(CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET)},
    {"context.delete_missing", "CRYPT_DELETEKEYSET, and there is no such container", "FALSE NTE_BAD_KEYSET",
     Missing(CRYPT_DELETEKEYSET)},
    {"context.delete_missing_in_reader", "the same, with the reader's name where there are readers",
     "FALSE NTE_BAD_KEYSET", MissingInReader(CRYPT_DELETEKEYSET)},
    {"context.delete_empty", "CRYPT_DELETEKEYSET of a container without keys", "TRUE", DeleteEmpty},
    {"context.after_delete", "a container that was deleted, then CryptGetUserKey", "FALSE NTE_BAD_KEYSET",
     AfterDeletion},
    {"context.flag_1", "the undefined flag 1", "FALSE NTE_BAD_FLAGS", ThePrepared(1)},
    {"context.flag_2", "the undefined flag 2", "FALSE NTE_BAD_FLAGS", ThePrepared(2)},
    {"context.flag_4", "the undefined flag 4", "FALSE NTE_BAD_FLAGS", ThePrepared(4)},
    {"context.flag_80", "CRYPT_DEFAULT_CONTAINER_OPTIONAL with a name",
     "TRUE or FALSE NTE_BAD_FLAGS; it is for verification contexts without a name", ThePrepared(0x80)},
    {"context.flag_100", "the undefined flag 0x100", "FALSE NTE_BAD_FLAGS", ThePrepared(0x100)},
    {"context.flag_10000000", "the undefined flag 0x10000000", "FALSE NTE_BAD_FLAGS", Name(nullptr, 0x10000000U)},
    {"context.name_260", "a name of 260 characters that does not exist, CRYPT_SILENT",
     "FALSE NTE_BAD_KEYSET or FALSE NTE_BAD_KEYSET_PARAM; MAX_PATH is the limit", LongName(260, CRYPT_SILENT)},
    {"context.name_261", "a name of 261 characters, CRYPT_SILENT", "FALSE NTE_BAD_KEYSET_PARAM",
     LongName(261, CRYPT_SILENT)},
    {"context.null_handle", "a null pointer for the handle", "FALSE ERROR_INVALID_PARAMETER", WithoutAPlace},
    {"context.handle_after_failure", "the handle after a failure", "FALSE NTE_BAD_FLAGS; its value is not defined",
     HandleAfterAFailure},
    {"context.unknown_provider", "a provider that is not registered", "FALSE NTE_KEYSET_NOT_DEF",
     OfProvider("No Such Provider", PROV_RSA_FULL)},
    {"context.empty_provider", "an empty provider name", "FALSE ERROR_INVALID_PARAMETER",
     OfProvider("", PROV_RSA_FULL)},
    {"context.other_type", "the provider with the type PROV_DSS", "FALSE NTE_PROV_TYPE_NO_MATCH",
     OfProvider(nullptr, PROV_DSS)},
    {"context.type_0", "the type 0", "FALSE NTE_BAD_PROV_TYPE", OfProvider(nullptr, 0)},
    {"context.type_1000", "the type 1000", "FALSE NTE_BAD_PROV_TYPE", OfProvider(nullptr, 1000)},
};

const Rows kReleaseRows = {
    {"release.plain", "CryptReleaseContext", "TRUE", Release(0)},
    {"release.flags", "CryptReleaseContext with flags", "FALSE NTE_BAD_FLAGS; the context is released", Release(1)},
    {"release.with_keys", "CryptReleaseContext while a key is open", "TRUE", ReleaseWithKeys},
    {"release.null", "CryptReleaseContext of 0", "FALSE ERROR_INVALID_PARAMETER", ReleaseNothing},
    {"release.add_ref", "CryptContextAddRef", "TRUE", AddRef(0, false)},
    {"release.add_ref_flags", "CryptContextAddRef with flags", "FALSE ERROR_INVALID_PARAMETER; they must be 0",
     AddRef(1, false)},
    {"release.add_ref_reserved", "CryptContextAddRef with a reserved pointer",
     "FALSE ERROR_INVALID_PARAMETER; it must be null", AddRef(0, true)},
    {"release.one_of_two", "CryptGenRandom after one of two releases", "TRUE", UseAfterOneOfTwoReleases},
};
