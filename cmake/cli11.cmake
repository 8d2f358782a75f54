# The command-line parser of programs and tests.
launcher_header_library(cli11 libcli11-dev CLI/CLI.hpp)
