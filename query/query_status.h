// How a server query ended.
#ifndef LAUNCHER_QUERY_QUERY_STATUS_H_
#define LAUNCHER_QUERY_QUERY_STATUS_H_

#include <string_view>

namespace launcher {

enum class QueryStatus {
  /// The query has not ended, or its socket could not be bound.
  kNone,
  kSuccess,
  kConnectFailed,
  kInvalidArgument,
  kSendFailed,
  kSelectFailed,
  kReceiveFailed,
  kMarshallingException,
  kProtocolVersion,
  kTeamsAndPlayers,
  kUnknownGameMode,
};

/// The text that the host gets.
constexpr std::wstring_view StatusText(QueryStatus status) {
  using namespace std::string_view_literals;
  switch (status) {
    case QueryStatus::kNone:
      break;
    case QueryStatus::kSuccess:
      return L"SUCCESS"sv;
    case QueryStatus::kConnectFailed:
      return L"ERROR_CONNECT_FAILED"sv;
    case QueryStatus::kInvalidArgument:
      return L"ERROR_CONNECT_INVALID_ARGUMENT"sv;
    case QueryStatus::kSendFailed:
      return L"ERROR_SENDTO_FAILED"sv;
    case QueryStatus::kSelectFailed:
      return L"ERROR_SELECT_FAILED_OR_TIMEDOUT"sv;
    case QueryStatus::kReceiveFailed:
      return L"ERROR_RECVFROM_FAILED"sv;
    case QueryStatus::kMarshallingException:
      return L"ERROR_MARSHALLING_EXCEPTION"sv;
    case QueryStatus::kProtocolVersion:
      return L"ERROR_PROTOCOL_VERSION"sv;
    case QueryStatus::kTeamsAndPlayers:
      return L"ERROR_MARSHALLING_TEAMS_AND_PLAYERS"sv;
    case QueryStatus::kUnknownGameMode:
      return L"UNKNOWN_GAME_MODE"sv;
  }
  return L""sv;
}

}  // namespace launcher

#endif  // LAUNCHER_QUERY_QUERY_STATUS_H_
