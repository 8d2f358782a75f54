#include "core/wide_writer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace launcher {
namespace {

// Written twice, as everybody does: counted first, then into memory of that length.
template <typename Write>
std::wstring Written(const Write& write) {
  WideWriter counted;
  write(counted);
  std::wstring text(counted.Length(), L'#');
  WideWriter writer(text.data(), text.size());
  write(writer);
  EXPECT_EQ(writer.Length(), text.size());
  return text;
}

TEST(WideWriter, Nothing) { EXPECT_EQ(WideWriter().Length(), 0U); }

TEST(WideWriter, Numbers) {
  for (const std::uint64_t number :
       {0ULL, 9ULL, 10ULL, 99ULL, 100ULL, 65535ULL, 99999999ULL, 100000000ULL, 4294967295ULL,
        4294967296ULL, 10000000001ULL, 9999999999999999999ULL, 10000000000000000000ULL,
        18446744073709551615ULL}) {
    EXPECT_EQ(Written([&](WideWriter& out) { out << number; }), std::to_wstring(number));
  }
}

TEST(WideWriter, SmallNumbersAreNoCharacters) {
  EXPECT_EQ(Written([](WideWriter& out) {
              out << std::uint8_t{65} << std::uint16_t{66} << std::uint32_t{67};
            }),
            L"656667");
}

TEST(WideWriter, LiteralsAndTextsOneAfterTheOther) {
  const std::wstring text = L"Zo\u00EB";
  EXPECT_EQ(Written([&](WideWriter& out) {
              out << L"" << L"a\0b" << text << std::uint64_t{12} << std::wstring_view(L"c\0d", 3);
            }),
            std::wstring(L"a\0bZo\u00EB12c\0d", 11));
}

// What does not fit is counted and not written.
TEST(WideWriter, NeverWritesPastItsMemory) {
  wchar_t memory[] = L"####";
  WideWriter writer(memory, 3);
  writer << L"ab" << L"cd" << std::uint64_t{34};
  EXPECT_EQ(writer.Length(), 6U);
  EXPECT_EQ(std::wstring(memory), L"ab##");
  WideWriter numbers(memory, 3);
  numbers << std::uint64_t{1234} << L"x";
  EXPECT_EQ(numbers.Length(), 5U);
  EXPECT_EQ(std::wstring(memory), L"ab##");
}

}  // namespace
}  // namespace launcher
