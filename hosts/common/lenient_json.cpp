#include "hosts/common/lenient_json.h"

#include <array>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace host {
namespace {

/// Where a text without escapes begins and what follows behind it.
struct TextFrame {
  std::string_view before;
  std::string_view behind;
};

constexpr std::array<TextFrame, 5> kTextFrames{{
    {"\n  \"gameMode\": \"", "\", \n  \"mapVariant\": "},
    {"\n  \"currentMap\": \"", "\", \n  \"roundTime\": \""},
    {"\n          \"name\": \"", "\",\n          \"tag\": \""},
    {"\n          \"tag\": \"", "\",\n          \"rank\": "},
    {"\n\t\t\"ipAddress\": \"", "\",\n\t\t\"roundTripMSEC\": "},
}};

std::string Escape(std::string_view text) {
  const std::string quoted =
      nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  return quoted.substr(1, quoted.size() - 2);
}

// The frame whose beginning comes first in the text, and where that ends.
struct NextFrame {
  const TextFrame* frame = nullptr;
  std::size_t textBegin = std::string::npos;
};

NextFrame FindFrame(std::string_view text, std::size_t from) {
  NextFrame next;
  for (const TextFrame& frame : kTextFrames) {
    const std::size_t found = text.find(frame.before, from);
    if (found == std::string_view::npos) continue;
    if (next.frame == nullptr || found + frame.before.size() < next.textBegin) {
      next = {&frame, found + frame.before.size()};
    }
  }
  return next;
}

std::string WithEscapedTexts(std::string_view text) {
  std::string strict;
  std::size_t done = 0;
  for (NextFrame next = FindFrame(text, 0); next.frame != nullptr; next = FindFrame(text, done)) {
    strict += text.substr(done, next.textBegin - done);
    done = next.textBegin;
    const std::size_t end = text.find(next.frame->behind, done);
    if (end == std::string_view::npos) break;  // the parser will refuse it
    strict += Escape(text.substr(done, end - done));
    done = end;
  }
  strict += text.substr(done);
  return strict;
}

/// Builds the tree. A tree of the parser's own would lose members of the same name.
class TreeBuilder final : public nlohmann::json::json_sax_t {
 public:
  JsonNode root;

  bool null() override { return false; }
  bool boolean(bool) override { return false; }
  bool number_integer(std::int64_t) override { return false; }  // a negative number
  bool number_unsigned(std::uint64_t value) override { return AddLeaf(std::to_string(value)); }
  bool number_float(double, const std::string&) override { return false; }
  bool string(std::string& value) override { return AddLeaf(value); }
  bool binary(nlohmann::json::binary_t&) override { return false; }
  bool start_object(std::size_t) override { return Open(); }
  bool end_object() override { return Close(); }
  bool start_array(std::size_t) override { return Open(); }
  bool end_array() override { return Close(); }
  bool parse_error(std::size_t, const std::string&,
                   const nlohmann::json::exception& error) override {
    problem = error.what();
    return false;
  }

  bool key(std::string& name) override {
    nextKey = name;
    return true;
  }

  std::string problem = "it holds what the launcher never writes";

 private:
  // The result, "teamInfo", a team, "players", a player.
  static constexpr std::size_t kMaxLevels = 5;

  bool AddLeaf(std::string text) {
    if (open.empty()) return false;
    open.back()->children.push_back({std::move(nextKey), std::move(text), {}});
    nextKey.clear();
    return true;
  }

  bool Open() {
    if (open.size() == kMaxLevels) return false;
    if (open.empty()) {
      open.push_back(&root);
      return true;
    }
    // Only the innermost node grows, so that the pointers to the others stay good.
    std::vector<JsonNode>& siblings = open.back()->children;
    siblings.push_back({std::move(nextKey), "", {}});
    nextKey.clear();
    open.push_back(&siblings.back());
    return true;
  }

  bool Close() {
    open.pop_back();
    return true;
  }

  std::vector<JsonNode*> open;
  std::string nextKey;
};

}  // namespace

const JsonNode& JsonNode::Child(std::string_view wanted) const {
  for (const JsonNode& child : children) {
    if (child.key == wanted) return child;
  }
  throw std::runtime_error("the launcher's result has no \"" + std::string(wanted) + "\"");
}

JsonNode ReadLenientJson(const std::string& text) {
  TreeBuilder builder;
  if (!nlohmann::json::sax_parse(WithEscapedTexts(text), &builder)) {
    throw std::runtime_error("the launcher's result cannot be read: " + builder.problem);
  }
  return std::move(builder.root);
}

}  // namespace host
