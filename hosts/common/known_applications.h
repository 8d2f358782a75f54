// What hosts know of the launcher's eight applications besides their identifiers.
#ifndef LAUNCHER_HOSTS_COMMON_KNOWN_APPLICATIONS_H_
#define LAUNCHER_HOSTS_COMMON_KNOWN_APPLICATIONS_H_

#include <array>
#include <string_view>

namespace host {

/// Registry keys count from HKEY_LOCAL_MACHINE and are read in the 32-bit view.
struct KnownApplication {
  const char* id;
  const char* registryKey;
  const char* valueName;
  const char* x64Name;   // empty for the store client
  const char* x86Name;   // empty when the game has one executable
  const char* pipeName;  // some games share one; empty for the store client
};

/// In the order in which the launcher polls them.
inline constexpr std::array<KnownApplication, 8> kKnownApplications{{
    {"BRENNA-CTE-GAME", R"(SOFTWARE\Hollin Games\Ashgrove 4 CTE)", "Install Dir", "ag4cte.exe",
     "ag4cte_x86.exe", R"(\\.\pipe\brenna_pellmar)"},
    {"BRENNA-GAME", R"(SOFTWARE\Hollin Games\Ashgrove 4)", "Install Dir", "ag4.exe", "ag4_x86.exe",
     R"(\\.\pipe\brenna_pellmar)"},
    {"OSTREL-APP", R"(SOFTWARE\Ostrel)", "ClientVersion", "", "", ""},
    {"SOLANO-GAME", R"(SOFTWARE\Hollin Games\Ashgrove 3)", "Install Dir", "ag3.exe", "",
     R"(\\.\pipe\solano_pellmar)"},
    {"TAMSIN-BETA2-GAME", R"(SOFTWARE\Hollin Games\AGX Beta 2)", "Install Dir", "agx.exe",
     "agx.exe", R"(\\.\pipe\tamsin_pellmar)"},
    {"TAMSIN-CTE-GAME", R"(SOFTWARE\Hollin Games\AGX CTE)", "Install Dir", "agxcte.exe", "",
     R"(\\.\pipe\tamsin_pellmar)"},
    {"TAMSIN-MAINLINE-GAME", R"(SOFTWARE\Hollin Games\AGX)", "Install Dir", "agx.exe",
     "agx_x86.exe", R"(\\.\pipe\tamsin_pellmar)"},
    {"TAVR-GAME", R"(SOFTWARE\Brightwater Games\Ironvale Sentry)", "Install Dir", "TAVR.exe", "",
     R"(\\.\pipe\tavr_pellmar)"},
}};

/// Null for an identifier that the launcher does not know.
inline const KnownApplication* FindKnownApplication(std::string_view id) {
  for (const KnownApplication& application : kKnownApplications) {
    if (id == application.id) return &application;
  }
  return nullptr;
}

}  // namespace host

#endif  // LAUNCHER_HOSTS_COMMON_KNOWN_APPLICATIONS_H_
