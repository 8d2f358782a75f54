#include "tests/support/environment_variable.h"

#include <windows.h>

namespace test_support {
namespace {

// The longest value that Windows allows, with its terminator.
constexpr std::size_t kMaxValueLength = 32767;

std::optional<std::wstring> Read(const std::wstring& name) {
  std::wstring value(kMaxValueLength, L'\0');
  SetLastError(ERROR_SUCCESS);
  const DWORD length =
      GetEnvironmentVariableW(name.c_str(), value.data(), static_cast<DWORD>(value.size()));
  if (length == 0 && GetLastError() == ERROR_ENVVAR_NOT_FOUND) return std::nullopt;
  value.resize(length);
  return value;
}

}  // namespace

EnvironmentVariable::EnvironmentVariable(const wchar_t* variableName,
                                         const std::optional<std::wstring>& value)
    : name(variableName), before(Read(name)) {
  Set(value);
}

EnvironmentVariable::~EnvironmentVariable() { Set(before); }

void EnvironmentVariable::Set(const std::optional<std::wstring>& value) const {
  SetEnvironmentVariableW(name.c_str(), value ? value->c_str() : nullptr);
}

}  // namespace test_support
