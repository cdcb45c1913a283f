// A library that is no module library.
extern "C" [[gnu::visibility("default")]] int g_somethingElse;
int g_somethingElse = 1;
