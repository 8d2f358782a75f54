/// What launcher.hpp asks for to read results: a JSON parser, here that of nlohmann.
#ifndef LAUNCHER_EXAMPLES_DEMO_JSON_READER_H_
#define LAUNCHER_EXAMPLES_DEMO_JSON_READER_H_

#include <string_view>

#include "launcher/results.hpp"

namespace demo {

/// Takes texts with quotation marks in them, as the launcher writes them, too.
class JsonReader final : public launcher_host::JsonReader {
 public:
  bool Read(std::string_view json, launcher_host::JsonSink& sink) override;
};

}  // namespace demo

#endif  // LAUNCHER_EXAMPLES_DEMO_JSON_READER_H_
