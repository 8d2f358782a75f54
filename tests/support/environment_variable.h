// A variable of the process's environment for a scope.
#ifndef LAUNCHER_TESTS_SUPPORT_ENVIRONMENT_VARIABLE_H_
#define LAUNCHER_TESTS_SUPPORT_ENVIRONMENT_VARIABLE_H_

#include <optional>
#include <string>

namespace test_support {

/// Sets a variable (an empty text is a value, too) or removes it, and puts it back at the end.
class EnvironmentVariable {
 public:
  EnvironmentVariable(const wchar_t* variableName, const std::optional<std::wstring>& value);
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;
  ~EnvironmentVariable();

  void Set(const std::optional<std::wstring>& value) const;

 private:
  std::wstring name;
  std::optional<std::wstring> before;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_ENVIRONMENT_VARIABLE_H_
