// A library that is not a PKCS #11 module: it lacks C_GetFunctionList.
#if defined(_WIN32)
extern "C" __declspec(dllexport) int NotAModule() { return 1; }
#else
extern "C" __attribute__((visibility("default"))) int NotAModule() { return 1; }
#endif
