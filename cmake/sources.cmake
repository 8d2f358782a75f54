# The library's sources, once. Paths count from the root of the repository.

# No Windows header: these are also built natively, where tests/native/ supplies
# core/text.h and core/log.h.
set(LAUNCHER_PORTABLE_SOURCES
    core/event_info.cpp
    gamepipe/command.cpp
    gamepipe/command_event.cpp
    gamepipe/frame.cpp
    gamepipe/words.cpp
    ping/ping_json.cpp
    query/game_mode.cpp
    query/net_message.cpp
    query/query_json.cpp
    query/query_response.cpp)

set(LAUNCHER_WINDOWS_SOURCES
    apps/ashgrove_app.cpp
    apps/base_app.cpp
    apps/directory_scan.cpp
    apps/file_text.cpp
    apps/games.cpp
    apps/ostrel_app.cpp
    apps/ostrel_settings.cpp
    apps/process_scan.cpp
    core/environment.cpp
    core/file_status.cpp
    core/helper_program.cpp
    core/install_dir.cpp
    core/launcher/app_launcher.cpp
    core/launcher/exports.cpp
    core/launcher/launcher_message.cpp
    core/launcher/thread_list.cpp
    core/log.cpp
    core/registry.cpp
    core/runtime/runtime_trim.cpp
    core/text.cpp
    gamepipe/generic_pellmar_command.cpp
    gamepipe/pellmar_app_base.cpp
    gamepipe/pipe_channel.cpp
    gamepipe/pipe_client.cpp
    ping/ping_batch.cpp
    ping/ping_exchange.cpp
    query/query_exchange.cpp
    query/query_thread.cpp)

# Only in the DLL itself: what its C++ run-time is replaced by, the version resource and the list of
# exports. Programs that link the objects keep the compiler's own run-time.
set(LAUNCHER_DLL_SOURCES
    core/runtime/exception_lock.cpp
    core/runtime/stack_guard.cpp
    core/runtime/thread_exceptions.cpp
    core/launcher/launcher.def
    core/launcher/launcher.rc)

# System libraries that the library imports from.
set(LAUNCHER_SYSTEM_LIBRARIES advapi32 ole32 oleaut32 shell32 user32 uuid ws2_32)

# Where the time goes: compiled for speed instead of size.
set(LAUNCHER_HOT_SOURCES
    core/event_info.cpp
    core/log.cpp
    core/text.cpp
    ping/ping_json.cpp
    query/net_message.cpp
    query/query_json.cpp
    query/query_response.cpp)
