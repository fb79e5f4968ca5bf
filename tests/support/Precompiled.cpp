// CMake wants a source in the program that owns the precompiled header.
int main() { return 0; }
