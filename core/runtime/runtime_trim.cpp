// Parts of GCC's C++ run-time that the DLL replaces to stay small. The static run-time links whole
// object files, so one reference that nothing ever calls can bring in tens of kilobytes.

#include <cstdlib>
#include <random>
#include <string>

#if defined(__MINGW32__) && defined(__GLIBCXX__)

namespace __gnu_cxx {

// In place of the handler that prints the name of an escaped exception, which needs the name decoder
// and formatted output. An escaped exception still ends the process.
void __verbose_terminate_handler();
void __verbose_terminate_handler() { std::abort(); }

}  // namespace __gnu_cxx

// NOLINTBEGIN(cert-dcl58-cpp, readability-*): the run-time's own declarations.
namespace std {

// Exceptions that carry a text bring in the strings of the old binary interface, and those a
// constructor of random_device which the DLL never calls.
void random_device::_M_init(const char*, size_t) { std::abort(); }

// In place of one that prints what was broken, with the run-time's debug lists and their locks behind
// it. A broken promise still ends the process.
void __glibcxx_assert_fail(const char*, int, const char*, const char*) noexcept { std::abort(); }

// They also use two members of string. Made here, they need not come with all others.
template void basic_string<char>::_M_assign(const string&);
template string::pointer basic_string<char>::_M_create(string::size_type&, string::size_type);

}  // namespace std
// NOLINTEND(cert-dcl58-cpp, readability-*)

#endif
