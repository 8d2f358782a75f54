// Applies the properties of the fuzzers to their seed inputs and to every input that ever broke
// one.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/frame_property.h"
#include "fuzz/net_message_property.h"
#include "fuzz/property.h"
#include "fuzz/query_response_property.h"
#include "fuzz/server_texts_property.h"
#include "fuzz/text_property.h"
#include "tests/unit/log_capture.h"

namespace launcher {
namespace {

using Property = void (*)(fuzz::ByteSpan);

// The tests run from the source tree that they were built from.
std::filesystem::path FuzzFolder() {
  return std::filesystem::path(__FILE__).parent_path().parent_path().parent_path() / "fuzz";
}

std::vector<std::filesystem::path> FilesIn(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> files;
  if (!std::filesystem::is_directory(folder)) return files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

void Replay(const std::filesystem::path& file, Property property) {
  SCOPED_TRACE(file.string());
  std::ifstream stream(file, std::ios::binary);
  ASSERT_TRUE(stream.is_open());
  const std::vector<std::uint8_t> input{std::istreambuf_iterator<char>(stream), {}};
  LogCapture log;
  EXPECT_NO_THROW(property(input));
}

// At least `seedCount` inputs, so that a test that finds no files does not pass.
void ReplayAll(const std::string& name, std::size_t seedCount, Property property) {
  const std::vector<std::filesystem::path> seeds = FilesIn(FuzzFolder() / "corpus" / name);
  EXPECT_GE(seeds.size(), seedCount);
  for (const std::filesystem::path& file : seeds) Replay(file, property);
  for (const std::filesystem::path& file : FilesIn(FuzzFolder() / "found" / name)) {
    Replay(file, property);
  }
}

TEST(FuzzReplay, Frame) { ReplayAll("frame", 14, fuzz::CheckFrames); }

TEST(FuzzReplay, NetMessage) { ReplayAll("net_message", 11, fuzz::CheckNetMessage); }

// Each of the eight protocol versions with each of the six modes, an unknown one and none.
TEST(FuzzReplay, QueryResponse) { ReplayAll("query_response", 64, fuzz::CheckQueryResponse); }

TEST(FuzzReplay, ServerTexts) { ReplayAll("server_texts", 10, fuzz::CheckServerTexts); }

TEST(FuzzReplay, Text) { ReplayAll("text", 10, fuzz::CheckText); }

}  // namespace
}  // namespace launcher
