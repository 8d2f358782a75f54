// The launcher's version, written once. Read by the C++ sources and by the resource compiler, so
// nothing but preprocessor lines may be here.
#ifndef LAUNCHER_CORE_LAUNCHER_VERSION_H_
#define LAUNCHER_CORE_LAUNCHER_VERSION_H_

#define LAUNCHER_VERSION_NUMBER 162
#define LAUNCHER_ABI_VERSION 1

#define LAUNCHER_STRINGIZE_(text) #text
#define LAUNCHER_STRINGIZE(text) LAUNCHER_STRINGIZE_(text)
#define LAUNCHER_WIDEN_(text) L##text
#define LAUNCHER_WIDEN(text) LAUNCHER_WIDEN_(text)

#define LAUNCHER_VERSION_TEXT LAUNCHER_STRINGIZE(LAUNCHER_VERSION_NUMBER)
#define LAUNCHER_VERSION_WIDE LAUNCHER_WIDEN(LAUNCHER_VERSION_TEXT)

#endif  // LAUNCHER_CORE_LAUNCHER_VERSION_H_
