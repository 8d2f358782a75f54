# The JSON parser of examples, hosts and tests.
launcher_header_library(nlohmann_json nlohmann-json3-dev nlohmann/json.hpp)
