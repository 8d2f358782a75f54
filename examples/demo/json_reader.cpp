#include "examples/demo/json_reader.h"

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

namespace demo {
namespace {

// Keeps the order of the text, which is that of the teams and players on the server.
using Json = nlohmann::ordered_json;

// A text as a JSON parser wants it between quotation marks.
std::string Escape(const std::string& text) {
  const std::string quoted = Json(text).dump();
  return quoted.substr(1, quoted.size() - 2);
}

// The launcher writes names and other texts as they came, without escaping anything, so a player
// called  The "Rock"  makes a text that no JSON parser accepts. Every value is on a line of its
// own, though, so the text of a line is what lies between the quotation mark after its key and the
// last one. (Only a line feed inside of a name cannot be repaired.)
std::string WithEscapedTexts(std::string_view json) {
  const std::string beginOfText = "\": \"";
  std::string strict;
  std::istringstream lines{std::string(json)};
  for (std::string line; std::getline(lines, line);) {
    const std::size_t key = line.find(beginOfText);
    if (key != std::string::npos) {
      const std::size_t begin = key + beginOfText.size();
      const std::size_t end = line.rfind('"');
      if (end >= begin) line.replace(begin, end - begin, Escape(line.substr(begin, end - begin)));
    }
    strict += line + "\n";
  }
  return strict;
}

void Walk(std::string_view key, const Json& value, launcher_host::JsonSink& sink) {
  if (!value.is_structured()) {
    sink.Value(key, value.is_string() ? value.get<std::string>() : value.dump());
    return;
  }
  sink.Begin(key);
  for (const auto& [name, member] : value.items()) {
    Walk(value.is_object() ? std::string_view(name) : "", member, sink);
  }
  sink.End();
}

}  // namespace

bool JsonReader::Read(std::string_view json, launcher_host::JsonSink& sink) {
  const Json document = Json::parse(WithEscapedTexts(json), nullptr, false);
  if (document.is_discarded()) return false;
  Walk("", document, sink);
  return true;
}

}  // namespace demo
